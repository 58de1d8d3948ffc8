// Lines of the tables under /proc/net, good and bad.
#include "net/proc_net.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using vx::Route6Fault;

// A copy with nothing behind its end, so that the address sanitizer sees whoever looks there.
struct Exact {
    explicit Exact(std::string_view text) : bytes(text.begin(), text.end()) {}
    [[nodiscard]] std::string_view view() const { return {bytes.data(), bytes.size()}; }
    std::vector<char> bytes;
};

template <class Record>
struct Filled {
    Filled() { std::memset(&record, 0xEE, sizeof record); }
    [[nodiscard]] bool unchanged() const {
        Filled const fresh;
        return std::memcmp(&record, &fresh.record, sizeof record) == 0;
    }
    Record record;
};

TEST(NetLines, Route4) {
    std::string const fields[] = {"eth0", "0", "0101A8C0", "0003", "0", "0",
                                  "7",    "0", "0",        "0",    "0"};
    auto const lineWith = [&](std::size_t changed, const std::string& text) {
        std::string line;
        for (std::size_t i = 0; i < std::size(fields); ++i) {
            line += (i == changed ? text : fields[i]) + "\t";
        }
        return line;
    };
    struct {
        std::size_t field;
        const char* text;
        bool good;
    } const cases[] = {
        // clang-format off
        {0, "eth0", true}, {0, "sixteen-letters-", true}, {0, "seventeen-letters", false}, {2, "fFfFfFfF", true},
        {2, "-1", false}, {2, "0x1", false}, {2, "+1", false}, {2, "0101A8C00", false}, {2, "0101A8CG", false},
        {3, "0x3", false}, {3, "-3", false}, {3, "", false}, {6, "-1", true}, {6, "-", false}, {6, "1a", false},
        {4, "+1", false}, {8, "1.5", false}, {10, "4294967295", true}, {10, "0 12th x", true}, {7, "any text", false},
        {1, "seventeen-letters", false},
        // clang-format on
    };
    for (auto const& c : cases) {
        Exact const line(lineWith(c.field, c.text));
        auto const route = vx::parseRoute4(line.view());
        ASSERT_EQ(route.has_value(), c.good) << line.view();
        if (route) {
            EXPECT_EQ(route->name, c.field == 0 ? c.text : "eth0");
            EXPECT_EQ(route->gateway, c.field == 2 ? 0xFFFFFFFFU : 0x0101A8C0U);
            EXPECT_EQ(route->flags, 3U);
        }
    }
    std::string const good = lineWith(0, "eth0");
    for (std::size_t length = 0; length < good.size() - 1; ++length) {
        EXPECT_FALSE(vx::parseRoute4(Exact(good.substr(0, length)).view())) << length;
    }
}

TEST(NetLines, Inet6Address) {
    std::string const good = "fE800123456789aBcDef0000000000a1";
    vx::Inet6Address const bytes = {0xFE, 0x80, 1, 0x23, 0x45, 0x67, 0x89, 0xAB,
                                    0xCD, 0xEF, 0, 0,    0,    0,    0,    0xA1};
    EXPECT_EQ(vx::parseInet6Address(good + "g"), bytes) << "the rest is not looked at";
    for (std::size_t at = 0; at < good.size(); ++at) {
        EXPECT_FALSE(vx::parseInet6Address(Exact(good.substr(0, at)).view())) << at;
        for (char const bad : {' ', '-', '+', 'x', 'g', 'G', '`', '@', '/', ':', '\0', '\n'}) {
            std::string text = good;
            text[at] = bad;
            EXPECT_FALSE(vx::parseInet6Address(text)) << text;
        }
    }
}

