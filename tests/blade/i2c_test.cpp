// Transfers on the I2C buses, and the lock that they share with the flash.
#include "common/files.h"
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/seep.h>

#include <csignal>
#include <functional>
#include <numeric>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using I2c = DeviceTest;

int semaphoreValue() {
    int value = -1;
    ::sem_getvalue(&vxI2CSema, &value);
    return value;
}

// "lock": its descriptor is no descriptor. "file": it is not open, and cannot be made.
std::string lose(const Words& words) {
    i2cLockFd = words[0] == "lock" ? 9999 : -1;
    if (words[0] == "file") {
        ::rename("/var/lock/i2cLock", "/var/lock/away");
        ::mkdir("/var/lock/i2cLock", 0755);
    }
    return "done";
}

TEST_F(I2c, Transcript) {
    VX_openI2CLock();
    int const good = i2cLockFd;
    Calls calls = {NAMED(readI2cDev), NAMED(writeI2cDev), NAMED(getBoardTemp),
                   NAMED(semaphoreValue)};
    calls["lose"] = lose;
    expectTranscript("i2c", calls);
    EXPECT_NE(logged().find("]: writeI2cDev "), std::string::npos);
    ::rmdir("/var/lock/i2cLock");
    ::rename("/var/lock/away", "/var/lock/i2cLock");
    i2cLockFd = good;
}

TEST_F(I2c, WhatIsWrittenIsRead) {
    Bytes written(300);
    std::iota(written.begin(), written.end(), static_cast<unsigned char>(0));
    EXPECT_EQ(writeI2cDev(0, 0x50, 0x0201, written.data(), 300, 16), 256) << "as much as goes";
    Bytes read(300, 0);
    EXPECT_EQ(readI2cDev(0, 0x50, 0x0200, read.data(), 300, 16), 300);
    Bytes expected(300, 0xFF);
    std::copy_n(written.begin(), 256, expected.begin() + 1);
    EXPECT_EQ(read, expected);
    EXPECT_EQ(image("i2c-0-50", 0x200, 300), expected);
}

// The lock is held around a whole transfer, within the semaphore, and the parts get their time.
TEST_F(I2c, OrderOfATransfer) {
    char bytes[3] = "";
    see([] { return vhnor_init(); });
    struct {
        const char* faults;
        std::function<int()> call;
        std::vector<std::string> between;
    } const cases[] = {
        // clang-format off
        {"", [&] { return writeI2cDev(0, 0x50, 0, bytes, 3, 16); },
         {"write /dev/i2c-0", "pause 10", "write /dev/i2c-0", "pause 10"}},
        {"fail i2c-0 write EIO", [&] { return readI2cDev(0, 0x50, 0, bytes, 3, 16); },
         {"write /dev/i2c-0", "pause 15", "write /dev/i2c-0", "pause 10"}},
        {"", [&] { return vhnor_program(0, bytes, 3); }, {"write /dev/mtd0"}},
        // clang-format on
    };
    for (auto const& c : cases) {
        control(c.faults);
        testing::internal::CaptureStderr();
        std::vector<std::string> calls = callsOf([&] { EXPECT_EQ(c.call(), 3); });
        testing::internal::GetCapturedStderr();
        ASSERT_GE(calls.size(), 2U);
        EXPECT_EQ(calls.front(), "lock 1, semaphore 0");
        EXPECT_EQ(calls.back(), "lock 2, semaphore 0");
        EXPECT_EQ(std::vector(calls.begin() + 1, calls.end() - 1), c.between);
    }
}

// A program that has closed its standard input gets no node there.
TEST_F(I2c, NodesAreAboveTheStandardStreams) {
    if (pid_t const child = ::fork(); child == 0) {
        Seen const seen = see([] { return ::close(0), writeI2cDev(0, 0x50, 0, "x", 1, 16); });
        bool const above = i2cLockFd > 2 && vx::openFile("/dev/null", O_RDONLY) > 2;
        ::_exit(seen.result == 1 && ::fcntl(0, F_GETFD) < 0 && above ? 0 : 1);
    }
    int status = 0;
    ::wait(&status);
    EXPECT_EQ(status, 0);
}

TEST_F(I2c, LockOpensItself) {
    if (i2cLockFd >= 0) {
        ::close(i2cLockFd);
        i2cLockFd = -1;
    }
    ::unlink("/var/lock/i2cLock");
    uint16_t board = 0;
    EXPECT_EQ(getBoardTemp(nullptr, nullptr, &board, nullptr), 0) << "before any other call";
    EXPECT_EQ(::fcntl(i2cLockFd, F_GETFD), FD_CLOEXEC);
    struct stat status {};
    ::fstat(i2cLockFd, &status);
    EXPECT_EQ(status.st_mode & 0444, 0444U) << "for every program of the blade";
    EXPECT_EQ(VX_openI2CLock(), i2cLockFd);
    EXPECT_EQ(semaphoreValue(), 1);
}

TEST_F(I2c, GivesUpOnTheSemaphoreAfterSixWaits) {
    for (int const failures : {5, 6}) {
        systemCalls.semaphoreFailures = failures;
        Seen const seen = see([] { return VX_AcquireI2CLock(); });
        EXPECT_EQ(seen.result, 0);
        std::string lines;
        for (int i = 0; i < failures; ++i) {
            lines += "VX_AcquireI2CLock:121: errno: 4\n";
        }
        EXPECT_EQ(seen.output, lines);
        EXPECT_EQ(semaphoreValue(), failures == 6 ? 1 : 0) << "held, or gone on without";
        VX_ReleaseI2CLock();
    }
    EXPECT_EQ(semaphoreValue(), 2) << "posted always";
    ::sem_wait(&vxI2CSema);
}

// A signal does not end the wait for the lock, only its release does.
TEST_F(I2c, OneProcessHasTheLock) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    VX_AcquireI2CLock();
    pid_t const waiter = ::fork();
    if (waiter == 0) {
        struct sigaction ignored {};
        ignored.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &ignored, nullptr);
        ::sem_init(&vxI2CSema, 0, 1); // a process has its own
        ::ualarm(20000, 0);
        VX_AcquireI2CLock();
        ::_exit(static_cast<int>(::write(ends[1], "x", 1)));
    }
    pollfd wait = {ends[0], POLLIN, 0};
    EXPECT_EQ(::poll(&wait, 1, 100), 0) << "two processes have the lock";
    VX_ReleaseI2CLock();
    ::waitpid(waiter, nullptr, 0);
    EXPECT_EQ(::poll(&wait, 1, 0), 1);
    ::close(ends[0]);
    ::close(ends[1]);
}

} // namespace
