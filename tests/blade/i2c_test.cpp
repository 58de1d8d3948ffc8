// Transfers on the I2C buses, and the lock that they share with the flash.
#include "common/files.h"
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/seep.h>

#include <csignal>
#include <cstring>
#include <functional>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class I2c : public DeviceTest {};

constexpr int firstByte = 0xA0; // of what the tests write: a0 a1 a2 …

Bytes counting(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(firstByte + i);
    }
    return bytes;
}

// What stands at the start of each transfer on a bus.
std::string addressed(const std::string& bus, const std::string& device) {
    return bus + " open = 0\n" + bus + " address " + device + " = 0\n";
}

TEST_F(I2c, PiecesOfATransfer) {
    std::string const seep = addressed("i2c-0", "50");
    std::string const module = addressed("i2c-0", "56");
    std::string const second = addressed("i2c-1", "50");
    // clang-format off
    struct {
        char kind; int bus, device, offset, length, bits, result; std::string trace;
    } const cases[] = {
        {'r', 0, 0x50, 0x1D00, 20, 16, 20, seep + "i2c-0 read 1 = 1\ni2c-0 write 1d00 = 2\ni2c-0 read 8 = 8\ni2c-0 read 8 = 8\ni2c-0 read 4 = 4\n"},
        {'r', 0, 0x50, 0x0102,  8, 16,  8, seep + "i2c-0 read 1 = 1\ni2c-0 write 0102 = 2\ni2c-0 read 8 = 8\n"},
        {'r', 0, 0x56, 0x0178,  1,  8,  1, module + "i2c-0 read 1 = 1\ni2c-0 write 78 = 1\ni2c-0 read 1 = 1\n"},
        {'r', 1, 0x50, 0x0000,  2, 16,  2, second + "i2c-1 read 1 = 1\ni2c-1 write 0000 = 2\ni2c-1 read 2 = 2\n"},
        {'w', 0, 0x50, 0x1D01,  6, 16,  6, seep + "i2c-0 write 1d01a0 = 3\ni2c-0 write 1d02a1a2 = 4\ni2c-0 write 1d04a3a4 = 4\ni2c-0 write 1d06a5 = 3\n"},
        {'w', 0, 0x50, 0x10FF,  2, 16,  2, seep + "i2c-0 write 10ffa0 = 3\ni2c-0 write 1100a1 = 3\n"},
        {'w', 0, 0x56, 0x0110,  3,  8,  3, module + "i2c-0 write 10a0a1 = 3\ni2c-0 write 12a2 = 2\n"},
        {'w', 1, 0x50, 0x0003,  1, 12,  1, second + "i2c-1 write 03a0 = 2\n"},
        {'r', 0, 0x50, 0x0000,  0, 16,  0, ""},
        {'w', 0, 0x50, 0x0000, -5, 16,  0, ""},
    };
    // clang-format on
    for (auto const& c : cases) {
        Bytes bytes = counting(32);
        Seen const seen = see([&] {
            return c.kind == 'r'
                       ? readI2cDev(c.bus, c.device, c.offset, bytes.data(), c.length, c.bits)
                       : writeI2cDev(c.bus, c.device, c.offset, bytes.data(), c.length, c.bits);
        });
        EXPECT_EQ(seen.result, c.result) << c.trace;
        EXPECT_EQ(seen.trace, c.trace);
        EXPECT_EQ(seen.errors + seen.output, "") << c.trace;
    }
}

TEST_F(I2c, WhatIsWrittenIsRead) {
    Bytes const written = counting(300);
    Seen const whole = see([&] { return writeI2cDev(0, 0x50, 0x0201, written.data(), 300, 16); });
    EXPECT_EQ(whole.result, 256) << "as much as goes";
    EXPECT_EQ(whole.errors, "");
    Bytes read(300, 0);
    EXPECT_EQ(readI2cDev(0, 0x50, 0x0200, read.data(), 300, 16), 300);
    Bytes expected(300, 0xFF);
    std::copy_n(written.begin(), 256, expected.begin() + 1);
    EXPECT_EQ(read, expected);
    Bytes const image = readBytes("/dev/blade/i2c-0-50.bin");
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), image.begin() + 0x200));
}

