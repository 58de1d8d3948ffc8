#include "tests/support/devices.h"
#include "upgrade/merge.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// The two merges that an upgrade does not make. They work on the table in memory; without an open
// file their write fails, which changes nothing of what they decide.
constexpr int noFile = -1;

// Runs a merge of two texts; a line of them is in a section.
Seen merge(int (*operation)(PropertiesHandle, PropertiesHandle), const std::string& oldText,
           const std::string& newText) {
    auto const read = [](const std::string& text) {
        return propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
    };
    PropertiesHandle const files[] = {read(oldText), read(newText)};
    Seen const seen = see([&] { return operation(files[0], files[1]); });
    propClosePropertiesFile(files[0]);
    propClosePropertiesFile(files[1]);
    return seen;
}
std::string snmp(const std::string& key, const std::string& value) {
    return "config.snmp." + key + " = \"" + value + "\"\n";
}
std::string chassis(const std::string& value, const std::string& key = "ChassisName") {
    return "config.chassis." + key + " = \"" + value + "\"\n";
}

TEST(UnusedMerges, SnmpTraps) {
    InitDatabaseLite();
    SnmpConfig& live = snmp_info.record;
    live.traps[0].TrapPort = 5; // not enabled: forced
    live.traps[3].enabled = 2;
    live.traps[3].TrapPort = 1620;
    std::strcpy(live.ReadCommunity, "mine");
    std::string newFile = snmp("ReadCommunity", "private") + snmp("TrapCommunity", "traps") +
                          snmp("Traps.8.TrapPort", "1");
    for (const char* const trap : {"Traps.0.Trap", "Traps.3.Trap", "Traps.7.Trap"}) {
        newFile +=
            snmp(trap + std::string("Version"), "2") + snmp(trap + std::string("Port"), "162");
    }
    Seen const seen = merge(vx::compareDefaultSnmpConfigInfo,
                            snmp("ReadCommunity", "public") + snmp("TrapCommunity", ""), newFile);
    std::string const moved = "Compare Diff: field=TrapPort, update=1\n"
                              "Compare Diff: field=TrapVersion, update=1\n";
    EXPECT_EQ(seen.output, "Compare Diff: field=TrapCommunity, update=1\n" + moved + moved);
    EXPECT_NE(seen.errors.find("!1190 3: Already configured. TrapPort 1620. Enabled: 2. Not"),
              seen.errors.npos);
    EXPECT_NE(seen.errors.find("!1200 Updating SNMP\n"), seen.errors.npos);
    EXPECT_EQ(seen.result, noFile);
    EXPECT_STREQ(live.ReadCommunity, "mine");
    EXPECT_EQ(live.traps[0].TrapPort, 162U);
    EXPECT_EQ(live.traps[3].TrapPort, 1620U);
    EXPECT_EQ(live.traps[7].TrapVersion, 2U);
}

TEST(UnusedMerges, ChassisName) {
    std::string const longText(70, 'n');
    std::string const cut(63, 'n');
    struct {
        std::string live, oldFile, newFile;
        bool isSaved;
        std::string after;
    } const cases[] = {
        {"", "", "", true, ""},
        {"a", chassis("a"), chassis("b"), true, "b"},
        {"mine", chassis("a"), chassis("b"), false, "mine"},
        {cut, chassis(longText, "x"), chassis(longText, "x"), true, cut},
        // The last key counts, and of a repeated one the first value; nothing of a long earlier
        // value shines through.
        {"", "", chassis(longText, "A") + chassis("b", "B") + chassis("c", "B"), true, "b"},
    };
    for (auto const& [live, oldFile, newFile, isSaved, after] : cases) {
        loadBlankEnvironment();
        if (!live.empty()) {
            vornhal_setenv("ChassisName", live.c_str());
        }
        Seen const seen = merge(vx::compareDefaultChassisName, oldFile, newFile);
        EXPECT_EQ(seen.output, "");
        EXPECT_EQ(seen.result, -1);
        EXPECT_EQ(seen.errors.find("CurrChassisName is " + live + " \n") == seen.errors.npos,
                  live.empty());
        EXPECT_EQ(seen.errors.find("update chassis name") != seen.errors.npos, isSaved);
        // Where the merge saved it, it is read from the flash.
        EXPECT_EQ(isSaved ? vornhal_init_env(0) : 0, 0);
        char name[100] = "?";
        vornhal_getenv("ChassisName", name, sizeof name);
        EXPECT_EQ(name, after);
    }
}

} // namespace
