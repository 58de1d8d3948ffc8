// The upgrade's diagnostics, on standard error.
#pragma once

namespace vx {

// Writes "vxpvh:<function>!<line> " and the message. The line is part of the message, as the
// field knows it; it does not follow the code. Lines from 1530 to 1570 and 1640 are of messages
// that the field did not have before.
[[gnu::format(printf, 3, 4)]] void report(const char* function, int line, const char* format, ...);

} // namespace vx
