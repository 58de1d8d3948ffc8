#include "props/property_parser.h"

#include <vxblade/common.h>
#include <vxblade/props.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using vx::PropertyParser;

PropertyParser parserOf(const std::string& text) {
    return {text.data(), static_cast<int>(text.size())};
}

struct Parsed {
    int result;
    std::string key;
    std::string value;
};

Parsed parseFirst(const std::string& text) {
    char key[64] = "?";
    char value[64] = "?";
    int keyLength = sizeof key;
    int valueLength = sizeof value;
    int const result =
        parserOf(text).parseLine(nullptr, key, &keyLength, value, &valueLength, nullptr);
    return {result, key, value};
}

TEST(PropertyParser, Accepts) {
    struct {
        std::string text, key, value;
    } const cases[] = {
        {"config.mgmt.IpAddr = \"10.0.0.1\"\n", "config.mgmt.IpAddr", "10.0.0.1"},
        {"x_y-z.1=\"a b # c\"   # trailing comment\n", "x_y-z.1", "a b # c"},
        {"key=\"\"", "key", ""},
        {"key=\"v\"", "key", "v"},
        {"\t key\t=\r\"v\" \t\r\n", "key", "v"},
        {"\r\n# note\r\n  # more = \"x\"\r\nk = \"v\"\r\n", "k", "v"},
        {"k = \"line1\nline2\"\n", "k", "line1\nline2"},
        {"k = \"a=b\\c\"#", "k", "a=b\\c"},
        {"k = \"v\"\n\"rest of the file\"", "k", "v"},
        {std::string("k = \"v\"\0x", 10), "k", "v"},
    };
    for (auto const& c : cases) {
        Parsed const parsed = parseFirst(c.text);
        EXPECT_EQ(parsed.result, 0) << c.text;
        EXPECT_EQ(parsed.key, c.key) << c.text;
        EXPECT_EQ(parsed.value, c.value) << c.text;
    }
}

TEST(PropertyParser, Rejects) {
    struct {
        std::string text, key; // the key that a malformed line leaves behind
    } const cases[] = {
        {"", ""},
        {" \n# only comments", ""},
        {"key = value\n", "key"},
        {"key : \"v\"", "key"},
        {"key \"v\"", "key"},
        {"key = \"v\" extra", "key"},
        {"\"key\" = \"v\"", ""},
        {"key = \"unterminated\n", "key"},
        {"key\n= \"v\"", "key"},
        {"key =\n\"v\"", "key"},
        {"k = \"a\\\"b\"", "k"},
        {"k/l = \"v\"", "k"},
        {"k = \"v\";", "k"},
        {std::string("k = \"v\0\"", 8), "k"},
    };
    for (auto const& c : cases) {
        Parsed const parsed = parseFirst(c.text);
        EXPECT_EQ(parsed.result, -1) << c.text;
        EXPECT_EQ(parsed.key, c.key) << c.text;
    }
}

// Key and value of three characters each in buffers of every small capacity.
TEST(PropertyParser, Truncates) {
    PropertyParser const parser = parserOf("key=\"val\"\nnext=\"x\"");
    for (int capacity = -1; capacity <= 5; ++capacity) {
        for (bool cutKey : {false, true}) {
            char key[8] = "#######";
            char value[8] = "#######";
            int keyLength = cutKey ? capacity : 8;
            int valueLength = cutKey ? 8 : capacity;
            const char* next = nullptr;
            int const result =
                parser.parseLine(nullptr, key, &keyLength, value, &valueLength, &next);
            const char* const part = cutKey ? key : value;
            int const length = cutKey ? keyLength : valueLength;
            bool const fits = capacity >= 4;
            EXPECT_EQ(result, fits ? 0 : -2) << capacity;
            EXPECT_EQ(length, fits ? capacity : 4) << capacity;
            EXPECT_STREQ(next, "next=\"x\"");
            if (capacity <= 0) {
                EXPECT_STREQ(part, "#######");
            } else {
                EXPECT_EQ(part,
                          std::string(cutKey ? "key" : "val").substr(0, fits ? 3 : capacity - 1));
                EXPECT_EQ(part[capacity], '#') << "written past the capacity";
            }
        }
    }
    char key[3];
    char value[2];
    int keyLength = sizeof key;
    int valueLength = sizeof value;
    EXPECT_EQ(parser.parseLine(nullptr, key, &keyLength, value, &valueLength, nullptr), -2);
    EXPECT_EQ(std::string(key) + value, "kev") << "both cut at once";
    keyLength = 2;
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

std::string printedByOpening(const std::string& path) {
    testing::internal::CaptureStdout();
    PropertiesHandle const handle = propOpenPropertiesFile(path.c_str());
    char key[8];
    EXPECT_EQ(propGetNext(handle, nullptr, key, sizeof key), path.ends_with("good") ? 2 : 0);
    propClosePropertiesFile(handle);
    return testing::internal::GetCapturedStdout();
}

TEST(PropertyParser, Files) {
    auto const folder =
        std::filesystem::temp_directory_path() /
        ("parser" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
         std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    std::string const good = folder / "good";
    std::ofstream(good) << "a=\"b\"\n";
    EXPECT_EQ(printedByOpening(good), "PropertyParser: read 6 bytes from " + good + "\n");
    std::string const missing = folder / "missing";
    EXPECT_EQ(printedByOpening(missing),
              "PropertyParser: Failed to query file size init " + missing + "\n");
    EXPECT_EQ(printedByOpening(folder),
              "PropertyParser: read 0 bytes from " + folder.string() + "\n");
    std::string const gigantic = folder / "gigantic";
    std::ofstream(gigantic) << "a=\"b\"\n";
    std::filesystem::resize_file(gigantic, std::uintmax_t{1} << 40);
    EXPECT_EQ(printedByOpening(gigantic),
              "PropertyParser: Failed to query file size init " + gigantic + "\n");
    std::filesystem::remove_all(folder);
}

} // namespace
