// The queries on interfaces, addresses and routes of a real kernel.
#include "tests/blade/net_support.h"

#include <vxblade/net.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Runs commands of the program `ip`, one a line.
bool ip(const std::string& commands) {
    return std::system(("ip -batch - <<'END'\n" + commands + "\nEND").c_str()) == 0;
}

// A pair of interfaces; eth0 has one IPv4 address and no gateway.
class Network : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(ip("link del eth0\n"
                       "link add eth0 index 77 address 02:00:00:fe:80:0a mtu 1400 type veth "
                       "peer name peer0 index 78\n"
                       "link set eth0 addrgenmode none\n"
                       "link set peer0 up addrgenmode none\n"
                       "link set eth0 up\n"
                       "addr add 192.168.1.5 peer 192.168.1.9/24 dev eth0"));
    }
};

class Network6 : public Network {
  protected:
    void SetUp() override {
        Network::SetUp();
        if (!HasFatalFailure() && !ip("addr add fd00::5/64 dev eth0 nodad")) {
            GTEST_SKIP() << "SKIPPED: net_test: Network6: this kernel has no IPv6";
        }
    }
};

TEST_F(Network, Properties) {
    VXNetIoctl* handle = nullptr;
    std::string const started = "StartedOpened socked ";
    std::string const printed = captured([&] { handle = VXNetIoctlGetHnd(); });
    ASSERT_EQ(printed.find(started), 0U);
    int const fd = std::stoi(printed.substr(started.size()));
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
    struct ifreq block;
    std::tuple<std::string, int, int> const cases[] = {
        {"eth0", 0, 1400}, {"none", -1, -1}, {"more-than-sixteen", -1, -1}};
    for (auto const& [ifname, status, mtu] : cases) {
        std::memset(&block, 0xFF, sizeof block);
        EXPECT_EQ(VXNetIoctlGetNetProperty(handle, ifname.c_str(), SIOCGIFMTU, &block), status);
        std::string name = ifname;
        name.resize(IFNAMSIZ);
        EXPECT_EQ(std::string(block.ifr_name, IFNAMSIZ), name);
        EXPECT_EQ(block.ifr_mtu, mtu);
    }
    errno = 0;
    EXPECT_EQ(VXNetIoctlGetNetProperty(nullptr, "eth0", SIOCGIFMTU, &block), -1);
    EXPECT_EQ(VXNetIoctlGetNetProperty(handle, nullptr, SIOCGIFMTU, &block), -1);
    EXPECT_EQ(VXNetIoctlGetNetProperty(handle, "eth0", SIOCGIFMTU, nullptr), -1);
    EXPECT_EQ(errno, 0) << "no request was issued";
    VXNetIoctlDestroyHnd(handle);
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1) << "closed";
    VXNetIoctlDestroyHnd(nullptr);
}

TEST_F(Network, DestructorIsVirtual) {
    static bool destroyed = false;
    struct Derived : VXNetIoctl {
        ~Derived() override { destroyed = true; }
    };
    captured([] { VXNetIoctlDestroyHnd(new Derived); });
    EXPECT_TRUE(destroyed);
}

TEST_F(Network, NoSocket) {
    struct rlimit limit;
    ::getrlimit(RLIMIT_NOFILE, &limit);
    struct rlimit const none = {0, limit.rlim_max};
    struct ifreq block {};
    EXPECT_EQ(captured([&] {
                  ::setrlimit(RLIMIT_NOFILE, &none);
                  VXNetIoctl const broken;
                  errno = 0;
                  EXPECT_EQ(broken.getNetProperty("eth0", SIOCGIFMTU, &block), -1);
                  EXPECT_EQ(errno, 0) << "no request was issued";
                  ::setrlimit(RLIMIT_NOFILE, &limit);
              }),
              "StartedOpened socked -1");
}

std::string flagLines(unsigned flags) {
    constexpr std::pair<const char*, unsigned> names[] = {
        // clang-format off
        {"IFF_UP", 0x1}, {"IFF_BROADCAST", 0x2}, {"IFF_DEBUG", 0x4}, {"IFF_LOOPBACK", 0x8}, {"IFF_POINTOPOINT", 0x10},
        {"IFF_RUNNING", 0x40}, {"IFF_NOARP", 0x80}, {"IFF_PROMISC", 0x100}, {"IFF_NOTRAILERS", 0x20}, {"IFF_ALLMULTI", 0x200},
        {"IFF_MASTER", 0x400}, {"IFF_SLAVE", 0x800}, {"IFF_MULTICAST", 0x1000}, {"IFF_PORTSEL", 0x2000}, {"IFF_AUTOMEDIA", 0x4000},
        // clang-format on
    };
    std::string text = "Flags for iface:";
    for (auto const& [name, bit] : names) {
        text += std::string(name) + ((flags & bit) != 0 ? ": 1\n" : ": 0\n");
    }
    return text;
}

