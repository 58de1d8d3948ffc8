#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include "store/control_block.h"
#include "store/creators.h"
#include "store/psst_table.h"
#include "tools/store_create.h"

#include <vxblade/platform.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <span>
#include <stdexcept>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

void changeHeader(int index, int offset, uint32_t value) {
    std::fstream file(primary(index), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(offset).write(reinterpret_cast<const char*>(&value), sizeof value);
}

// What is done to one file of a good store. From the magic's on, the file is finished and wrong.
const struct {
    const char* what;
    bool bad;
    void (*damage)(int index);
} damages[] = {
    // clang-format off
    {"remove",     false, [](int index) { fs::remove(primary(index)); }},
    {"cut short",  false, [](int index) { fs::resize_file(primary(index), 63); }},
    {"half made",  false, [](int index) { changeHeader(index, 4, 0); changeHeader(index, 12, 0); }},
    {"zero magic", true,  [](int index) { changeHeader(index, 4, 0); }},
    {"zero size",  true,  [](int index) { changeHeader(index, 12, 0); }},
    // clang-format on
};

bool isGood(int index) {
    PsstHeader expected;
    CreateHeader(&expected, vx::fileTypeOf(index));
    return equal(onFile<PsstHeader>(index, 0), expected) &&
           fs::file_size(primary(index)) == 64 + vx::dataLengthOf(index);
}

TEST_F(StoreInit, DamagedFiles) {
    const struct {
        int index;
        int unfinished; // result where the file is absent or was never finished
        int bad;        // result where it is finished and wrong
        bool healed;    // an unfinished file is made anew
    } cases[] = {
        {1, -1, -1, false},  {4, -1, -1, false}, {8, -1, -1, false}, {20, -1, -1, false},
        {16, -1, -1, false}, {6, 0, 0, true},    {7, 0, 0, true},    {32, 0, -1, true},
        {36, 0, -1, true},   {18, 0, 0, true},   {33, 0, 0, true},   {35, 0, 0, true},
        {39, 0, 0, true},    {40, 0, 0, true},   {41, 0, 0, true},   {42, 0, 0, true},
        {43, 0, 0, true},    {27, 0, 0, true},
    };
    makeStore();
    for (int const index : {4, 8}) {
        setByte(primary(index), 64, 0x5A);
        fs::permissions(primary(index), fs::perms::owner_read | fs::perms::owner_write);
    }
    ASSERT_EQ(vxpmgr_init_lite() + vxpmgr_init_lite(), 0) << "the second closes what is open";
    EXPECT_EQ(TargetDevices[0].record.bytes[0], 0x5A);
    EXPECT_EQ(passwd_data.record.passwords.Passwd[0][0][0], 0x5A);
    EXPECT_EQ(fs::status(primary(8)).permissions(), fs::perms(0755));
    for (int const index : {1, 4, 6, 7, 8, 16, 20, 21, 32, 36}) {
        EXPECT_GE(vx::descriptorOf(index), 3) << index;
    }
    auto const vpd = filled<VpdRecord>(0x5A);
    ASSERT_EQ(vxpmgr_UpdateVpdInfo(&vpd), 0);
    for (auto const& c : cases) {
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
        EXPECT_EQ(std::ranges::count(table, std::byte{0}), std::ssize(table));
    }
    EXPECT_EQ(HwVer, 0);
    EXPECT_EQ(vx::descriptorOf(43), 0);
    EXPECT_EQ(VXLIST_list_mt(&pmgr_cb->lists[PSST_LIST_COUNT - 1].free.list), 1);
    PsstEntryPrefix const& last = port_configuration[31].prefix;
    EXPECT_TRUE(last.index == 31 && last.kind == PSST_PORT_CONFIG);
}

TEST_F(StoreInit, WhatIsNotOursIsNotUnfinished) {
    EXPECT_FALSE(vx::isUnfinished("/mnt/nand1")) << "a folder";
    EXPECT_FALSE(vx::isUnfinished("/proc/self/mem")) << "a read that fails";
    if (::mknod("/mnt/nand1/socket", S_IFSOCK | 0644, 0) == 0) {
        EXPECT_FALSE(vx::isUnfinished("/mnt/nand1/socket")) << "an open that fails";
    }
}

TEST_F(StoreInit, OtherVersionsMoveThreeFilesAside) {
    makeStore();
    writeBytes(primary(31), Bytes(10, 1)); // the write-cache marker stays missing
    setByte(primary(1), 0, 14);
    EXPECT_EQ(vxpmgr_init_lite(), -1);
    EXPECT_EQ(pmgr_cb->headerVersion, 14U);
    std::string moved;
    for (std::string const& name : filesOn("/mnt/nand1")) {
        moved += name.find(".cfg.") != name.npos ? name.substr(0, name.rfind('.')) + ' ' : "";
    }
    EXPECT_EQ(moved, "brapp_seqno.cfg brapp_storage_pool_info.cfg ");
    EXPECT_FALSE(fs::exists(primary(21)));
}

TEST_F(StoreInit, MigrationFileThatCannotBeMade) {
    makeStore();
    fs::remove(primary(18));
    fs::remove(primary(33));
    fs::create_directory(primary(18)); // no file can be made in its place
    EXPECT_EQ(vxpmgr_init_lite(), 1);
    EXPECT_FALSE(fs::exists(primary(33))) << "the files after it are left";
    EXPECT_GE(vx::descriptorOf(1), 3);
}

// On a volume that takes no byte more, no start leaves a file behind: neither an empty one in place
// of what it could not make, nor one that it moved aside.
TEST_F(StoreInit, FullVolumeCollectsNothing) {
    makeStore();
    fs::remove(primary(36));
    auto const files = filesOn("/mnt/nand1");
    if (::fork() == 0) {
        struct rlimit const full = {0, 0};
        ::setrlimit(RLIMIT_FSIZE, &full);
        ::signal(SIGXFSZ, SIG_IGN);
        ::_exit(vxpmgr_init_lite() + 2);
    }
    int status = 0;
    ::wait(&status);
    EXPECT_EQ(WEXITSTATUS(status), -1 + 2);
    EXPECT_EQ(filesOn("/mnt/nand1"), files);
}

// Made over, the configuration goes for good before all else, and is valid again only after its
// mirror: a try that a power cut ended is never refused, nor a store without its configuration
// used.
TEST_F(StoreInit, StoreIsMadeOverInDurableOrder) {
    tools::CreateOptions options{SAMPLES "/personality-5.2.1.cfg", false, false};
    auto const create = [&] { printedBy([&] { tools::createStore(options); }); };
    create();
    EXPECT_THROW(tools::createStore(options), std::runtime_error) << "it is valid";
    options.force = true;
    static OperationLog log;
    systemCalls.operationLog = &log;
    create();
    systemCalls.operationLog = nullptr;
    std::vector<std::string> changes; // the names, without what is opened, read or made
    int valid = 0;                    // where the configuration is synced for the last time
    for (int i = 0; i < log.count; ++i) {
        auto const& [operation, size, offset, name] = log.entries[i];
        if (isDurable(operation) && operation != Operation::create) {
            changes.emplace_back(name);
            valid = changes.back() == primary(1).substr(5) ? i : valid;
        }
    }
    EXPECT_EQ(changes.at(0) + " " + changes.at(1), primary(1) + " nand1");
    EXPECT_EQ(changes.back(), "nand1") << "the name of what was made";
    if (::fork() == 0) { // once more, to the point where the configuration is valid
        systemCalls.operations = 0;
        systemCalls.fault = {Fault::Kind::powerCut, valid + 1, 0, 0};
        create();
    }
    ::wait(nullptr);
    EXPECT_TRUE(isGood(1));
    EXPECT_EQ(readBytes(mirror(1)), readBytes(primary(1)));
    EXPECT_EQ(readBytes(mirror(21)), readBytes(primary(21)));
}

TEST_F(StoreInit, EqualVersionsOnlyMakeMissingFiles) {
    vxpmgr_create_files_on_upgrade();
    for (int const index : {27, 32, 33, 35, 36, 39, 40, 41, 42, 43}) {
        EXPECT_TRUE(isGood(index)) << index;
    }
    EXPECT_EQ(filesOn("/mnt/nand1").size() + filesOn("/mnt/nand2").size(), 10U + 1);
    EXPECT_EQ(vx::descriptorOf(4), 0);
    setByte(primary(32), 70, 0x5A);
    EXPECT_EQ(sequenceNumberOnFile(), 20U) << "of each an unfinished header, and a good one";
    vxpmgr_create_files_on_upgrade();
    EXPECT_EQ(readBytes(primary(32)).at(70), 0x5A) << "a good file is not made again";
    EXPECT_EQ(sequenceNumberOnFile(), 20U);
}

TEST_F(StoreInit, Creators) {
    EXPECT_EQ(CreateClusterMetaDataPsstFile(0), -1) << "asked not to create";
    EXPECT_FALSE(fs::exists(primary(42)));
    for (int const notMadeSo : {6, 7, 21, 25, -5}) {
        EXPECT_EQ(CreatePsstFile(notMadeSo), -1) << notMadeSo;
    }
    EXPECT_EQ(CreateWriteCacheInfoPsstFile() + CreateClusterMemberInfoPsstFile(1), 0);
    EXPECT_TRUE(isGood(29));
    ClusterMemberInfo.record.bytes[255] = 0x5A;
    EXPECT_EQ(WriteClusterMemberInfo(), 0);
    EXPECT_EQ(readBytes(primary(39)).at(64 + 255), 0x5A);
    fs::create_directory(primary(32));
    EXPECT_EQ(printedBy([] { EXPECT_EQ(CreateEventNotifyPsst(), -1); }),
              "Cannot create EventNotifyPsst persistence file.");
}

} // namespace
