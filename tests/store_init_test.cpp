#include "tests/blade_files.h"
#include "tests/system_calls.h"

#include "pmgr/control_block.h"
#include "pmgr/creators.h"
#include "pmgr/psst_table.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <span>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using StoreInit = BladeTest;

std::set<std::string> filesOn(const char* volume) {
    std::set<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(volume)) {
        names.insert(entry.path().filename());
    }
    return names;
}

void changeHeader(int index, std::size_t offset, uint32_t value) {
    std::fstream file(primary(index), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(&value), sizeof value);
}

// What is done to one file of a good store. From the header's on, the file is finished and wrong.
const struct {
    const char* what;
    bool bad;
    void (*damage)(int index);
} damages[] = {
    // clang-format off
    {"remove",     false, [](int index) { fs::remove(primary(index)); }},
    {"empty",      false, [](int index) { fs::resize_file(primary(index), 0); }},
    {"cut short",  false, [](int index) { fs::resize_file(primary(index), 63); }},
    {"half made",  false, [](int index) { changeHeader(index, 4, 0); changeHeader(index, 12, 0); }},
    {"bad magic",  true,  [](int index) { changeHeader(index, 4, 0x12345678); }},
    {"bad type",   true,  [](int index) { changeHeader(index, 16, 99); }},
    {"zero magic", true,  [](int index) { changeHeader(index, 4, 0); }},
    {"zero size",  true,  [](int index) { changeHeader(index, 12, 0); }},
    // clang-format on
};

bool isGood(int index) {
    uint32_t const type = vx::fileTypeOf(index);
    PsstHeader expected;
    CreateHeader(&expected, type);
    auto const header = onFile<PsstHeader>(index, 0);
    return header.magic == expected.magic && header.fileSize == expected.fileSize &&
           header.type == type && fs::file_size(primary(index)) == 64 + vx::dataLengthOf(index);
}

TEST_F(StoreInit, OpensAGoodStore) {
    makeStore();
    for (int const index : {4, 8}) {
        setByte(primary(index), 64, 0x5A);
        fs::permissions(primary(index), fs::perms::owner_read | fs::perms::owner_write);
    }
    uint64_t const before = sequenceNumberOnFile();
    ASSERT_EQ(vxpmgr_init_lite(), 0);
    EXPECT_EQ(sequenceNumberOnFile(), before) << "nothing was written";
    for (int const index : {1, 4, 6, 7, 8, 16, 20, 21, 32, 36}) {
        EXPECT_GE(vx::descriptorOf(index), 3) << index;
    }
    EXPECT_EQ(TargetDevices[0].record.bytes[0], 0x5A);
    EXPECT_EQ(passwd_data.record.passwords.Passwd[0][0][0], 0x5A);
    EXPECT_EQ(fs::status(primary(8)).permissions(), fs::perms(0755));
    EXPECT_EQ(pmgr_cb->headerVersion, 13U);
    EXPECT_EQ(port_configuration[31].prefix.index, 31U);
    EXPECT_EQ(port_configuration[31].prefix.kind, 4U);
    ASSERT_EQ(vxpmgr_init_lite(), 0) << "again, closing what was open";
}

