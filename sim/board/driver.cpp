// driver NAME SLOT: a character driver of that name in user space, listed in /proc/devices with a
// major number of its own. It answers the request for the blade's slot, and every other request
// with the bytes that came, each inverted. Runs until it is killed.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr uint32_t slotRequest = _IOWR('h', 27, uint64_t);
constexpr std::size_t bufferSize = 64 * 1024;
constexpr uint32_t transferLimit = 4096;

alignas(8) std::array<char, bufferSize> message;
alignas(8) std::array<char, bufferSize> answer;
int connection = -1;

// Puts an answer together behind the header that `send` fills.
class Answer {
  public:
    template <class Part>
    void append(const Part& part) {
        append(&part, sizeof part);
    }
    void append(const void* bytes, std::size_t size) {
        std::memcpy(answer.data() + size_, bytes, size);
        size_ += size;
    }
    void send(uint64_t request, int error) const {
        fuse_out_header const header{static_cast<uint32_t>(size_), error, request};
        std::memcpy(answer.data(), &header, sizeof header);
        if (::write(connection, answer.data(), size_) < 0) {
            std::perror("driver: answer");
        }
    }

  private:
    std::size_t size_ = sizeof(fuse_out_header);
};

void registerAs(const char* name, Answer& reply) {
    cuse_init_out device{};
    device.major = FUSE_KERNEL_VERSION;
    device.minor = FUSE_KERNEL_MINOR_VERSION;
    device.max_read = device.max_write = transferLimit;
    reply.append(device);
    std::array<char, 64> text{};
    int const length = std::snprintf(text.data(), text.size(), "DEVNAME=%s", name);
    reply.append(text.data(), static_cast<std::size_t>(length) + 1);
}

void answerRequest(uint64_t slot, Answer& reply) {
    char* const data = message.data() + sizeof(fuse_in_header);
    fuse_ioctl_in request;
    std::memcpy(&request, data, sizeof request);
    reply.append(fuse_ioctl_out{});
    if (request.cmd == slotRequest) {
        reply.append(slot);
        return;
    }
    char* const record = data + sizeof request;
    std::transform(record, record + request.in_size, record,
                   [](char byte) { return static_cast<char>(~byte); });
    reply.append(record, request.in_size);
}

void serve(const char* name, uint64_t slot) {
    fuse_in_header header;
    std::memcpy(&header, message.data(), sizeof header);
    Answer reply;
    int error = 0;
    switch (header.opcode) {
    case CUSE_INIT:
        registerAs(name, reply);
        break;
    case FUSE_OPEN:
        reply.append(fuse_open_out{});
        break;
    case FUSE_IOCTL:
        answerRequest(slot, reply);
        break;
    case FUSE_FLUSH:
    case FUSE_RELEASE:
        break;
    case FUSE_INTERRUPT:
        return; // asks for no answer
    default:
        error = -ENOSYS;
    }
    reply.send(header.unique, error);
}

} // namespace

int main(int argc, char** argv) {
    connection = argc == 3 ? ::open("/dev/cuse", O_RDWR | O_CLOEXEC) : -1;
    if (connection < 0) {
        std::perror("driver: /dev/cuse");
        return 1;
    }
    while (::read(connection, message.data(), message.size()) > 0 || errno == EINTR) {
        serve(argv[1], std::strtoull(argv[2], nullptr, 10));
    }
    std::perror("driver: request");
    return 1;
}
