// The upgrade's diagnostics, on standard error.
#pragma once

namespace vx {

// Writes "vxpvh:<function>!<line> " and the message. The line is part of the message, as the
// field knows it; it does not follow the code.
[[gnu::format(printf, 3, 4)]] void report(const char* function, int line, const char* format, ...);

} // namespace vx
