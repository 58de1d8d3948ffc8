// crc32 of <vxblade/common.h> for the layer itself. Programs bring functions of that name, their
// own or another library's: this one is never theirs.
#pragma once

#include <cstdint>

namespace vx {

[[nodiscard]] uint32_t crc32Of(uint32_t crc, const void* data, int length);

} // namespace vx
