#include "sim/blade/server_process.h"

#include "sim/blade/device_server.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace sim {

namespace {

constexpr std::size_t longestMessage = 256;

// Takes a lock that ends with this process; where another one has it, waits, and says so where
// somebody watches.
void takeTurn(const fs::path& path, int flags) {
    int const turn = ::open(path.c_str(), flags | O_CLOEXEC);
    if (turn >= 0 && ::flock(turn, LOCK_EX | LOCK_NB) != 0 && ::isatty(STDERR_FILENO) == 1) {
        std::fprintf(stderr, "bladesim: waiting for another simulated blade to end\n");
    }
    if (turn < 0 || ::flock(turn, LOCK_EX) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot lock " + path.string());
    }
}

// Both descriptors travel in one message.
struct DescriptorMessage {
    msghdr header{};
    iovec data{};
    char byte = 0;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(2 * sizeof(int))> control{};

    DescriptorMessage() {
        data = {&byte, 1};
        header.msg_iov = &data;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
    }
};

// False when the line ends first.
bool receiveDescriptors(int line, int (&descriptors)[2]) {
    DescriptorMessage message;
    if (::recvmsg(line, &message.header, MSG_CMSG_CLOEXEC) != 1) {
        return false;
    }
    const cmsghdr* const rights = CMSG_FIRSTHDR(&message.header);
    if (rights == nullptr || rights->cmsg_len != CMSG_LEN(sizeof descriptors)) {
        return false;
    }
    std::memcpy(descriptors, CMSG_DATA(rights), sizeof descriptors);
    return true;
}

void runServer(const fs::path& state, int line) {
    std::optional<DeviceBench> devices;
    try {
        takeTurn(state, O_RDONLY | O_DIRECTORY); // for machines where users have a /dev/fuse each
        takeTurn("/dev/fuse", O_RDWR);
        devices.emplace(state);
    } catch (const std::exception& error) {
        (void)!::write(line, error.what(), std::strlen(error.what()));
        return;
    }
    (void)!::write(line, "", 1); // an empty text: ready
    int descriptors[2];
    if (receiveDescriptors(line, descriptors)) {
        serveDevices(*devices, state, {descriptors[0], descriptors[1], line});
    }
}

} // namespace

ServerProcess::ServerProcess(const fs::path& state) : owner_(::getpid()) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a socket");
    }
    std::fflush(nullptr);
    process_ = ::fork();
    if (process_ == 0) {
        ::close(ends[0]);
        ::setpgid(0, 0); // a terminal's interrupt is for the command
        try {
            runServer(state, ends[1]);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "bladesim: %s\n", error.what());
        }
        ::_exit(0);
    }
    ::close(ends[1]);
    line_ = ends[0];
    std::array<char, longestMessage> answer{};
    ssize_t const size = process_ < 0 ? 0 : ::read(line_, answer.data(), answer.size() - 1);
    if (size != 1 || answer[0] != '\0') {
        ::close(line_);
        ::waitpid(process_, nullptr, 0);
        throw std::runtime_error(size > 0 ? answer.data() : "the device server did not start");
    }
}

ServerProcess::ServerProcess(ServerProcess&& other) noexcept
    : owner_(other.owner_), process_(std::exchange(other.process_, -1)),
      line_(std::exchange(other.line_, -1)) {}

ServerProcess::~ServerProcess() {
    if (process_ > 0 && ::getpid() == owner_) {
        ::close(line_);
        ::waitpid(process_, nullptr, 0);
    }
}

void ServerProcess::serve(int fuse, int log) const {
    int const descriptors[2] = {fuse, log};
    DescriptorMessage message;
    cmsghdr* const rights = CMSG_FIRSTHDR(&message.header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof descriptors);
    std::memcpy(CMSG_DATA(rights), descriptors, sizeof descriptors);
    if (::sendmsg(line_, &message.header, 0) != 1) {
        throw std::system_error(errno, std::generic_category(), "cannot reach the device server");
    }
}

} // namespace sim
