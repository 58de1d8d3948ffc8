// Device nodes, the I2C buses and the lock that they share with the flash, the NOR flash, the
// serial EEPROM's records, the memory module, the sensors, serial and model number.
#include "common/files.h"
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"
#include "tests/support/text.h"

#include <vxblade/bootenv.h>
#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/seep.h>

#include <csignal>
#include <functional>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int semaphoreValue() {
    int value = -1;
    ::sem_getvalue(&vxI2CSema, &value);
    return value;
}

// Writes a text to one sensor's file, and what is usual to the others'.
std::string setSensor(const Words& words) {
    const char* const files[][3] = {
        {"board", "/sys/class/hwmon/hwmon0/device/temp1_input", "38000\n"},
        {"front", "/sys/class/i2c-dev/i2c-1/device/1-004c/temp1_input", "31500\n"},
        {"rear", "/sys/class/i2c-dev/i2c-1/device/1-004c/temp2_input", "35200\n"},
        {"mem", "/sys/class/i2c-dev/i2c-0/device/0-001e/temp1_input", "40100\n"}};
    for (auto const& [name, path, usual] : files) {
        std::string const text = words[0] == name ? words[1] : usual;
        writeText(path, replaced(text, R"(\\n)", "\n"));
        if (text == "none") {
            ::unlink(path);
        }
    }
    return "done";
}

// Puts a descriptor that is not open in place of the lock's or the flash's, and takes it away.
std::string exchangeDescriptor(const Words& words) {
    constexpr int32_t notOpen = 9999;
    static int32_t kept = -1;
    int32_t& handle = words[0] == "lock" ? i2cLockFd : vhnor_drv;
    kept = std::exchange(handle, handle == notOpen ? kept : notOpen);
    return "done";
}

std::string setImageOf(const Words& words) {
    setImage(words[0], std::stoul(words[1], nullptr, 0), bytesOfWord(words[2]));
    return "done";
}

Calls const calls = {
    // clang-format off
    {"open", callOf(reopenFlash)}, {"lose", exchangeDescriptor}, {"find", exchangeDescriptor},
    {"sensor", setSensor}, {"setImage", setImageOf},
    {"vxTolvaneStats", [](auto&) { return hex(bytesOf(&vxTolvaneStats, 17)); }},
    NAMED(readI2cDev), NAMED(writeI2cDev), NAMED(semaphoreValue),
    NAMED(vhnor_init), NAMED(vhnor_read), NAMED(vhnor_program), NAMED(vhnor_erase),
    NAMED(vhnor_lock), NAMED(vhnor_unlock), NAMED(vhnor_offset_region), NAMED(VX_getMySlotPosition),
    NAMED(readBytesFromSeep), NAMED(writeBytesToSeep), NAMED(getOemSpace), NAMED(setOemSpace),
    NAMED(getPCIeRegsFromSeep), NAMED(setPCIeRegsToSeep), NAMED(getVhHwVersion),
    NAMED(setVhHwVersion), NAMED(getFwUpgradeFlagFromSeep), NAMED(setFwUpgradeFlagToSeep),
    NAMED(getBistFromSeep), NAMED(setBistToSeep), NAMED(setDefaultBist), NAMED(calc_bist_cksum),
    NAMED(setBistTestModeAndExecCount), NAMED(loadTolvaneStatsFromSeep), NAMED(updateStatsToSeep),
    NAMED(getFsResetStatsToSeep), NAMED(getNVDIMMStatsFromSeep), NAMED(getNvDimmManufId),
    NAMED(getNvDimmManufLocation), NAMED(getNvDimmPartNumber), NAMED(getNvDimmSerialNumber),
    NAMED(verifyAndInitNvDimmI2CregMap), NAMED(getBoardTemp), NAMED(vornhal_init_env),
    NAMED(getBladeModelNum), NAMED(setBladeModelNum), NAMED(getBladeSerialNum),
    NAMED(setBladeSerialNum),
    // clang-format on
};

using Hardware = DeviceTest;