TEST(NetLines, InterfaceFields) {
    struct {
        std::string text;
        const char* name; // null: malformed
    } const cases[] = {
        {" 02 40 10 fF     eth0\n", "eth0"},     {" 2 40 10 ff eth0", "eth0"},
        {" 02 40 10 ff eightlet\n", "eightlet"}, {" 02 40 10 ff sixteen-letters-", "sixteen-"},
        {" 02 40 10 ff eth0 more", nullptr},     {"02 40 10 ff     eth0\n", nullptr},
        {"0102 40 10 ff eth0", nullptr},         {" 102 40 10 ff eth0", nullptr},
        {" -1 40 10 ff eth0", nullptr},          {" +2 40 10 ff eth0", nullptr},
        {" 0x 40 10 ff eth0", nullptr},          {" 02 4 0 10 ff eth0", nullptr},
        {" 02 40 10 fg eth0", nullptr},          {" 02 40 10 eth0", nullptr},
    };
    for (auto const& c : cases) {
        Filled<VXNetInterfaceParams> filled;
        VXNetInterfaceParams& r = filled.record;
        ASSERT_EQ(vx::parseInterfaceFields(Exact(c.text).view(), r), c.name != nullptr) << c.text;
        if (c.name == nullptr) {
            EXPECT_TRUE(filled.unchanged()) << c.text;
            continue;
        }
        EXPECT_TRUE(r.index == 2 && r.prefixLength == 64 && r.scope == 16 && r.flags == 255);
        EXPECT_EQ(std::string(r.name, 12), std::string(c.name).append(12 - strlen(c.name), '\0'));
        EXPECT_EQ(r.address[0], 0xEE);
    }
    for (std::size_t length = 0; length <= cases[0].text.find('e'); ++length) {
        Filled<VXNetInterfaceParams> f;
        EXPECT_FALSE(
            vx::parseInterfaceFields(Exact(cases[0].text.substr(0, length)).view(), f.record));
    }
}

std::string const route6 = "20010db8000000000000000000000000 40 "
                           "00000000000000000000000000000000 00 "
                           "fd0000000000000000000000000000fe 00000400 00000001 00000000 a0000003"
                           "     eth0";

TEST(NetLines, Route6) {
    struct {
        std::size_t column;
        std::string text;
        Route6Fault fault;
    } const cases[] = {
        // clang-format off
        {0, "2", Route6Fault::none}, {0, "-", Route6Fault::destination}, {31, " ", Route6Fault::destination},
        {33, "0x", Route6Fault::prefixLength}, {33, "-1", Route6Fault::prefixLength}, {33, " 4", Route6Fault::prefixLength},
        {33, "40x", Route6Fault::prefixLength}, {33, "400000000", Route6Fault::prefixLength}, {32, "x", Route6Fault::none},
        {36, "x", Route6Fault::none}, {72, "g", Route6Fault::nextHop}, {103, "\t", Route6Fault::nextHop},
        {131, "x", Route6Fault::none}, {132, "-", Route6Fault::flags}, {132, " ", Route6Fault::flags},
        {139, "g", Route6Fault::flags}, {140, "0", Route6Fault::flags}, {104, "x", Route6Fault::none},
        // clang-format on
    };
    for (auto const& c : cases) {
        std::string const line = std::string(route6).replace(c.column, c.text.size(), c.text);
        Filled<VXNetRouteEntry6> filled;
        VXNetRouteEntry6 const& r = filled.record;
        ASSERT_EQ(vx::parseRoute6(Exact(line).view(), filled.record), c.fault) << line;
        if (c.fault != Route6Fault::none) {
            EXPECT_TRUE(filled.unchanged()) << line;
            continue;
        }
        EXPECT_TRUE(r.destination[0] == 0x20 && r.destination[3] == 0xB8 && r.destination[15] == 0);
        EXPECT_TRUE(r.nextHop[0] == 0xFD && r.nextHop[1] == 0 && r.nextHop[15] == 0xFE);
        EXPECT_TRUE(r.prefixLength == 64 && r.flags == 0xA0000003);
        EXPECT_EQ(std::string(r.name, 12), std::string("eth0").append(8, '\0'));
    }
    VXNetRouteEntry6 r;
    for (auto const& [length, fault] : {std::pair{31U, Route6Fault::destination},
                                        {33U, Route6Fault::prefixLength},
                                        {103U, Route6Fault::nextHop},
                                        {132U, Route6Fault::flags},
                                        {140U, Route6Fault::none}}) {
        EXPECT_EQ(vx::parseRoute6(Exact(route6.substr(0, length)).view(), r), fault) << length;
    }
    EXPECT_EQ(vx::parseRoute6(Exact(route6 + "12345678").view(), r), Route6Fault::none);
    EXPECT_STREQ(r.name, "eth01234567") << "cut to its field";
}

} // namespace
