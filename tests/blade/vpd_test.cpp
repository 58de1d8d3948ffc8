#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include "common/files.h"
#include "store/control_block.h"

#include <vxblade/platform.h>

#include <filesystem>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int vpd = 6;
constexpr int backup = 7;

struct Vpd : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        vxpmgr_create_mirror_paths(0, 0, 0, 0);
        ReadSequenceNumber();
        ASSERT_EQ(vxpmgr_create_vpd_psst(), 0);
        auto const record = filled<VpdRecord>(0x5A);
        ASSERT_EQ(vxpmgr_UpdateVpdInfo(&record), 0);
        good = readBytes(primary(vpd));
        goodBackup = readBytes(primary(backup));
        InitDatabaseLite();
    }

    Bytes good;
    Bytes goodBackup;
};

Bytes changed(Bytes bytes, std::size_t offset) {
    bytes[offset] ^= 1;
    return bytes;
}

TEST_F(Vpd, TwoBadFilesStay) {
    EXPECT_EQ(onFile<PsstHeader>(vpd, 0).crc, crc32(0, good.data() + 64, 2224));
    Bytes const bad = changed(good, 100);
    Bytes const badBackup = changed(goodBackup, 16);
    writeBytes(primary(vpd), bad);
    writeBytes(primary(backup), badBackup);
    EXPECT_EQ(vxpmgr_readVpdFile(), -1);
    EXPECT_EQ(readBytes(primary(vpd)), bad);
    EXPECT_EQ(readBytes(primary(backup)), badBackup);
    EXPECT_EQ(vpd_info.record.bytes[0], 0);
}

TEST_F(Vpd, TheFirstGoodFileWinsForGood) {
    auto next = filled<VpdRecord>(0x5A);
    next.bytes[2223] = 0x77;
    ASSERT_EQ(vxpmgr_readVpdFile() + vxpmgr_UpdateVpdInfo(&next), 0);
    Bytes const updated = readBytes(primary(vpd));
    Bytes const updatedBackup = readBytes(primary(backup));
    writeBytes(primary(backup), goodBackup); // an update was cut between the two files
    InitDatabaseLite();
    EXPECT_EQ(vxpmgr_readVpdFile(), 0);
    EXPECT_EQ(vpd_info.record.bytes[2223], 0x77);
    EXPECT_EQ(readBytes(primary(vpd)), updated);
    EXPECT_EQ(readBytes(primary(backup)), updatedBackup) << "or it would bring the old record back";
    vx::closeDescriptor(vpd);
    vx::keepDescriptor(vpd, vx::openFile("/dev/full", O_RDWR));
    next.bytes[0] = 1;
    EXPECT_EQ(vxpmgr_UpdateVpdInfo(&next), -1);
    EXPECT_EQ(readBytes(primary(backup)), updatedBackup) << "the good file stays until its twin is";
}

// Data before header, the first file before the second: a cut at any write leaves one good file.
TEST_F(Vpd, UpdateLeavesOneGoodFileAtEveryCut) {
    auto const next = filled<VpdRecord>(0x77);
    bool finished = false;
    for (int cut = 1; !finished; ++cut) {
        writeBytes(primary(vpd), good);
        writeBytes(primary(backup), goodBackup);
        InitDatabaseLite();
        ASSERT_EQ(vxpmgr_readVpdFile(), 0);
        if (::fork() == 0) {
            systemCalls.operations = 0;
            systemCalls.fault = {Fault::Kind::powerCut, cut, 0, cut % 2 == 0 ? 512U : 0U};
            ::_exit(vxpmgr_UpdateVpdInfo(&next) == 0 ? 42 : 1);
        }
        int status = 0;
        ::wait(&status);
        finished = WEXITSTATUS(status) == 42;
        InitDatabaseLite();
        VpdRecord record;
        ASSERT_EQ(vxpmgr_readVpdFile() + vxpmgr_GetVpdInfo(&record), 0) << cut;
        EXPECT_TRUE(equal(record, filled<VpdRecord>(0x5A)) || equal(record, next)) << cut;
        ASSERT_LT(cut, 200);
    }
}

TEST_F(Vpd, CopiesCheckTheirSource) {
    for (int const source : {vpd, backup}) {
        auto* const copy = source == vpd ? copy_vpd_psst : copy_backup_vpd_psst;
        std::string const target = primary(source == vpd ? backup : vpd);
        Bytes const& content = source == vpd ? goodBackup : good;
        fs::remove(target);
        EXPECT_EQ(copy(0), -1) << "asked not to create";
        EXPECT_FALSE(fs::exists(target));
        EXPECT_EQ(copy(1), 0);
        EXPECT_EQ(readBytes(target), content);
        Bytes const bytes = readBytes(primary(source));
        writeBytes(primary(source), changed(bytes, 2000));
        EXPECT_EQ(copy(1), -1);
        EXPECT_EQ(readBytes(target), content) << "a bad source overwrites nothing";
        writeBytes(primary(source), bytes);
        InitDatabaseLite();
    }
}

} // namespace