TEST_F(Hardware, I2cTranscript) {
    expectTranscript("i2c", calls);
    exchangeDescriptor({"lock"});
    EXPECT_NE(logged().find("]: writeI2cDev "), std::string::npos);
}

TEST_F(Hardware, NorTranscript) {
    expectTranscript("nor", calls);
}

TEST_F(Hardware, SeepTranscript) {
    expectTranscript("seep", calls);
    EXPECT_EQ(default_nvdimm_i2c_addr, 0x58) << "the last one that answered";
}

TEST_F(Hardware, WritesAsMuchAsGoes) {
    Bytes const written(300, 'w');
    EXPECT_EQ(writeI2cDev(0, 0x50, 0x0200, written.data(), 300, 16), 256);
    EXPECT_EQ(image("i2c-0-50", 0x200, 256), Bytes(256, 'w'));
    EXPECT_EQ(image("i2c-0-50", 0x300, 1), Bytes(1, 0xFF));
}

// The lock is held around a whole transfer, within the semaphore, and the parts get their time.
TEST_F(Hardware, OrderOfATransfer) {
    char bytes[3] = "";
    see(vhnor_init);
    EXPECT_EQ(::fcntl(vhnor_drv, F_GETFL) & O_SYNC, O_SYNC);
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
    control("fail mtd0 program EIO");
    EXPECT_EQ(vhnor_program(0, bytes, 3), -1);
    EXPECT_EQ(errno, EIO) << "the driver's, past the lock";
}

TEST_F(Hardware, LockOpensItself) {
    ::unlink("/var/lock/i2cLock");
    ::mkdir("/var/lock/i2cLock", 0755);
    EXPECT_EQ(see([] { return readI2cDev(0, 0x50, 0, nullptr, 1, 16); }).result, -1);
    EXPECT_EQ(semaphoreValue(), 1) << "not held where the file cannot be made";
    ::rmdir("/var/lock/i2cLock");
    uint16_t board = 0;
    EXPECT_EQ(getBoardTemp(nullptr, nullptr, &board, nullptr), 0) << "before any other call";
    struct stat status {};
    ::fstat(i2cLockFd, &status);
    EXPECT_EQ(status.st_mode & 0444, 0444U) << "for every program of the blade";
}

