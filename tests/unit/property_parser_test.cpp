#include "props/property_parser.h"

#include <vxblade/common.h>
#include <vxblade/props.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>

namespace {

using vx::PropertyParser;

PropertyParser parserOf(const std::string& text) {
    return {text.data(), static_cast<int>(text.size())};
}

// The result, the key and the value of a text's first property.
using Parsed = std::tuple<int, std::string, std::string>;
Parsed parseFirst(const std::string& text) {
    char key[64] = "?";
    char value[64] = "?";
    int keyLength = sizeof key;
    int valueLength = sizeof value;
    int const result =
        parserOf(text).parseLine(nullptr, key, &keyLength, value, &valueLength, nullptr);
    return {result, key, value};
}

TEST(PropertyParser, FirstProperties) {
    using namespace std::string_literals;
    std::pair<std::string, Parsed> const cases[] = {
        // clang-format off
        {"config.mgmt.IpAddr = \"10.0.0.1\"\n", {0, "config.mgmt.IpAddr", "10.0.0.1"}},
        {"x_y-z.1=\"a b # c\"   # trailing comment\n", {0, "x_y-z.1", "a b # c"}},
        {"key=\"\"", {0, "key", ""}},
        {"\t key\t=\r\"v\" \t\r\n", {0, "key", "v"}},
        {"\r\n# note\r\n  # more = \"x\"\r\nk = \"v\"\r\n", {0, "k", "v"}},
        {"k = \"line1\nline2\"\n", {0, "k", "line1\nline2"}},
        {"k = \"a=b\\c\"#", {0, "k", "a=b\\c"}},
        {"k = \"v\"\n\"rest of the file\"", {0, "k", "v"}},
        {"k = \"v\"\0x"s, {0, "k", "v"}},
        // A malformed line leaves its key behind.
        {"", {-1, "", ""}},                   {" \n# only comments", {-1, "", ""}},
        {"key = value\n", {-1, "key", ""}},   {"key : \"v\"", {-1, "key", ""}},
        {"key \"v\"", {-1, "key", ""}},       {"key = \"v\" extra", {-1, "key", "v"}},
        {"\"key\" = \"v\"", {-1, "", ""}},    {"key = \"unterminated\n", {-1, "key", ""}},
        {"key\n= \"v\"", {-1, "key", ""}},    {"key =\n\"v\"", {-1, "key", ""}},
        {"k = \"a\\\"b\"", {-1, "k", "a\\"}}, {"k/l = \"v\"", {-1, "k", ""}},
        {"k = \"v\";", {-1, "k", "v"}},       {"k = \"v\0\""s, {-1, "k", ""}},
        // clang-format on
    };
    for (auto const& [text, parsed] : cases) {
        EXPECT_EQ(parseFirst(text), parsed) << text;
    }
}

// Key and value of three characters each in buffers of every small capacity.
TEST(PropertyParser, Truncates) {
    PropertyParser const parser = parserOf("key=\"val\"\nnext=\"x\"");
    for (int capacity = -1; capacity <= 5; ++capacity) {
        char key[8] = "#######";
        char value[8] = "#######";
        int keyLength = capacity;
        int valueLength = capacity;
        bool const fits = capacity >= 4;
        EXPECT_EQ(parser.parseLine(nullptr, key, &keyLength, value, &valueLength, nullptr),
                  fits ? 0 : -2);
        for (auto const& [buffer, length, text] :
             {std::tuple{key, keyLength, "key"}, {value, valueLength, "val"}}) {
            EXPECT_EQ(length, fits ? capacity : 4) << text;
            std::string expected = "#######";
            if (capacity > 0) {
                std::size_t const kept = fits ? 3 : static_cast<std::size_t>(capacity) - 1;
                expected.replace(0, kept + 1, std::string(text, kept) + '\0');
            }
            EXPECT_EQ(std::string(buffer, 7), expected) << "at capacity " << capacity;
        }
    }
    int keyLength = 2;
    EXPECT_EQ(parser.parseLine(nullptr, nullptr, &keyLength, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(keyLength, 4) << "a length without a buffer";
    char untouched[4] = "###";
    const char* next = nullptr;
    EXPECT_EQ(parser.parseLine(nullptr, untouched, nullptr, untouched, nullptr, &next), 0);
    EXPECT_STREQ(untouched, "###");
    EXPECT_EQ(parser.parseLine(next, nullptr, nullptr, nullptr, nullptr, &next), 0);
    EXPECT_STREQ(next, "");
    EXPECT_EQ(parser.parseLine(next, nullptr, nullptr, nullptr, nullptr, &next), -1);
}

TEST(PropertyParser, Crc) {
    struct {
        std::string text;
        unsigned long stored;
        std::string covered;
    } const cases[] = {
        {"a=\"b\"", 0, "ab"},
        {"a=\"b\"\nproperties.file.crc32 = \"0xBEEF\" # x\nc=\"d\"", 0xBEEF, "abcd"},
        {"properties.file.crc32 = \"beef\"\na=\"b\"", 0xBEEF, "ab"},
        {"properties.file.crc32 = \"zz\"\na=\"b\"", 0, "ab"},
        {"a=\"b\"\nbad line\nc=\"d\"", 0, "ab"},
        {"a=\"b\"\nc=\"" + std::string(256, 'x') + "\"\ne=\"f\"", 0, "ab"},
    };
    for (auto const& c : cases) {
        unsigned long stored = 1;
        unsigned long computed = 1;
        EXPECT_EQ(parserOf(c.text).getCrc(&stored, &computed), -1);
        EXPECT_EQ(stored, c.stored) << c.text;
        EXPECT_EQ(computed, crc32(0, c.covered.data(), static_cast<int>(c.covered.size())));
        EXPECT_EQ(parserOf(c.text).getCrc(nullptr, nullptr), -1);
    }
}

TEST(PropertyParser, Files) {
    auto const folder =
        std::filesystem::temp_directory_path() / ("parser" + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "good") << "a=\"b\"\n";
    std::ofstream(folder / "gigantic") << "a=\"b\"\n";
    std::filesystem::resize_file(folder / "gigantic", std::uintmax_t{1} << 40);
    std::pair<const char*, std::string> const cases[] = {
        {"good", "read 6 bytes from "},
        {"missing", "Failed to query file size init "},
        {"", "Failed to open file for reading "}, // the folder itself
        {"gigantic", "Failed to query file size init "},
    };
    for (auto const& [name, words] : cases) {
        std::string const path = folder / name;
        testing::internal::CaptureStdout();
        PropertiesHandle const handle = propOpenPropertiesFile(path.c_str());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "PropertyParser: " + words + path + "\n");
        char key[8];
        EXPECT_EQ(propGetNext(handle, nullptr, key, sizeof key), path.ends_with("good") ? 2 : 0);
        propClosePropertiesFile(handle);
    }
    std::filesystem::remove_all(folder);
}

} // namespace
