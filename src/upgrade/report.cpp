#include "upgrade/report.h"

#include "common/streams.h"

#include <cstdarg>

namespace vx {

void report(const char* function, int line, const char* format, ...) {
    va_list values;
    va_start(values, format);
    Message const message = formatted(format, values);
    va_end(values);
    printError("%s:%s!%d %s", "vxpvh", function, line, message.data());
}

} // namespace vx
