#include <vxblade/hw.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

TEST(DeviceLines, WalkToName) {
    struct {
        const char* line;
        const char* digits;
        const char* name; // null: the line is skipped
    } const cases[] = {
        {"254 vxgpdev", "254", "vxgpdev"},
        {"  1 mem", "1", "mem"},
        {"1234 \t x y", "1234", "x y"},
        {"12345 five", "1234", nullptr},
        {"no digits", "", ""},
        {"", "", ""},
        {"7", "7", ""},
    };
    for (auto const& c : cases) {
        std::string line = c.line;
        char digits[5] = "####";
        const char* const name = walkToName(line.data(), digits);
        EXPECT_STREQ(name, c.name) << c.line;
        EXPECT_STREQ(digits, c.digits) << c.line; // the fifth byte is the test's own
    }
}

TEST(DeviceLines, ReadLineAndTrim) {
    char text[] = "short\na line that is cut\n\nlast";
    FILE* const file = fmemopen(text, sizeof text - 1, "r");
    struct {
        int count;
        const char* line;
    } const cases[] = {{6, "short\n"}, {19, "a line t"}, {1, "\n"}, {4, "last"}, {0, ""}};
    for (auto const& c : cases) {
        char line[9];
        EXPECT_EQ(readLine(file, line, sizeof line), c.count);
        EXPECT_STREQ(line, c.line);
    }
    std::fclose(file);
    char padded[] = "a b\t \r\n";
    trim(padded);
    EXPECT_STREQ(padded, "a b");
    char blank[] = " \n";
    trim(blank);
    EXPECT_STREQ(blank, "");
}

} // namespace
