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
#include <sys/wait.h>
#include <unistd.h>

namespace {

using StoreIo = BladeTest;

// Each writer puts its bytes at its place and leaves its neighbours alone, on both sides.
TEST_F(StoreIo, EveryRecordAtItsPlace) {
    struct Case {
        int index;
        std::size_t offset;
        Bytes written;
        std::function<int()> write;
    };
    std::memset(&bridge_configuration.record, 0x11, sizeof bridge_configuration.record);
    std::memset(&mgmt_port.record, 0x22, sizeof mgmt_port.record);
    std::memset(&port_configuration[5].record, 0x33, sizeof(PortSlot));
    std::memset(&HostGroups[3].record, 0x44, sizeof(HostGroupConfig));
    HostGroups[3].prefix.index = 3;
    std::memset(&passwd_data.record, 0x55, sizeof passwd_data.record);
    std::memset(&snmp_info.record, 0x66, sizeof snmp_info.record);
    std::memset(&vpd_info.record, 0x77, sizeof vpd_info.record);
    static ExtMigrationEntry migration{};
    std::memset(&migration.record, 0x88, sizeof migration.record);
    migration.prefix.index = 2;
    std::memset(&cluster_metadata.record, 0x99, sizeof cluster_metadata.record);
    PortSlot portSlot = port_configuration[5].record;
    portSlot.index = 5;
    HostGroupConfig groupSlot = HostGroups[3].record;
    groupSlot.slot = 3;
    Bytes const block(2112, 0xAB);

    Case const cases[] = {
        // clang-format off
        {1, 64, bytesOf(&bridge_configuration.record, 2704), [] { return WriteBridgeConfigFile(&bridge_configuration, PSST_BRIDGE_CONFIG); }},
        {1, 2768, bytesOf(&mgmt_port.record, 332), [] { return WriteBridgeConfigFile(&mgmt_port, PSST_MGMT_PORT); }},
        {1, 9580, bytesOf(&portSlot, 1296), [] { return WriteBridgeConfigFile(&port_configuration[5], PSST_PORT_CONFIG); }},
        {20, 64 + 3 * 940, bytesOf(&groupSlot, 940), [] { return WriteHostGroupFile(&HostGroups[3]); }},
        {8, 64, bytesOf(&passwd_data.record, 2112), [] { return WritePasswdFile(&passwd_data); }},
        {9, 64, bytesOf(&snmp_info.record, 7076), [] { return WriteSnmpFile(&snmp_info); }},
        {6, 64, bytesOf(&vpd_info.record, 2224), [] { return WriteVpdFile(&vpd_info, PSST_VPD); }},
        {35, 64 + 2 * 1088, bytesOf(&migration.record, 1088), [] { return WriteExtMigrationFile(&migration); }},
        {42, 64, bytesOf(&cluster_metadata.record, 128), [] { return WriteClusterMetaData(&cluster_metadata); }},
        // A single record ignores its number; a header goes to the start, whatever its type.
        {8, 64, block, [&] { return WritePsstFile(block.data(), 2112, PSST_PASSWD, 7, PSST_MODE_RECORD); }},
        {1, 0, Bytes(64, 0xAB), [&] { return WritePsstFile(block.data(), 64, PSST_MGMT_PORT, 0, PSST_MODE_HEADER); }},
        // clang-format on
    };
    makeFiles({1, 6, 8, 9, 20, 35, 42});
    for (Case const& c : cases) {
        Bytes expected = readBytes(primary(c.index));
        std::ranges::copy(c.written, expected.begin() + static_cast<std::ptrdiff_t>(c.offset));
        ASSERT_EQ(c.write(), 0) << c.index;
        EXPECT_EQ(readBytes(primary(c.index)), expected) << c.index;
        EXPECT_EQ(readBytes(mirror(c.index)), expected) << c.index;
    }
    // What was written is what is read, to the last byte.
    Bytes const portBytes = bytesOf(&port_configuration[5].record, sizeof(PortSlot));
    std::memset(&mgmt_port.record, 0, sizeof mgmt_port.record);
    std::memset(&port_configuration[5].record, 0, sizeof(PortSlot));
    PsstHeader header;
    CreateHeader(&header, PSST_BRIDGE_CONFIG);
    EXPECT_EQ(WriteHeader(&header), 0);
    EXPECT_EQ(ReadBridgeConfigFile(), 0);
    EXPECT_EQ(bytesOf(&mgmt_port.record, 332), cases[1].written);
    EXPECT_EQ(bytesOf(&port_configuration[5].record, sizeof(PortSlot)), portBytes);
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
    EXPECT_EQ(vxbackup_SetBackupBitmap(44), -1);
}

TEST_F(StoreIo, SequenceNumber) {
    // Missing and empty files start at 0, in the file's own form.
    for (bool const empty : {false, true}) {
        SetUp();
        if (empty) {
            writeBytes(primary(21), {});
        }
        ASSERT_EQ(ReadSequenceNumber(), 0);
        Bytes expected(64, 0);
        std::ranges::copy(Bytes{13, 0, 0, 0, 0x55, 0xA5, 0xAD, 0x1B}, expected.begin());
        expected[16] = 24;
        EXPECT_EQ(readBytes(primary(21)), expected);
        pmgr_cb->sequenceNumber = 0x01FFFFFFFFULL;
        EXPECT_EQ(UpdateSequenceNumber(1), 0);
        std::ranges::copy(Bytes{0, 0, 0, 0, 2, 0, 0, 0}, expected.begin() + 20);
        EXPECT_EQ(readBytes(primary(21)), expected);
    }
    // Only the counter is read, whatever the header says.
    Bytes bytes(64, 0xFF);
    writeBytes(primary(21), bytes);
    EXPECT_EQ(ReadSequenceNumber(), 0);
    EXPECT_EQ(pmgr_cb->sequenceNumber, ~uint64_t{0});
    bytes.resize(63);
    writeBytes(primary(21), bytes);
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
        Bytes bytes = readBytes(primary(c.index));
        bytes[64 + 10] = 0x5A;
        for (std::size_t const damaged : {4U, 12U, 16U}) { // magic, size, type
            Bytes bad = bytes;
            std::ranges::fill_n(bad.begin() + static_cast<std::ptrdiff_t>(damaged), 4, 0);
            writeBytes(primary(c.index), bad);
            EXPECT_EQ(c.read(), -1) << c.index;
            EXPECT_EQ(static_cast<const char*>(c.table)[10], 0) << c.index;
        }
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

TEST_F(StoreIo, LocksHoldBetweenProcesses) {
    vx::Descriptor const file(vx::openFile("/mnt/nand0/lock", O_RDWR | O_CREAT));
    EXPECT_EQ(VX_PosixFileLockUnLock(file.get(), 0), -1) << "neither lock nor unlock";
    for (int const lock : {1, 0}) {
        EXPECT_GE(VX_PosixFileLockUnLock(file.get(), lock != 0 ? FILE_LOCK : FILE_UNLOCK), 0);
        pid_t const other = ::fork();
        if (other == 0) {
            struct flock probe {};
            probe.l_type = F_WRLCK;
            ::fcntl(file.get(), F_GETLK, &probe);
            ::_exit(probe.l_type == F_UNLCK ? 0 : 1);
        }
        int status = 0;
        ::waitpid(other, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), lock);
    }
}

TEST_F(StoreIo, PeerWithoutALink) {
    EXPECT_EQ(GetPeerStatus(4), 1);
    EXPECT_EQ(VX_isPeerBladeOperational(), 0) << "no driver answers";
    EXPECT_EQ(GetLinkStatus(), 0);
    uint8_t status = 9;
    EXPECT_EQ(XBMGT_GetInterfaceLinkStatus(&status), -1);
}

} // namespace
