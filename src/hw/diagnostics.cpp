#include "hw/diagnostics.h"

#include "common/streams.h"

#include <cerrno>
#include <cstdarg>

#include <syslog.h>

namespace vx {

namespace {

void toStandardError(const char* source, const char* function, int line, const Message& message) {
    printError("%s: %s %d: %s", source, function, line, message.data());
}

// Opened and closed for each message. The log is the process's: what the program gave to its own
// openlog, identity, options and facility, is lost until it calls openlog again.
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
