// Lines of the tables under /proc/net, good and bad.
#include "net/proc_net.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <arpa/inet.h>

namespace {

std::string shown(const void* address) {
    char text[INET6_ADDRSTRLEN];
    return ::inet_ntop(AF_INET6, address, text, sizeof text);
}

// Numbers and a name, with all of its field but the NULs at its end.
template <std::size_t size, class... Numbers>
std::string told(const char (&field)[size], Numbers... numbers) {
    std::string const name(field, size);
    return ((std::to_string(numbers) + " ") + ...) +
           name.substr(0, name.find_last_not_of('\0') + 1);
}

// The parsers, with their answers as strings.
std::string route4(std::string_view line) {
    auto const r = vx::parseRoute4(line);
    return r ? std::to_string(r->gateway) + " " + std::to_string(r->flags) + " " +
                   std::string(r->name)
             : "no";
}
std::string address(std::string_view text) {
    auto const parsed = vx::parseInet6Address(text);
    return parsed ? shown(parsed->data()) : "no";
}
std::string fields(std::string_view text) {
    VXNetInterfaceParams r;
    std::memset(&r, 0xEE, sizeof r);
    bool const good = vx::parseInterfaceFields(text, r);
    return good ? told(r.name, r.address[0], r.index, r.prefixLength, r.scope, r.flags) : "no";
}
std::string route6(std::string_view line) {
    static constexpr const char* faults[] = {"", "destination", "prefix", "next hop", "flags"};
    VXNetRouteEntry6 r;
    std::memset(&r, 0xEE, sizeof r);
    std::string const fault = faults[static_cast<int>(vx::parseRoute6(line, r))];
    return !fault.empty()
               ? fault
               : told(r.name, r.prefixLength, r.flags) + shown(r.destination) + shown(r.nextHop);
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

TEST(NetLines, GoodAndBad) {
    std::string const good6 = "64 2684354563 eth02001:db8::fd00::fe";
    struct {
        std::string (*parse)(std::string_view);
        std::string expected;
        std::vector<std::string> lines;
    } const cases[] = {
        // clang-format off
        {route4, "16885952 3 eth0", {field4(0, "eth0"), field4(6, "-1"), field4(10, "0 12th x")}},
        {route4, "16885952 3 sixteen-letters-", {field4(0, "sixteen-letters-")}},
        {route4, "4294967295 3 eth0", {field4(2, "fFfFfFfF")}},
        {route4, "no", {field4(0, "seventeen-letters"), field4(1, "seventeen-letters"), field4(2, "-1"),
                        field4(2, "0x1"), field4(2, "0101A8C00"), field4(2, "0101A8CG"), field4(3, "-3"),
                        field4(3, ""), field4(4, "+1"), field4(6, "-"), field4(6, "1a"),
                        field4(7, "any text"), field4(8, "1.5"), field4(10, "")}},
        {address, "fe80:123:4567:89ab:cdef::a1", {"fE800123456789aBcDef0000000000a1g"}},
        {address, "no", {std::string(31, '1')}},
        {fields, "238 2 64 16 255 eth0", {" 02 40 10 fF     eth0\n", " 2 40 10 ff eth0"}},
        {fields, "238 2 64 16 255 sixteen-", {" 02 40 10 ff sixteen-letters-"}},
        {fields, "no", {" 02 40 10 ff eth0 more", "02 40 10 ff     eth0\n", "0102 40 10 ff eth0",
                        " 102 40 10 ff eth0", " -1 40 10 ff eth0", " 0x 40 10 ff eth0",
                        " 02 4 0 10 ff eth0", " 02 40 10 fg eth0", " 02 40 10 ff "}},
        {route6, good6, {column6(32, "x"), column6(36, "x"), column6(104, "x"), column6(131, "x")}},
        {route6, "64 2684354563 2001:db8::fd00::fe", {cut6(140)}},
        {route6, "64 2684354563 eightlet2001:db8::fd00::fe", {column6(141, "eightlet")}},
        {route6, "64 2684354563 eth012342001:db8::fd00::fe", {cut6(149) + "1234"}},
        {route6, "destination", {column6(0, "-"), column6(31, " "), cut6(31)}},
        {route6, "prefix", {column6(33, "0x"), column6(33, " 4"), column6(33, "400000000"), cut6(33)}},
        {route6, "next hop", {column6(72, "g"), column6(103, "\t"), cut6(103)}},
        {route6, "flags", {column6(132, "-"), column6(132, " "), column6(139, "g"), column6(140, "0"), cut6(132)}},
        // clang-format on
    };
    for (auto const& [parse, expected, lines] : cases) {
        for (std::string const& line : lines) {
            EXPECT_EQ(parse(line), expected) << line;
            for (std::size_t length = 0; length <= line.size(); ++length) {
                // With nothing after the end: the address sanitizer sees whoever looks there.
                std::vector<char> const start(line.data(), line.data() + length);
                EXPECT_NE(parse({start.data(), length}), "") << line;
            }
        }
    }
}

TEST(NetLines, DigitsOfAddresses) {
    std::string const good = "fE800123456789aBcDef0000000000a1";
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (char const bad : {' ', '-', '+', 'x', 'g', 'G', '`', '@', '/', ':', '\0', '\n'}) {
            std::string text = good;
            text[at] = bad;
            EXPECT_EQ(address(text), "no") << text;
        }
    }
}

} // namespace
