#include "tests/support/devices.h"
#include "upgrade/merge.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

namespace {

// The two merges that an upgrade does not make. They work on the table in memory; without an open
// file their write fails, which changes nothing of what they decide.
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

TEST_F(MergeTest, SnmpTraps) {
    SnmpConfig& live = snmp_info.record;
    live.traps[0].TrapPort = 5; // not enabled: forced
    live.traps[3].enabled = 2;
    live.traps[3].TrapPort = 1620;
    std::strcpy(live.ReadCommunity, "mine");
    std::string oldFile =
        line("config.snmp.", "ReadCommunity", "public") + line("config.snmp.", "TrapCommunity", "");
    std::string newFile = line("config.snmp.", "ReadCommunity", "private") +
                          line("config.snmp.", "TrapCommunity", "traps") +
                          line("config.snmp.Traps.8.", "TrapPort", "1");
    for (const char* const trap : {"0", "3", "7"}) {
        std::string const prefix = std::string("config.snmp.Traps.") + trap + ".";
        newFile += line(prefix, "TrapVersion", "2") + line(prefix, "TrapPort", "162");
    }
    std::string const trapMoved = "Compare Diff: field=TrapPort, update=1\n"
                                  "Compare Diff: field=TrapVersion, update=1\n";
    EXPECT_EQ(merge(vx::compareDefaultSnmpConfigInfo, oldFile, newFile),
              "Compare Diff: field=TrapCommunity, update=1\n" + trapMoved + trapMoved);
    EXPECT_EQ(errors,
              "vxpvh:compareDefaultSnmpConfigInfo!1190 3: Already configured. TrapPort 1620. "
              "Enabled: 2. Not Updating with default \n"
              "vxpvh:compareDefaultSnmpConfigInfo!1200 Updating SNMP\n");
    EXPECT_EQ(result, noFile);
    EXPECT_STREQ(live.ReadCommunity, "mine");
    EXPECT_EQ(live.traps[0].TrapPort, 162U);
    EXPECT_EQ(live.traps[3].TrapPort, 1620U);
    EXPECT_EQ(live.traps[7].TrapVersion, 2U);
    EXPECT_EQ(vx::loadDefaultSnmpTrapsInfo(nullptr, nullptr, 0), -1);
}

TEST_F(MergeTest, ChassisName) {
    std::string const updating =
        "vxpvh:compareDefaultChassisName!1472 compareDefaultChassisName: update chassis name \n";
    auto const current = [](const std::string& name) {
        return "vxpvh:compareDefaultChassisName!1464 compareDefaultChassisName: CurrChassisName is " +
               name + " \n";
    };
    std::string const key = "config.chassis.";
    std::string const longText(70, 'n');
    std::string const cut(63, 'n');
    std::string const a = line(key, "ChassisName", "a");
    std::string const b = line(key, "ChassisName", "b");
    struct {
        std::string live, oldFile, newFile, errors, after;
    } const cases[] = {
        {"", "", "", updating, ""},
        {"a", a, b, current("a") + updating, "b"},
        {"mine", a, b, current("mine"), "mine"},
        {cut, line(key, "x", longText), line(key, "x", longText), current(cut) + updating, cut},
        // The last key counts, and of a repeated one the first value; nothing of a long earlier
        // value shines through.
        {"", "",
         line("other", "", std::string(200, 'z')) + line(key, "A", longText) + line(key, "B", "b") +
             line(key, "B", "c"),
         updating, "b"},
    };
    for (auto const& c : cases) {
        loadBlankEnvironment();
        if (!c.live.empty()) {
            vornhal_setenv("ChassisName", c.live.c_str());
        }
        EXPECT_EQ(merge(vx::compareDefaultChassisName, c.oldFile, c.newFile), "");
        EXPECT_EQ(result, -1);
        // Behind the merge's own words stand the flash's, where it was written.
        EXPECT_EQ(errors.substr(0, errors.find("vhnor_api")), c.errors);
        // Where the merge saved it, it is read from the flash.
        EXPECT_EQ(c.errors.ends_with(updating) ? vornhal_init_env(0) : 0, 0);
        char name[100] = "?";
        vornhal_getenv("ChassisName", name, sizeof name);
        EXPECT_EQ(name, c.after);
    }
}

} // namespace
