// Queries of interfaces, addresses and routes: over tables of the test's own in place of /proc/net,
// and of a real kernel. All in a network namespace of the test's own, which main enters: nothing
// that it does shows on the machine's network.
#include <vxblade/net.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// What `run` prints on standard output.
std::string captured(const auto& run) {
    testing::internal::CaptureStdout();
    run();
    return testing::internal::GetCapturedStdout();
}

// Addresses as strings, and as the kernel's tables have them.
std::string shown(int family, const void* address) {
    char text[INET6_ADDRSTRLEN];
    return std::string(" ") + ::inet_ntop(family, address, text, sizeof text);
}
std::string digits(const char* address) {
    uint8_t bytes[16];
    EXPECT_EQ(::inet_pton(AF_INET6, address, bytes), 1) << address;
    std::string text;
    for (uint8_t const byte : bytes) {
        text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    return text;
}

// Lines of the tables.
std::string padded(std::string name) {
    return name.insert(0, 8 - std::min<std::size_t>(name.size(), 8), ' ') + "\n";
}
std::string inet6(const char* address, const char* name = "eth0", const char* index = "02") {
    return digits(address) + " " + index + " 40 20 80 " + padded(name);
}
std::string route6(const char* nextHop, const char* flags, const char* name = "eth0") {
    return digits("2001:db8::") + " 30 " + digits("::") + " 00 " + digits(nextHop) +
           " 00000400 00000001 00000000 " + flags + " " + padded(name);
}
std::string route4(const char* name, const char* gateway, const char* flags) {
    return std::string(name) + "\t0000000A\t" + gateway + "\t" + flags +
           "\t0\t0\t0\t0\t0\t0\t0  \n";
}

// Queries, with their answers as strings.
std::string gateway(const char* ifname) {
    uint32_t const address = htonl(VXNetGetGateway(ifname));
    return shown(AF_INET, &address);
}
std::string gateway6(const char* ifname) {
    std::string address(16, '\xEE');
    int const result = VXNetGetGateway6(ifname, reinterpret_cast<uint8_t*>(address.data()));
    return std::to_string(result) + shown(AF_INET6, address.data());
}
std::string address(const char* text) {
    std::string bytes(17, '\xEE');
    int const result = read_inet6_addr_string(reinterpret_cast<uint8_t*>(bytes.data()), text);
    EXPECT_EQ(bytes[16], '\xEE');
    return std::to_string(result) + shown(AF_INET6, bytes.data());
}
std::string addresses(const char*) {
    std::string record(74, '\xEE');
    std::string text = std::to_string(VXNetGetActualIpv6Data(record.data()));
    for (std::size_t const offset : {10U, 26U, 42U, 58U}) { // 10 is not written to
        text += shown(AF_INET6, &record[offset]);
    }
    return text;
}
std::string interfaces(const char* ifname) {
    int const fd = open_ipv6_interface_file();
    VXNetInterfaceParams record;
    std::string found;
    while (read_next_interface_params(fd, ifname, &record) == 0) {
        found += shown(AF_INET6, record.address);
    }
    EXPECT_EQ(record.name[0] + record.index, 0U) << "cleared at the end";
    EXPECT_EQ(close_ipv6_interface_file(fd), 0);
    EXPECT_EQ(close_ipv6_interface_file(fd), -1);
    return found;
}
const std::string heading = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n";
const std::string good4 = route4("eth0", "0101A8C0", "0003"); // not to a default destination
const std::string good = inet6("fd00::1");
const std::string badAddress = "-" + good.substr(1);
const std::string badIndex = inet6("1::", "eth0", "-2");
const std::string part = good.substr(0, 53);
const std::string good6 = route6("fd00::1", "00000003"); // not to a default destination either
const std::string bad6 = "-" + good6.substr(1);
const std::string says = "read_next_interface_params ";
const std::string kept = " eeee:eeee:eeee:eeee:eeee:eeee:eeee:eeee";
const std::string kept3 = kept + kept + kept;

// A table, a query, and what it prints with its answer. Lines that are too long put those after
// them out of step.
const struct {
    std::string table;
    std::string (*query)(const char*);
    const char* of;
    std::string expected;
} tables[] = {
    // clang-format off
    {heading + good4 + route4("eth0", "0201A8C0", "0003"), gateway, "eth0", " 192.168.1.1"},
    {route4("eth0", "0201A8C0", "0001") + good4, gateway, "eth0", " 192.168.1.1"},
    {route4("eth0", "0201A8C0", "0002") + good4, gateway, "eth0", " 192.168.1.1"},
    {route4("eth0", "0201A8C0", "0203") + good4, gateway, "eth0", " 192.168.1.2"},
    {route4("eth1", "0201A8C0", "0003") + good4, gateway, "eth0", " 192.168.1.1"},
    {std::string(5000, 'x') + "\n" + good4, gateway, "eth0", " 192.168.1.1"},
    {std::string(1000, ' ') + good4, gateway, "eth0", " 0.0.0.0"}, // cut at 1024
    {route4("sixteen-letters-", "0101A8C0", "3"), gateway, "sixteen-letters-x", " 0.0.0.0"},
    {good4, gateway, "eth", " 0.0.0.0"},
    {good4, gateway, nullptr, " 0.0.0.0"},
    {"", gateway, "eth0", " 0.0.0.0"},

    {inet6("fd00::2") + inet6("fe80::1") + good, addresses, "", "0" + kept + " fd00::2 fd00::1 fe80::1"},
    {inet6("3::") + inet6("::1") + inet6("::2") + inet6("1::") + inet6("fe80::1"), addresses, "",
     "VXNetGetActualIpv6Data: Too many ipv6 addresses!\n0" + kept + " 3:: ::2 fe80::1"},
    {inet6("fe80::1") + inet6("1::", "eth1") + inet6("2::", "eth00") + inet6("febf::2"), addresses, "",
     "0" + kept3 + " febf::2"},
    {inet6("fec0::1") + inet6("ff80::1"), addresses, "", "0" + kept + " fec0::1 ff80::1" + kept},
    {"", addresses, "", "VXNetGetActualIpv6Data: Could not open /proc/net/if_inet6\n-1" + kept3 + kept},

    {badAddress + good, interfaces, "eth0", says + "Problem parsing ipv6 address: " + badAddress + "\n fd00::1"},
    {badIndex + good, interfaces, "eth0", says + "Problem parsing ipv6 params: " + badIndex + "\n fd00::1"},
    {inet6("1::", "eightlet9") + good, interfaces, "eightlet", says + "Problem parsing ipv6 address: \n" + part + "\n" +
     says + "Read odd number of chars from proc file 1\n 1::"},

    {good6 + route6("fd00::2", "00000003"), gateway6, "eth0", "0 fd00::1"},
    {route6("fd00::2", "00000001") + good6, gateway6, "eth0", "0 fd00::1"},
    {route6("fd00::2", "00000002") + good6, gateway6, "eth0", "0 fd00::1"},
    {route6("fd00::2", "80000003") + good6, gateway6, "eth0", "0 fd00::1"},
    {route6("fd00::2", "7fffffff") + good6, gateway6, "eth0", "0 fd00::2"},
    {route6("fd00::2", "00000003", "eth1") + good6, gateway6, "eth0", "0 fd00::1"},
    {route6("fd00::2", "00000003", ""), gateway6, "", "0 ::"},
    {route6("fd00::2", "0000000g") + good6, gateway6, "eth0",
     "VXNetGetRouteEntry6: failed to parse flags:\n" + route6("fd00::2", "0000000g") + "0 ::"},
    {bad6 + good6, gateway6, "eth0", "VXNetGetRouteEntry6: failed to parse dst:\n" + bad6 + "0 ::"},
    {good6.substr(0, 149), gateway6, "eth0", "0 ::"},
    {"", gateway6, "eth0", "VXNetGetGateway6 Failed to open procfs file: /proc/net/ipv6_route\n-1" + kept},

    {"", address, "fe800000000000000000000000001234 00", "0 fe80::1234"},
    {"", address, "fe80000000000000000000000000123", "read_inet6_addr_string Problem parsing ipv6 address\n-1" + kept},
    // clang-format on
};

TEST(ProcNet, Tables) {
    ASSERT_EQ(::mount("tmpfs", "/proc", "tmpfs", 0, nullptr), 0);
    std::filesystem::create_directory("/proc/net");
    for (auto const& [table, query, of, expected] : tables) {
        for (std::string const file : {"route", "if_inet6", "ipv6_route"}) {
            std::ofstream("/proc/net/" + file) << table;
            if (table.empty()) {
                std::filesystem::remove("/proc/net/" + file);
            }
        }
        std::string answer;
        std::string const printed = captured([&, ask = query, name = of] { answer = ask(name); });
        EXPECT_EQ(printed + answer, expected) << table;
    }
    ::umount("/proc");
}

TEST(ProcNet, LinesInPieces) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_DIRECT | O_CLOEXEC), 0); // a read takes one packet
    ASSERT_EQ(::write(ends[1], "ab", 2) + ::write(ends[1], "cde", 3), 5);
    ::close(ends[1]);
    char line[8] = "";
    EXPECT_EQ(read_line_from_file(ends[0], line, 4), 4);
    EXPECT_EQ(read_line_from_file(ends[0], line + 4, 4), 0) << "the packet's rest is lost";
    EXPECT_STREQ(line, "abcd");
    ::close(ends[0]);
}

