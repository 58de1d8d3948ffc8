// Queries of interfaces, addresses and routes: over tables of the test's own in place of /proc/net,
// and of a real kernel.
#include "tests/support/blade_files.h"
#include "tests/support/text.h"

#include <vxblade/net.h>

#include <cerrno>
#include <cstdlib>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Runs commands of the program `ip`, one a line.
bool ip(const std::string& commands) {
    return std::system(("ip -batch - <<'END'\n" + commands + "\nEND").c_str()) == 0;
}

// In a network namespace of the process's own, where nothing shows on the machine's network. Of a
// pair of interfaces, eth0 has one IPv4 address and no gateway.
class Net : public testing::Test {
  protected:
    void SetUp() override {
        static bool const isEntered =
            ::unshare(CLONE_NEWNET) == 0 &&
            ip("link set lo up\n"
               "link add eth0 index 77 address 02:00:00:fe:80:0a mtu 1400 type veth "
               "peer name peer0 index 78\n"
               "link set peer0 up addrgenmode none\n"
               "link set eth0 up addrgenmode none\n"
               "addr add 192.168.1.5 peer 192.168.1.9/24 dev eth0");
        if (!isEntered) {
            GTEST_SKIP() << "SKIPPED: Net: no network namespace, or no ip (package iproute2)";
        }
    }
};

// Queries, with their answers as strings.
std::string shown(int family, const void* address) {
    char text[INET6_ADDRSTRLEN];
    return std::string(" ") + ::inet_ntop(family, address, text, sizeof text);
}
std::string joined(const char* name, auto... numbers) {
    return ((" " + std::to_string(numbers)) + ...) + " " + name;
}
std::string gateway(const char* ifname) {
    uint32_t const address = htonl(VXNetGetGateway(ifname));
    return shown(AF_INET, &address);
}
std::string gateway6(const char* ifname) {
    auto address = filled<in6_addr>(0xEE);
    int const result = VXNetGetGateway6(ifname, address.s6_addr);
    return std::to_string(result) + shown(AF_INET6, &address);
}
std::string route6(const char*) {
    int const fd = ::open("/proc/net/ipv6_route", O_RDONLY | O_CLOEXEC);
    auto record = filled<VXNetRouteEntry6>(0xEE);
    std::string const result = std::to_string(VXNetGetRouteEntry6(fd, &record));
    ::close(fd);
    return result + shown(AF_INET6, record.destination) + shown(AF_INET6, record.nextHop) +
           joined(record.name, record.prefixLength, record.flags);
}
std::string address(const char* text) {
    auto address = filled<in6_addr>(0xEE);
    int const result = read_inet6_addr_string(address.s6_addr, text);
    return std::to_string(result) + shown(AF_INET6, &address);
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
    VXNetInterfaceParams r;
    std::string found;
    while (read_next_interface_params(fd, ifname, &r) == 0) {
        found +=
            shown(AF_INET6, r.address) + joined(r.name, r.index, r.prefixLength, r.scope, r.flags);
    }
    EXPECT_TRUE(r.name[0] == '\0' && r.index == 0) << "cleared at the end";
    EXPECT_EQ(close_ipv6_interface_file(fd) + close_ipv6_interface_file(fd), -1);
    return found;
}

using Query = std::string (*)(const char* of);

// What a query prints, and its answer.
std::string told(Query query, const char* of) {
    std::string answer;
    std::string const printed = printedBy([&] { answer = query(of); });
    return printed + answer;
}

// Lines of the tables, and one with other text in place of some of it.
const std::string good4 = "eth0\t0000000A\t0101A8C0\t0003\t21\t22\t23\tmask\t25\t26\t27  \n";
const std::string good6 =
    "20010db8000000000000000000000000 30 00000000000000000000000000000000 00 "
    "fd000000000000000000000000000001 00000400 00000001 00000000 00000003     eth0\n";
