#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include "store/control_block.h"
#include "store/psst_table.h"
#include "tools/store_create.h"

#include <vxblade/nor.h>
#include <vxblade/platform.h>

#include <filesystem>
#include <set>
#include <span>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using StoreInit = BladeTest;

void zeroWord(int index, std::size_t offset) {
    Bytes bytes = readBytes(primary(index));
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), 4, 0);
    writeBytes(primary(index), bytes);
}

// What is done to one file of a good store. A file with half its marks is finished and wrong.
const struct {
    const char* what;
    bool bad;
    void (*damage)(int index);
} damages[] = {
    // clang-format off
    {"remove",     false, [](int index) { fs::remove(primary(index)); }},
    {"cut short",  false, [](int index) { fs::resize_file(primary(index), 63); }},
    {"half made",  false, [](int index) { zeroWord(index, 4); zeroWord(index, 12); }},
    {"zero magic", true,  [](int index) { zeroWord(index, 4); }},
    {"zero size",  true,  [](int index) { zeroWord(index, 12); }},
    // clang-format on
};

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
    fs::permissions(primary(8), fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_EQ(vxpmgr_init_lite() + vxpmgr_init_lite(), 0) << "the second closes what is open";
    EXPECT_EQ(TargetDevices[0].record.bytes[0], 0x5A);
    EXPECT_EQ(passwd_data.record.passwords.Passwd[0][0][0], 0x5A);
    EXPECT_EQ(fs::status(primary(8)).permissions(), fs::perms(0755));
    for (int const index : {1, 4, 6, 7, 8, 16, 20, 21, 32, 36}) {
        EXPECT_GE(vx::descriptorOf(index), 3) << index;
    }
}

TEST_F(StoreInit, DamagedFiles) {
    const struct {
        std::vector<int> files;
        int unfinished; // result where the file is absent or was never finished
        int bad;        // result where it is finished and wrong
    } cases[] = {{{1, 4, 8, 16, 20}, -1, -1},
                 {{32, 36}, 0, -1},
                 {{6, 7, 18, 27, 33, 35, 39, 40, 41, 42, 43}, 0, 0}};
    makeStore();
    ASSERT_EQ(vxpmgr_init_lite(), 0);
    auto const vpd = filled<VpdRecord>(0x5A);
    ASSERT_EQ(vxpmgr_UpdateVpdInfo(&vpd), 0);
    for (auto const& [files, unfinished, badResult] : cases) {
        for (int const index : files) {
            Bytes const keep = readBytes(primary(index));
            for (auto const& [what, bad, damage] : damages) {
                SCOPED_TRACE(std::to_string(index) + ", " + what);
                damage(index);
                EXPECT_EQ(vxpmgr_init_lite(), bad ? badResult : unfinished);
                bool const exists = fs::exists(primary(index));
                EXPECT_TRUE(bad || (exists && isGood(index)) == (unfinished == 0));
                EXPECT_FALSE(exists && damage == damages[0].damage && unfinished != 0)
                    << "left behind";
                if (index == 6 || index == 7) { // each comes back from its twin, not from nothing
                    EXPECT_EQ(readBytes(primary(index)), keep);
                }
                EXPECT_TRUE(index != 16 || vx::descriptorOf(1) == 0) << "all closed";
                close_all_files();
                writeBytes(primary(index), keep);
            }
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
    EXPECT_EQ(HwVer + vx::descriptorOf(43), 0);
    EXPECT_EQ(port_configuration[31].prefix.index, 31U);
}

TEST_F(StoreInit, OtherVersionsMoveThreeFilesAside) {
    makeStore();
    writeBytes(primary(31), Bytes(10, 1)); // the write-cache marker stays missing
    setByte(primary(1), 0, 14);
    EXPECT_EQ(vxpmgr_init_lite(), -1);
    EXPECT_EQ(pmgr_cb->headerVersion, 14U);
    std::set<std::string> moved;
    for (fs::directory_entry const& entry : fs::directory_iterator("/mnt/nand1")) {
        if (entry.path().stem().extension() == ".cfg") {
            moved.insert(entry.path().stem());
        }
    }
    EXPECT_EQ(moved, (std::set<std::string>{"brapp_seqno.cfg", "brapp_storage_pool_info.cfg"}));
    EXPECT_FALSE(fs::exists(primary(21)));
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

// Made over, the configuration goes for good before all else, and is valid again only after its
// mirror: a try that a power cut ended is never refused, nor a store without its configuration
// used.
TEST_F(StoreInit, StoreIsMadeOverInDurableOrder) {
    tools::CreateOptions options{SAMPLES "/personality-5.2.1.cfg", false, false};
    auto const create = [&] { printedBy([&] { tools::createStore(options); }); };
    create();
    char chassis[64];
    vornhal_getenv("ChassisName", chassis, sizeof chassis);
    EXPECT_STREQ(chassis, "vx2410-chassis");
    EXPECT_THROW(tools::createStore(options), std::runtime_error) << "it is valid";
    options.force = true;
    static OperationLog log;
    systemCalls.operationLog = &log;
    create();
    systemCalls.operationLog = nullptr;
    std::vector<std::string> changes; // the names, without what is opened, read or made
    int valid = 0;                    // where the configuration is synced for the last time
    for (int i = 0; i < log.count; ++i) {
        auto const& entry = log.entries[i];
        if (isDurable(entry.operation) && entry.operation != Operation::create) {
            changes.emplace_back(entry.name);
            valid = changes.back() == "nand1/brapp_config.bin" ? i : valid;
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
    for (int const index : {1, 21}) {
        EXPECT_EQ(readBytes(mirror(index)), readBytes(primary(index)));
    }
}

TEST_F(StoreInit, EqualVersionsOnlyMakeMissingFiles) {
    vxpmgr_create_files_on_upgrade();
    EXPECT_EQ(sequenceNumberOnFile(), 20U) << "of each an unfinished header, and a good one";
    for (int const index : {27, 32, 33, 35, 36, 39, 40, 41, 42, 43}) {
        EXPECT_TRUE(isGood(index)) << index;
    }
    EXPECT_EQ(vx::descriptorOf(4), 0);
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