// Runs commands of the program `ip`, one a line.
bool ip(const std::string& commands) {
    return std::system(("ip -batch - <<'END'\n" + commands + "\nEND").c_str()) == 0;
}

TEST(Kernel, Properties) {
    struct rlimit limit;
    ::getrlimit(RLIMIT_NOFILE, &limit);
    struct rlimit const none = {0, limit.rlim_max};
    VXNetIoctl *handle = nullptr, *broken = nullptr;
    std::string const printed = captured([&] {
        handle = VXNetIoctlGetHnd();
        ::setrlimit(RLIMIT_NOFILE, &none);
        broken = VXNetIoctlGetHnd();
        ::setrlimit(RLIMIT_NOFILE, &limit);
    });
    int const fd = std::stoi(printed.substr(printed.find_first_of("0123456789")));
    EXPECT_EQ(printed, "StartedOpened socked " + std::to_string(fd) + "StartedOpened socked -1");
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
    struct ifreq block;
    auto const ask = [&](VXNetIoctl* of, const char* ifname) {
        return VXNetIoctlGetNetProperty(of, ifname, SIOCGIFMTU, &block);
    };
    std::memset(&block, 0xFF, sizeof block);
    EXPECT_EQ(ask(handle, "more-than-sixteen"), -1);
    EXPECT_EQ(std::string(block.ifr_name, IFNAMSIZ), "more-than-sixtee");
    EXPECT_EQ(ask(handle, "eth0"), 0);
    errno = 0; // and no request is issued
    EXPECT_EQ(ask(broken, "eth0") + ask(nullptr, "eth0") + ask(handle, nullptr), -3);
    EXPECT_EQ(VXNetIoctlGetNetProperty(handle, "eth0", SIOCGIFMTU, nullptr), -1);
    EXPECT_EQ(errno, 0);
    for (VXNetIoctl* const of : {broken, static_cast<VXNetIoctl*>(nullptr), handle}) {
        VXNetIoctlDestroyHnd(of);
    }
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1) << "closed";
}

