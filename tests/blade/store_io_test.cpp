#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include "common/files.h"
#include "store/control_block.h"

#include <vxblade/brapp.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/record_files.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace {

using StoreIo = BladeTest;

// On both sides, and nowhere else.
TEST_F(StoreIo, RecordsAndHeadersAtTheirPlaces) {
    makeFiles({1, 35});
    static ExtMigrationEntry entry{};
    std::memset(&entry.record, 0xAB, sizeof entry.record);
    entry.prefix.index = 2;
    Bytes records = readBytes(primary(35));
    std::fill_n(records.begin() + 64 + 2 * 1088, 1088, 0xAB);
    EXPECT_EQ(WriteExtMigrationFile(&entry), 0);
    Bytes headed = readBytes(primary(1));
    std::fill_n(headed.begin(), 64, 0xAB); // whatever the type, at the start
    EXPECT_EQ(WritePsstFile(headed.data(), 64, PSST_MGMT_PORT, 0, PSST_MODE_HEADER), 0);
    EXPECT_TRUE(readBytes(primary(35)) == records && readBytes(mirror(35)) == records);
    EXPECT_TRUE(readBytes(primary(1)) == headed && readBytes(mirror(1)) == headed);
}

TEST_F(StoreIo, OneWriteInDurableOrder) {
    makeFiles({20});
    uint64_t const before = pmgr_cb->sequenceNumber;
    EXPECT_EQ(
        callsOf([] { EXPECT_EQ(WriteHostGroupFile(&HostGroups[0]), 0); }),
        (std::vector<std::string>{
            "write nand1/brapp_hostgroup.bin", "sync nand1/brapp_hostgroup.bin",
            "write nand2/brapp_hostgroup.bin", "sync nand2/brapp_hostgroup.bin",
            "write nand1/brapp_seqno.cfg", "sync nand1/brapp_seqno.cfg",
            "write nand2/brapp_seqno.cfg", "sync nand2/brapp_seqno.cfg", "mark 21", "mark 20"}));
    EXPECT_EQ(sequenceNumberOnFile(), before + 1);
    EXPECT_EQ(readBytes(mirror(21)), readBytes(primary(21)));
    EXPECT_EQ(readBytes("/mnt/nand0/backup_bitmap.bin"), (Bytes{0, 0, 0x30, 0, 0, 0, 0, 0}));
    EXPECT_EQ(vxbackup_SetBackupBitmap(43), 0);
    EXPECT_EQ(readBytes("/mnt/nand0/backup_bitmap.bin"), (Bytes{0, 0, 0x30, 0, 0, 8, 0, 0}));
    writeBytes("/mnt/nand0/backup_bitmap.bin", {0}); // torn: which files it marked is not known
    EXPECT_EQ(vxbackup_SetBackupBitmap(1), 0);
    EXPECT_EQ(readBytes("/mnt/nand0/backup_bitmap.bin"),
              (Bytes{0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0, 0}));
    EXPECT_EQ(vxbackup_SetBackupBitmap(44), -1);
}

TEST_F(StoreIo, ShortSequenceNumber) {
    writeBytes(primary(21), Bytes(63, 0xFF));
    EXPECT_EQ(ReadSequenceNumber(), -1);
    EXPECT_EQ(vx::descriptorOf(21), -1);
    EXPECT_EQ(UpdateSequenceNumber(1), -1);
}

TEST_F(StoreIo, StoppedSequenceNumberStillMirrorsAndMarks) {
    makeFiles({20});
    Bytes const before = readBytes(primary(21));
    pmgr_cb->flags |= PMGR_FLAG_SEQUENCE_STOPPED;
    HostGroups[0].record.Flags = 7;
    EXPECT_EQ(WriteHostGroupFile(&HostGroups[0]), 0);
    EXPECT_EQ(readBytes(primary(21)), before);
    EXPECT_EQ(readBytes(mirror(20)), readBytes(primary(20)));
    EXPECT_EQ(readBytes("/mnt/nand0/backup_bitmap.bin").at(2) & 0x10, 0x10);
    std::filesystem::remove(mirror(20)); // a missing one is not made
    EXPECT_EQ(WriteHostGroupFile(&HostGroups[0]), 0);
    EXPECT_FALSE(std::filesystem::exists(mirror(20)));
    for (int const index : {20, 0, 99}) {
        EXPECT_EQ(MirrorPsstFile("x", 1, index, 0), -1) << index;
    }
}

