#include <vxblade/nor.h>

#include "common/files.h"
#include "common/heap.h"
#include "hw/diagnostics.h"
#include "hw/nor_region.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/i2c.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

int32_t vhnor_drv = -1;
mtd_info_user nor_info;
int32_t nor_num_regions = 0;
const region_info_user* nor_region = nullptr;
uint64_t bladeCurSlot = 255;

namespace {

constexpr const char* sourceName = "vhnor_api";
constexpr const char* nodePath = "/dev/mtd0";
constexpr uint64_t unknownSlot = 255;
constexpr const char* ruler = "--------------------------------------\n";

vx::Elements<region_info_user> regions;

// --- Geometry.

// Room for `count` regions and the end; no region where that cannot be had.
void makeRegions(uint32_t count) {
    if (count > NOR_REGION_LIMIT) {
        VX_REPORT("vhnor_init", "%u erase regions are more than the %d that are supported\n", count,
                  NOR_REGION_LIMIT);
        count = 0;
    }
    regions = vx::allocate<region_info_user>(count + 1);
    nor_region = regions.get();
    nor_num_regions = nor_region != nullptr ? static_cast<int32_t>(count) : 0;
}

// A flash without regions: each block becomes one.
void describeUniformFlash() {
    makeRegions(nor_info.erasesize > 0 ? nor_info.size / nor_info.erasesize : 0);
    for (uint32_t i = 0; i < static_cast<uint32_t>(nor_num_regions); ++i) {
        regions[i] = {i * nor_info.erasesize, nor_info.erasesize, 1, i};
    }
    VX_NOTE("vhnor_init", "%s", ruler);
    VX_NOTE("vhnor_init", "nor_num_regions: %d erasesize: 0x%08x\n", nor_num_regions,
            nor_info.erasesize);
}

void readRegions(uint32_t count) {
    makeRegions(count);
    for (int i = 0; i < nor_num_regions; ++i) {
        region_info_user& region = regions[static_cast<std::size_t>(i)];
        region.regionindex = static_cast<uint32_t>(i);
        if (::ioctl(vhnor_drv, MEMGETREGIONINFO, &region) != 0) {
            VX_REPORT("vhnor_init", "Failed..\n");
        }
        VX_NOTE("vhnor_init", "%s", ruler);
        VX_NOTE("vhnor_init", "nor_region[%d].regionindex:\t%d\n", i,
                static_cast<int>(region.regionindex));
        VX_NOTE("vhnor_init", "nor_region[%d].offset:\t0x%08x\n", i, region.offset);
        VX_NOTE("vhnor_init", "nor_region[%d].erasesize:\t0x%08x\n", i, region.erasesize);
        VX_NOTE("vhnor_init", "nor_region[%d].numblocks:\t%d\n", i,
                static_cast<int>(region.numblocks));
    }
}

void readGeometry() {
    int count = 0;
    bool const known = ::ioctl(vhnor_drv, MEMGETINFO, &nor_info) == 0;
    if (!known) {
        VX_REPORT("vhnor_init", "Failed to get info\n");
        nor_info = {};
    }
    if (::ioctl(vhnor_drv, MEMGETREGIONCOUNT, &count) != 0) {
        VX_REPORT("vhnor_init", "Failed MEMGETREGIONCOUNT\n");
        count = 0;
    }
    if (!known || count < 1) {
        describeUniformFlash(); // nothing, where the size is not known
    } else {
        readRegions(static_cast<uint32_t>(count));
    }
    if (nor_num_regions > 0) {
        auto const last = static_cast<std::size_t>(nor_num_regions) - 1;
        regions[last + 1].offset = static_cast<uint32_t>(vx::endOf(regions[last]));
    }
}

// --- Access.

bool isWithin(uint32_t offset, uint32_t length) {
    return uint64_t{offset} + length <= nor_info.size;
}

// Carries `call` out at the offset, under the lock.
template <class Call>
int accessAt(const char* function, uint32_t offset, uint32_t length, Call call) {
    if (length == 0) {
        return 0;
    }
    if (!isWithin(offset, length) || VX_AcquireI2CLock() < 0) {
        return -1;
    }
    ssize_t result = -1;
    if (::lseek(vhnor_drv, static_cast<off_t>(offset), SEEK_SET) == static_cast<off_t>(offset)) {
        result = call();
    } else {
        VX_REPORT(function, "Failed to seek to 0x%x\n", offset);
    }
    int const error = errno;
    VX_ReleaseI2CLock();
    errno = error;
    return static_cast<int>(result);
}

constexpr const char* erasing = "vhnor_erase";

// True when each region ends where the next begins: not so after one that could not be read.
bool areContiguous(int first, int last) {
    for (int i = first; i <= last; ++i) {
        if (vx::endOf(nor_region[i]) != nor_region[i + 1].offset) {
            return false;
        }
    }
    return true;
}

// Erases one block into `result`, which keeps an earlier failure. False without the lock.
bool eraseBlock(uint32_t position, uint32_t size, int& result) {
    VX_NOTE(erasing, "Erasing. 0x%08x bytes at 0x%08x\n", size, position);
    if (VX_AcquireI2CLock() < 0) {
        return false;
    }
    erase_info_user block{position, size};
    if (int const failure = ::ioctl(vhnor_drv, MEMERASE, &block); failure != 0) {
        VX_REPORT(erasing, "ioctl failed! retval %d errno: %d\n", failure, errno);
        result = failure;
    }
    VX_ReleaseI2CLock();
    return true;
}

int sayNotSupported(const char* function, int line) {
    VX_NOTE(function, "%s:%d: lock/unlock not supported. not doing anything\n", function, line);
    return 0;
}

} // namespace