std::string flagLines(unsigned flags) {
    // By bit, in the order of the lines.
    constexpr std::pair<const char*, unsigned> names[] = {
        // clang-format off
        {"UP", 0}, {"BROADCAST", 1}, {"DEBUG", 2}, {"LOOPBACK", 3}, {"POINTOPOINT", 4}, {"RUNNING", 6}, {"NOARP", 7},
        {"PROMISC", 8}, {"NOTRAILERS", 5}, {"ALLMULTI", 9}, {"MASTER", 10}, {"SLAVE", 11}, {"MULTICAST", 12},
        {"PORTSEL", 13}, {"AUTOMEDIA", 14},
        // clang-format on
    };
    std::string text = "Flags for iface:";
    for (auto const& [name, bit] : names) {
        text += "IFF_" + std::string(name) + ": " + std::to_string(flags >> bit & 1) + "\n";
    }
    return text;
}

// What printInterfaceInfo prints after the socket's number.
std::string infoOf(const char* ifname) {
    std::string const text = captured([&] { printInterfaceInfo(ifname); });
    return text.substr(std::min(text.find("I"), text.size()));
}

TEST(Kernel, InterfaceInfo) {
    int const fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct ifreq block {};
    std::strcpy(block.ifr_name, "eth0");
    std::string const expected =
        "MTU for eth0 is 1400\nHW Addr for eth0 is:\n02 00 00 fe 80 0a \n"
        "Ip Addr for eth0 is: 192.168.1.5\nNetmask for eth0 is: 255.255.255.0\n"
        "Dest for eth0 is: 192.168.1.9\n";
    for (unsigned const flag : {0x4U, 0x20U, 0x80U, 0x100U, 0x200U, 0x1000U, 0x2000U, 0x4000U}) {
        block.ifr_flags = static_cast<short>(0x1 | flag);
        ASSERT_EQ(::ioctl(fd, SIOCSIFFLAGS, &block), 0);
        std::string const text = infoOf("eth0");
        // Whether the link runs already is the kernel's affair.
        unsigned const running = text.find("IFF_RUNNING: 1") != std::string::npos ? 0x40 : 0;
        EXPECT_EQ(text, "Index for eth0 is 77\n" + flagLines(0x3 | flag | running) + expected);
    }
    ::close(fd);
    EXPECT_NE(infoOf("lo").find(flagLines(0x49)), std::string::npos);
    ASSERT_TRUE(ip("route add default via 192.168.1.1"));
    EXPECT_TRUE(infoOf("eth0").ends_with(expected + "Found default gw: 192.168.1.1\n"));
    EXPECT_EQ(infoOf("none"), "");
}

