// Erase regions of the NOR flash, from the geometry that vhnor_init learned. Inline, because the
// boot environment is a library of its own.
#pragma once

#include <vxblade/nor.h>

namespace vx {

// The offset after the region's last byte; more than 32 bits hold where a driver says so.
inline uint64_t endOf(const region_info_user& region) {
    return region.offset + uint64_t{region.erasesize} * region.numblocks;
}

// The index of the region that holds an offset, or -1.
inline int regionOf(uint32_t offset) {
    for (int i = 0; i < nor_num_regions; ++i) {
        if (nor_region[i].offset <= offset && offset < endOf(nor_region[i])) {
            return i;
        }
    }
    return -1;
}

} // namespace vx