// Retries after EIO only, up to fifteen for each transfer.
TEST_F(I2c, FailuresOfATransfer) {
    auto const retried = [](const std::string& words, int count) {
        std::string text;
        for (int i = 1; i <= count; ++i) {
            text += words + "Retrying ..." + std::to_string(i) + "\n";
        }
        return text;
    };
    std::string const r = "i2c_access: readI2cDev: ";
    std::string const w = "i2c_access: writeI2cDev: ";
    std::string const address = r + "write failed(retval = -1)! ";
    std::string const data = r + "read failed(retval = -1)! ";
    std::string const piece = w + "write failed (retval = -1)! ";
    std::string const endOfRead = r + "I2c read failed.\n";
    auto const endOfWrite = [&](int result, int error, const char* first, int size) {
        return w + "write failed! retval = " + std::to_string(result) + " errno " +
               std::to_string(error) + "\n" + w + "write failed! tmpb[0]: 0x10 tmpb[1]: 0x" +
               first + " bytes to Write : " + std::to_string(size) + "\n" + w +
               "write failed! bus: 0 devaddr: 0x50 addr: 0x1001 len: 5 i2c_data_addr_bits: 16 "
               "i2cdrv: N\n" +
               w + "I2c write failed.\n";
    };
    // clang-format off
    struct { char kind; const char* faults; int result; std::string errors; } const cases[] = {
        {'r', "fail i2c-0 write EIO 15",   20, retried(address, 15)},
        {'r', "fail i2c-0 write EIO 16",   -1, retried(address, 15) + r + "write failed! retval = -1 errno = 5\n" + endOfRead},
        {'r', "fail i2c-0 write ENXIO",    -1, r + "write failed! retval = -1 errno = 6\n" + endOfRead},
        {'r', "short i2c-0 write",         -1, r + "write failed! retval = 1 errno = 0\n" + endOfRead},
        {'r', "fail i2c-0 read EIO 1",     20, ""}, // the read that is thrown away
        {'r', "fail i2c-0 read EIO 15 2",  20, retried(data, 15)},
        {'r', "fail i2c-0 read EIO 16 2",   8, retried(data, 15) + r + "read failed! retval = -1 errno = 5\n" + endOfRead},
        {'r', "fail i2c-0 read EIO 1 1\nshort i2c-0 read 1 2", 8, retried(data, 1) + r + "read failed! retval = 7 errno = 0\n" + endOfRead},
        {'r', "fail i2c-0 read ENXIO 1 3", 16, r + "read failed! retval = -1 errno = 6\n" + endOfRead},
        {'r', "short i2c-0 read 1 2",       8, r + "read failed! retval = 7 errno = 0\n" + endOfRead},
        {'r', "short i2c-0 read 1 1",       0, r + "read failed! retval = 7 errno = 0\n" + endOfRead},
        {'r', "fail i2c-0 address EBUSY",  -1, r + "ioctl failed\n" + endOfRead},
        {'r', "fail i2c-0 open EACCES",    -1, r + "open failed\n" + endOfRead},
        {'w', "fail i2c-0 write EIO 15 1",  5, retried(piece, 15)},
        {'w', "fail i2c-0 write EIO 15\nfail i2c-0 write EIO 15 1", 5, retried(piece, 15) + retried(piece, 15)},
        {'w', "fail i2c-0 write EIO 16 1",  1, retried(piece, 15) + endOfWrite(-1, 5, "02", 4)},
        {'w', "fail i2c-0 write ENXIO 1",   0, endOfWrite(-1, 6, "01", 3)},
        {'w', "skip i2c-0 write 9",         5, ""}, // a part that only says that it took them
        {'w', "short i2c-0 write 1 2",      3, endOfWrite(3, 0, "04", 4)},
        {'w', "fail i2c-0 address EBUSY",   0, w + "ioctl failed\n" + w + "I2c write failed.\n"},
        {'w', "fail i2c-0 open EACCES",     0, w + "ioctl failed\n" + w + "I2c write failed.\n"},
    };
    // clang-format on
    for (auto const& c : cases) {
        control(std::string("reset\n") + c.faults);
        Bytes bytes = counting(20);
        std::size_t const open = openDescriptors();
        Seen seen = see([&] {
            errno = EIO; // of some older call
            return c.kind == 'r' ? readI2cDev(0, 0x50, 0x1001, bytes.data(), 20, 16)
                                 : writeI2cDev(0, 0x50, 0x1001, bytes.data(), 5, 16);
        });
        EXPECT_EQ(seen.result, c.result) << c.kind << c.faults;
        EXPECT_EQ(openDescriptors(), open) << c.kind << c.faults;
        if (auto const fd = seen.errors.find("i2cdrv: "); fd != std::string::npos) {
            auto const end = seen.errors.find('\n', fd);
            EXPECT_GT(std::stoi(seen.errors.substr(fd + 8)), 2);
            seen.errors.replace(fd + 8, end - fd - 8, "N");
        }
        EXPECT_EQ(seen.errors, c.errors) << c.kind << c.faults;
    }
    for (const char* const part :
         {"<11>", "i2c_access[", "]: writeI2cDev ", ": I2c read failed."}) {
        EXPECT_NE(logged().find(part), std::string::npos) << part << ": an error of a user program";
    }
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

// --- The lock.

int semaphoreValue() {
    int value = -1;
    ::sem_getvalue(&vxI2CSema, &value);
    return value;
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

TEST_F(I2c, WithoutTheFileLockNothingMovesAndNothingIsHeld) {
    VX_openI2CLock();
    int const good = std::exchange(i2cLockFd, 9999);
    char byte = 0;
    uint16_t value = 7;
    Seen const seen = see([&] {
        return readI2cDev(0, 0x50, 0, &byte, 1, 16) + writeI2cDev(0, 0x50, 0, &byte, 1, 16) +
               getBoardTemp(nullptr, nullptr, &value, nullptr) +
               getBoardTemp(nullptr, nullptr, nullptr, &value);
    });
    EXPECT_EQ(seen.result, -4);
    EXPECT_EQ(seen.trace, "");
    EXPECT_EQ(semaphoreValue(), 1);
    i2cLockFd = good;
    // A lock file that cannot be made.
    i2cLockFd = -1;
    ::rename("/var/lock/i2cLock", "/var/lock/away");
    ASSERT_EQ(::mkdir("/var/lock/i2cLock", 0755), 0);
    Seen const none = see([&] { return readI2cDev(0, 0x50, 0, &byte, 1, 16); });
    EXPECT_EQ(none.result, -1);
    EXPECT_EQ(none.errors,
              "i2c_access: VX_openI2CLock: Failed to open lock file /var/lock/i2cLock\n"
              "i2c_access: readI2cDev: Failed to open lock file\n");
    ::rmdir("/var/lock/i2cLock");
    ::rename("/var/lock/away", "/var/lock/i2cLock");
    i2cLockFd = good;
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
