#include "tests/support/blade_files.h"

#include "store/control_block.h"
#include "store/psst_table.h"
#include "tools/store_create.h"

#include <vxblade/nor.h>

#include <span>

namespace {

using StoreInit = BladeTest;

bool isGood(int index) {
    PsstHeader expected;
    CreateHeader(&expected, vx::fileTypeOf(index));
    return equal(onFile<PsstHeader>(index, 0), expected) &&
           fs::file_size(primary(index)) == 64 + vx::dataLengthOf(index);
}

TEST_F(StoreInit, GoodFiles) {
    makeStore();
    setByte(primary(4), 64, 0x5A);
    setByte(primary(8), 64, 0x5A);
    fs::permissions(primary(8), fs::perms(0600));
    ASSERT_EQ(vxpmgr_init_lite() + vxpmgr_init_lite(), 0) << "the second closes what is open";
    EXPECT_EQ(TargetDevices[0].record.bytes[0], 0x5A);
    EXPECT_EQ(passwd_data.record.passwords.Passwd[0][0][0], 0x5A);
    EXPECT_EQ(fs::status(primary(8)).permissions(), fs::perms(0755));
    for (int const index : {1, 4, 6, 7, 8, 16, 20, 21, 32, 36}) {
        EXPECT_GE(vx::descriptorOf(index), 3) << index;
    }
}

// What newer firmware has is made where it is half made; where it is wrong the store works without.
TEST_F(StoreInit, FilesOfNewerFirmware) {
    makeStore();
    for (int const index : {18, 27, 33, 35, 39, 40, 41, 42, 43}) {
        Bytes bytes = readBytes(primary(index));
        for (std::size_t const mark : {12U, 4U}) { // a file without both was never finished
            std::memset(&bytes.at(mark), 0, 4);
            writeBytes(primary(index), bytes);
            EXPECT_EQ(vxpmgr_init_lite(), 0) << index;
            EXPECT_EQ(isGood(index), mark == 4) << index;
        }
    }
    setByte(primary(16), 4, 0);
    EXPECT_EQ(vxpmgr_init_lite(), -1);
    EXPECT_EQ(vx::descriptorOf(1), 0) << "all are closed";
}

TEST_F(StoreInit, ResetClearsEverything) {
    std::vector<std::span<std::byte>> tables;
    [&](auto&... table) {
        (tables.push_back(std::as_writable_bytes(std::span(&table, 1))), ...);
    }(bridge_configuration, dm_globals, mgmt_port, passwd_data, snmp_info, vpd_info, Fcip,
      HostGroups, TargetDevices, LogicalLuns, WriteCacheMarker, StoragePoolInfo, eventnotify_info,
      ClusterMemberInfo, CacheStorePhysDrvInfo, port_configuration[31].record);
    for (auto const& table : tables) {
        std::ranges::fill(table, std::byte{0xEE});
    }
    HwVer = 300;
    makeFiles({43});
    InitDatabaseLite();
    for (auto const& table : tables) {
        EXPECT_EQ(std::ranges::count(table, std::byte{0}), std::ssize(table));
    }
    EXPECT_EQ(HwVer + vx::descriptorOf(43), 0);
    EXPECT_EQ(port_configuration[31].prefix.index, 31U);
}

TEST_F(StoreInit, OtherVersionsMoveThreeFilesAside) {
    makeStore();
    writeBytes(primary(31), Bytes(10, 1)); // the write-cache marker stays missing
    setByte(primary(1), 0, 14);
    EXPECT_EQ(vxpmgr_init_lite(), -1);
    EXPECT_EQ(pmgr_cb->headerVersion, 14U);
    auto const all = volumeFiles();
    for (int const index : {21, 29, 31}) {
        EXPECT_FALSE(fs::exists(primary(index)));
        auto const isAside = [&](auto& path) { return path.starts_with(primary(index) + "."); };
        EXPECT_EQ(std::ranges::count_if(all, isAside), index == 29 ? 0 : 1) << index;
    }
}

TEST_F(StoreInit, MigrationFileThatCannotBeMade) {
    makeStore();
    fs::remove(primary(33));
    fs::remove(primary(18));
    fs::create_directory(primary(18));
    EXPECT_EQ(vxpmgr_init_lite(), 1);
    EXPECT_FALSE(fs::exists(primary(33))) << "the files after it are left";
    EXPECT_GE(vx::descriptorOf(1), 3);
}

// Made over, the configuration goes for good before all else, and is valid again, by its header,
// only after its records and both mirrors: a try that a power cut ended is never refused, nor a
// store without its configuration used.
TEST_F(StoreInit, StoreIsMadeOverInDurableOrder) {
    tools::CreateOptions options{SAMPLES "/personality-5.2.1.cfg", false, false};
    auto const create = [&] { printedBy([&] { tools::createStore(options); }); };
    create();
    char chassis[64];
    vornhal_getenv("ChassisName", chassis, sizeof chassis);
    EXPECT_STREQ(chassis, "vx2410-chassis");
    options.force = true;
    Trace trace;
    systemCalls.trace = &trace;
    create();
    systemCalls.trace = nullptr;
    EXPECT_EQ(trace[0].path + " " + trace[1].path, primary(1) + " /mnt/nand1");
    EXPECT_EQ(trace.back().path, "/mnt/nand1") << "the name of what was made";
    std::string order;
    for (Change const& change : trace) {
        bool const isWrite = change.kind == Operation::write;
        bool const isHeader = isWrite && change.path == primary(1) && change.offset == 0;
        order += isHeader && change.data[4] != 0                                 ? "valid, "
                 : isWrite && change.path == primary(1)                          ? "r"
                 : isWrite && change.path == mirror(1) + ".new"                  ? "mirror, "
                 : change.kind == Operation::rename && change.path == mirror(21) ? "number, "
                                                                                 : "";
    }
    EXPECT_EQ(order.substr(order.rfind('r', order.rfind("mirror") - 1)),
              "rmirror, number, valid, ");
}

TEST_F(StoreInit, Creators) {
    EXPECT_EQ(CreateClusterMetaDataPsstFile(0), -1) << "asked not to create";
    EXPECT_FALSE(fs::exists(primary(42)));
    for (int const notMadeSo : {6, 7, 21, 25, -5}) {
        EXPECT_EQ(CreatePsstFile(notMadeSo), -1) << notMadeSo;
    }
    EXPECT_EQ(CreateWriteCacheInfoPsstFile() + CreateClusterMemberInfoPsstFile(1), 0);
    EXPECT_TRUE(isGood(29) && isGood(39));
    fs::create_directory(primary(32));
    EXPECT_EQ(printedBy([] { EXPECT_EQ(CreateEventNotifyPsst(), -1); }),
              "Cannot create EventNotifyPsst persistence file.");
}

} // namespace
