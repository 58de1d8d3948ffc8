#include "props/config_fields.h"
#include "props/property_pass.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace {

using vx::Conversion;
using vx::Field;

std::vector<unsigned char> converted(Conversion conversion, uint16_t size, const std::string& value,
                                     unsigned char before) {
    std::array<char, vx::propertyBufferSize> text{};
    std::memcpy(text.data(), value.data(), value.size());
    std::vector<unsigned char> record(size + 2U, before); // a guard byte on either side
    vx::convertText(Field{"", conversion, vx::Rule::conditional, 1, size}, text.data(),
                    record.data());
    EXPECT_EQ(record.front(), before);
    EXPECT_EQ(record.back(), before);
    return {record.begin() + 1, record.end() - 1};
}

TEST(ConvertText, TableOfTexts) {
    using Bytes = std::vector<unsigned char>;
    struct {
        Conversion conversion;
        uint16_t size;
        const char* value;
        Bytes expected; // over a field of 0xEE bytes
    } const cases[] = {
        // clang-format off
        {Conversion::number8, 1, "12abc", {12}}, {Conversion::number8, 1, "300", {44}}, {Conversion::number8, 1, "-1", {255}},
        {Conversion::number8, 1, " 7", {7}}, {Conversion::number8, 1, "", {0xEE}}, {Conversion::number8, 1, "abc", {0xEE}},
        {Conversion::number16, 2, "70000", {0x70, 0x11}}, {Conversion::number32, 4, "4294967295", {255, 255, 255, 255}},
        {Conversion::number32, 4, "-2", {254, 255, 255, 255}}, {Conversion::number32, 4, "0x10", {0, 0, 0, 0}},
        {Conversion::dotted, 4, "192.168.1.255", {192, 168, 1, 255}}, {Conversion::dotted, 4, "10.0", {10, 0, 0, 0}},
        {Conversion::dotted, 4, "", {0, 0, 0, 0}}, {Conversion::hex, 6, "001b21AABBcc", {0, 0x1B, 0x21, 0xAA, 0xBB, 0xCC}},
        {Conversion::hex, 6, "AB", {0xAB, 0xAB, 0xEE, 0xEE, 0xEE, 0xEE}}, {Conversion::hex, 2, "zz12", {0, 0x12}},
        {Conversion::hex, 2, "", {0xEE, 0xEE}}, {Conversion::text, 4, "ab", {'a', 'b', 0, 0}},
        {Conversion::text, 4, "abcdef", {'a', 'b', 'c', 0}}, {Conversion::text, 4, "", {0, 0, 0, 0}},
        // clang-format on
    };
    for (auto const& c : cases) {
        EXPECT_EQ(converted(c.conversion, c.size, c.value, 0xEE), c.expected) << c.value;
    }
}

TEST(LoadFields, FirstOccurrenceWinsAndSuffixesMatchWhole) {
    std::string const text = "config.bridge.BridgeMode=\"junk\"\n"
                             "config.bridge.BridgeModeX=\"5\"\n"
                             "config.bridge.BridgeLogLevel=\"2\"\n"
                             "config.bridge.BridgeMode=\"3\"\n"
                             "config.bridge.BridgeLogLevel=\"9\"\n"
                             "config.bridge.sub.BridgeSmisFlags=\"4\"\n"
                             "Config.bridge.BridgeSmisFlags=\"4\"\n";
    PropertiesHandle const handle =
        propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
    BridgeConfig record{};
    record.BridgeMode = 77;
    vx::FieldGroup const groups[] = {vx::bridgeSettings};
    vx::loadFields(handle, vx::bridgePrefix, groups, &record);
    EXPECT_EQ(record.BridgeMode, 77) << "its first occurrence does not convert";
    EXPECT_EQ(record.BridgeLogLevel, 2);
    EXPECT_EQ(record.BridgeSmisFlags, 0);
    propClosePropertiesFile(handle);
}

TEST(Fields, TextsCompareWithinTheirField) {
    CliConfig a{};
    CliConfig b{};
    Field const& prompt = vx::cliFields[1];
    std::memset(a.BridgeCliPrompt, 'x', sizeof a.BridgeCliPrompt); // a live text without its NUL
    std::memset(b.BridgeCliPrompt, 'x', sizeof b.BridgeCliPrompt);
    EXPECT_TRUE(vx::fieldsEqual(prompt, &a, &b));
    b.BridgeCliPrompt[63] = '\0';
    EXPECT_FALSE(vx::fieldsEqual(prompt, &a, &b));
    std::strcpy(a.BridgeCliPrompt, "same");
    std::strcpy(b.BridgeCliPrompt, "same"); // what lies behind the NUL does not count
    EXPECT_TRUE(vx::fieldsEqual(prompt, &a, &b));
}

} // namespace
