#include "props/property_pass.h"
#include "settings/config_fields.h"

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

} // namespace
