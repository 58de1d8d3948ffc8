#include "upgrade/report.h"

#include <cstdarg>
#include <cstdio>

namespace vx {

void report(const char* function, int line, const char* format, ...) {
    std::fprintf(stderr, "%s:%s!%d ", "vxpvh", function, line);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}

} // namespace vx
