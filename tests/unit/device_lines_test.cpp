#include <vxblade/hw.h>

#include <gtest/gtest.h>

#include <tuple>

namespace {

TEST(DeviceLines, ReadLineAndTrim) {
    char text[] = "short\na line that is cut\n\nlast \t\r";
    FILE* const file = fmemopen(text, sizeof text - 1, "r");
    std::tuple<int, const char*, const char*> const lines[] = {
        {6, "short\n", "short"},
        {19, "a line t", "a line t"},
        {1, "\n", ""},
        {7, "last \t\r", "last"},
        {0, "", ""},
    };
    for (auto const& [count, read, trimmed] : lines) {
        char line[9];
        EXPECT_EQ(readLine(file, line, sizeof line), count);
        EXPECT_STREQ(line, read);
        trim(line);
        EXPECT_STREQ(line, trimmed);
    }
    std::fclose(file);
}

} // namespace
