#include "upgrade/default_merge.h"

#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// The merges work on the table in memory; without an open file their write fails, which changes
// nothing of what they decide.
constexpr int noFile = -1;

struct MergeTest : testing::Test {
    void SetUp() override { InitDatabaseLite(); }

    // Runs a merge over two texts; returns what it printed to standard output.
    std::string merge(int (*operation)(PropertiesHandle, PropertiesHandle),
                      const std::string& oldText, const std::string& newText) {
        PropertiesHandle const oldFile =
            propReadPropertiesBuffer(oldText.data(), static_cast<int>(oldText.size()));
        PropertiesHandle const newFile =
            propReadPropertiesBuffer(newText.data(), static_cast<int>(newText.size()));
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        result = operation(oldFile, newFile);
        errors = testing::internal::GetCapturedStderr();
        propClosePropertiesFile(oldFile);
        propClosePropertiesFile(newFile);
        return testing::internal::GetCapturedStdout();
    }

    int result = 0;
    std::string errors;
};

std::string line(const std::string& prefix, const std::string& key, const std::string& value) {
    return prefix + key + " = \"" + value + "\"\n";
}

// Every key's default changed alone: its own line and no other, the update named once.
TEST_F(MergeTest, EveryKeyOfBothSections) {
    struct Case {
        int (*operation)(PropertiesHandle, PropertiesHandle);
        const char* prefix;
        std::vector<const char*> keys; // in the order in which they are compared
        const char* update;
    } const cases[] = {
        {vx::compareDefaultBridgeConfigInfo,
         "config.bridge.",
         {"BridgeMode", "BridgeLogSize", "BridgeLogLevel", "BridgeRemoteCommandTimeout",
          "BridgeSmisFlags", "BridgeUserDaemonFeatures", "BridgeSmisListenerPersistenceType",
          "BridgeDataMigrationMode", "BridgeIqnGenFlags", "BridgeTargetMode", "BridgeLunMapping",
          "BridgeIscsiBaseName"},
         "vxpvh:compareDefaultBridgeConfigInfo!244 Updating Bridge Info\n"},
        {vx::compareDefaultCliConfigInfo,
         "config.cli.",
         {"BridgeCliTimeout", "BridgeCliPrompt"},
         "vxpvh:compareDefaultCliConfigInfo!327 Updating CLI Info\n"},
    };
    for (Case const& c : cases) {
        std::string allNew;
        std::string allLines;
        for (const char* const key : c.keys) {
            SetUp();
            std::string const expected = "Compare Diff: field=" + std::string(key) + ", update=1\n";
            EXPECT_EQ(merge(c.operation, "", line(c.prefix, key, "17")), expected);
            EXPECT_EQ(errors, c.update);
            EXPECT_EQ(result, noFile);
            allNew = line(c.prefix, key, "17") + allNew; // the file's order is the reverse
            allLines += expected;
        }
        SetUp();
        EXPECT_EQ(merge(c.operation, "", allNew), allLines);
        EXPECT_EQ(merge(c.operation, allNew, allNew), "");
        EXPECT_EQ(errors, "");
        EXPECT_EQ(result, 0);
    }
}

// What a field holds after a merge, by old default, new default and live value.
TEST_F(MergeTest, TruthTableOfTheTwoRules) {
    struct {
        int oldDefault, newDefault, live;
        int conditional, forced;
    } const cases[] = {
        {1, 1, 1, 1, 1}, // nothing changed
        {1, 1, 5, 5, 5}, // the user's value; the defaults agree
        {1, 2, 1, 2, 2}, // untouched by the user
        {1, 2, 5, 5, 2}, // the user's value
        {1, 2, 2, 2, 2}, // the user was first: a forced field is still written
        {0, 2, 0, 2, 2}, // a new key
    };
    for (auto const& c : cases) {
        SetUp();
        BridgeConfig& live = bridge_configuration.record;
        live.BridgeMode = live.BridgeTargetMode = static_cast<uint8_t>(c.live);
        live.BridgeLogSize = static_cast<uint32_t>(c.live);
        std::snprintf(live.BridgeIscsiBaseName, sizeof live.BridgeIscsiBaseName, "%d", c.live);
        std::snprintf(live.cli.BridgeCliPrompt, sizeof live.cli.BridgeCliPrompt, "%d", c.live);
        auto const file = [](int value) {
            std::string const text = std::to_string(value);
            // A text's default is absent where the number's is zero and live holds "0".
            return line("config.bridge.", "BridgeMode", text) +
                   line("config.bridge.", "BridgeLogSize", text) +
                   line("config.bridge.", "BridgeTargetMode", text) +
                   line("config.bridge.", "BridgeIscsiBaseName", text) +
                   line("config.cli.", "BridgeCliPrompt", text);
        };
        std::string const printed =
            merge(vx::compareDefaultBridgeConfigInfo, file(c.oldDefault), file(c.newDefault));
        merge(vx::compareDefaultCliConfigInfo, file(c.oldDefault), file(c.newDefault));
        EXPECT_EQ(live.BridgeMode, c.conditional);
        EXPECT_EQ(live.BridgeLogSize, static_cast<uint32_t>(c.conditional));
        EXPECT_EQ(live.BridgeTargetMode, c.forced);
        EXPECT_EQ(live.BridgeIscsiBaseName, std::to_string(c.forced));
        EXPECT_EQ(live.cli.BridgeCliPrompt, std::to_string(c.conditional));
        EXPECT_EQ(printed.find("BridgeTargetMode") != std::string::npos,
                  c.oldDefault != c.newDefault);
    }
}

TEST_F(MergeTest, LongPromptsAreCutBeforeTheyAreCompared) {
    std::string const common(63, 'p');
    std::string const oldFile = line("config.cli.", "BridgeCliPrompt", common + "old");
    EXPECT_EQ(merge(vx::compareDefaultCliConfigInfo, oldFile,
                    line("config.cli.", "BridgeCliPrompt", common + "new")),
              "");
    std::memset(&bridge_configuration.record.cli, 'p', sizeof(CliConfig)); // live, without a NUL
    EXPECT_EQ(merge(vx::compareDefaultCliConfigInfo, oldFile,
                    line("config.cli.", "BridgeCliPrompt", "short")),
              "");
}

} // namespace