TEST(Kernel, Inet6) {
    if (!ip("addr add fd00::5/64 dev eth0 nodad")) {
        GTEST_SKIP() << "SKIPPED: net_test: Inet6: this kernel has no IPv6";
    }
    EXPECT_EQ(addresses(""), "0" + kept + " fd00::5" + kept + kept);
    EXPECT_EQ(interfaces("eth0"), " fd00::5");
    EXPECT_EQ(gateway6("eth0"), "0 ::");
    ASSERT_TRUE(ip("route add 2001:db8:7::/48 via fd00::7 dev eth0")); // not the default one
    EXPECT_EQ(gateway6("eth0"), "0 fd00::7");
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    uid_t const user = ::geteuid();
    gid_t const group = ::getegid();
    bool const entered =
        ::unshare(CLONE_NEWNET | CLONE_NEWNS | (user == 0 ? 0 : CLONE_NEWUSER)) == 0;
    if (entered && user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    }
    // Of a pair of interfaces, eth0 has one IPv4 address and no gateway.
    if (!entered || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        !ip("link set lo up\n"
            "link add eth0 index 77 address 02:00:00:fe:80:0a mtu 1400 type veth "
            "peer name peer0 index 78\n"
            "link set eth0 addrgenmode none\n"
            "link set peer0 up addrgenmode none\n"
            "link set eth0 up\n"
            "addr add 192.168.1.5 peer 192.168.1.9/24 dev eth0")) {
        std::printf("SKIPPED: net_test: no network namespace of its own (%s), or no ip in it "
                    "(package iproute2)\n",
                    std::strerror(errno));
        return 77;
    }
    return RUN_ALL_TESTS();
}
