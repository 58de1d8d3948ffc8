// Transfers on the I2C buses, and the lock that they share with the flash.
#include "common/files.h"
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/seep.h>

#include <csignal>
#include <functional>
#include <utility>

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

TEST_F(I2c, Transcript) {
    int const good = VX_openI2CLock();
    Calls calls = {NAMED(readI2cDev), NAMED(writeI2cDev), NAMED(getBoardTemp),
                   NAMED(semaphoreValue)};
    calls["lose"] = [](auto&) { return i2cLockFd = 9999, "done"; };
    expectTranscript("i2c", calls);
    EXPECT_NE(logged().find("]: writeI2cDev "), std::string::npos);
    i2cLockFd = good;
}

TEST_F(I2c, WritesAsMuchAsGoes) {
    Bytes const written(300, 'w');
    EXPECT_EQ(writeI2cDev(0, 0x50, 0x0200, written.data(), 300, 16), 256);
    EXPECT_EQ(image("i2c-0-50", 0x200, 256), Bytes(256, 'w'));
    EXPECT_EQ(image("i2c-0-50", 0x300, 1), Bytes(1, 0xFF));
}

// The lock is held around a whole transfer, within the semaphore, and the parts get their time.
TEST_F(I2c, OrderOfATransfer) {
    char bytes[3] = "";
    see(vhnor_init);
    struct {
        const char* faults;
        std::function<long()> call;
        std::vector<std::string> between;
    } const cases[] = {
        {"",
         [&] { return writeI2cDev(0, 0x50, 0, bytes, 3, 16); },
         {"write /dev/i2c-0", "pause 10", "write /dev/i2c-0", "pause 10"}},
        {"fail i2c-0 write EIO",
         [&] { return readI2cDev(0, 0x50, 0, bytes, 3, 16); },
         {"write /dev/i2c-0", "pause 15", "write /dev/i2c-0", "pause 10"}},
        {"", [&] { return vhnor_program(0, bytes, 3); }, {"write /dev/mtd0"}},
    };
    for (auto c : cases) {
        control(c.faults);
        c.between.insert(c.between.begin(), "lock 1, semaphore 0");
        c.between.push_back("lock 2, semaphore 0");
        EXPECT_EQ(callsOf([&] { EXPECT_EQ(see(c.call).result, 3); }), c.between);
    }
}

TEST_F(I2c, LockOpensItself) {
    ::close(std::exchange(i2cLockFd, -1));
    ::unlink("/var/lock/i2cLock");
    ::mkdir("/var/lock/i2cLock", 0755);
    EXPECT_EQ(see([] { return readI2cDev(0, 0x50, 0, nullptr, 1, 16); }).result, -1);
    EXPECT_EQ(semaphoreValue(), 1) << "not held where the file cannot be made";
    ::rmdir("/var/lock/i2cLock");
    uint16_t board = 0;
    EXPECT_EQ(getBoardTemp(nullptr, nullptr, &board, nullptr), 0) << "before any other call";
    EXPECT_EQ(::fcntl(i2cLockFd, F_GETFD), FD_CLOEXEC);
    struct stat status {};
    ::fstat(i2cLockFd, &status);
    EXPECT_EQ(status.st_mode & 0444, 0444U) << "for every program of the blade";
    EXPECT_EQ(VX_openI2CLock(), i2cLockFd);
}

TEST_F(I2c, GivesUpOnTheSemaphoreAfterSixWaits) {
    for (int const failures : {5, 6}) {
        systemCalls.semaphoreFailures = failures;
        Seen const seen = see(VX_AcquireI2CLock);
        EXPECT_EQ(seen.result, 0);
        EXPECT_EQ(std::ranges::count(seen.output, '\n'), failures) << seen.output;
        EXPECT_EQ(semaphoreValue(), failures == 6 ? 1 : 0) << "held, or gone on without";
        VX_ReleaseI2CLock();
    }
    EXPECT_EQ(semaphoreValue(), 2) << "posted always";
    ::sem_wait(&vxI2CSema);
}

// A signal does not end the wait for the lock, only its release does.
TEST_F(I2c, OneProcessHasTheLock) {
    VX_AcquireI2CLock();
    pid_t const waiter = ::fork();
    if (waiter == 0) {
        struct sigaction ignored {};
        ignored.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &ignored, nullptr);
        ::sem_init(&vxI2CSema, 0, 1); // a process has its own
        ::ualarm(20000, 0);
        ::_exit(VX_AcquireI2CLock());
    }
    ::poll(nullptr, 0, 100);
    EXPECT_EQ(::waitpid(waiter, nullptr, WNOHANG), 0) << "two processes have the lock";
    VX_ReleaseI2CLock();
    int status = -1;
    ::waitpid(waiter, &status, 0);
    EXPECT_EQ(status, 0);
}

// Whatever is closed of the standard streams: what a program prints must not land in a device.
TEST_F(I2c, NodesAreAboveTheStandardStreams) {
    if (pid_t const child = ::fork(); child == 0) {
        ::close(STDIN_FILENO);
        ::close(STDERR_FILENO);
        long const written = writeI2cDev(0, 0x50, 0, "x", 1, 16);
        bool const above = i2cLockFd > 2 && vx::openFile("/dev/null", O_RDONLY) > 2;
        ::_exit(written == 1 && ::fcntl(0, F_GETFD) < 0 && ::fcntl(2, F_GETFD) < 0 && above ? 0
                                                                                            : 1);
    }
    int status = -1;
    ::wait(&status);
    EXPECT_EQ(status, 0);
}

} // namespace
