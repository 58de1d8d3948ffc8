#include "props/property_pass.h"
#include "settings/setting.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using vx::Type;

TEST(ConvertText, TableOfTexts) {
    struct {
        Type type;
        uint16_t size;
        const char* value;
        std::vector<unsigned char> expected; // over a field of 0xEE bytes
    } const cases[] = {
        // clang-format off
        {Type::number8, 1, "12abc", {12}}, {Type::number8, 1, "300", {44}}, {Type::number8, 1, "-1", {255}},
        {Type::number8, 1, " 7", {7}}, {Type::number8, 1, "", {0xEE}}, {Type::number8, 1, "abc", {0xEE}},
        {Type::number16, 2, "70000", {0x70, 0x11}}, {Type::number32, 4, "4294967295", {255, 255, 255, 255}},
        {Type::number32, 4, "-2", {254, 255, 255, 255}}, {Type::number32, 4, "0x10", {0, 0, 0, 0}},
        {Type::ipv4, 4, "192.168.1.255", {192, 168, 1, 255}}, {Type::ipv4, 4, "10.0", {10, 0, 0, 0}},
        {Type::ipv4, 4, "", {0, 0, 0, 0}}, {Type::hex, 6, "001b21AABBcc", {0, 0x1B, 0x21, 0xAA, 0xBB, 0xCC}},
        {Type::hex, 6, "AB", {0xAB, 0xAB, 0xEE, 0xEE, 0xEE, 0xEE}}, {Type::hex, 2, "zz12", {0, 0x12}},
        {Type::hex, 2, "", {0xEE, 0xEE}}, {Type::string, 4, "ab", {'a', 'b', 0, 0}},
        {Type::string, 4, "abcdef", {'a', 'b', 'c', 0}}, {Type::string, 4, "", {0, 0, 0, 0}},
        // clang-format on
    };
    for (auto const& [type, size, value, expected] : cases) {
        char text[vx::propertyBufferSize] = "";
        std::strcpy(text, value);
        std::vector<unsigned char> record(size + 2U, 0xEE); // a guard byte on either side
        vx::convertValue({"", type, vx::Rule::conditional, vx::Meaning::plain, vx::noRole, 1, size},
                         text, record.data());
        EXPECT_TRUE(record.front() == 0xEE && record.back() == 0xEE);
        EXPECT_EQ(std::vector(record.begin() + 1, record.end() - 1), expected) << value;
    }
}

} // namespace
