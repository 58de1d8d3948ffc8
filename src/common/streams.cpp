#include "common/streams.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace vx {

void openStandardStreams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0) {
            (void)::open("/dev/null", O_RDWR); // takes the lowest free number, which is this one
        }
    }
}

Message formatted(const char* format, va_list values) {
    Message message{};
    std::vsnprintf(message.data(), message.size(), format, values);
    return message;
}

void printError(const char* format, ...) {
    int const error = errno;
    va_list values;
    va_start(values, format);
    Message const message = formatted(format, values);
    va_end(values);
    std::fflush(stdout);
    std::fputs(message.data(), stderr);
    errno = error;
}

} // namespace vx