// A failed transfer closes the file for good: its number goes to another file, which later writes
// of the first must not reach.
TEST_F(StoreIo, FailedTransfersNeverReachAnotherFile) {
    makeFiles({20});
    for (bool const reading : {false, true}) {
        vx::closeDescriptor(20);
        vx::keepDescriptor(20, vx::openFile(reading ? "/dev/null" : "/dev/full", O_RDWR));
        int const failed = vx::descriptorOf(20);
        HostGroupConfig group{};
        EXPECT_EQ(reading ? ReadPsstFile(&group, sizeof group, PSST_HOST_GROUP, 0, 0)
                          : WriteHostGroupFile(&HostGroups[0]),
                  -1);
        EXPECT_EQ(vx::descriptorOf(20), -1);
        std::string const other = "/mnt/nand0/other";
        vx::Descriptor const alias(vx::openFile(other.c_str(), O_RDWR | O_CREAT));
        EXPECT_EQ(alias.get(), failed);
        EXPECT_EQ(WriteHostGroupFile(&HostGroups[0]), -1);
        EXPECT_EQ(WriteZeroFile(20, 1), -1);
        EXPECT_EQ(readBytes(other), Bytes{});
        close_all_files();
        EXPECT_EQ(::fcntl(alias.get(), F_GETFD), FD_CLOEXEC) << "closed together with the slot";
    }
}

TEST_F(StoreIo, BadRequests) {
    makeFiles({20});
    char byte = 0;
    EXPECT_EQ(WritePsstFile(&byte, -1, PSST_HOST_GROUP, 0, 0), -1);
    EXPECT_EQ(WritePsstFile(&byte, 1, PSST_PASSWD, 0, 0), -1) << "not open";
    EXPECT_EQ(vx::descriptorOf(8), 0) << "standard input was not tried";
    EXPECT_EQ(ReadPsstFile(&byte, 1, 47, 0, 0), -1);
    EXPECT_EQ(WritePsstFile(&byte, 1, PSST_SEQUENCE_NUMBER, 0, PSST_MODE_HEADER), -1);
    EXPECT_EQ(VX_PosixFileLockUnLock(0, 0), -1) << "neither lock nor unlock";
    EXPECT_EQ(WriteBridgeConfigFile(&mgmt_port, PSST_PASSWD), -1);
    EXPECT_EQ(WriteVpdFile(&vpd_info, PSST_PASSWD), -1);
}

// Neither reads nor writes reach beyond the records of their type. What is refused leaves the file
// open, and as long as it was.
TEST_F(StoreIo, TransfersEndWithTheirTable) {
    struct {
        int index;
        uint32_t type, number;
        int32_t length;
        int result;
    } const cases[] = {
        // clang-format off
        {20, PSST_HOST_GROUP, 7, 940, 0},   {20, PSST_HOST_GROUP, 8, 940, -1},        {20, PSST_HOST_GROUP, 8, 1, -1},
        {20, PSST_HOST_GROUP, 6, 1880, 0},  {20, PSST_HOST_GROUP, 7, 941, -1},        {20, PSST_HOST_GROUP, 0x40000000, 940, -1},
        {1, PSST_PORT_CONFIG, 31, 1296, 0}, {1, PSST_PORT_CONFIG, 40, 1296, -1},      {1, PSST_MGMT_PORT, 9, 332, 0},
        {1, PSST_MGMT_PORT, 0, 333, -1},    {1, PSST_BRIDGE_CONFIG, 0, 2705, -1},     {41, PSST_STRIPE_TABLE, 1536, 8200, -1},
        {8, PSST_PASSWD, 7, 2112, 0},       {8, PSST_PASSWD, 0, 2113, -1}, // a single record ignores its number
        // clang-format on
    };
    makeFiles({1, 8, 14, 20, 41});
    Bytes buffer(8200);
    for (auto const& c : cases) {
        auto const size = std::filesystem::file_size(primary(c.index));
        EXPECT_EQ(WritePsstFile(buffer.data(), c.length, c.type, c.number, 0), c.result) << c.type;
        EXPECT_EQ(ReadPsstFile(buffer.data(), c.length, c.type, c.number, 0), c.result) << c.type;
        EXPECT_EQ(std::filesystem::file_size(primary(c.index)), size) << c.type;
        EXPECT_GT(vx::descriptorOf(c.index), 0) << c.type;
    }
    EXPECT_EQ(WritePsstFile(buffer.data(), 100, PSST_KEY, 0, 0), 0)
        << "as long as its program says";
}

