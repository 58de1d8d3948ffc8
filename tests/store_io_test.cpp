#include "tests/blade_files.h"
#include "tests/system_calls.h"

#include "common/files.h"
#include "pmgr/control_block.h"

#include <vxblade/brapp.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <functional>

#include <fcntl.h>
#include <unistd.h>

namespace {

using StoreIo = BladeTest;

// Each writer puts its bytes at its place and leaves its neighbours alone, on both sides.
TEST_F(StoreIo, EveryRecordAtItsPlace) {
    Bytes const block(7076, 0xAB);
    std::memset(&passwd_data.record, 0xAB, sizeof passwd_data.record);
    std::memset(&snmp_info.record, 0xAB, sizeof snmp_info.record);
    static ExtMigrationEntry migration{};
    std::memset(&migration.record, 0xAB, sizeof migration.record);
    migration.prefix.index = 2;
    std::memset(&cluster_metadata.record, 0xAB, sizeof cluster_metadata.record);
    struct {
        int index;
        std::size_t offset, size;
        std::function<int()> write;
    } const cases[] = {
        // clang-format off
        {35, 64 + 2 * 1088, 1088, [] { return WriteExtMigrationFile(&migration); }},
        {8, 64, 2112, [] { return WritePasswdFile(&passwd_data); }},
        {9, 64, 7076, [] { return WriteSnmpFile(&snmp_info); }},
        {42, 64, 128, [] { return WriteClusterMetaData(&cluster_metadata); }},
        // A single record ignores its number; a header goes to the start, whatever its type.
        {8, 64, 2112, [&] { return WritePsstFile(block.data(), 2112, PSST_PASSWD, 7, PSST_MODE_RECORD); }},
        {1, 0, 64, [&] { return WritePsstFile(block.data(), 64, PSST_MGMT_PORT, 0, PSST_MODE_HEADER); }},
        // clang-format on
    };
    makeFiles({1, 8, 9, 35, 42});
    for (auto const& c : cases) {
        Bytes expected = readBytes(primary(c.index));
        std::copy_n(block.begin(), c.size,
                    expected.begin() + static_cast<std::ptrdiff_t>(c.offset));
        ASSERT_EQ(c.write(), 0) << c.index;
        EXPECT_EQ(readBytes(primary(c.index)), expected) << c.index;
        EXPECT_EQ(readBytes(mirror(c.index)), expected) << c.index;
    }
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

TEST_F(StoreIo, RecordsNeverLandOnStandardStreams) {
    makeFiles({20});
    for (int const stream : {0, 1, 2}) {
        int const saved = ::fcntl(stream, F_DUPFD, 10);
        ::close(stream);
        int const result = vx::openIntoSlot(20, O_RDWR);
        int const fd = vx::descriptorOf(20);
        ::dup2(saved, stream);
        ::close(saved);
        EXPECT_EQ(result, 0);
        EXPECT_GE(fd, 3);
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
        {42, ReadClusterMetaData, &cluster_metadata.record},
        // clang-format on
    };
    makeFiles({1, 4, 8, 9, 20, 32, 42});
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
