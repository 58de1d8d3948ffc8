// The NOR flash: geometry, access by offset, erase.
#include "tests/support/devices.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/i2c.h>
#include <vxblade/nor.h>

#include <cerrno>
#include <utility>

#include <fcntl.h>

namespace {

using Nor = DeviceTest;

int reopen() {
    if (vhnor_drv >= 0) {
        ::close(std::exchange(vhnor_drv, -1));
    }
    return vhnor_init();
}

TEST_F(Nor, Transcript) {
    int32_t kept = 0;
    auto const handleOf = [](const Words& w) { return w[0] == "lock" ? &i2cLockFd : &vhnor_drv; };
    Calls calls = {NAMED(vhnor_init),          NAMED(vhnor_read),          NAMED(vhnor_program),
                   NAMED(vhnor_erase),         NAMED(vhnor_lock),          NAMED(vhnor_unlock),
                   NAMED(vhnor_offset_region), NAMED(VX_getMySlotPosition)};
    calls["open"] = callOf(reopen);
    calls["lose"] = [&](auto& words) {
        return kept = std::exchange(*handleOf(words), 9999), "done";
    };
    calls["find"] = [&](auto& words) { return *handleOf(words) = kept, "done"; };
    expectTranscript("nor", calls);
    EXPECT_EQ(bladeCurSlot, 0x100000005U);
    EXPECT_NE(logged().find(": Failed to open /dev/mtd0!"), std::string::npos);
}

TEST_F(Nor, Opens) {
    ::close(std::exchange(i2cLockFd, -1));
    see(vhnor_init);
    EXPECT_GE(i2cLockFd, 0);
    EXPECT_EQ(::fcntl(vhnor_drv, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(::fcntl(vhnor_drv, F_GETFL) & O_SYNC, O_SYNC);
    control("fail mtd0 program EIO");
    EXPECT_EQ(vhnor_program(0, "x", 1), -1);
    EXPECT_EQ(errno, EIO) << "the driver's, past the lock";
    control("fail vxgpdev open ENXIO 122");
    EXPECT_EQ(see(VX_getMySlotPosition).result, 255);
}

} // namespace
