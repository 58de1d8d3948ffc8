// Personality files: the parser, the pass, the public access, the conversion of values, and the
// checks before a release. Which texts are properties at all, the oracle decides.
#include "props/property_parser.h"
#include "props/property_pass.h"
#include "settings/setting.h"
#include "tools/defaults/text.h"

#include <vxblade/common.h>
#include <vxblade/props.h>

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

namespace {

using namespace std::string_literals;
using vx::PropertyParser;
using vx::Type;

PropertyParser parserOf(const std::string& text) {
    return {text.data(), static_cast<int>(text.size())};
}

TEST(PropertyParser, FirstProperties) {
    std::tuple<std::string, int, std::string, std::string> const cases[] = {
        {"\t x_y-z.1\t=\r\"a # b\" \t# comment\r\n", 0, "x_y-z.1", "a # b"},
        {"\r\n# note\r\n  # more = \"x\"\r\nk = \"1\n2\"", 0, "k", "1\n2"},
        {"k = \"v\"\0x"s, 0, "k", "v"},
        // A malformed line leaves its key.
        {" \n# only comments", -1, "", ""},
        {"key : \"v\"", -1, "key", ""},
        {"key = \"v\" extra", -1, "key", "v"},
        {"k = \"v\0\""s, -1, "k", ""},
    };
    for (auto const& [text, result, wantedKey, wantedValue] : cases) {
        char key[64] = "?";
        char value[64] = "?";
        int sizes[] = {sizeof key, sizeof value};
        EXPECT_EQ(parserOf(text).parseLine(nullptr, key, &sizes[0], value, &sizes[1], nullptr),
                  result);
        EXPECT_EQ(key, wantedKey) << text;
        EXPECT_EQ(value, wantedValue) << text;
    }
}

// Key and value of three characters each in buffers of every small capacity.
TEST(PropertyParser, Truncates) {
    PropertyParser const parser = parserOf("key=\"val\"\nnext=\"x\"");
    const char* const copied[] = {"######",  "######",  "\0#####", "k\0####",
                                  "ke\0###", "key\0##", "key\0##"};
    for (int capacity = -1; capacity <= 5; ++capacity) {
        char key[] = "######";
        char value[] = "######";
        int sizes[] = {capacity, capacity};
        int const needed = std::max(capacity, 4);
        EXPECT_EQ(parser.parseLine(nullptr, key, &sizes[0], value, &sizes[1], nullptr),
                  needed == capacity ? 0 : -2);
        EXPECT_EQ(std::memcmp(key, copied[capacity + 1], 6), 0) << capacity;
        EXPECT_EQ(std::strlen(value), std::strlen(key)) << capacity;
        EXPECT_EQ(sizes[0] + sizes[1], 2 * needed);
    }
    int size = 2;
    EXPECT_EQ(parser.parseLine(nullptr, nullptr, &size, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(size, 4) << "a length without a buffer";
}

TEST(PropertyParser, Crc) {
    std::tuple<std::string, unsigned long, std::string> const cases[] = {
        // stored, covered
        {"a=\"b\"\nproperties.file.crc32 = \"0xBEEF\" # x\nc=\"d\"", 0xBEEF, "abcd"},
        {"properties.file.crc32 = \"zz\"\na=\"b\"\nbad line\nc=\"d\"", 0, "ab"},
        {"a=\"b\"\nc=\"" + std::string(256, 'x') + "\"\ne=\"f\"", 0, "ab"},
    };
    for (auto const& [text, wanted, covered] : cases) {
        unsigned long sums[] = {1, 1};
        EXPECT_EQ(parserOf(text).getCrc(&sums[0], &sums[1]), -1);
        EXPECT_EQ(sums[0], wanted) << text;
        EXPECT_EQ(sums[1], crc32(0, covered.data(), static_cast<int>(covered.size()))) << text;
    }
    EXPECT_EQ(parserOf("a=\"b\"").getCrc(nullptr, nullptr), -1);
}

TEST(PropertyPass, CutsLongValues) {
    auto const file = tools::openDefaults("a=\"" + std::string(300, 'v') + "\"");
    vx::PropertyPass pass(file.get());
    ASSERT_TRUE(pass.next());
    EXPECT_EQ(pass.value(), std::string(255, 'v'));
}

TEST(PropertyApi, ValuesAndKeys) {
    auto const defaults =
        tools::openDefaults("a.bc=\"long\"\na.b=\"\"\nx=\"" + std::string(300, 'v') +
                            "\"\na.b=\"second\"\n" + "longer.key=\"2\"\nbad line\nlost=\"1\"");
    PropertiesHandle const file = defaults.get();
    std::tuple<const char*, int, std::size_t> const values[] = {
        {"a.b", 1, 0}, {"a.bc", 5, 4}, {"x", 301, 255}, {"a", 0, 0}, {"lost", 0, 0}};
    for (auto const& [key, result, length] : values) {
        char value[256] = {};
        EXPECT_EQ(propGetValue(file, key, value, sizeof value), result) << key;
        EXPECT_EQ(std::strlen(value), length) << key;
    }
    std::tuple<std::string, int, std::string> const following[] = {
        {"a.bc", 4, "a.b"},
        {"a.b", 2, "x"},
        {"second", 0, "second"},
        {"longer.", 0, "longer."}, // a cut key is found nowhere
        {"longer.key of all", 0, "longer.key of all"},
    };
    char key[8] = "";
    EXPECT_EQ(propGetNext(file, nullptr, key, sizeof key), 5);
    EXPECT_STREQ(key, "a.bc");
    for (auto const& [previous, size, wanted] : following) {
        char next[32] = "";
        std::strcpy(next, previous.c_str());
        EXPECT_EQ(propGetNext(file, next, key, sizeof key), size) << previous;
        EXPECT_EQ(next, wanted);
    }
    auto const longer = tools::openDefaults("longer.key=\"2\"\nb=\"1\"");
    EXPECT_EQ(propGetNext(longer.get(), nullptr, key, sizeof key), 11) << "the size it needs";
    EXPECT_STREQ(key, "longer.");
    EXPECT_EQ(propGetNext(nullptr, nullptr, key, sizeof key) +
                  propGetValue(nullptr, "k", key, sizeof key) +
                  propGetCrc(nullptr, nullptr, nullptr),
              0);
}

TEST(ConvertText, TableOfTexts) {
    struct {
        Type type;
        const char* value;
        std::vector<unsigned char> expected; // over a field of 0xEE bytes
    } const cases[] = {
        {Type::number8, "-1", {255}},
        {Type::number8, "300 ", {44}},
        {Type::number8, "abc", {0xEE}},
        {Type::number16, " 70000", {0x70, 0x11}},
        {Type::number32, "4294967295x", {255, 255, 255, 255}},
        {Type::number32, "-2", {254, 255, 255, 255}},
        {Type::ipv4, "192.168.255", {192, 168, 255, 0}},
        {Type::hex, "001b21AABBcc", {0, 0x1B, 0x21, 0xAA, 0xBB, 0xCC}},
        {Type::hex, "AB", {0xAB, 0xAB, 0xEE, 0xEE, 0xEE, 0xEE}},
        {Type::hex, "zz12", {0, 0x12}},
        {Type::string, "abcdef", {'a', 'b', 'c', 0}},
    };
    for (auto const& [type, value, expected] : cases) {
        char text[vx::propertyBufferSize] = "";
        std::strcpy(text, value);
        auto const size = static_cast<uint16_t>(expected.size());
        std::vector<unsigned char> record(size + 2U, 0xEE); // a guard byte on either side
        vx::convertValue({"", type, vx::Rule::conditional, vx::Meaning::plain, vx::noRole, 1, size},
                         text, record.data());
        EXPECT_TRUE(record.front() == 0xEE && record.back() == 0xEE);
        EXPECT_EQ(std::vector(record.begin() + 1, record.end() - 1), expected) << value;
    }
}

} // namespace