TEST_F(StoreIo, ZeroFill) {
    vx::keepDescriptor(20, vx::openFile(primary(20).c_str(), O_RDWR | O_CREAT));
    EXPECT_EQ(WriteZeroFile(20, 0), 0);
    EXPECT_EQ(readBytes(primary(20)), Bytes{});
    EXPECT_EQ(callsOf([] { EXPECT_EQ(WriteZeroFile(20, 131073), 0); }).size(), 4U)
        << "two chunks, each synced";
    EXPECT_EQ(readBytes(primary(20)), Bytes(64 + 131073, 0));
}

TEST_F(StoreIo, ReadersKeepTheTableOnABadHeader) {
    struct {
        int index;
        int (*read)();
        const void* table;
    } const cases[] = {
        // clang-format off
        {1, ReadBridgeConfigFile, &bridge_configuration.record}, {4, ReadTargetDeviceFile, &TargetDevices[0].record},
        {8, ReadPasswdFile, &passwd_data.record},                {9, ReadSnmpFile, &snmp_info.record},
        {20, ReadHostGroupFile, &HostGroups[0].record},          {32, ReadEventNotifyFile, &eventnotify_info.record},
        {42, ReadClusterMetaData, &cluster_metadata.record},     {33, ReadRegisteredClientInfo, &RegisteredClients[0].record},
        {36, ReadMigrationParamFile, &migration_param.record},   {40, ReadCacheStorePhysDrvInfo, &CacheStorePhysDrvInfo[0].record},
        {41, ReadPhysLunStripeTable, &PhysLunStripeTable[0].record},
        {43, ReadClusterCachedLunAndPushToBA, &ClusterCachedLuns[0].record},
        // clang-format on
    };
    makeFiles({1, 4, 8, 9, 20, 32, 33, 36, 40, 41, 42, 43});
    for (auto const& c : cases) {
        setByte(primary(c.index), 64 + 10, 0x5A);
        Bytes bytes = readBytes(primary(c.index));
        setByte(primary(c.index), 16, 99); // the type
        EXPECT_EQ(c.read(), -1) << c.index;
        EXPECT_EQ(static_cast<const char*>(c.table)[10], 0) << c.index;
        writeBytes(primary(c.index), bytes);
        EXPECT_EQ(c.read(), 0) << c.index;
        EXPECT_EQ(static_cast<const char*>(c.table)[10], 0x5A) << c.index;
        bytes.pop_back(); // the last record is short
        writeBytes(primary(c.index), bytes);
        EXPECT_EQ(c.read(), -1) << c.index;
    }
}

TEST_F(StoreIo, HostGroupsAreListed) {
    makeFiles({20});
    ASSERT_EQ(ReadHostGroupFile(), 0);
    auto const& list = pmgr_cb->lists[PSST_LIST_HOST_GROUPS].inUse.list;
    unsigned count = 0;
    for (const VXLIST* at = list.next; at != &list; at = at->next) {
        ++count;
    }
    EXPECT_EQ(count, 8U);
    EXPECT_EQ(pmgr_cb->counts[PSST_LIST_HOST_GROUPS].inUse, 8U);
    EXPECT_EQ(HostGroups[7].prefix.index, 7U);
}

TEST_F(StoreIo, PeerWithoutALink) {
    EXPECT_EQ(GetPeerStatus(4), 1);
    EXPECT_EQ(VX_isPeerBladeOperational(), 0) << "no driver answers";
    EXPECT_EQ(GetLinkStatus(), 0);
    uint8_t status = 9;
    EXPECT_EQ(XBMGT_GetInterfaceLinkStatus(&status), -1);
}

} // namespace