TEST_F(StoreInit, DamagedFiles) {
    struct Case {
        int index;
        int unfinished; // result where the file is absent or was never finished
        int bad;        // result where it is finished and wrong
        bool healed;    // an unfinished file is made anew
    } const cases[] = {
        {1, -1, -1, false},  {4, -1, -1, false}, {8, -1, -1, false}, {20, -1, -1, false},
        {16, -1, -1, false}, {6, 0, 0, true},    {7, 0, 0, true},    {32, 0, -1, true},
        {36, 0, -1, true},   {18, 0, 0, true},   {33, 0, 0, true},   {35, 0, 0, true},
        {39, 0, 0, true},    {40, 0, 0, true},   {41, 0, 0, true},   {42, 0, 0, true},
        {43, 0, 0, true},    {27, 0, 0, true},
    };
    makeStore();
    ASSERT_EQ(vxpmgr_init_lite(), 0);
    auto const vpd = filled<VpdRecord>(0x5A);
    ASSERT_EQ(vxpmgr_UpdateVpdInfo(&vpd), 0);
    for (Case const& c : cases) {
        std::string const keep = "/mnt/nand0/keep";
        fs::copy_file(primary(c.index), keep, fs::copy_options::overwrite_existing);
        for (auto const& [what, bad, damage] : damages) {
            SCOPED_TRACE(std::to_string(c.index) + ", " + what);
            damage(c.index);
            EXPECT_EQ(vxpmgr_init_lite(), bad ? c.bad : c.unfinished);
            bool const exists = fs::exists(primary(c.index));
            EXPECT_TRUE(bad || (exists && isGood(c.index)) == c.healed);
            if (c.index == 6 || c.index == 7) { // each comes back from its twin, not from nothing
                EXPECT_EQ(readBytes(primary(c.index)), readBytes(keep));
                EXPECT_EQ(vpd_info.record.bytes[9], 0x5A);
            }
            EXPECT_TRUE(c.index != 16 || vx::descriptorOf(1) == 0) << "all closed";
            EXPECT_FALSE(exists && damage == damages[0].damage && c.unfinished != 0)
                << "left behind";
            close_all_files();
            fs::copy_file(keep, primary(c.index), fs::copy_options::overwrite_existing);
        }
    }
}

TEST_F(StoreInit, ResetClearsEverything) {
    auto const bytesOf = [](auto& table) { return std::as_writable_bytes(std::span(&table, 1)); };
    std::span<std::byte> const tables[] = {
        // clang-format off
        bytesOf(bridge_configuration), bytesOf(dm_globals), bytesOf(mgmt_port), bytesOf(passwd_data),
        bytesOf(snmp_info), bytesOf(vpd_info), bytesOf(Fcip), bytesOf(HostGroups), bytesOf(TargetDevices),
        bytesOf(LogicalLuns), bytesOf(WriteCacheMarker), bytesOf(StoragePoolInfo), bytesOf(eventnotify_info),
        bytesOf(ClusterMemberInfo), bytesOf(CacheStorePhysDrvInfo), bytesOf(port_configuration[31].record),
        // clang-format on
    };
    for (auto const& table : tables) {
        std::ranges::fill(table, std::byte{0xEE});
    }
    HwVer = 300;
    makeFiles({43});
    InitDatabaseLite();
    for (auto const& table : tables) {
        EXPECT_TRUE(std::ranges::all_of(table, [](std::byte b) { return b == std::byte{0}; }));
    }
    EXPECT_EQ(HwVer, 0);
    EXPECT_EQ(vx::descriptorOf(43), 0);
    EXPECT_EQ(VXLIST_list_mt(&pmgr_cb->lists[PSST_LIST_COUNT - 1].free.list), 1);
    EXPECT_EQ(port_configuration[31].prefix.index, 31U);
}

TEST_F(StoreInit, WhatIsNotOursIsNotUnfinished) {
    EXPECT_FALSE(vx::isUnfinished("/mnt/nand1")) << "a folder";
    EXPECT_FALSE(vx::isUnfinished("/proc/self/mem")) << "a read that fails";
    if (::mknod("/mnt/nand1/socket", S_IFSOCK | 0644, 0) == 0) {
        EXPECT_FALSE(vx::isUnfinished("/mnt/nand1/socket")) << "an open that fails";
    }
    EXPECT_TRUE(vx::isUnfinished("/mnt/nand1/nothing"));
}

class OtherVersion : public BladeTest, public testing::WithParamInterface<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(OlderAndNewer, OtherVersion, testing::Values(12, 14));

TEST_P(OtherVersion, MovesThreeFilesAside) {
    makeStore();
    writeBytes(primary(31), Bytes(10, 1)); // the write-cache marker stays missing
    changeHeader(1, 0, GetParam());
    EXPECT_EQ(vxpmgr_init_lite(), -1);
    EXPECT_EQ(pmgr_cb->headerVersion, GetParam());
    std::set<std::string> moved;
    for (std::string const& name : filesOn("/mnt/nand1")) {
        if (name.find(".cfg.") != std::string::npos) {
            moved.insert(name.substr(0, name.rfind('.')));
        }
    }
    EXPECT_EQ(moved, (std::set<std::string>{"brapp_seqno.cfg", "brapp_storage_pool_info.cfg"}));
    EXPECT_EQ(filesOn("/mnt/nand1").count("brapp_seqno.cfg"), 0U);
}