std::string inet6(const std::string& first, const std::string& last = "0001",
                  const std::string& name = "    eth0") {
    return first + std::string(24, '0') + last + " 02 40 20 80 " + name + "\n";
}
std::string with(std::string line, const std::string& part, const std::string& other) {
    return line.replace(line.find(part), part.size(), other);
}
std::string cut(const std::string& line, std::size_t length) {
    return line.substr(0, length).append(line.size() - length, '\n');
}

// Of a default route and of others: the destination is not looked at.
const std::string other4 = with(good4, "0101A8C0", "0201A8C0");
const std::string other6 = with(good6, "01 00000400", "02 00000400");
const std::string good = inet6("fd00");
const std::string isGood = " fd00::1 2 64 32 128 eth0";
const std::string reads = "read_next_interface_params ";
const std::string kept = " eeee:eeee:eeee:eeee:eeee:eeee:eeee:eeee";
const std::string fails6 = "VXNetGetRouteEntry6: failed to parse ";
const std::string no6 = "\nLINE\n-1 :: :: 0 0 ";

// A query, and tables with the same outcome: what is printed, with the table's first line as LINE,
// and the answer. An empty table is missing. Lines that are too long put those after them out of
// step.
const struct {
    Query query;
    const char* of;
    std::string expected;
    std::vector<std::string> tables;
} cases[] = {
    // clang-format off
    {gateway, "eth0", " 192.168.1.1",
     {"Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n" + good4 + other4,
      with(other4, "0003", "0001") + good4, with(other4, "0003", "0002") + good4,
      with(other4, "eth0", "eth1") + good4, std::string(5000, 'x') + "\n" + good4,
      with(good4, "23", "-1"), with(good4, "27", "0 12th x")}},
    {gateway, "eth0", " 192.168.1.2", {with(other4, "0003", "0203") + good4}},
    {gateway, "eth0", " 255.255.255.255", {with(good4, "0101A8C0", "fFfFfFfF")}},
    {gateway, "eth0", " 0.0.0.0",
     {"", std::string(1000, ' ') + good4, // cut at 1024
      with(good4, "0000000A", "seventeen-letters"), with(good4, "0101A8C0", "-1"), with(good4, "0101A8C0", "0x1"),
      with(good4, "0101A8C0", "0101A8C00"), with(good4, "0101A8C0", "0101A8CG"), with(good4, "0003", "-3"),
      with(good4, "0003", ""), with(good4, "21", "+1"), with(good4, "23", "-"), with(good4, "23", "1a"),
      with(good4, "mask", "any text"), with(good4, "25", "1.5"), with(good4, "27", "")}},
    {gateway, "sixteen-letters-", " 192.168.1.1", {with(good4, "eth0", "sixteen-letters-")}},
    {gateway, "sixteen-letters-x", " 0.0.0.0",
     {with(good4, "eth0", "sixteen-letters-"), with(good4, "eth0", "sixteen-letters-x")}},
    {gateway, "eth", " 0.0.0.0", {good4}},
    {gateway, nullptr, " 0.0.0.0", {good4}},

    {addresses, "", "0" + kept + " fd00::2 fd00::1 fe80::1", {inet6("fd00", "0002") + inet6("fe80") + good}},
    {addresses, "", "VXNetGetActualIpv6Data: Too many ipv6 addresses!\n0" + kept + " 3::1 ::2 fe80::1",
     {inet6("0003") + inet6("0000") + inet6("0000", "0002") + good + inet6("fe80")}},
    {addresses, "", "0" + kept + kept + kept + " febf::1",
     {inet6("fe80") + inet6("1000", "0001", "    eth1") + inet6("2000", "0001", "   eth00") + inet6("febf")}},
    {addresses, "", "0" + kept + " fec0::1 ff80::1" + kept, {inet6("fec0") + inet6("ff80")}},
    {addresses, "", "VXNetGetActualIpv6Data: Could not open /proc/net/if_inet6\n-1" + kept + kept + kept + kept, {""}},

    {interfaces, "eth0", isGood, {good, with(good, " 02", "\t 2"), inet6("1000", "0001", "    eth1") + good}},
    {interfaces, "eth0", " fd00::1 2 64 32 255 eth0", {with(good, "80", "fF")}},
    {interfaces, "eth0", reads + "Problem parsing ipv6 address: LINE\n\n" + isGood, {with(good, "fd", "-d") + good}},
    {interfaces, "eth0", reads + "Problem parsing ipv6 params: LINE\n\n" + isGood,
     {with(good, " 02", "002") + good, with(good, " 02 ", " 102") + good, with(good, " 02", " -2") + good,
      with(good, " 02", " 0x") + good, with(good, "40 20 80", "4 0 2 80") + good, with(good, "80", "8g") + good,
      with(good, "   eth0", "eth0 me") + good, with(good, "eth0", "    ") + good}},
    {interfaces, "eightlet", reads + "Problem parsing ipv6 address: \n" + good.substr(0, 53) + "\n" +
     reads + "Read odd number of chars from proc file 1\n fd00::1 2 64 32 128 eightlet",
     {inet6("fd00", "0001", "eightlet9") + good}},

    {gateway6, "eth0", "0 fd00::1",
     {good6 + other6, with(other6, "00000003", "00000001") + good6, with(other6, "00000003", "00000002") + good6,
      with(other6, "00000003", "80000003") + good6, with(other6, "eth0", "eth1") + good6}},
    {gateway6, "eth0", "0 fd00::2", {with(other6, "00000003", "7fffffff") + good6}},
    {gateway6, "eth0", fails6 + "dst:\nLINE\n0 ::", {with(good6, "2001", "-001") + good6}},
    {gateway6, "", "0 ::", {with(good6, "eth0", "    ")}},
    {gateway6, "", "VXNetGetGateway6 Failed to open procfs file: /proc/net/ipv6_route\n-1" + kept, {""}},

    {route6, "", "0 2001:db8:: fd00::1 48 3 eth0",
     {good6, with(good6, " 30 00", "x30 xx"), with(good6, "1 00000400", "1xxxxxx400")}},
    {route6, "", "0 2001:db8:: fd00::1 48 2684354563 eth0", {with(good6, "00000003", "a0000003")}},
    {route6, "", "0 2001:db8:: fd00::1 48 3 eightlet9", {with(good6, "    eth0\n", "eightlet9")}},
    {route6, "", "0 2001:db8:: fd00::1 48 3 ", {cut(good6, 140)}},
    {route6, "", "-1 :: :: 0 0 ", {good6.substr(0, 149)}},
    {route6, "", fails6 + "dst:" + no6, {with(good6, "2001", "-001"), with(good6, "0 30", "  30"), cut(good6, 31)}},
    {route6, "", fails6 + "plen:" + no6,
     {with(good6, " 30", " 0x"), with(good6, " 30", "  4"), with(good6, " 30 000000", " 400000000"), cut(good6, 32)}},
    {route6, "", fails6 + "next hop:" + no6, {with(good6, "fd", "gd"), with(good6, "1 000004", "\t 000004"), cut(good6, 103)}},
    {route6, "", fails6 + "flags:" + no6,
     {with(good6, "00000003", "-0000003"), with(good6, "00000003", " 0000003"), with(good6, "00000003", "0000000g"),
      with(good6, "00000003 ", "000000030"), cut(good6, 131)}},
    // clang-format on
};