int vhnor_init(void) {
    VX_openI2CLock();
    if (map_driver("mtd", DEVICE_CHARACTER, nodePath, 0) < 0) {
        VX_REPORT(__func__, "map_driver() Failed %s %s\n", "mtd", nodePath);
    }
    if (vhnor_drv >= 0) {
        VX_NOTE(__func__, "driver already initialized. Returning. %s\n", nodePath);
        return 0;
    }
    vhnor_drv = vx::openFile(nodePath, O_RDWR | O_SYNC);
    if (vhnor_drv < 0) {
        VX_REPORT(__func__, "Failed to open %s!\n", nodePath);
        return -1;
    }
    if (::fcntl(vhnor_drv, F_SETFD, FD_CLOEXEC) < 0) {
        VX_REPORT(__func__, "fcntl failed for %s! errno %d\n", nodePath, errno);
    }
    readGeometry();
    return 0;
}

int vhnor_read(uint32_t offset, void* buffer, uint32_t length) {
    return accessAt(__func__, offset, length, [&] { return ::read(vhnor_drv, buffer, length); });
}

int vhnor_program(uint32_t offset, const void* buffer, uint32_t length) {
    return accessAt(__func__, offset, length, [&] { return ::write(vhnor_drv, buffer, length); });
}

int vhnor_offset_region(uint32_t offset) {
    int const index = vx::regionOf(offset);
    if (index < 0) {
        VX_NOTE(__func__, " error returning -1\n");
        return -1;
    }
    const region_info_user& region = nor_region[index];
    VX_NOTE(__func__, " offset: 0x%x is in region: %d erasesize: %x off: %d\n", offset, index,
            region.erasesize, static_cast<int>(region.offset));
    return index;
}

int vhnor_erase(uint32_t offset, uint32_t length) {
    if (length == 0) {
        return 0;
    }
    uint64_t const end = uint64_t{offset} + length - 1;
    if (end > UINT32_MAX) {
        return -1;
    }
    int const first = vhnor_offset_region(offset);
    int const last = vhnor_offset_region(static_cast<uint32_t>(end));
    if (first < 0 || last < 0 || !areContiguous(first, last)) {
        return -1;
    }
    uint64_t position = offset - offset % nor_region[first].erasesize;
    int result = 0;
    for (int i = first; i <= last; ++i) {
        VX_NOTE(erasing, "nor_region[i + 1].offset: %x off: 0x%08x i: %d\n",
                nor_region[i + 1].offset, static_cast<uint32_t>(position), i);
        while (nor_region[i + 1].offset > position && position < end) {
            if (!eraseBlock(static_cast<uint32_t>(position), nor_region[i].erasesize, result)) {
                return -1;
            }
            position += nor_region[i].erasesize;
        }
    }
    return result;
}

int vhnor_lock(uint32_t /*offset*/, uint32_t /*length*/) {
    return sayNotSupported(__func__, __LINE__);
}

int vhnor_unlock(uint32_t /*offset*/, uint32_t /*length*/) {
    return sayNotSupported(__func__, __LINE__);
}

uint64_t VX_getMySlotPosition(void) {
    if (bladeCurSlot != unknownSlot) {
        return bladeCurSlot;
    }
    int const fd = XBMGT_OpenGeneralPurposeDev("vxgpdev");
    if (fd < 1) {
        VX_REPORT(__func__, "Open failed %d = %s\n", fd, "vxgpdev");
        return unknownSlot;
    }
    if (XBMGT_GetBladeSlotPostition(&bladeCurSlot) != 0) {
        VX_REPORT(__func__, "Failed to get Slot Position\n");
        bladeCurSlot = unknownSlot;
    }
    return bladeCurSlot;
}