TEST_F(StoreInit, BadMigrationParametersAreReplacedAndShortConfigurationsRefused) {
    makeStore();
    changeHeader(36, 4, 1);
    EXPECT_EQ(vxpmgr_init_lite(), -1);
    EXPECT_TRUE(isGood(36));
    EXPECT_EQ(vx::descriptorOf(1), 0) << "all files are closed";
    EXPECT_EQ(vxpmgr_init_lite(), 0) << "the next run finds the fresh file";
    fs::resize_file(primary(1), 44571);
    EXPECT_EQ(vxpmgr_init_lite(), -1) << "a short configuration";
}

TEST_F(StoreInit, MigrationFileThatCannotBeMade) {
    makeStore();
    fs::remove(primary(18));
    fs::remove(primary(33));
    fs::create_directory(primary(18)); // no file can stand here
    EXPECT_EQ(vxpmgr_init_lite(), 1);
    EXPECT_FALSE(fs::exists(primary(33))) << "the files after it are left";
    EXPECT_GE(vx::descriptorOf(1), 3);
}

// The files that newer firmware brought.
constexpr int newerFiles[] = {27, 32, 33, 35, 36, 39, 40, 41, 42, 43};
std::set<std::string> withNewerFiles(std::set<std::string> names) {
    names.insert({"brapp_logical_lun.bin", "brapp_event_notify.bin", "brapp_registered_clients.bin",
                  "brapp_ext_migration.bin", "brapp_cluster_member_info.bin",
                  "brapp_cache_store_phys_drive_info.bin", "brapp_phys_lun_stripe_table.bin",
                  "brapp_cluster_metadata.bin", "brapp_cluster_cached_lun_info.bin",
                  "brapp_migration_param.cfg", "brapp_seqno.cfg"});
    EXPECT_TRUE(std::ranges::all_of(newerFiles, isGood));
    return names;
}

TEST_F(StoreInit, MakesWhatNewerFirmwareWants) {
    makeFiles({1, 4, 8, 16, 20});
    ASSERT_EQ(vxpmgr_init_lite(), 0);
    EXPECT_EQ(filesOn("/mnt/nand1"),
              withNewerFiles({"brapp_config.bin", "brapp_device.bin", "brapp_passwd.bin",
                              "brapp_fcip.bin", "brapp_hostgroup.bin", "brapp_vpd.cfg",
                              "brapp_vpd_bak.cfg", "brapp_migration.bin"}));
    EXPECT_TRUE(isGood(6) && isGood(7) && isGood(18));
}

TEST_F(StoreInit, EqualVersionsOnlyMakeMissingFiles) {
    vxpmgr_create_files_on_upgrade();
    EXPECT_EQ(filesOn("/mnt/nand1"), withNewerFiles({}));
    EXPECT_TRUE(filesOn("/mnt/nand2").empty());
    EXPECT_EQ(vx::descriptorOf(4), 0);
    setByte(primary(32), 70, 0x5A);
    uint64_t const before = sequenceNumberOnFile();
    vxpmgr_create_files_on_upgrade();
    EXPECT_EQ(readBytes(primary(32)).at(70), 0x5A) << "a good file is not made again";
    EXPECT_EQ(sequenceNumberOnFile(), before);
}

