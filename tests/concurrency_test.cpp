// Upgrades in company: of each other, and of a program that writes records.
#include "tests/upgrade_fixture.h"

#include "upgrade/driver.h"

#include <vxblade/pmgr.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Concurrency : UpgradeTest {
    static pid_t begin(const std::function<void()>& work) {
        std::fflush(stdout);
        pid_t const child = ::fork();
        if (child == 0) {
            ::alarm(120);
            int const out = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(out, STDERR_FILENO);
            systemCalls.shell = runInProcess;
            work();
            ::_exit(0);
        }
        return child;
    }

    static void await(pid_t child, int signal = 0) {
        int status = -1;
        if (signal != 0) {
            ::kill(child, signal);
        }
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, signal);
    }

    static bool waitsForALock(pid_t process) {
        std::ifstream locks("/proc/locks");
        for (std::string line; std::getline(locks, line);) {
            if (line.find("->") != std::string::npos &&
                line.find(' ' + std::to_string(process) + ' ') != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    // The whole of a record that is one byte over and over.
    static bool isUniform(int file, std::size_t offset, std::size_t size) {
        Bytes const bytes = readBytes(primary(file));
        auto const record = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
        return std::all_of(record, record + static_cast<std::ptrdiff_t>(size),
                           [record](unsigned char byte) { return byte == *record; });
    }
};

// The second upgrade finds the work done: not even the sequence number shows that there were two.
TEST_F(Concurrency, TwoUpgrades) {
    for (int round = 0; round < 20; ++round) {
        start.restore();
        pid_t const first = begin([] { vx::runUpgrade(); });
        pid_t const second = begin([] { vx::runUpgrade(); });
        await(first);
        await(second);
        expectEnd("two upgrades", 0);
        EXPECT_EQ(readBytes(primary(PSST_SEQUENCE_INDEX)),
                  end.find(primary(PSST_SEQUENCE_INDEX))->bytes);
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST_F(Concurrency, DeathReleasesTheLock) {
    static constexpr const char* holds = "/var/lock/upgrade-runs";
    start.restore();
    pid_t const holder = begin([] {
        systemCalls.shell = [](const std::string&) {
            std::ofstream(holds).flush();
            return ::pause();
        };
        vx::runUpgrade();
    });
    while (!fs::exists(holds)) {
        ASSERT_EQ(::waitpid(holder, nullptr, WNOHANG), 0) << "it came to no command";
        ::usleep(1000);
    }
    pid_t const waiting = begin([] { vx::runUpgrade(); });
    while (!waitsForALock(waiting)) {
        ASSERT_EQ(::waitpid(waiting, nullptr, WNOHANG), 0) << "it did not wait";
        ::usleep(1000);
    }
    await(holder, SIGKILL);
    await(waiting);
    expectEnd("after the holder's death", 0);
}

// Records of other programs, in the same file and in others, stay whole, and so do the merged ones.
TEST_F(Concurrency, UpgradesBesideAWriter) {
    constexpr std::size_t lastGroup = 64 + 7 * sizeof(HostGroupConfig);
    constexpr std::size_t lastPort = 3100 + 31 * sizeof(PortSlot);
    start.restore();
    ASSERT_TRUE(upgrade().reachedEnd());
    pid_t const writer = begin([] {
        vxpmgr_init_lite();
        for (int value = 1;; ++value) {
            auto const group = filled<HostGroupConfig>(value);
            WritePsstFile(&group, sizeof group, PSST_HOST_GROUP, 7, PSST_MODE_RECORD);
            auto const port = filled<PortSlot>(value);
            WritePsstFile(&port, sizeof port, PSST_PORT_CONFIG, 31, PSST_MODE_RECORD);
            auto const passwords = filled<PasswordConfig>(value);
            vxpmgr_UpdatePasswordInfo(&passwords);
        }
    });
    // Back to the old defaults and forth again: each upgrade has something to write.
    Bytes const newText = readBytes(newFile);
    Bytes const oldText = start.find(savedCopy)->bytes;
    for (int round = 1; round <= 20; ++round) {
        writeBytes(newFile, round % 2 != 0 ? oldText : newText);
        ASSERT_TRUE(upgrade().reachedEnd());
    }
    await(writer, SIGKILL);
    Bytes config = readBytes(primary(1));
    Bytes expected = end.find(primary(1))->bytes;
    config.resize(lastPort);
    expected.resize(lastPort);
    EXPECT_EQ(config, expected);
    EXPECT_TRUE(isUniform(1, lastPort, sizeof(PortSlot)));
    EXPECT_TRUE(isUniform(20, lastGroup, sizeof(HostGroupConfig)));
    EXPECT_TRUE(isUniform(8, 64, sizeof(PasswordConfig)));
    EXPECT_EQ(onFile<PsstHeader>(PSST_SEQUENCE_INDEX, 0).magic, PSST_MAGIC);
    ASSERT_EQ(vxpmgr_init_lite(), 0);
}

} // namespace
