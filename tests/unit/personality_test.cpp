#include "tools/files.h"
#include "tools/personality.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST(Personality, ProblemsAreNamed) {
    std::string const version = "properties.file.version = \"1\"\n";
    std::pair<std::string, std::vector<std::string>> const cases[] = {
        // clang-format off
        {version + "a = \"1\"\n# end\n", {}},
        {version + "a = \"1\"\n\n# x\nb = 2\nc = \"3\"\n", {"line 5: not a property; nothing from here on is read"}},
        {version + "a = \"1\"\na = \"2\"\n", {"repeated key a: only its first value counts"}},
        {version + "a = \"" + std::string(255, 'x') + "\"\n", {"value of a has 255 characters or more and is cut"}},
        {"a = \"1\"\n", {"no properties.file.version"}},
        {"# c\nbad\n" + version, {"line 2: not a property; nothing from here on is read", "no properties.file.version"}},
        {version + std::string("a = \"1\"\n\0b = \"2\"", 17), {"line 3: a NUL byte; nothing from here on is read"}},
        {version + "properties.file.crc32 = \"1\"\n", {"the file's CRC does not match its content"}},
        // clang-format on
    };
    for (auto const& [text, problems] : cases) {
        EXPECT_EQ(tools::examinePersonality(text).problems, problems) << text;
    }
}

TEST(Personality, SealingReplacesTheLine) {
    std::string const path = testing::TempDir() + "seal" + std::to_string(::getpid());
    std::ofstream(path) << "properties.file.crc32 = \"bad\"\nproperties.file.version = \"1\"\n"
                           "properties.file.crc32_tool=\"b\"";
    tools::sealPersonality(path);
    std::string const once = tools::readText(path);
    tools::sealPersonality(path);
    EXPECT_EQ(tools::readText(path), once);
    auto const report = tools::examinePersonality(once);
    EXPECT_TRUE(report.sealed && report.properties == 3 && report.problems.empty());
    std::ofstream(path) << "no property";
    EXPECT_THROW(tools::sealPersonality(path), std::runtime_error);
    EXPECT_EQ(tools::readText(path), "no property");
    std::filesystem::remove(path);
}

} // namespace