TEST_F(Hardware, GivesUpOnTheSemaphoreAfterSixWaits) {
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
TEST_F(Hardware, OneProcessHasTheLock) {
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
TEST_F(Hardware, NodesAreAboveTheStandardStreams) {
    auto const opensAll = [] {
        ::close(STDIN_FILENO);
        ::close(STDERR_FILENO);
        long const written = writeI2cDev(0, 0x50, 0, "x", 1, 16);
        bool const isAbove = i2cLockFd > 2 && vx::openFile("/dev/null", O_RDONLY) > 2;
        bool const areClosed = ::fcntl(0, F_GETFD) < 0 && ::fcntl(2, F_GETFD) < 0;
        ::_exit(written == 1 && isAbove && areClosed ? 0 : 1);
    };
    EXPECT_EXIT(opensAll(), testing::ExitedWithCode(0), "");
}

TEST_F(Hardware, NodesHaveTheNumbersOfTheirDrivers) {
    std::string const listing = "/mnt/nand0/devices";
    writeText(listing, "early 5 vxgpdev\nCharacter devices:\n  1 mem\n254 vxgpdev2\n"
                       " 90 mtd \t\r\n12345 huge\n1234 \t x four\n\n13 " +
                           std::string(200, 'y') + "\nBlock devices:\n  7 loop\n");
    const char* const node = "/dev/vx-test-node";
    if (::mknod(node, S_IFCHR | 0600, makedev(1, 5)) != 0 ||
        ::mount(listing.c_str(), "/proc/devices", nullptr, MS_BIND, nullptr) != 0) {
        GTEST_SKIP() << "SKIPPED: Hardware: no node can be made, or /proc/devices not replaced";
    }
    char line[9];
    FILE* const file = std::fopen("/proc/devices", "r");
    EXPECT_EQ(readLine(file, line, sizeof line), 16);
    EXPECT_STREQ(line, "early 5 ");
    std::fclose(file);
    std::string const cut(96, 'y'); // at 100 with its number and an end
    std::tuple<std::string, int, uint32_t> const drivers[] = {
        {"mem", 0, 1},  {"vxgpdev", 0, 0},   {"vxgpdev2", 0, 254}, {"mtd", 0, 90},
        {"huge", 0, 0}, {"x four", 0, 1234}, {"loop", 0, 0},       {"loop", 1, 7},
        {"mem", 1, 0},  {"MEM", 0, 0},       {"5 huge", 0, 0},     {cut, 0, 13}};
    for (auto const& [name, type, number] : drivers) {
        EXPECT_EQ(getMajor(name.c_str(), type), number) << name;
    }
    std::tuple<const char*, const char*, int, bool> const nodes[] = {
        {"mem", node, 0, true}, // there is one of another number
        {"mem", node, 0, false},
        {"mem", "/dev/vx-test-new", 0, false},
        {"mem", "/dev/vxgpdev", -1, true}, // which cannot be removed
        {"absent", node, -1, false}};
    for (auto const& [driver, path, result, isMismatch] : nodes) {
        SCOPED_TRACE(path);
        Seen const seen = see(std::bind_front(map_driver, driver, 0, path, 3));
        EXPECT_EQ(seen.result, result);
        EXPECT_EQ(seen.output.starts_with("Mismatch on map_driver"), isMismatch);
        EXPECT_EQ(nodeExists(path, makedev(1, 3)), isMismatch && result != 0 ? -1 : 1);
    }
    struct stat folder {};
    ASSERT_EQ(::stat("/dev", &folder), 0);
    EXPECT_EQ(nodeExists(node, folder.st_dev), 1) << "the file system's own number";
    ::umount("/proc/devices");
    ::unlink(node);
    ::unlink("/dev/vx-test-new");
}

TEST_F(Hardware, NodesOpenOnceOrNotAtAll) {
    std::tuple<int (*)(const char*), int (*)(int), int32_t&, std::string, const char*,
               std::string> const cases[] = {
        {XBMGT_OpenGeneralPurposeDev, XBMGT_CloseGeneralPurposeDev, gpDevHandle,
         "General Purpose device handle", "vxgpdev",
         "XBMGT_OpenGeneralPurposeDev: Open failed gpDevHandle"},
        {XBMGT_OpenBridgeApp, XBMGT_CloseBridgeApp, BrAppHandle, "Brapp handle", "vxbrapp",
         "MGMT_OpenBridgeApp: Open failed bridgeapphandle"}};
    for (auto const& [open, close, handle, name, driver, failed] : cases) {
        SCOPED_TRACE(driver);
        int const fd = open(driver);
        EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
        Seen const again = see(std::bind_front(open, "vx-none"));
        EXPECT_EQ(again.result, fd);
        EXPECT_EQ(again.output, name + " already initialized! " + std::to_string(fd) + " \n");
        EXPECT_EQ(close(fd) + close(fd), -1);
        EXPECT_EQ(std::exchange(handle, -1), fd);
        systemCalls.sleeps = 0;
        Seen const none = see(std::bind_front(open, "vx-none"));
        EXPECT_EQ(none.result, 0);
        EXPECT_EQ(systemCalls.sleeps, 121);
        std::string const pause = name + " not available yet: -1 , 2 \n";
        EXPECT_TRUE(none.output.starts_with(pause));
        EXPECT_TRUE(none.output.ends_with(pause + "Time out waiting for Brapp handle: -1 , 2 \n" +
                                          failed +
                                          " = -1\nErrorNumber is No such file or directory\n"));
    }
    EXPECT_EQ(see(initGpDevice).result, 0);
    ::close(std::exchange(gpDevHandle, -1));
    control("fail vxgpdev open EIO 244");
    EXPECT_EQ(see(initGpDevice).result, -1);
    EXPECT_EQ(see(VX_getMySlotPosition).result, 255);
}

} // namespace
