#include "tests/support/blade_files.h"

#include "store/control_block.h"
#include "store/psst_table.h"
#include "tools/stores/create.h"

#include <vxblade/nor.h>

#include <map>
#include <span>
#include <tuple>

#include <sys/wait.h>
#include <unistd.h>

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

using Volumes = std::map<std::string, std::pair<Bytes, fs::file_time_type>>;
Volumes volumes() {
    Volumes found;
    for (std::string const& path : volumeFiles()) {
        found[path] = {readBytes(path), fs::last_write_time(path)};
    }
    return found;
}

template <auto get, class Record>
int firstByte(auto... arguments) {
    Record record = filled<Record>(0);
    return get(&record, static_cast<uint32_t>(arguments)...) == 0 ? bytesOf(&record, 1)[0] : -1;
}

int mirroredNumber(uint64_t* number) {
    return vxpmgr_GetSequenceNumber(1, number);
}

template <auto update, class Record>
int updated(auto... arguments) {
    Record record = filled<Record>(0x77);
    if constexpr (std::is_same_v<Record, PortParams>) {
        record.type = PORT_TYPE_ISCSI;
        record.number = 0;
    }
    return update(&record, static_cast<uint32_t>(arguments)...);
}

void readAsAnybody() {
    ASSERT_EQ(vxpmgr_open_readonly(), 0);
    int const got[] = {
        firstByte<vxpmgr_GetBridgeConfigInfo, BridgeConfig>(),
        firstByte<vxpmgr_GetCliConfigInfo, CliConfig>(),
        firstByte<vxpmgr_GetMgmtInfo, MgmtPortConfig>(),
        firstByte<vxpmgr_GetPortParams, PortParams>(PORT_TYPE_ISCSI, 0),
        firstByte<vxpmgr_GetHostGroup, HostGroupConfig>(0),
        firstByte<vxpmgr_GetPasswordInfo, PasswordConfig>(),
        firstByte<vxpmgr_GetSnmpConfigInfo, SnmpConfig>(),
        firstByte<vxpmgr_GetVpdInfo, VpdRecord>(),
        firstByte<vxpmgr_GetDMGlobals, DmGlobals>(),
        firstByte<vxpmgr_GetMigrationParam, MigrationParam>(),
        firstByte<mirroredNumber, uint64_t>(),
        TargetDevices[0].record.bytes[0],
    };
    for (std::size_t i = 0; i < std::size(got); ++i) {
        EXPECT_EQ(got[i], 0x51) << i;
    }
    auto const before = std::tuple(bridge_configuration, mgmt_port, port_configuration[8]);
    PsstHeader header;
    CreateHeader(&header, PSST_PASSWD);
    int const refused[] = {
        updated<vxpmgr_UpdateBridgeConfigInfo, BridgeConfig>(PSST_MEMORY_ONLY),
        updated<vxpmgr_UpdateCliConfigInfo, CliConfig>(),
        updated<vxpmgr_UpdateMgmtPortInfo, MgmtPortConfig>(PSST_WRITE_THROUGH),
        updated<vxpmgr_UpdatePortParams, PortParams>(PSST_WRITE_THROUGH),
        updated<vxpmgr_SetHostGroup, HostGroupConfig>(1),
        updated<vxpmgr_UpdatePasswordInfo, PasswordConfig>(),
        updated<vxpmgr_UpdateSnmpInfo, SnmpConfig>(),
        updated<vxpmgr_UpdateClusterMetaData, ClusterMetaData>(),
        updated<vxpmgr_UpdateVpdInfo, VpdRecord>(),
        updated<vxpmgr_UpdateEventNotifyInfo, EventNotifyInfo>(),
        updated<vxpmgr_SetMigrationParam, MigrationParam>(),
        updated<vxpmgr_SetDMGlobals, DmGlobals>(),
        updated<vxpmgr_setCacheParams, CacheParams>(),
        updated<vxpmgr_updateDefaultStoragePoolConfig, StoragePoolConfig>(),
        WriteHeader(&header),
        MirrorPsstFile(&header, sizeof header, 8, 0),
        UpdateSequenceNumber(1),
        WriteZeroFile(8, 8),
        CreatePsstFile(5),
        CreatePeerPsstFile(5),
        CreateRegisteredClientPsstFile(),
        copy_vpd_psst(1),
        copy_backup_vpd_psst(1),
        vxpmgr_Sync(0, 0, 0, 0),
        vxpmgr_CopyFiles(0),
        vxpmgr_validate_headers(),
        vxbackup_SetBackupBitmap(1),
        InitializeSshConfigFile(),
    };
    for (std::size_t i = 0; i < std::size(refused); ++i) {
        EXPECT_EQ(refused[i], -1) << i;
    }
    EXPECT_EQ(errno, EROFS);
    vxpmgr_deleteSelectiveCfgPsstFiles();
    EXPECT_TRUE(equal(before, std::tuple(bridge_configuration, mgmt_port, port_configuration[8])));
}

// What nobody but root may write is read by anybody, and stays as it is: the VPD's bad backup, and
// the files that an initialisation would make.
TEST_F(StoreInit, OpenedForReadingAlone) {
    makeStore();
    ASSERT_EQ(vxpmgr_init_lite() + CreatePsstFile(9) + CreatePsstFile(24), 0);
    auto const port = vx::placeOf(PSST_PORT_CONFIG);
    std::size_t const firstIscsi = port->first + 8 * port->slotSize + offsetof(PortSlot, params);
    std::pair<std::string, std::size_t> const marked[] = {
        {primary(1), 64},   {primary(1), 64 + offsetof(BridgeConfig, cli)},
        {primary(1), 2768}, {primary(1), firstIscsi},
        {primary(4), 64},   {primary(8), 64},
        {primary(9), 64},   {primary(20), 64},
        {primary(24), 64},  {primary(36), 64 + offsetof(MigrationParam, JOBUUID)}};
    for (auto const& [path, offset] : marked) {
        setByte(path, offset, 0x51);
    }
    VpdRecord vpd = filled<VpdRecord>(0x51);
    ASSERT_EQ(vxpmgr_UpdateVpdInfo(&vpd), 0);
    close_all_files();
    setByte(mirror(21), 20, 0x51);
    setByte(primary(7), 64, 0);
    fs::remove(primary(33));
    auto const before = volumes();
    pid_t const reader = ::fork();
    if (reader == 0) {
        (void)(::setresgid(65534, 65534, 65534) + ::setresuid(65534, 65534, 65534));
        readAsAnybody();
        ::_exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    ::waitpid(reader, &status, 0);
    EXPECT_EQ(status, 0) << "see above";
    EXPECT_EQ(volumes(), before);

    setByte(primary(8), 4, 0);
    EXPECT_EQ(vxpmgr_open_readonly(), 1);
    setByte(primary(1), 4, 0);
    EXPECT_EQ(vxpmgr_open_readonly(), -1);
    EXPECT_EQ(bridge_configuration.record.BridgeProductName[0], 0);
    EXPECT_EQ(vxpmgr_CopyFiles(0), -1) << "refused after a failure too";
    setByte(primary(1), 4, PSST_MAGIC & 0xFF);
    setByte(primary(8), 4, PSST_MAGIC & 0xFF);
    EXPECT_EQ(vxpmgr_open_readonly() + vxpmgr_init_lite(), 0);
    EXPECT_EQ((updated<vxpmgr_UpdateCliConfigInfo, CliConfig>()), 0) << "open for writing again";
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