TEST_F(Net, Tables) {
    ASSERT_EQ(::mount("tmpfs", "/proc", "tmpfs", 0, nullptr), 0);
    ::mkdir("/proc/net", 0755);
    for (auto const& [query, of, expected, tables] : cases) {
        for (std::string const& table : tables) {
            for (const char* const file :
                 {"/proc/net/route", "/proc/net/if_inet6", "/proc/net/ipv6_route"}) {
                table.empty() ? (void)::unlink(file) : writeText(file, table);
            }
            std::string const line = table.substr(0, table.find('\n'));
            EXPECT_EQ(told(query, of), replaced(expected, "LINE", line));
        }
    }
    ::umount("/proc");
}

TEST_F(Net, AddressStrings) {
    std::string const digits = "fE800123456789aBcDef0000000000a1";
    EXPECT_EQ(told(address, (digits + "g").c_str()), "0 fe80:123:4567:89ab:cdef::a1");
    for (char const bad : {' ', '-', '+', 'x', 'g', 'G', '`', '@', '/', ':', '\0', '\n'}) {
        for (std::size_t at = 0; at < digits.size(); ++at) {
            std::string text = digits;
            text[at] = bad;
            EXPECT_EQ(told(address, text.c_str()),
                      "read_inet6_addr_string Problem parsing ipv6 address\n-1" + kept)
                << text;
        }
    }
}

