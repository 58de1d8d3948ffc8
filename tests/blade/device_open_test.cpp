// Device nodes and the general-purpose device, in a /dev of the test's own.
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/hw.h>

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
        std::string const listing = "/mnt/nand0/devices";
        std::ofstream(listing)
            << "early 5 vxgpdev\nCharacter devices:\n  1 mem\n254 vxgpdev2\n"
               " 90 mtd\n12345 huge\n1234 \t x four\n\nBlock devices:\n  7 loop\n";
        if (::mount(listing.c_str(), "/proc/devices", nullptr, MS_BIND, nullptr) != 0 ||
            ::mknod(node_, S_IFCHR | 0600, makedev(1, 5)) != 0) {
            GTEST_SKIP() << "SKIPPED: Devices: cannot mount over /proc/devices, or make nodes: "
                         << std::strerror(errno);
        }
    }

    void TearDown() override {
        ::umount("/proc/devices");
        ::unlink(node_);
        DeviceTest::TearDown();
    }

    const char* const node_ = "/dev/vx-test-node";
};

TEST_F(Devices, MajorNumbers) {
    std::tuple<const char*, int, uint32_t> const cases[] = {
        {"mem", 0, 1},  {"vxgpdev", 0, 0},   {"vxgpdev2", 0, 254}, {"mtd", 0, 90},
        {"huge", 0, 0}, {"x four", 0, 1234}, {"loop", 0, 0},       {"loop", 1, 7},
        {"mem", 1, 0},  {"MEM", 0, 0},       {"5 huge", 0, 0}};
    for (auto const& [name, type, number] : cases) {
        EXPECT_EQ(getMajor(name, type), number) << name;
    }
}

TEST_F(Devices, NodesAreMadeAndReplaced) {
    struct Case {
        const char *driver, *node;
        int number, result;
        bool isMismatch;
    };
    for (auto const& c :
         {Case{"mem", node_, 3, 0, true}, // there is one of another number
          Case{"mem", node_, 3, 0, false}, Case{"mem", "/dev/vx-test-new", 3, 0, false},
          Case{"mem", "/dev/vxgpdev", 0, -1, true}, // which cannot be removed
          Case{"absent", node_, 3, -1, false}}) {
        SCOPED_TRACE(c.node);
        Seen const seen = see([&] { return map_driver(c.driver, 0, c.node, c.number); });
        EXPECT_EQ(seen.result, c.result);
        EXPECT_EQ(seen.output.starts_with("Mismatch on map_driver"), c.isMismatch);
        struct stat status {};
        ASSERT_EQ(::stat(c.node, &status), 0);
        EXPECT_TRUE(c.result != 0 || status.st_rdev == makedev(1, static_cast<unsigned>(c.number)));
    }
    ::unlink("/dev/vx-test-new");
    struct stat folder {};
    ASSERT_EQ(::stat("/dev", &folder), 0);
    EXPECT_EQ(nodeExists(node_, folder.st_dev), 1) << "the file system's own number";
}

TEST_F(Devices, OpensOnce) {
    Seen const seen = see([] { return initGpDevice() + initGpDevice(); });
    EXPECT_EQ(seen.result, 0);
    EXPECT_TRUE(seen.output.ends_with("handle already initialized! " + std::to_string(gpDevHandle) +
                                      " \n"));
    EXPECT_EQ(::fcntl(gpDevHandle, F_GETFD), FD_CLOEXEC);
    int const fd = gpDevHandle;
    EXPECT_EQ(XBMGT_CloseGeneralPurposeDev(fd), 0);
    EXPECT_EQ(std::exchange(gpDevHandle, -1), fd);
    EXPECT_LT(::fcntl(fd, F_GETFD), 0);
}

TEST_F(Devices, GivesUpAfterTwoMinutes) {
    systemCalls.sleeps = 0;
    Seen const seen = see([] { return XBMGT_OpenGeneralPurposeDev("vx-none"); });
    EXPECT_EQ(seen.result, 0);
    EXPECT_TRUE(
        seen.output.starts_with("General Purpose device handle not available yet: -1 , 2 \n"));
    EXPECT_TRUE(seen.output.ends_with("not available yet: -1 , 2 \n"
                                      "Time out waiting for Brapp handle: -1 , 2 \n"
                                      "XBMGT_OpenGeneralPurposeDev: Open failed gpDevHandle = -1\n"
                                      "ErrorNumber is No such file or directory\n"));
    EXPECT_EQ(systemCalls.sleeps, 121);
    control("fail vxgpdev open EIO 122");
    EXPECT_EQ(see(initGpDevice).result, -1);
}

} // namespace
