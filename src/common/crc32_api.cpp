// Apart from what the layer uses: of the static library, a program that has a crc32 of its own
// takes all but this.
#include <vxblade/common.h>

#include "common/crc32.h"

uint32_t crc32(uint32_t crc, const void* data, int length) {
    return vx::crc32Of(crc, data, length);
}