TEST_F(Net, LinesInPieces) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_DIRECT | O_CLOEXEC), 0); // a read takes one packet
    ASSERT_EQ(::write(ends[1], "ab", 2) + ::write(ends[1], "cde", 3), 5);
    ::close(ends[1]);
    char line[5] = "";
    EXPECT_EQ(read_line_from_file(ends[0], line, 4), 4);
    EXPECT_STREQ(line, "abcd");
    ::close(ends[0]);
}

TEST_F(Net, Properties) {
    struct rlimit limit;
    ::getrlimit(RLIMIT_NOFILE, &limit);
    struct rlimit const none = {0, limit.rlim_max};
    VXNetIoctl* handles[3] = {}; // with a socket, without one, no handle
    std::string const printed = printedBy([&] {
        handles[0] = VXNetIoctlGetHnd();
        ::setrlimit(RLIMIT_NOFILE, &none);
        handles[1] = VXNetIoctlGetHnd();
        ::setrlimit(RLIMIT_NOFILE, &limit);
    });
    int const fd = std::stoi(printed.substr(printed.find_first_of("0123456789")));
    EXPECT_EQ(printed, "StartedOpened socked " + std::to_string(fd) + "StartedOpened socked -1");
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
    auto block = filled<struct ifreq>(0xFF);
    auto const ask = [&](int handle, const char* ifname) {
        return VXNetIoctlGetNetProperty(handles[handle], ifname, SIOCGIFMTU, &block);
    };
    EXPECT_EQ(ask(0, "more-than-sixteen"), -1);
    EXPECT_EQ(std::string(block.ifr_name, IFNAMSIZ), "more-than-sixtee");
    EXPECT_EQ(ask(0, "eth0"), 0);
    errno = 0; // and no request is issued
    EXPECT_EQ(ask(1, "eth0") + ask(2, "eth0") + ask(0, nullptr), -3);
    EXPECT_EQ(VXNetIoctlGetNetProperty(handles[0], "eth0", SIOCGIFMTU, nullptr), -1);
    EXPECT_EQ(errno, 0);
    for (VXNetIoctl* const handle : handles) {
        VXNetIoctlDestroyHnd(handle);
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
    std::string const text = printedBy([&] { printInterfaceInfo(ifname); });
    return text.substr(std::min(text.find("I"), text.size()));
}

TEST_F(Net, InterfaceInfo) {
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

TEST_F(Net, Inet6) {
    if (!ip("addr add fd00::5/64 dev eth0 nodad")) {
        GTEST_SKIP() << "SKIPPED: Net.Inet6: this kernel has no IPv6";
    }
    EXPECT_EQ(addresses(""), "0" + kept + " fd00::5" + kept + kept);
    EXPECT_EQ(interfaces("eth0"), " fd00::5 77 64 0 130 eth0");
    EXPECT_EQ(gateway6("eth0"), "0 ::");
    ASSERT_TRUE(ip("route add 2001:db8:7::/48 via fd00::7 dev eth0")); // not the default one
    EXPECT_EQ(gateway6("eth0"), "0 fd00::7");
}

} // namespace
