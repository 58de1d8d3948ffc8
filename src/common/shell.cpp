#include "common/shell.h"

#include "common/files.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace vx {

namespace {

constexpr const char* scratchPath = "/var/lock/vxpvh.output";

// Takes what a command prints. Its first page is reserved, so that a command that prints no more
// does not fail for want of room. /dev/null where there is no such file.
Descriptor openScratch() {
    constexpr off_t reserved = 4096;
    constexpr mode_t ownerOnly = 0600;
    Descriptor scratch(
        openFile(scratchPath, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK, ownerOnly));
    if (scratch.ok()) {
        ::unlink(scratchPath);
    }
    bool const hasRoom = scratch.ok() && ::posix_fallocate(scratch.get(), 0, reserved) == 0;
    return hasRoom ? std::move(scratch) : Descriptor(openFile("/dev/null", O_RDWR));
}

// The command shared the descriptor's offset: it tells how much was printed.
void passOn(int output) {
    off_t left = ::lseek(output, 0, SEEK_CUR);
    (void)::lseek(output, 0, SEEK_SET);
    std::array<char, 1024> bytes{};
    while (left > 0) {
        auto const wanted = std::min<std::size_t>(bytes.size(), static_cast<std::size_t>(left));
        ssize_t const got = ::read(output, bytes.data(), wanted);
        if (got <= 0) {
            break;
        }
        (void)std::fwrite(bytes.data(), 1, static_cast<std::size_t>(got), stdout);
        left -= got;
    }
}

} // namespace

int runShell(const char* command) {
    std::fflush(stdout);
    return std::system(command); // NOLINT(bugprone-command-processor): fixed templates only
}

int runShellPassingOn(const char* command) {
    Descriptor const output = openScratch();
    Descriptor const own(aboveStandardStreams(::dup(STDOUT_FILENO)));
    std::fflush(stdout); // what was printed before belongs where it was meant to go
    if (::dup2(output.get(), STDOUT_FILENO) < 0) {
        return runShell(command);
    }
    int const status = runShell(command);
    if (own.ok()) {
        (void)::dup2(own.get(), STDOUT_FILENO);
    } else {
        ::close(STDOUT_FILENO);
    }
    passOn(output.get());
    return status;
}

int runShellFormatted(std::size_t capacity, const char* format, ...) {
    std::array<char, 256> command{};
    if (capacity > command.size()) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    int const length = std::vsnprintf(command.data(), capacity, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= capacity) {
        return -1;
    }
    return runShell(command.data());
}

} // namespace vx
