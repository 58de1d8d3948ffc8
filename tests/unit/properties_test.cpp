// Personality files: the parser, the pass over all properties, and the public access.
#include "props/property_parser.h"
#include "props/property_pass.h"

#include <vxblade/common.h>
#include <vxblade/props.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>

namespace {

using vx::PropertyParser;

PropertyParser parserOf(const std::string& text) {
    return {text.data(), static_cast<int>(text.size())};
}

struct File {
    explicit File(const std::string& text)
        : handle(propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()))) {}
    ~File() { propClosePropertiesFile(handle); }
    PropertiesHandle handle;
};

TEST(PropertyParser, FirstProperties) {
    using namespace std::string_literals;
    std::tuple<std::string, int, std::string, std::string> const cases[] = {
        // clang-format off
        {"config.mgmt.IpAddr = \"10.0.0.1\"\n", 0, "config.mgmt.IpAddr", "10.0.0.1"},
        {"x_y-z.1=\"a b # c\"   # trailing comment\n", 0, "x_y-z.1", "a b # c"},
        {"key=\"\"", 0, "key", ""},                 {"\t key\t=\r\"v\" \t\r\n", 0, "key", "v"},
        {"\r\n# note\r\n  # more = \"x\"\r\nk = \"v\"\r\n", 0, "k", "v"},
        {"k = \"line1\nline2\"\n", 0, "k", "line1\nline2"},
        {"k = \"a=b\\c\"#", 0, "k", "a=b\\c"},      {"k = \"v\"\n\"rest of the file\"", 0, "k", "v"},
        {"k = \"v\"\0x"s, 0, "k", "v"},
        // A malformed line leaves its key.
        {"", -1, "", ""},                           {" \n# only comments", -1, "", ""},
        {"key = value\n", -1, "key", ""},           {"key : \"v\"", -1, "key", ""},
        {"key \"v\"", -1, "key", ""},               {"key = \"v\" extra", -1, "key", "v"},
        {"\"key\" = \"v\"", -1, "", ""},            {"key = \"unterminated\n", -1, "key", ""},
        {"key\n= \"v\"", -1, "key", ""},            {"key =\n\"v\"", -1, "key", ""},
        {"k = \"a\\\"b\"", -1, "k", "a\\"},         {"k/l = \"v\"", -1, "k", ""},
        {"k = \"v\";", -1, "k", "v"},               {"k = \"v\0\""s, -1, "k", ""},
        // clang-format on
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
        {"properties.file.crc32 = \"beef\"\na=\"b\"", 0xBEEF, "ab"},
        {"properties.file.crc32 = \"zz\"\na=\"b\"", 0, "ab"},
        {"a=\"b\"\nbad line\nc=\"d\"", 0, "ab"},
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

TEST(PropertyPass, VisitsEveryOccurrenceAndSaysWhereItStopped) {
    File const file("a=\"1234\"\nb=\"2\"\na=\"" + std::string(300, 'v') + "\"\nbad\nd=\"5\"");
    vx::PropertyPass pass(file.handle);
    for (std::string const& value :
         {std::string("1234"), std::string("2"), std::string(255, 'v')}) {
        ASSERT_TRUE(pass.next());
        EXPECT_EQ(pass.key(), value == "2" ? "b" : "a");
        EXPECT_EQ(pass.value(), value);
    }
    EXPECT_FALSE(pass.next());
    EXPECT_STREQ(pass.rest(), "bad\nd=\"5\"");
}

TEST(PropertyApi, ValuesAndKeys) {
    File const file("a.bc=\"long\"\na.b=\"\"\nx=\"" + std::string(300, 'v') +
                    "\"\na.b=\"second\"\nlonger.key=\"2\"\nbad line\nlost=\"1\"");
    std::tuple<const char*, int, std::size_t> const cases[] = {
        {"a.b", 1, 0}, {"a.bc", 5, 4}, {"x", 301, 255}, {"a", 0, 0}, {"lost", 0, 0}};
    for (auto const& [key, result, length] : cases) {
        char value[256] = {};
        EXPECT_EQ(propGetValue(file.handle, key, value, sizeof value), result) << key;
        EXPECT_EQ(std::strlen(value), length) << key;
    }
    char key[8] = "";
    for (auto const& [size, wanted] : {std::pair{5, "a.bc"}, {4, "a.b"}, {2, "x"}}) {
        EXPECT_EQ(propGetNext(file.handle, key[0] == '\0' ? nullptr : key, key, sizeof key), size);
        EXPECT_STREQ(key, wanted);
    }
    char last[] = "longer.key has more characters than the buffer";
    EXPECT_EQ(propGetNext(file.handle, std::strcpy(key, "second"), key, sizeof key), 0);
    EXPECT_EQ(propGetNext(file.handle, last, key, sizeof key), 0);
    char cut[8] = "";
    File const longer("longer.key=\"2\"\nb=\"1\"");
    EXPECT_EQ(propGetNext(longer.handle, nullptr, cut, sizeof cut), 11) << "the size it needs";
    EXPECT_STREQ(cut, "longer.");
    EXPECT_EQ(propGetNext(longer.handle, cut, cut, sizeof cut), 0) << "a cut key is found nowhere";
    EXPECT_EQ(propGetNext(nullptr, nullptr, cut, sizeof cut), 0);
    EXPECT_EQ(propGetValue(nullptr, "k", cut, sizeof cut), 0);
    EXPECT_EQ(propGetCrc(nullptr, nullptr, nullptr), 0);
}

TEST(PropertyApi, VersionBlock) {
    File const file(
        "properties.file.version=\"1234567890123456789\"\nproperties.file.versionX=\"no\"");
    VersionBlock block{};
    std::strcpy(block.product, "untouched");
    EXPECT_EQ(readDefaultConfigurationVersion(file.handle, &block), -1);
    EXPECT_STREQ(block.version, "123456789012345");
    EXPECT_STREQ(block.product, "untouched");
}

} // namespace
