// The power goes at every single point of an upgrade, and the next start makes good.
#include "tests/blade_files.h"
#include "tests/system_calls.h"

#include "upgrade/driver.h"

#include <vxblade/hw.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct PowerCut : BladeTest {
    // A store with old defaults and one value of the user's, as the old firmware left it; two
    // files that the new firmware wants are missing.
    void SetUp() override {
        BladeTest::SetUp();
        makeStore();
        ASSERT_EQ(vxpmgr_init_lite(), 0);
        PropertiesHandle const handle = propOpenPropertiesFile(SAMPLES "/personality-5.2.1.cfg");
        ASSERT_EQ(readDefaultBridgeConfigInfo(handle), 0);
        ASSERT_EQ(readDefaultCliConfigInfo(handle), 0);
        propClosePropertiesFile(handle);
        BridgeConfig record;
        vxpmgr_GetBridgeConfigInfo(&record);
        record.BridgeLogSize = userLogSize;
        ASSERT_EQ(vxpmgr_UpdateBridgeConfigInfo(&record, 1), 0);
        close_all_files();
        fs::remove(primary(33));
        fs::remove(primary(42));
        fs::copy_file(SAMPLES "/personality-5.2.1.cfg", savedCopy(0));
        fs::copy_file(SAMPLES "/personality-5.2.1.cfg", savedCopy(1));
        fs::create_directory(workFolder);
        fs::copy_file(SAMPLES "/personality-5.3.0.cfg", newFile);
        fs::current_path(workFolder);
        before = bridgeOnFile(primary(1));
        for (const char* const volume : {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"}) {
            for (fs::directory_entry const& entry : fs::directory_iterator(volume)) {
                if (entry.is_regular_file() && entry.file_size() < 200000) {
                    start[entry.path()] = readBytes(entry.path());
                }
            }
        }
    }

    void TearDown() override {
        fs::current_path("/");
        BladeTest::TearDown();
    }

    void restoreStart() {
        fs::remove(primary(33));
        fs::remove(primary(42));
        for (auto const& [path, bytes] : start) {
            writeBytes(path, bytes);
        }
    }

    // Runs the upgrade in a process of its own, up to the cut; true when it reached its end.
    static bool upgrade(int cutAt, bool cutHalf) {
        constexpr int finished = 42;
        std::fflush(stdout);
        pid_t const child = ::fork();
        if (child == 0) {
            int const null = ::open("/dev/null", O_WRONLY);
            ::dup2(null, 1);
            ::dup2(null, 2);
            systemCalls.cutAt = cutAt;
            systemCalls.cutHalf = cutHalf;
            vx::runUpgrade();
            ::_exit(finished);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == finished;
    }

    static std::string savedCopy(int number) {
        return "/mnt/nand0/default_bridge_config.cfg." + std::to_string(number);
    }

    static Bytes bridgeOnFile(const std::string& path) {
        Bytes const bytes = readBytes(path);
        return bytesOf(bytes.data() + 64, sizeof(BridgeConfig));
    }

    // The bridge record takes three states: before, after the bridge merge, after the CLI merge.
    bool isWhole(const Bytes& record) const {
        Bytes between = after;
        constexpr std::size_t cli = offsetof(BridgeConfig, cli);
        std::copy_n(before.begin() + cli, sizeof(CliConfig), between.begin() + cli);
        return record == before || record == after || record == between;
    }

    Bytes before; // the bridge record
    Bytes after;
    static constexpr uint32_t userLogSize = 9999;
    const char* const workFolder = "/mnt/nand0/firmware";
    const char* const newFile = "/mnt/nand0/firmware/default_bridge_config.cfg";
    std::map<std::string, Bytes> start;
};

TEST_F(PowerCut, EveryPointOfAnUpgrade) {
    ASSERT_TRUE(upgrade(0, false));
    Bytes const upgraded = readBytes(primary(1));
    ASSERT_NE(upgraded, start.at(primary(1)));
    after = bridgeOnFile(primary(1));
    auto const record = onFile<BridgeConfig>(1, 64);
    ASSERT_TRUE(record.BridgeLogSize == userLogSize && record.BridgeLogLevel == 3);
    for (bool const half : {false, true}) {
        int cut = 0;
        bool reachedEnd = false;
        while (!reachedEnd) {
            restoreStart();
            reachedEnd = upgrade(++cut, half);
            // Whatever happened, one side holds a configuration from before or after one write.
            EXPECT_TRUE(isWhole(bridgeOnFile(primary(1))) || isWhole(bridgeOnFile(mirror(1))))
                << "cut " << cut << " half " << half;
            ASSERT_TRUE(upgrade(0, false));
            EXPECT_EQ(readBytes(primary(1)), upgraded) << "cut " << cut << " half " << half;
            EXPECT_EQ(readBytes(savedCopy(0)), readBytes(newFile)) << cut;
            // Between the two copies the upgrade is already complete: the second may stay old.
            EXPECT_TRUE(readBytes(savedCopy(1)) == readBytes(newFile) ||
                        readBytes(savedCopy(1)) == start.at(savedCopy(1)))
                << cut;
            for (int const made : {33, 42}) {
                PsstHeader expected;
                CreateHeader(&expected, static_cast<uint32_t>(made) + 3);
                ASSERT_EQ(fs::file_size(primary(made)), expected.fileSize) << cut << ": " << made;
                EXPECT_TRUE(equal(onFile<PsstHeader>(made, 0), expected)) << cut << ": " << made;
            }
            EXPECT_EQ(readBytes(primary(21)).size(), 64U);
        }
        EXPECT_GT(cut, 30) << "too few points to have covered an upgrade";
        RecordProperty(half ? "cut_in_writes" : "cut_before_calls", cut);
    }
}

// What the tool leaves as the next upgrade's reference is on the medium when it ends.
TEST_F(PowerCut, SavedCopiesAreSynced) {
    constexpr const char* lastCalls = "/mnt/nand0/last_calls";
    if (pid_t const child = ::fork(); child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY), 1);
        ::dup2(1, 2);
        auto const calls = callsOf([] { vx::runUpgrade(); });
        std::ofstream(lastCalls) << calls.end()[-3] << '\n'
                                 << calls.end()[-2] << '\n'
                                 << calls.back();
        ::_exit(0);
    }
    ::wait(nullptr);
    Bytes const last = readBytes(lastCalls);
    EXPECT_EQ(std::string(last.begin(), last.end()), "sync nand0/default_bridge_config.cfg.0\n"
                                                     "sync nand0/default_bridge_config.cfg.1\n"
                                                     "sync nand0");
}

} // namespace
