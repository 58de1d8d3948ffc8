#include "tests/support/blade_files.h"

#include "common/files.h"
#include "store/control_block.h"

#include <fcntl.h>

namespace {

using StoreIo = BladeTest;

TEST_F(StoreIo, OneWriteInDurableOrder) {
    makeFiles({20});
    uint64_t const before = sequenceNumberOnFile();
    HostGroups[0].record.Flags = 7;
    EXPECT_EQ(
        callsOf([] { EXPECT_EQ(WriteHostGroupFile(&HostGroups[0]), 0); }),
        (std::vector<std::string>{
            "write nand1/brapp_hostgroup.bin", "sync nand1/brapp_hostgroup.bin",
            "write nand2/brapp_hostgroup.bin", "sync nand2/brapp_hostgroup.bin",
            "write nand1/brapp_seqno.cfg", "sync nand1/brapp_seqno.cfg",
            "write nand2/brapp_seqno.cfg", "sync nand2/brapp_seqno.cfg", "mark 21", "mark 20"}));
    pmgr_cb->flags |= PMGR_FLAG_SEQUENCE_STOPPED;
    HostGroups[0].record.Flags = 8;
    EXPECT_EQ(callsOf([] { WriteHostGroupFile(&HostGroups[0]); }).size(), 5U);
    EXPECT_EQ(sequenceNumberOnFile(), before + 1);
    for (int const index : {20, 21}) {
        EXPECT_EQ(readBytes(mirror(index)), readBytes(primary(index)));
    }
    EXPECT_EQ(MirrorPsstFile("x", 1, 0, 0) + MirrorPsstFile("x", 1, 99, 0), -2);
}

TEST_F(StoreIo, BackupBitmap) {
    std::string const bitmap = "/mnt/nand0/backup_bitmap.bin";
    for (uint32_t const index : {20U, 43U, 0U, 44U}) {
        EXPECT_EQ(vxbackup_SetBackupBitmap(index), index % 44 == 0 ? -1 : 0);
    }
    EXPECT_EQ(readBytes(bitmap), (Bytes{0, 0, 0x10, 0, 0, 8, 0, 0}));
    writeBytes(bitmap, {0}); // torn: which files it marked is not known
    EXPECT_EQ(vxbackup_SetBackupBitmap(1), 0);
    EXPECT_EQ(readBytes(bitmap), (Bytes{0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0, 0}));
}

TEST_F(StoreIo, ShortSequenceNumber) {
    writeBytes(primary(21), Bytes(63, 0xFF));
    EXPECT_EQ(ReadSequenceNumber() + UpdateSequenceNumber(1), -2);
    EXPECT_EQ(vx::descriptorOf(21), -1);
}

// A failed transfer closes the file for good: its number goes to another file, which later writes
// of the first must not reach.
TEST_F(StoreIo, FailedTransfersNeverReachAnotherFile) {
    makeFiles({20});
    for (bool const reading : {false, true}) {
        vx::closeDescriptor(20);
        vx::keepDescriptor(20, vx::openFile(reading ? "/dev/null" : "/dev/full", O_RDWR));
        int const failed = vx::descriptorOf(20);
        EXPECT_EQ(reading ? ReadHostGroupFile() : WriteHostGroupFile(&HostGroups[0]), -1);
        EXPECT_EQ(vx::descriptorOf(20), -1);
        std::string const other = "/mnt/nand0/other";
        vx::Descriptor const alias(vx::openFile(other.c_str(), O_RDWR | O_CREAT));
        EXPECT_EQ(alias.get(), failed);
        EXPECT_EQ(WriteHostGroupFile(&HostGroups[0]) + WriteZeroFile(20, 1), -2);
        EXPECT_EQ(readBytes(other), Bytes{});
        EXPECT_EQ(CreatePsstFile(20), -1) << "until the store is initialised again";
        InitDatabaseLite();
        EXPECT_EQ(CreatePsstFile(20), 0);
        EXPECT_EQ(::fcntl(alias.get(), F_GETFD), FD_CLOEXEC) << "closed together with the slot";
    }
}

// Neither reads nor writes reach beyond the records of their type. What is refused leaves the file
// open, and as long as it was.
TEST_F(StoreIo, TransfersEndWithTheirTable) {
    const struct {
        int index;
        uint32_t type, number;
        int32_t length;
        int result;
    } cases[] = {
        // clang-format off
        {20, PSST_HOST_GROUP, 7, 940, 0},   {20, PSST_HOST_GROUP, 8, 940, -1},        {20, PSST_HOST_GROUP, 8, 1, -1},
        {20, PSST_HOST_GROUP, 6, 1880, 0},  {20, PSST_HOST_GROUP, 7, 941, -1},        {20, PSST_HOST_GROUP, 0x40000000, 940, -1},
        {1, PSST_PORT_CONFIG, 31, 1296, 0}, {1, PSST_PORT_CONFIG, 40, 1296, -1},      {1, PSST_MGMT_PORT, 9, 332, 0},
        {1, PSST_MGMT_PORT, 0, 333, -1},    {1, PSST_BRIDGE_CONFIG, 0, 2705, -1},     {41, PSST_STRIPE_TABLE, 1536, 8200, -1},
        {8, PSST_PASSWD, 7, 2112, 0},       {8, PSST_PASSWD, 0, 2113, -1}, // a single record ignores its number
        {14, PSST_KEY, 0, 100, 0}, // as long as its program says
        {20, PSST_HOST_GROUP, 0, -1, -1},   {21, PSST_SEQUENCE_NUMBER, 0, 1, -1},     {21, 47, 0, 1, -1},
        // clang-format on
    };
    makeFiles({1, 8, 14, 20, 41});
    Bytes buffer(8200);
    for (auto const& c : cases) {
        auto const size = fs::file_size(primary(c.index));
        EXPECT_EQ(WritePsstFile(buffer.data(), c.length, c.type, c.number, 0), c.result) << c.type;
        EXPECT_EQ(ReadPsstFile(buffer.data(), c.length, c.type, c.number, 0), c.result) << c.type;
        EXPECT_TRUE(c.index == 14 || fs::file_size(primary(c.index)) == size);
        EXPECT_GT(vx::descriptorOf(c.index), 0) << c.type;
    }
    EXPECT_EQ(WritePsstFile(buffer.data(), 1, PSST_SNMP, 0, 0), -1) << "not open";
    EXPECT_EQ(vx::descriptorOf(9), 0) << "standard input was not tried";
    EXPECT_EQ(WriteVpdFile(&vpd_info, PSST_PASSWD), -1);
}

} // namespace
