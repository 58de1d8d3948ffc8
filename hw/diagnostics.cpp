#include "hw/diagnostics.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <syslog.h>

namespace vx {

namespace {

using Message = std::array<char, 512>;

[[gnu::format(printf, 1, 0)]] Message formatted(const char* format, va_list values) {
    Message message{};
    std::vsnprintf(message.data(), message.size(), format, values);
    return message;
}

void toStandardError(const char* source, const char* function, int line, const Message& message) {
    std::fprintf(stderr, "%s: %s %d: %s", source, function, line, message.data());
    std::fflush(stderr);
}

// Opened and closed for each message: the program's own use of the log is not disturbed for long.
void syslogMsg(const char* source, const char* function, int line, const Message& message) {
    ::openlog(source, LOG_CONS | LOG_PID | LOG_NDELAY, LOG_USER);
    ::syslog(LOG_ERR, "%s %d: %s", function, line, message.data());
    ::closelog();
}

} // namespace

void noteAt(const char* source, const char* function, int line, const char* format, ...) {
    int const error = errno;
    va_list values;
    va_start(values, format);
    toStandardError(source, function, line, formatted(format, values));
    va_end(values);
    errno = error;
}

void reportAt(const char* source, const char* function, int line, const char* format, ...) {
    int const error = errno;
    va_list values;
    va_start(values, format);
    Message const message = formatted(format, values);
    va_end(values);
    toStandardError(source, function, line, message);
    syslogMsg(source, function, line, message);
    errno = error;
}

} // namespace vx
