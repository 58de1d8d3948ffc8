// The NOR flash: geometry, access by offset, erase.
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/i2c.h>
#include <vxblade/nor.h>

#include <cerrno>
#include <utility>

#include <fcntl.h>

namespace {

class Nor : public DeviceTest {
  protected:
    static Seen init(const std::string& commands) {
        control("reset\n" + commands);
        if (vhnor_drv >= 0) {
            ::close(std::exchange(vhnor_drv, -1));
        }
        Seen seen = see([] { return vhnor_init(); });
        // Said first where device nodes cannot have a number.
        if (std::string const unmapped =
                "vhnor_api: vhnor_init: map_driver() Failed mtd /dev/mtd0\n";
            getMajor("mtd", DEVICE_CHARACTER) == 0 && seen.errors.starts_with(unmapped)) {
            seen.errors.erase(0, unmapped.size());
        }
        return seen;
    }
};

constexpr const char* twoSizes = "flash 65536x62 8192x16\n";

TEST_F(Nor, Geometry) {
    std::string const at = "vhnor_api: vhnor_init: ";
    std::string const ruler = at + "--------------------------------------\n";
    auto const region = [&](int i, const char* offset, const char* size, int blocks) {
        std::string const start = at + "nor_region[" + std::to_string(i) + "].";
        return ruler + start + "regionindex:\t" + std::to_string(i) + "\n" + start + "offset:\t0x" +
               offset + "\n" + start + "erasesize:\t0x" + size + "\n" + start + "numblocks:\t" +
               std::to_string(blocks) + "\n";
    };
    std::string const uniform = ruler + at + "nor_num_regions: 64 erasesize: 0x00010000\n";
    std::string const none = ruler + at + "nor_num_regions: 0 erasesize: 0x00000";
    std::string const second = region(1, "003e0000", "00002000", 16);
    // clang-format off
    struct {
        const char* commands; int regions; uint32_t end, secondOffset, secondSize, secondBlocks;
        std::string errors;
    } const cases[] = {
        {"flash 65536x64", 64, 0x400000, 0x10000, 0x10000, 1, uniform},
        {twoSizes, 2, 0x400000, 0x3E0000, 0x2000, 16, region(0, "00000000", "00010000", 62) + second},
        {"flash 65536x64 regions", 1, 0x400000, 0x400000, 0, 0, region(0, "00000000", "00010000", 64)},
        {"flash 65536x62 8192x16\nfail mtd0 regions EIO", 64, 0x400000, 0x10000, 0x10000, 1,
         at + "Failed MEMGETREGIONCOUNT\n" + uniform},
        {"flash 65536x62 8192x16\nfail mtd0 region EIO", 2, 0x400000, 0x3E0000, 0x2000, 16,
         at + "Failed..\n" + region(0, "00000000", "00000000", 0) + second},
        {"flash 65536x64\nfail mtd0 info EIO", 0, 0, 0, 0, 0, at + "Failed to get info\n" + none + "000\n"},
        {"flash 65536x62 8192x16\nfail mtd0 info EIO", 0, 0, 0, 0, 0, at + "Failed to get info\n" + none + "000\n"},
        {"flash 16x65537", 0, 0, 0, 0, 0, at + "65537 erase regions are more than the 65536 that are supported\n" + none + "010\n"},
    };
    // clang-format on
    for (auto const& c : cases) {
        SCOPED_TRACE(c.commands);
        Seen const seen = init(c.commands);
        EXPECT_EQ(seen.result, 0);
        EXPECT_EQ(seen.errors, c.errors);
        EXPECT_EQ(nor_num_regions, c.regions);
        EXPECT_EQ(nor_region[nor_num_regions].offset, c.end);
        if (c.regions == 0) {
            char byte = 0;
            EXPECT_EQ(see([&] { return vhnor_erase(0, 65536); }).result, -1);
            EXPECT_EQ(vhnor_read(0, &byte, 1), nor_info.size == 0 ? -1 : 1);
            continue;
        }
        EXPECT_EQ(nor_region[1].offset, c.secondOffset);
        EXPECT_EQ(nor_region[1].erasesize, c.secondSize);
        EXPECT_EQ(nor_region[1].numblocks, c.secondBlocks);
        EXPECT_EQ(nor_region[1].regionindex, c.regions > 1 ? 1U : 0U);
    }
    init("flash 16x65536");
    EXPECT_EQ(see([] { return vhnor_erase(0xFFFF0, 16); }).trace, "mtd0 erase 000ffff0+16 = 0\n");
}

TEST_F(Nor, OpensOnce) {
    ::close(std::exchange(i2cLockFd, -1));
    EXPECT_EQ(init("flash 65536x64").trace, "mtd0 open = 0\nmtd0 info = 0\nmtd0 regions = 0\n");
    EXPECT_GE(i2cLockFd, 0);
    EXPECT_EQ(::fcntl(vhnor_drv, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(::fcntl(vhnor_drv, F_GETFL) & O_SYNC, O_SYNC);
    int const fd = vhnor_drv;
    Seen const again = see([] { return vhnor_init(); });
    EXPECT_EQ(again.result, 0);
    EXPECT_EQ(again.trace, "");
    EXPECT_TRUE(again.errors.ends_with(
        "vhnor_api: vhnor_init: driver already initialized. Returning. /dev/mtd0\n"));
    EXPECT_EQ(vhnor_drv, fd);
    Seen const none = init("fail mtd0 open ENODEV");
    EXPECT_EQ(none.result, -1);
    EXPECT_EQ(none.errors, "vhnor_api: vhnor_init: Failed to open /dev/mtd0!\n");
    EXPECT_NE(logged().find(": Failed to open /dev/mtd0!"), std::string::npos);
}

TEST_F(Nor, RegionOfAnOffset) {
    init(twoSizes);
    std::string const at = "vhnor_api: vhnor_offset_region: ";
    std::pair<uint32_t, std::string> const cases[] = {
        {0x3DFFFF, at + " offset: 0x3dffff is in region: 0 erasesize: 10000 off: 0\n"},
        {0x3E0000, at + " offset: 0x3e0000 is in region: 1 erasesize: 2000 off: 4063232\n"},
        {0x400000, at + " error returning -1\n"},
        {UINT32_MAX, at + " error returning -1\n"},
    };
    for (auto const& [offset, words] : cases) {
        Seen const seen = see([&, wanted = offset] { return vhnor_offset_region(wanted); });
        EXPECT_EQ(seen.result, offset >= 0x400000 ? -1 : offset >= 0x3E0000 ? 1 : 0) << offset;
        EXPECT_EQ(seen.errors, words);
    }
}

TEST_F(Nor, ReadsAndPrograms) {
    init(twoSizes);
    uint8_t bytes[16];
    // clang-format off
    struct {
        char kind; const char* faults; uint32_t offset, length; int result; const char* trace;
    } const cases[] = {
        {'p', "", 0x3DFFFE, 4, 4, "mtd0 program 003dfffe+4 = 4\n"},
        {'r', "", 0x3DFFFD, 6, 6, "mtd0 read 003dfffd+6 = 6\n"},
        {'r', "", 0x3FFFFF, 1, 1, "mtd0 read 003fffff+1 = 1\n"},
        {'r', "", 0x3FFFFF, 2, -1, ""},
        {'p', "", 0x400000, 1, -1, ""},
        {'r', "", 0xFFFFFFFF, 16, -1, ""},
        {'r', "", 0, 0xFFFFFFFF, -1, ""},
        {'r', "", 0x500000, 0, 0, ""},
        {'p', "", 0, 0, 0, ""},
        {'r', "short mtd0 read", 0, 8, 7, "mtd0 read 00000000+8 = 7\n"},
        {'p', "fail mtd0 program EIO", 0, 8, -1, "mtd0 program 00000000+8 = -EIO\n"},
    };
    // clang-format on
    for (auto const& c : cases) {
        control(c.faults);
        std::fill(std::begin(bytes), std::end(bytes), uint8_t{0x5A});
        int error = 0;
        Seen const seen = see([&] {
            int const count = c.kind == 'r' ? vhnor_read(c.offset, bytes, c.length)
                                            : vhnor_program(c.offset, bytes, c.length);
            error = errno;
            return count;
        });
        EXPECT_TRUE(*c.faults != 'f' || error == EIO) << "the driver's, past the lock";
        EXPECT_EQ(seen.result, c.result) << c.kind << c.offset;
        EXPECT_EQ(seen.trace, c.trace) << c.kind << c.offset;
        EXPECT_TRUE(c.result != 6 || (bytes[0] == 0xFF && bytes[1] == 0x5A && bytes[5] == 0xFF));
    }
    // Without the lock nothing is touched; a descriptor that cannot seek is reported.
    int const lock = std::exchange(i2cLockFd, 9999);
    Seen const locked = see(
        [&] { return vhnor_read(0, bytes, 1) + vhnor_program(0, bytes, 1) + vhnor_erase(0, 8); });
    EXPECT_EQ(locked.result, -3);
    EXPECT_EQ(locked.trace, "");
    i2cLockFd = lock;
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    int const flash = std::exchange(vhnor_drv, ends[0]);
    Seen const unseekable = see([&] { return vhnor_read(0x1234, bytes, 1); });
    EXPECT_EQ(unseekable.result, -1);
    EXPECT_EQ(unseekable.errors, "vhnor_api: vhnor_read: Failed to seek to 0x1234\n");
    vhnor_drv = flash;
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(Nor, Erases) {
    std::string const first = "mtd0 erase 00000000+65536 = 0\n";
    std::string const second = "mtd0 erase 00010000+65536 = 0\n";
    // clang-format off
    struct {
        const char* commands; uint32_t offset, length; int result; std::string trace;
    } const cases[] = {
        {"flash 65536x64", 0, 65536, 0, first},
        {"flash 65536x64", 0x8000, 65536, 0, first + second},   // from the middle of a block
        {"flash 65536x64", 0x8000, 0x8001, 0, first},           // to the first byte of a block
        {"flash 65536x64", 0x8000, 0x8002, 0, first + second},
        {"flash 65536x64", 0x10000, 1, 0, ""},                  // one byte, at a block's start
        {"flash 65536x64", 0x10001, 1, 0, second},
        {"flash 65536x64", 0, 0, 0, ""},
        {"flash 65536x64", 0x3FFFFF, 2, -1, ""},
        {"flash 65536x64", 0xFFFFFFFF, 2, -1, ""},
        {"flash 65536x64", 0x400000, 1, -1, ""},
        {"flash 65536x64", 0x8000, 0xFFFFFFFF, -1, ""},
        {twoSizes, 0x3D0000, 0x14000, 0, "mtd0 erase 003d0000+65536 = 0\nmtd0 erase 003e0000+8192 = 0\nmtd0 erase 003e2000+8192 = 0\n"},
        {twoSizes, 0x3E2001, 0x2001, 0, "mtd0 erase 003e2000+8192 = 0\nmtd0 erase 003e4000+8192 = 0\n"},
        {"flash 65536x64\nfail mtd0 erase EIO", 0, 0x20000, -1, "mtd0 erase 00000000+65536 = -EIO\n" + second},
        {"flash 65536x62 8192x16\nfail mtd0 region EIO", 0x3E0000, 8192, 0, "mtd0 erase 003e0000+8192 = 0\n"},
        {"flash 65536x62 8192x16\nfail mtd0 region EIO 1 1", 0, 65536, -1, ""}, // its end is not known
    };
    // clang-format on
    for (auto const& c : cases) {
        init(c.commands);
        Seen const seen = see([&] { return vhnor_erase(c.offset, c.length); });
        EXPECT_EQ(seen.result, c.result) << c.commands << " " << c.offset;
        EXPECT_EQ(seen.trace, c.trace) << c.commands << " " << c.offset;
    }
    init("flash 65536x64\nfail mtd0 erase EIO");
    EXPECT_TRUE(
        see([] { return vhnor_erase(0x8000, 1); })
            .errors.ends_with(
                "off: 0\n"
                "vhnor_api: vhnor_erase: nor_region[i + 1].offset: 10000 off: 0x00000000 i: 0\n"
                "vhnor_api: vhnor_erase: Erasing. 0x00010000 bytes at 0x00000000\n"
                "vhnor_api: vhnor_erase: ioctl failed! retval -1 errno: 5\n"));
    for (auto* const call : {vhnor_lock, vhnor_unlock}) {
        Seen const seen = see([&] { return call(0, 1); });
        EXPECT_EQ(seen.result, 0);
        EXPECT_NE(seen.errors.find(": lock/unlock not supported. not doing anything\n"),
                  std::string::npos);
    }
}

TEST_F(Nor, SlotOfTheBlade) {
    control("fail vxgpdev h27 EIO");
    Seen const failed = see([] { return VX_getMySlotPosition(); });
    EXPECT_EQ(failed.result, 255);
    EXPECT_EQ(failed.errors, "vhnor_api: VX_getMySlotPosition: Failed to get Slot Position\n");
    control("answer h27 0500000001000000");
    uint64_t slot = 0;
    EXPECT_EQ(XBMGT_GetBladeSlotPostition(&slot), 0);
    EXPECT_EQ(VX_getMySlotPosition(), 0x100000005U) << "all 64 bits";
    EXPECT_EQ(slot, 0x100000005U);
    control("answer h27 07");
    EXPECT_EQ(VX_getMySlotPosition(), 0x100000005U) << "asked once";
    EXPECT_EQ(std::exchange(bladeCurSlot, 255), 0x100000005U);
    ::close(std::exchange(gpDevHandle, -1));
    control("fail vxgpdev open ENXIO 122");
    Seen const closed = see([] { return VX_getMySlotPosition(); });
    EXPECT_EQ(closed.result, 255);
    EXPECT_EQ(closed.errors, "vhnor_api: VX_getMySlotPosition: Open failed 0 = vxgpdev\n");
}

} // namespace
