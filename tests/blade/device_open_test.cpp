// Device nodes and the general-purpose device, in a /dev of the test's own.
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/hw.h>
#include <vxblade/nor.h>

#include <fstream>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

class Devices : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        std::ofstream(listing_) << "early 5 vxgpdev\nCharacter devices:\n  1 mem\n254 vxgpdev2\n"
                                   " 90 mtd\n12345 huge\n1234 four\n\nBlock devices:\n  7 loop\n";
        if (::mount(listing_.c_str(), "/proc/devices", nullptr, MS_BIND, nullptr) != 0) {
            GTEST_SKIP() << "SKIPPED: Devices: cannot mount over /proc/devices: "
                         << std::strerror(errno);
        }
        mounted_ = true;
    }

    void TearDown() override {
        if (mounted_) {
            ::umount("/proc/devices");
        }
        DeviceTest::TearDown();
        ::unlink(node_.c_str());
    }

    std::string const listing_ = "/mnt/nand0/devices";
    std::string const node_ = "/dev/vx-test-node";

  private:
    bool mounted_ = false;
};

TEST_F(Devices, MajorNumbers) {
    std::tuple<const char*, int, uint32_t> const cases[] = {
        {"mem", 0, 1},     {"vxgpdev", 0, 0}, {"vxgpdev2", 0, 254}, {"mtd", 0, 90}, {"huge", 0, 0},
        {"four", 0, 1234}, {"loop", 0, 0},    {"loop", 1, 7},       {"mem", 1, 0},  {"MEM", 0, 0}};
    for (auto const& [name, type, number] : cases) {
        EXPECT_EQ(getMajor(name, type), number) << name;
    }
}

TEST_F(Devices, NodesAreMadeAndReplaced) {
    EXPECT_EQ(
        printedBy([&] { EXPECT_EQ(map_driver("absent", DEVICE_CHARACTER, node_.c_str(), 0), -1); }),
        "map_driver Failed to find driver absent \n");
    if (::mknod("/dev/vx-probe", S_IFCHR | 0600, makedev(1, 3)) != 0) {
        GTEST_SKIP() << "SKIPPED: Devices.NodesAreMadeAndReplaced: cannot make device nodes: "
                     << std::strerror(errno);
    }
    ::unlink("/dev/vx-probe");
    // A missing node, the right one, one of a wrong number.
    std::string const mismatch = "Mismatch on map_driver, trying to remove node: " + node_ + "\n";
    std::pair<int, std::string> const cases[] = {{3, ""}, {3, ""}, {5, mismatch}};
    for (auto const& [number, printed] : cases) {
        EXPECT_EQ(printedBy([&, minorNumber = number] {
                      EXPECT_EQ(map_driver("mem", DEVICE_CHARACTER, node_.c_str(), minorNumber), 0);
                  }),
                  printed);
        struct stat status {};
        ASSERT_EQ(::stat(node_.c_str(), &status), 0);
        EXPECT_TRUE(S_ISCHR(status.st_mode));
        EXPECT_EQ(status.st_rdev, makedev(1, static_cast<unsigned>(number)));
    }
    struct stat folder {};
    ASSERT_EQ(::stat("/dev", &folder), 0);
    EXPECT_EQ(nodeExists(node_.c_str(), folder.st_dev), 1) << "the file system's own number";
    EXPECT_EQ(nodeExists("/dev/none", makedev(1, 6)), 0);
    // What cannot be removed stays a mismatch.
    EXPECT_NE(
        printedBy([] { EXPECT_EQ(map_driver("mem", DEVICE_CHARACTER, "/dev/vxgpdev", 0), -1); }),
        "");
}

TEST_F(Devices, OpensOnce) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(initGpDevice(), 0);
    int const fd = gpDevHandle;
    EXPECT_GE(fd, 3);
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(initGpDevice(), 0);
    EXPECT_TRUE(testing::internal::GetCapturedStdout().ends_with(
        "initGpDevice:1024 Failed to map_driver vxgpdev\n"
        "General Purpose device handle already initialized! " +
        std::to_string(fd) + " \n"));
    EXPECT_EQ(XBMGT_CloseGeneralPurposeDev(fd), 0);
    EXPECT_EQ(gpDevHandle, fd);
}

TEST_F(Devices, GivesUpAfterTwoMinutes) {
    systemCalls.sleeps = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(XBMGT_OpenGeneralPurposeDev("vx-none"), 0);
    std::string const text = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(text.ends_with("General Purpose device handle not available yet: -1 , 2 \n"
                               "Time out waiting for Brapp handle: -1 , 2 \n"
                               "XBMGT_OpenGeneralPurposeDev: Open failed gpDevHandle = -1\n"
                               "ErrorNumber is No such file or directory\n"));
    EXPECT_EQ(systemCalls.sleeps, 121);
    EXPECT_EQ(gpDevHandle, -1);
    control("fail vxgpdev open EIO 122");
    testing::internal::CaptureStdout();
    EXPECT_EQ(initGpDevice(), -1);
    EXPECT_TRUE(testing::internal::GetCapturedStdout().ends_with(
        "initGpDevice: Open failed 0 = vxgpdev\n"));
}

TEST_F(Devices, FlashOpensWithoutItsNumber) {
    Seen const seen = see(vhnor_init);
    EXPECT_EQ(seen.result, 0);
    EXPECT_EQ(seen.output, "Mismatch on map_driver, trying to remove node: /dev/mtd0\n");
    EXPECT_NE(logged().find(": map_driver() Failed mtd /dev/mtd0"), std::string::npos);
}

} // namespace
