#include "tests/support/blade_files.h"

#include "common/files.h"
#include "store/control_block.h"

#include <fcntl.h>

namespace {

constexpr int vpd = 6;
constexpr int backup = 7;

using Pair = std::pair<Bytes, Bytes>;
Pair onBoth() {
    return {readBytes(primary(vpd)), readBytes(primary(backup))};
}

// Starts with both files good and full of 0x5A, and nothing loaded.
struct Vpd : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        vpd_info.record = filled<VpdRecord>(0x5A);
        makeFiles({vpd});
        good = onBoth();
        InitDatabaseLite();
    }

    static void put(const Pair& files) {
        InitDatabaseLite();
        writeBytes(primary(vpd), files.first);
        writeBytes(primary(backup), files.second);
    }

    Pair good;
};

TEST_F(Vpd, TwoBadFilesStay) {
    EXPECT_EQ(onFile<PsstHeader>(vpd, 0).crc, crc32(0, good.first.data() + 64, 2224));
    Pair bad = good;
    bad.first[100] ^= 1;
    bad.second[16] ^= 1;
    put(bad);
    EXPECT_EQ(vxpmgr_readVpdFile() + copy_vpd_psst(1) + copy_backup_vpd_psst(1), -3);
    EXPECT_EQ(onBoth(), bad);
    EXPECT_EQ(vpd_info.record.bytes[0], 0);
    for (auto const& [missing, copy] :
         {std::pair(backup, &copy_vpd_psst), {vpd, &copy_backup_vpd_psst}}) {
        put(good);
        fs::remove(primary(missing));
        EXPECT_EQ(copy(0), -1) << "asked not to create";
        EXPECT_FALSE(fs::exists(primary(missing)));
    }
}

TEST_F(Vpd, TheFirstGoodFileWinsForGood) {
    auto next = filled<VpdRecord>(0x77);
    ASSERT_EQ(vxpmgr_readVpdFile() + vxpmgr_UpdateVpdInfo(&next), 0);
    auto const updated = onBoth();
    put({updated.first, good.second}); // an update was cut between the two files
    EXPECT_EQ(vxpmgr_readVpdFile(), 0);
    EXPECT_EQ(vpd_info.record.bytes[2223], 0x77);
    EXPECT_EQ(onBoth(), updated) << "or the second would bring the old record back";
    vx::keepDescriptor(vpd, vx::openFile("/dev/full", O_RDWR));
    next.bytes[0] = 1;
    EXPECT_EQ(vxpmgr_UpdateVpdInfo(&next), -1);
    EXPECT_EQ(onBoth(), updated) << "the good file stays until its twin is";
}

// Data before header, the first file before the second: whatever fails leaves one good file.
TEST_F(Vpd, UpdateLeavesOneGoodFileAtEveryFault) {
    auto const next = filled<VpdRecord>(0x77);
    int operations = 1;
    for (int at = 1; operations >= at; ++at) {
        put(good);
        ASSERT_EQ(vxpmgr_readVpdFile(), 0);
        systemCalls.operations = 0;
        systemCalls.fault = {Fault::Kind::shortTransfer, at, 0, at % 2 == 0 ? 512U : 0U};
        (void)vxpmgr_UpdateVpdInfo(&next);
        operations = systemCalls.operations;
        systemCalls.fault = {};
        InitDatabaseLite();
        VpdRecord record;
        ASSERT_EQ(vxpmgr_readVpdFile() + vxpmgr_GetVpdInfo(&record), 0) << at;
        EXPECT_TRUE(equal(record, filled<VpdRecord>(0x5A)) || equal(record, next)) << at;
    }
}

} // namespace
