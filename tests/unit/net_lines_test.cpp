// Lines of the tables under /proc/net, good and bad.
#include "net/proc_net.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::string hex(const uint8_t (&bytes)[16]) {
    std::string text;
    for (uint8_t const byte : bytes) {
        text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    return text + " ";
}

// A name with all that its field holds but the NULs at its end.
template <std::size_t size>
std::string named(const char (&field)[size]) {
    std::string const all(field, size);
    return all.substr(0, all.find_last_not_of('\0') + 1);
}

// What a record holds that was filled before; a fault leaves it as it was.
template <class Record>
std::string changed(const Record& record, const std::string& fault) {
    std::string_view const bytes(reinterpret_cast<const char*>(&record), sizeof record);
    return fault + (bytes.find_first_not_of('\xEE') == std::string_view::npos ? "" : ", changed");
}

// The parsers, with their answers as strings; "no" for what is malformed.
std::string route4(std::string_view line) {
    auto const r = vx::parseRoute4(line);
    return r ? std::string(r->name) + " " + std::to_string(r->gateway) + " " +
                   std::to_string(r->flags)
             : "no";
}
std::string address(std::string_view text) {
    auto const parsed = vx::parseInet6Address(text);
    uint8_t bytes[16];
    std::memcpy(bytes, parsed.value_or(vx::Inet6Address{}).data(), sizeof bytes);
    return parsed ? hex(bytes) : "no";
}
std::string fields(std::string_view text) {
    VXNetInterfaceParams r;
    std::memset(&r, 0xEE, sizeof r);
    return vx::parseInterfaceFields(text, r)
               ? hex(r.address) + std::to_string(r.index) + " " + std::to_string(r.prefixLength) +
                     " " + std::to_string(r.scope) + " " + std::to_string(r.flags) + " " +
                     named(r.name)
               : changed(r, "no");
}
std::string route6(std::string_view line) {
    static constexpr const char* faults[] = {"", "destination", "prefix", "next hop", "flags"};
    VXNetRouteEntry6 r;
    std::memset(&r, 0xEE, sizeof r);
    auto const fault = vx::parseRoute6(line, r);
    return fault == vx::Route6Fault::none
               ? hex(r.destination) + std::to_string(r.prefixLength) + " " + hex(r.nextHop) +
                     std::to_string(r.flags) + " " + named(r.name)
               : changed(r, faults[static_cast<int>(fault)]);
}

// Good lines, with other text from a field or column on.
std::string field4(std::size_t field, const std::string& text) {
    std::string line;
    for (const char* const good :
         {"eth0", "0", "0101A8C0", "0003", "0", "0", "7", "0", "0", "0", "0"}) {
        line += (field-- == 0 ? text : good) + "\t";
    }
    return line;
}
std::string column6(std::size_t column, const std::string& text) {
    return std::string(
               "20010db8000000000000000000000000 40 00000000000000000000000000000000 00 "
               "fd0000000000000000000000000000fe 00000400 00000001 00000000 a0000003     eth0")
        .replace(column, text.size(), text);
}
std::string cut6(std::size_t length) {
    return column6(0, "2").substr(0, length);
}

const std::string good4 = "eth0 16885952 3";
const std::string goodFields = "eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee 2 64 16 255 ";
const std::string good6 =
    "20010db8000000000000000000000000 64 fd0000000000000000000000000000fe 2684354563 ";

