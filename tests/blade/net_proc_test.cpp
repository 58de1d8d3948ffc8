// The readers of the tables under /proc/net, over tables of the test's own.
#include "tests/blade/net_support.h"

#include <vxblade/net.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Bytes = std::vector<uint8_t>;

std::string digitsOf(const char* address) {
    std::string text;
    for (uint8_t const byte : address6(address)) {
        text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    return text;
}

std::string padded(std::string name) {
    return name.insert(0, 8 - std::min<std::size_t>(name.size(), 8), ' ') + "\n";
}

std::string inet6(const char* address, const char* name = "eth0", const char* index = "02") {
    return digitsOf(address) + " " + index + " 40 20 80 " + padded(name);
}

std::string route6(const char* nextHop, const char* flags, const char* name = "eth0") {
    return digitsOf("2001:db8::") + " 30 " + digitsOf("::") + " 00 " + digitsOf(nextHop) +
           " 00000400 00000001 00000000 " + flags + " " + padded(name);
}

std::string route4(const char* name, const char* gateway, const char* flags) {
    return std::string(name) + "\t0000000A\t" + gateway + "\t" + flags +
           "\t0\t0\t0\t0\t0\t0\t0  \n";
}

// Hides the kernel's /proc behind an empty one.
class ProcNet : public testing::Test {
  protected:
    void SetUp() override {
        mounted_ = ::mount("tmpfs", "/proc", "tmpfs", 0, nullptr) == 0;
        if (!mounted_) {
            GTEST_SKIP() << "SKIPPED: net_test: cannot mount over /proc: " << std::strerror(errno);
        }
        ::mkdir("/proc/net", 0755);
    }
    void TearDown() override {
        if (mounted_) {
            ::umount("/proc");
        }
    }
    static void table(const char* name, const std::string& text) {
        std::ofstream(std::string("/proc/net/") + name) << text;
    }

  private:
    bool mounted_ = false;
};

TEST_F(ProcNet, Gateway) {
    std::string const heading = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\t"
                                "MTU\tWindow\tIRTT                        \n";
    std::string const good = route4("eth0", "0101A8C0", "0003"); // not to a default destination
    std::tuple<std::string, const char*, uint32_t> const cases[] = {
        // clang-format off
        {heading + good + route4("eth0", "0201A8C0", "0003"), "eth0", 0xC0A80101},
        {route4("eth0", "0201A8C0", "0001") + good, "eth0", 0xC0A80101},
        {route4("eth0", "0201A8C0", "0002") + good, "eth0", 0xC0A80101},
        {route4("eth0", "0201A8C0", "0203") + good, "eth0", 0xC0A80102},
        {route4("eth1", "0201A8C0", "0003") + good, "eth0", 0xC0A80101},
        {std::string(5000, 'x') + "\n" + good, "eth0", 0xC0A80101},
        {std::string(1000, ' ') + good, "eth0", 0}, // cut at 1024
        {route4("sixteen-letters-", "0101A8C0", "3"), "sixteen-letters-", 0xC0A80101},
        {route4("sixteen-letters-", "0101A8C0", "3"), "sixteen-letters-x", 0},
        {heading, "eth0", 0}, {good, "eth", 0}, {good, "eth00", 0}, {good, nullptr, 0},
        // clang-format on
    };
    for (auto const& [text, ifname, gateway] : cases) {
        table("route", text);
        EXPECT_EQ(VXNetGetGateway(ifname), gateway) << text;
    }
}

TEST_F(ProcNet, TablesThatCannotBeOpened) {
    Bytes record(74, 0xEE);
    EXPECT_EQ(VXNetGetGateway("eth0"), 0U);
    EXPECT_EQ(open_ipv6_interface_file(), -1);
    EXPECT_EQ(captured([&] { EXPECT_EQ(VXNetGetActualIpv6Data(record.data()), -1); }),
              "VXNetGetActualIpv6Data: Could not open /proc/net/if_inet6\n");
    EXPECT_EQ(captured([&] { EXPECT_EQ(VXNetGetGateway6("eth0", record.data()), -1); }),
              "VXNetGetGateway6 Failed to open procfs file: /proc/net/ipv6_route\n");
    EXPECT_EQ(record, Bytes(74, 0xEE));
}

TEST_F(ProcNet, ActualIpv6Data) {
    struct {
        std::vector<const char*> addresses; // of eth0, in the table's order
        const char* expected[3];            // first, second, link-local; null: stays as it is
        int dropped;
    } const cases[] = {
        {{"fd00::2", "fe80::1", "fd00::1"}, {"fd00::2", "fd00::1", "fe80::1"}, 0},
        {{"3::", "2::", "1::", "4::", "fe80::1"}, {"3::", "2::", "fe80::1"}, 2},
        {{"fe80::1", "febf::2"}, {nullptr, nullptr, "febf::2"}, 0},
        {{"fec0::1", "ff80::1"}, {"fec0::1", "ff80::1"}, 0},
        {{"::1", "::2", "100::1"}, {"::2", "100::1"}, 0},
    };
    for (auto const& c : cases) {
        std::string text = inet6("fd00::9", "eth1");
        for (const char* const address : c.addresses) {
            text += inet6(address);
        }
        table("if_inet6", text + inet6("fe80::9", "eth00"));
        std::string printed;
        for (int i = 0; i < c.dropped; ++i) {
            printed += "VXNetGetActualIpv6Data: Too many ipv6 addresses!\n";
        }
        Bytes record(74, 0xEE);
        Bytes expected = record;
        for (long i = 0; i < 3; ++i) {
            if (c.expected[i] != nullptr) {
                std::ranges::copy(address6(c.expected[i]), expected.begin() + 26 + 16 * i);
            }
        }
        EXPECT_EQ(captured([&] { EXPECT_EQ(VXNetGetActualIpv6Data(record.data()), 0); }), printed);
        EXPECT_EQ(record, expected) << text;
    }
}

// What read_next_interface_params finds in a table, and what it says.
TEST_F(ProcNet, InterfaceLines) {
    std::string const reader = "read_next_interface_params ";
    std::string const good = inet6("fd00::1");
    std::string const badAddress = "-" + good.substr(1);
    std::string const badIndex = inet6("1::", "eth0", "-2");
    std::string const part = good.substr(0, 53);
    // Lines that are too long put the others out of step.
    std::string const shifted = reader + "Problem parsing ipv6 address: \n" + part + "\n" + reader +
                                "Read odd number of chars from proc file 1\n";
    struct {
        std::string table;
        const char* ifname;
        int found;
        std::string printed;
    } const cases[] = {
        // clang-format off
        {good + inet6("fd00::2", "eth1") + good, "eth0", 2, ""},
        {good, nullptr, 0, ""},
        {badAddress + good, "eth0", 1, reader + "Problem parsing ipv6 address: " + badAddress + "\n"},
        {badIndex + good, "eth0", 1, reader + "Problem parsing ipv6 params: " + badIndex + "\n"},
        {good + part, "eth0", 1, reader + "Read odd number of chars from proc file 53\n"},
        {inet6("1::", "eightlet9") + good, "eightlet", 1, shifted},
        // clang-format on
    };
    for (auto const& c : cases) {
        table("if_inet6", c.table);
        int const fd = open_ipv6_interface_file();
        auto record = VXNetInterfaceParams{};
        int found = 0;
        EXPECT_EQ(captured([&] {
                      while (read_next_interface_params(fd, c.ifname, &record) == 0) {
                          ++found;
                      }
                  }),
                  c.printed);
        EXPECT_EQ(found, c.found) << c.table;
        EXPECT_EQ(record.name[0] + record.index, 0U) << "cleared at the end";
        EXPECT_EQ(close_ipv6_interface_file(fd), 0);
        EXPECT_EQ(close_ipv6_interface_file(fd), -1);
    }
}

TEST_F(ProcNet, Gateway6) {
    std::string const good = route6("fd00::1", "00000003"); // not to a default destination
    std::string const outOfStep = route6("fd00::2", "00000003", "nineletters") + good; // reported
    std::tuple<std::string, const char*, const char*> const cases[] = {
        {good + route6("fd00::2", "00000003"), "eth0", "fd00::1"},
        {route6("fd00::2", "00000001") + good, "eth0", "fd00::1"},
        {route6("fd00::2", "00000002") + good, "eth0", "fd00::1"},
        {route6("fd00::2", "80000003") + good, "eth0", "fd00::1"},
        {route6("fd00::2", "7fffffff") + good, "eth0", "fd00::2"},
        {route6("fd00::2", "00000003", "eth1") + good, "eth0", "fd00::1"},
        {route6("fd00::2", "00000003", "eightlet"), "eightlet", "fd00::2"},
        {route6("fd00::2", "00000003", ""), "", "::"},
        {good, nullptr, "::"},
        {good.substr(0, 149), "eth0", "::"},
        {"", "eth0", "::"},
        {outOfStep, "eth0", "::"}};
    for (auto const& [text, name, gateway] : cases) {
        table("ipv6_route", text);
        Address6 address;
        address.fill(0xEE);
        std::string const printed = captured(
            [&, ifname = name] { EXPECT_EQ(VXNetGetGateway6(ifname, address.data()), 0); });
        EXPECT_EQ(printed.empty(), text != outOfStep);
        EXPECT_EQ(address, address6(gateway)) << text;
    }
}

TEST_F(ProcNet, RouteEntries6) {
    std::string const good = route6("fd00::1", "00000003");
    // A sign in a column, and the fault that it makes.
    for (auto const& [column, fault] : std::vector<std::pair<std::size_t, std::string>>{
             {36, ""}, {0, "dst"}, {33, "plen"}, {72, "next hop"}, {132, "flags"}}) {
        std::string line = good;
        line[column] = '-';
        table("ipv6_route", line + good.substr(0, 149));
        bool const whole = fault.empty();
        int const fd = ::open("/proc/net/ipv6_route", O_RDONLY | O_CLOEXEC);
        VXNetRouteEntry6 record;
        std::memset(&record, 0xEE, sizeof record);
        auto const run = [&] { EXPECT_EQ(VXNetGetRouteEntry6(fd, &record), whole ? 0 : -1); };
        EXPECT_EQ(captured(run),
                  whole ? "" : "VXNetGetRouteEntry6: failed to parse " + fault + ":\n" + line);
        EXPECT_STREQ(record.name, whole ? "eth0" : "");
        EXPECT_EQ(record.prefixLength, whole ? 0x30U : 0U);
        auto const atEnd = [&] { EXPECT_EQ(VXNetGetRouteEntry6(fd, &record), -1); };
        EXPECT_EQ(captured(atEnd), "") << "a partial line is the end";
        ::close(fd);
    }
}

TEST(NetReaders, AddressText) {
    Bytes address(17, 0xEE);
    Bytes expected = address;
    std::ranges::copy(address6("fe80::12:34ab"), expected.begin());
    std::string const text = digitsOf("fe80::12:34ab");
    EXPECT_EQ(read_inet6_addr_string(address.data(), (text + " 02").c_str()), 0);
    std::string const cut = text.substr(0, 31);
    auto const run = [&] { EXPECT_EQ(read_inet6_addr_string(address.data(), cut.c_str()), -1); };
    EXPECT_EQ(captured(run), "read_inet6_addr_string Problem parsing ipv6 address\n");
    EXPECT_EQ(address, expected);
}

TEST(NetReaders, Lines) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_DIRECT | O_CLOEXEC), 0); // a read takes one packet
    for (std::string const packet : {"ab", "cde", "fg", "h"}) {
        ASSERT_EQ(::write(ends[1], packet.data(), packet.size()), ssize_t(packet.size()));
    }
    ::close(ends[1]);
    std::pair<int, std::string> const cases[] = {
        {5, "abcde"}, {0, ""}, {-1, ""}, {7, "fgh"}, {7, ""}};
    for (auto const& [count, expected] : cases) {
        char line[8] = "";
        EXPECT_EQ(read_line_from_file(ends[0], line, count), int(expected.size()));
        EXPECT_EQ(line, expected);
    }
    ::close(ends[0]);
}

} // namespace
