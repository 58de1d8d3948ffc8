#include "tests/support/devices.h"
#include "upgrade/merge.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// The two merges that an upgrade does not make. They work on the table in memory; without an open
// file their write fails, which changes nothing of what they decide.
constexpr int noFile = -1;

// Runs a merge of two texts.
Seen merge(int (*operation)(PropertiesHandle, PropertiesHandle), const std::string& oldText,
           const std::string& newText) {
    std::vector<PropertiesHandle> files;
    for (const std::string& text : {oldText, newText}) {
        files.push_back(propReadPropertiesBuffer(text.data(), static_cast<int>(text.size())));
    }
    Seen const seen = see([&] { return operation(files[0], files[1]); });
    propClosePropertiesFile(files[0]);
    propClosePropertiesFile(files[1]);
    return seen;
}

std::string line(const std::string& prefix, const std::string& key, const std::string& value) {
    return prefix + key + " = \"" + value + "\"\n";
}

TEST(UnusedMerges, SnmpTraps) {
    InitDatabaseLite();
    SnmpConfig& live = snmp_info.record;
    live.traps[0].TrapPort = 5; // not enabled: forced
    live.traps[3].enabled = 2;
    live.traps[3].TrapPort = 1620;
    std::strcpy(live.ReadCommunity, "mine");
    std::string newFile = line("config.snmp.", "ReadCommunity", "private") +
                          line("config.snmp.", "TrapCommunity", "traps") +
                          line("config.snmp.Traps.8.", "TrapPort", "1");
    for (const std::string trap : {"0.", "3.", "7."}) {
        newFile += line("config.snmp.Traps." + trap, "TrapVersion", "2") +
                   line("config.snmp.Traps." + trap, "TrapPort", "162");
    }
    Seen const seen = merge(vx::compareDefaultSnmpConfigInfo,
                            line("config.snmp.", "ReadCommunity", "public") +
                                line("config.snmp.", "TrapCommunity", ""),
                            newFile);
    std::string const trapMoved = "Compare Diff: field=TrapPort, update=1\n"
                                  "Compare Diff: field=TrapVersion, update=1\n";
    EXPECT_EQ(seen.output, "Compare Diff: field=TrapCommunity, update=1\n" + trapMoved + trapMoved);
    EXPECT_EQ(seen.errors,
              "vxpvh:compareDefaultSnmpConfigInfo!1190 3: Already configured. TrapPort 1620. "
              "Enabled: 2. Not Updating with default \n"
              "vxpvh:compareDefaultSnmpConfigInfo!1200 Updating SNMP\n");
    EXPECT_EQ(seen.result, noFile);
    EXPECT_STREQ(live.ReadCommunity, "mine");
    EXPECT_EQ(live.traps[0].TrapPort, 162U);
    EXPECT_EQ(live.traps[3].TrapPort, 1620U);
    EXPECT_EQ(live.traps[7].TrapVersion, 2U);
    EXPECT_EQ(vx::loadDefaultSnmpTrapsInfo(nullptr, nullptr, 0), -1);
}

TEST(UnusedMerges, ChassisName) {
    std::string const says = "vxpvh:compareDefaultChassisName!";
    std::string const updating = says + "1472 compareDefaultChassisName: update chassis name \n";
    std::string const current = says + "1464 compareDefaultChassisName: CurrChassisName is ";
    auto const chassis = [](const std::string& key, const std::string& value) {
        return line("config.chassis.", key, value);
    };
    std::string const longText(70, 'n');
    std::string const cut(63, 'n');
    std::string const a = chassis("ChassisName", "a");
    std::string const b = chassis("ChassisName", "b");
    struct {
        std::string live, oldFile, newFile, errors, after;
    } const cases[] = {
        {"", "", "", updating, ""},
        {"a", a, b, current + "a \n" + updating, "b"},
        {"mine", a, b, current + "mine \n", "mine"},
        {cut, chassis("x", longText), chassis("x", longText), current + cut + " \n" + updating,
         cut},
        // The last key counts, and of a repeated one the first value; nothing of a long earlier
        // value shines through.
        {"", "",
         line("other", "", std::string(200, 'z')) + chassis("A", longText) + chassis("B", "b") +
             chassis("B", "c"),
         updating, "b"},
    };
    for (auto const& c : cases) {
        loadBlankEnvironment();
        if (!c.live.empty()) {
            vornhal_setenv("ChassisName", c.live.c_str());
        }
        Seen const seen = merge(vx::compareDefaultChassisName, c.oldFile, c.newFile);
        EXPECT_EQ(seen.output, "");
        EXPECT_EQ(seen.result, -1);
        // After the merge's own words come the flash's, where it was written.
        EXPECT_EQ(seen.errors.substr(0, seen.errors.find("vhnor_api")), c.errors);
        // Where the merge saved it, it is read from the flash.
        EXPECT_EQ(c.errors.ends_with(updating) ? vornhal_init_env(0) : 0, 0);
        char name[100] = "?";
        vornhal_getenv("ChassisName", name, sizeof name);
        EXPECT_EQ(name, c.after);
    }
}

} // namespace