TEST_F(StoreInit, CreatorsRemoveWhatTheyCannotFinish) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    rlimit const small{100000, limit.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    int small_enough = -1;
    std::string const printed = printedBy([&] { small_enough = CreateEventNotifyPsst(); });
    int const too_large = CreateRegisteredClientPsstFile();
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(small_enough, 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(too_large, -1);
    EXPECT_FALSE(fs::exists(primary(33)));
    EXPECT_EQ(vx::descriptorOf(33), 0);
    EXPECT_EQ(CreateClusterMetaDataPsstFile(0), -1);
    EXPECT_FALSE(fs::exists(primary(42)));
    for (int const notMadeSo : {6, 7, 21, 25, -5}) {
        EXPECT_EQ(CreatePsstFile(notMadeSo), -1) << notMadeSo;
    }
}

// The header that vouches for a file comes last, and its name is made durable too.
TEST_F(StoreInit, FilesAreMadeInDurableOrder) {
    Bytes remnant(63, 0); // of a good header: nothing of it may come to life again
    PsstHeader header;
    CreateHeader(&header, PSST_CLUSTER_METADATA);
    std::memcpy(remnant.data(), &header, remnant.size());
    writeBytes(primary(42), remnant);
    Bytes firstBytes;
    systemCalls.afterWrite = [&] { firstBytes.push_back(readBytes(primary(42)).at(4)); };
    std::string const file = "nand1/brapp_cluster_metadata.bin";
    std::string const write = "write " + file;
    std::string const sync = "sync " + file;
    EXPECT_EQ(callsOf([] { EXPECT_EQ(CreatePsstFile(42), 0); }),
              (std::vector<std::string>{write, sync, write, sync, "mark 42", write, sync, "mark 42",
                                        "sync nand1"}));
    systemCalls.afterWrite = nullptr;
    EXPECT_EQ(firstBytes, (Bytes{0, 0, 0x55})) << "the magic's first byte after each write";
    EXPECT_TRUE(isGood(42));
    // Initial records come before the header that vouches for them.
    fs::remove(primary(42));
    static int magicAtRecords = -1;
    auto const records = [](uint32_t) {
        magicAtRecords = readBytes(primary(42)).at(4);
        return 0;
    };
    EXPECT_EQ(vx::makePsstFile(42, records), 0);
    EXPECT_EQ(magicAtRecords, 0);
    fs::remove(primary(42));
    EXPECT_EQ(vx::makePsstFile(42, [](uint32_t) { return -1; }), -1);
    EXPECT_FALSE(fs::exists(primary(42)));
}

TEST_F(StoreInit, EveryCreatorMakesItsFile) {
    struct {
        int (*create)();
        int index;
    } const cases[] = {
        // clang-format off
        {create_migration_param_file, 36}, {CreateRegisteredClientPsstFile, 33},
        {CreateExtMigrationFile, 35},      {CreateLogicalLunPsst, 27},
        {CreateMigrationPsst, 18},         {CreateStoragePoolInfoPsstFile, 31},
        {CreateWriteCacheInfoPsstFile, 29},
        {[] { return CreateClusterMemberInfoPsstFile(1); }, 39},
        {[] { return CreateCacheStorePhysLunInfoPsstFile(1); }, 40},
        {[] { return CreatePhysLunStripeTableFile(1); }, 41},
        {[] { return CreateClusterCachedLunPsstFile(1); }, 43},
        // clang-format on
    };
    for (auto const& c : cases) {
        EXPECT_EQ(c.create(), 0) << c.index;
        EXPECT_TRUE(isGood(c.index)) << c.index;
        PsstHeader header{};
        EXPECT_EQ(ReadHeader(&header, static_cast<uint32_t>(c.index) + 3), 0);
    }
    EXPECT_EQ(updateLogicalLunWwuln(), 0);
    ClusterMemberInfo.record.bytes[255] = 0x5A;
    EXPECT_EQ(WriteClusterMemberInfo(), 0);
    EXPECT_EQ(readBytes(primary(39)).at(64 + 255), 0x5A);
    EXPECT_EQ(zero_scrath_pad[131071], 0);
    EXPECT_EQ(sizeof scratch_pad, 94008U);
    EXPECT_EQ(ReadSequenceNumber(), 0);
    vxpmgr_deleteSelectiveCfgPsstFiles();
    for (const char* const* path = psstCfgFilesToDelete; *path != nullptr; ++path) {
        EXPECT_FALSE(fs::exists(*path)) << *path;
    }
}

TEST_F(StoreInit, EventNotificationFailureIsReported) {
    fs::create_directory(primary(32));
    EXPECT_EQ(printedBy([] { EXPECT_EQ(CreateEventNotifyPsst(), -1); }),
              "Cannot create EventNotifyPsst persistence file.");
}

} // namespace