TEST(NetLines, GoodAndBad) {
    struct {
        std::string (*parse)(std::string_view);
        std::string line;
        std::string expected;
    } const cases[] = {
        // clang-format off
        {route4, field4(0, "eth0"), good4}, {route4, field4(0, "seventeen-letters"), "no"},
        {route4, field4(0, "sixteen-letters-"), "sixteen-letters- 16885952 3"}, {route4, field4(1, "seventeen-letters"), "no"},
        {route4, field4(2, "fFfFfFfF"), "eth0 4294967295 3"}, {route4, field4(2, "-1"), "no"}, {route4, field4(2, "0x1"), "no"},
        {route4, field4(2, "+1"), "no"}, {route4, field4(2, "0101A8C00"), "no"}, {route4, field4(2, "0101A8CG"), "no"},
        {route4, field4(3, "0x3"), "no"}, {route4, field4(3, "-3"), "no"}, {route4, field4(3, ""), "no"},
        {route4, field4(4, "+1"), "no"}, {route4, field4(6, "-1"), good4}, {route4, field4(6, "-"), "no"}, {route4, field4(6, "1a"), "no"},
        {route4, field4(7, "any text"), "no"}, {route4, field4(8, "1.5"), "no"}, {route4, field4(10, "4294967295"), good4},
        {route4, field4(10, "0 12th x"), good4}, {route4, field4(10, ""), "no"},

        {address, "fE800123456789aBcDef0000000000a1g", "fe800123456789abcdef0000000000a1 "}, {address, std::string(31, '1'), "no"},

        {fields, " 02 40 10 fF     eth0\n", goodFields + "eth0"}, {fields, " 2 40 10 ff eth0", goodFields + "eth0"},
        {fields, " 02 40 10 ff sixteen-letters-", goodFields + "sixteen-"}, {fields, " 02 40 10 ff eth0 more", "no"},
        {fields, "02 40 10 ff     eth0\n", "no"}, {fields, "0102 40 10 ff eth0", "no"}, {fields, " 102 40 10 ff eth0", "no"},
        {fields, " -1 40 10 ff eth0", "no"}, {fields, " +2 40 10 ff eth0", "no"}, {fields, " 0x 40 10 ff eth0", "no"},
        {fields, " 02 4 0 10 ff eth0", "no"}, {fields, " 02 40 10 fg eth0", "no"}, {fields, " 02 40 10 ff ", "no"},

        {route6, column6(0, "2"), good6 + "eth0"}, {route6, column6(0, "-"), "destination"}, {route6, column6(31, " "), "destination"},
        {route6, column6(33, "0x"), "prefix"}, {route6, column6(33, "-1"), "prefix"}, {route6, column6(33, " 4"), "prefix"},
        {route6, column6(33, "40x"), "prefix"}, {route6, column6(33, "400000000"), "prefix"}, {route6, column6(32, "x"), good6 + "eth0"},
        {route6, column6(36, "x"), good6 + "eth0"}, {route6, column6(72, "g"), "next hop"}, {route6, column6(103, "\t"), "next hop"},
        {route6, column6(104, "x"), good6 + "eth0"}, {route6, column6(131, "x"), good6 + "eth0"}, {route6, column6(132, "-"), "flags"},
        {route6, column6(132, " "), "flags"}, {route6, column6(139, "g"), "flags"}, {route6, column6(140, "0"), "flags"},
        {route6, cut6(31), "destination"}, {route6, cut6(33), "prefix"}, {route6, cut6(103), "next hop"}, {route6, cut6(132), "flags"},
        {route6, cut6(140), good6}, {route6, column6(0, "2") + "12345678", good6 + "eth01234567"},
        // clang-format on
    };
    for (auto const& [parse, line, expected] : cases) {
        EXPECT_EQ(parse(line), expected) << line;
        for (std::size_t length = 0; length <= line.size(); ++length) {
            // With nothing after the end, so that the address sanitizer sees whoever looks there.
            std::vector<char> const start(line.begin(), line.begin() + static_cast<long>(length));
            EXPECT_NE(parse({start.data(), length}), "") << line;
        }
    }
}

TEST(NetLines, DigitsOfAddresses) {
    std::string const good = "fE800123456789aBcDef0000000000a1";
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (char const bad : {' ', '-', '+', 'x', 'g', 'G', '`', '@', '/', ':', '\0', '\n'}) {
            std::string text = good;
            text[at] = bad;
            EXPECT_FALSE(vx::parseInet6Address(text)) << text;
        }
    }
}

} // namespace
