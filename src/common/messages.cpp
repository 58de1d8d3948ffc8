#include "common/messages.h"

#include <cerrno>
#include <cstdio>

namespace vx {

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
