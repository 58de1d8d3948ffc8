#include <vxblade/hw.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <fcntl.h>
#include <syslog.h>

int32_t vhnor_drv = -1;

namespace {

constexpr const char* sourceName = "vhnor_api";
constexpr const char* nodePath = "/dev/mtd0";

// Reports to standard error, flushed at once, and to the system log.
[[gnu::format(printf, 3, 4)]] void report(const char* function, int line, const char* format, ...) {
    std::array<char, 256> message{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message.data(), message.size(), format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "%s: %s %d: %s", sourceName, function, line, message.data());
    std::fflush(stderr);
    ::openlog(sourceName, LOG_CONS | LOG_PID | LOG_NDELAY, LOG_USER);
    ::syslog(LOG_ERR, "%s %d: %s", function, line, message.data());
    ::closelog();
}

} // namespace

int vhnor_init(void) {
    if (map_driver("mtd", DEVICE_CHARACTER, nodePath, 0) < 0) {
        report(__func__, __LINE__, "map_driver() Failed %s %s\n", "mtd", nodePath);
    }
    if (vhnor_drv >= 0) {
        std::fprintf(stderr, "%s: %s %d: driver already initialized. Returning. %s\n", sourceName,
                     __func__, __LINE__, nodePath);
        std::fflush(stderr);
        return 0;
    }
    vhnor_drv = ::open(nodePath, O_RDWR | O_SYNC, 0666);
    if (vhnor_drv < 0) {
        report(__func__, __LINE__, "Failed to open %s!\n", nodePath);
        return -1;
    }
    if (::fcntl(vhnor_drv, F_SETFD, FD_CLOEXEC) < 0) {
        report(__func__, __LINE__, "fcntl failed for %s! errno %d\n", nodePath, errno);
    }
    return 0;
}
