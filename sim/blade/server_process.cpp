#include "sim/blade/server_process.h"

#include "sim/blade/device_hub.h"
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

// Takes the state's lock, which ends with this process; where another one has it, waits.
void takeTurn(const fs::path& state) {
    int const turn = ::open(state.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (turn >= 0 && ::flock(turn, LOCK_EX | LOCK_NB) != 0) {
        std::fprintf(stderr, "bladesim: waiting for the blade that uses %s to end\n",
                     state.c_str());
    }
    if (turn < 0 || ::flock(turn, LOCK_EX) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot lock " + state.string());
    }
}

// A text with two descriptors, the second perhaps the first once more.
struct DescriptorMessage {
    msghdr header{};
    iovec data{};
    std::array<char, longestMessage> text{};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(2 * sizeof(int))> control{};

    DescriptorMessage() {
        data = {text.data(), text.size()};
        header.msg_iov = &data;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
    }
};

// False when the line ends first.
bool receiveDescriptors(int line, DescriptorMessage& message, int (&descriptors)[2]) {
    if (::recvmsg(line, &message.header, MSG_CMSG_CLOEXEC) <= 0) {
        return false;
    }
    const cmsghdr* const rights = CMSG_FIRSTHDR(&message.header);
    if (rights == nullptr || rights->cmsg_len != CMSG_LEN(sizeof descriptors)) {
        return false;
    }
    std::memcpy(descriptors, CMSG_DATA(rights), sizeof descriptors);
    return true;
}

// Serves once a hub is found, that of the message or one that is started.
void serveThroughHub(DeviceBench& devices, const fs::path& state, int line) {
    for (;;) {
        DescriptorMessage message;
        int descriptors[2];
        if (!receiveDescriptors(line, message, descriptors)) {
            return;
        }
        std::string const hub(message.text.data());
        auto const [link, folder] = joinHub(hub.empty() ? startHub(descriptors[0]) : hub);
        ::close(descriptors[0]);
        (void)!::write(line, folder.c_str(), folder.size() + 1);
        if (link >= 0) {
            serveDevices(devices, state, {link, descriptors[1], line});
            return;
        }
        ::close(descriptors[1]);
    }
}

void runServer(const fs::path& state, int line) {
    std::optional<DeviceBench> devices;
    try {
        takeTurn(state);
        devices.emplace(state);
    } catch (const std::exception& error) {
        (void)!::write(line, error.what(), std::strlen(error.what()));
        return;
    }
    (void)!::write(line, "", 1); // an empty text: ready
    serveThroughHub(*devices, state, line);
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

std::string ServerProcess::ask(const std::string& hub, int descriptor, int log) const {
    int const descriptors[2] = {descriptor, log};
    DescriptorMessage message;
    hub.copy(message.text.data(), message.text.size() - 1);
    cmsghdr* const rights = CMSG_FIRSTHDR(&message.header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof descriptors);
    std::memcpy(CMSG_DATA(rights), descriptors, sizeof descriptors);
    std::array<char, longestMessage> folder{};
    if (::sendmsg(line_, &message.header, 0) <= 0 ||
        ::read(line_, folder.data(), folder.size() - 1) <= 0) {
        throw std::runtime_error("cannot reach the device server");
    }
    return folder.data();
}

std::string ServerProcess::joinHub(const std::string& hub, int log) const {
    return ask(hub, log, log);
}

std::string ServerProcess::startHub(int fuse, int log) const {
    return ask("", fuse, log);
}

} // namespace sim
