#include <vxblade/hw.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

TEST(DeviceLines, WalkToName) {
    std::tuple<const char*, const char*, const char*> const cases[] = {
        // no name: skipped
        {"254 vxgpdev", "254", "vxgpdev"},
        {"  1 mem", "1", "mem"},
        {"1234 \t x y", "1234", "x y"},
        {"12345 five", "1234", nullptr},
        {"no digits", "", ""},
        {"", "", ""},
        {"7", "7", ""}};
    for (auto const& [text, expectedDigits, expectedName] : cases) {
        std::string line = text;
        char digits[5] = "####";
        EXPECT_STREQ(walkToName(line.data(), digits), expectedName) << text;
        EXPECT_STREQ(digits, expectedDigits) << text; // the fifth byte is the test's own
    }
}

TEST(DeviceLines, ReadLineAndTrim) {
    char text[] = "short\na line that is cut\n\nlast";
    FILE* const file = fmemopen(text, sizeof text - 1, "r");
    for (std::string const expected : {"short\n", "a line t", "\n", "last", ""}) {
        char line[9];
        EXPECT_EQ(readLine(file, line, sizeof line),
                  expected == "a line t" ? 19 : int(expected.size()));
        EXPECT_EQ(line, expected);
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
