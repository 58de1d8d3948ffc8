// The power goes at every single point of an upgrade, and the next start makes good.
#include "tests/blade_files.h"
#include "tests/system_calls.h"

#include "upgrade/driver.h"

#include <vxblade/hw.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
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
        return {bytes.begin() + 64, bytes.begin() + 64 + sizeof(BridgeConfig)};
    }

    // The bridge record takes three states: before, after the bridge merge, after the CLI merge.
    bool isWhole(const Bytes& record) const {
        BridgeConfig between;
        std::memcpy(&between, after.data(), sizeof between);
        std::memcpy(&between.cli, before.data() + offsetof(BridgeConfig, cli), sizeof between.cli);
        return record == before || record == after ||
               std::memcmp(record.data(), &between, sizeof between) == 0;
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
    BridgeConfig record;
    std::memcpy(&record, upgraded.data() + 64, sizeof record);
    ASSERT_EQ(record.BridgeLogSize, userLogSize);
    ASSERT_EQ(record.BridgeLogLevel, 3);
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
                Bytes const file = readBytes(primary(made));
                ASSERT_EQ(file.size(), expected.fileSize) << "cut " << cut << " file " << made;
                EXPECT_EQ(std::memcmp(file.data(), &expected, sizeof expected), 0) << cut;
            }
            EXPECT_EQ(readBytes(primary(21)).size(), 64U);
        }
        EXPECT_GT(cut, 30) << "too few points to have covered an upgrade";
        RecordProperty(half ? "cut_in_writes" : "cut_before_calls", cut);
    }
}

// What the tool leaves as the next upgrade's reference is on the medium when it ends.
TEST_F(PowerCut, SavedCopiesAreSynced) {
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    if (pid_t const child = ::fork(); child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY), 1);
        ::dup2(1, 2);
        systemCalls.recording = true;
        vx::runUpgrade();
        systemCalls.recording = false;
        std::string last;
        for (std::size_t i = systemCalls.log.size() - 3; i < systemCalls.log.size(); ++i) {
            last += systemCalls.log[i] + "\n";
        }
        (void)!::write(pipe[1], last.data(), last.size());
        ::_exit(0);
    }
    ::close(pipe[1]);
    char last[256] = "";
    ASSERT_GT(::read(pipe[0], last, sizeof last - 1), 0);
    ::close(pipe[0]);
    ::wait(nullptr);
    EXPECT_STREQ(last, "sync nand0/default_bridge_config.cfg.0\n"
                       "sync nand0/default_bridge_config.cfg.1\n"
                       "sync nand0\n");
}

} // namespace