// What printInterfaceInfo prints behind the socket's number.
std::string infoOf(const char* ifname) {
    std::string const text = captured([&] { printInterfaceInfo(ifname); });
    std::string const started = "StartedOpened socked ";
    EXPECT_EQ(text.find(started), 0U);
    std::size_t const end = text.find_first_not_of("0123456789", started.size());
    return text.substr(std::min(end, text.size()));
}

TEST_F(Network, InterfaceInfo) {
    std::string const expected = "MTU for eth0 is 1400\n"
                                 "HW Addr for eth0 is:\n02 00 00 fe 80 0a \n"
                                 "Ip Addr for eth0 is: 192.168.1.5\n"
                                 "Netmask for eth0 is: 255.255.255.0\n"
                                 "Dest for eth0 is: 192.168.1.9\n";
    VXNetIoctl* handle = nullptr;
    captured([&] { handle = VXNetIoctlGetHnd(); });
    for (unsigned const flag : {0x4U, 0x20U, 0x80U, 0x100U, 0x200U, 0x1000U, 0x2000U, 0x4000U}) {
        struct ifreq block {};
        block.ifr_flags = static_cast<short>(0x1 | flag);
        ASSERT_EQ(VXNetIoctlGetNetProperty(handle, "eth0", SIOCSIFFLAGS, &block), 0);
        std::string const text = infoOf("eth0");
        // Whether the link runs already is the kernel's affair.
        unsigned const running = text.find("IFF_RUNNING: 1") != std::string::npos ? 0x40 : 0;
        EXPECT_EQ(text, "Index for eth0 is 77\n" + flagLines(0x3 | flag | running) + expected);
    }
    VXNetIoctlDestroyHnd(handle);
    EXPECT_NE(infoOf("lo").find(flagLines(0x49)), std::string::npos);
    ASSERT_TRUE(ip("route add default via 192.168.1.1"));
    EXPECT_TRUE(infoOf("eth0").ends_with(expected + "Found default gw: 192.168.1.1\n"));
    EXPECT_EQ(infoOf("none"), "");
    EXPECT_EQ(infoOf(nullptr), "");
}

TEST_F(Network6, Addresses) {
    ASSERT_TRUE(ip("addr add fd00::9/65 dev peer0 nodad"));
    struct {
        uint8_t head[26];
        Address6 global[2];
        Address6 linkLocal;
    } record{};
    EXPECT_EQ(VXNetGetActualIpv6Data(&record), 0);
    EXPECT_EQ(record.global[0], address6("fd00::5"));
    int const fd = open_ipv6_interface_file();
    VXNetInterfaceParams params;
    ASSERT_EQ(read_next_interface_params(fd, "peer0", &params), 0);
    EXPECT_EQ(std::memcmp(params.address, address6("fd00::9").data(), sizeof params.address), 0);
    EXPECT_EQ(params.index, ::if_nametoindex("peer0"));
    EXPECT_TRUE(params.prefixLength == 65 && params.scope == 0);
    EXPECT_EQ(params.flags, 0x82U) << "permanent, no duplicate detection";
    close_ipv6_interface_file(fd);
}

TEST_F(Network6, Gateway) {
    std::pair<const char*, const char*> const cases[] = {
        {"route replace unreachable 2001:db8:6::/48", "::"},
        {"route add 2001:db8:7::/48 via fd00::7 dev eth0", "fd00::7"}, // not the default one
        {"route del 2001:db8:7::/48", "::"},
        {"route add ::/0 via fd00::1 dev eth0", "fd00::1"},
    };
    for (auto const& [change, expected] : cases) {
        ASSERT_TRUE(ip(change));
        Address6 gateway;
        gateway.fill(0xEE);
        EXPECT_EQ(VXNetGetGateway6("eth0", gateway.data()), 0);
        EXPECT_EQ(gateway, address6(expected)) << change;
    }
}

} // namespace
