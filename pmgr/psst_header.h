// Checks of file headers.
#pragma once

#include <vxblade/pmgr.h>

namespace vx {

// The three tests of every reader: magic, a size, the expected type.
[[nodiscard]] bool isValidHeader(const PsstHeader& header, uint32_t type);

// Reads the header of the open file of a type and tests it: the read's failure, or -1 where the
// header is bad.
[[nodiscard]] int checkHeader(uint32_t type);

} // namespace vx
