// Headers of the store's files: checks, and the number in the one of the sequence file.
#pragma once

#include <vxblade/pmgr.h>

namespace vx {

// The three tests of every reader: magic, a size, the expected type.
[[nodiscard]] bool isValidHeader(const PsstHeader& header, uint32_t type);

// Reads the header of the open file of a type and tests it: the read's failure, or -1 where the
// header is bad.
[[nodiscard]] int checkHeader(uint32_t type);

[[nodiscard]] constexpr uint64_t sequenceNumberOf(const PsstHeader& header) {
    return uint64_t{header.sequenceHigh} << 32 | header.sequenceLow;
}

} // namespace vx
