// The two merges that an upgrade does not make. They work on the table in memory; without an open
// file their write fails, which changes nothing of what they decide.
#include "tests/support/devices.h"
#include "tools/defaults/text.h"
#include "upgrade/merge.h"

namespace {

// Runs a merge of two texts.
Seen merge(int (*operation)(PropertiesHandle, PropertiesHandle), const std::string& oldText,
           const std::string& newText) {
    auto const oldFile = tools::openDefaults(oldText);
    auto const newFile = tools::openDefaults(newText);
    return see([&] { return operation(oldFile.get(), newFile.get()); });
}
bool says(const Seen& seen, const std::string& words) {
    return seen.errors.find(words) != std::string::npos;
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
    std::string newFile = "config.snmp.ReadCommunity = \"private\"\n"
                          "config.snmp.TrapCommunity = \"traps\"\n";
    for (const char* const number : {"0", "3", "7", "8"}) {
        std::string const trap = std::string("config.snmp.Traps.") + number + ".Trap";
        newFile += trap + "Version = \"2\"\n" + trap + "Port = \"162\"\n";
    }
    Seen const seen = merge(vx::compareDefaultSnmpConfigInfo,
                            "config.snmp.ReadCommunity = \"public\"\n", newFile);
    std::string const moved = "Compare Diff: field=TrapPort, update=1\n"
                              "Compare Diff: field=TrapVersion, update=1\n";
    EXPECT_EQ(seen.output, "Compare Diff: field=TrapCommunity, update=1\n" + moved + moved);
    EXPECT_TRUE(says(seen, "!1190 3: Already configured. TrapPort 1620. Enabled: 2. Not"));
    EXPECT_TRUE(says(seen, "!1200 Updating SNMP\n"));
    EXPECT_EQ(seen.result, -1) << "no file is open";
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
        EXPECT_EQ(seen.output + std::to_string(seen.result), "-1");
        EXPECT_EQ(says(seen, "CurrChassisName is " + live + " \n"), !live.empty());
        EXPECT_EQ(says(seen, "update chassis name"), isSaved);
        // Where the merge saved it, it is read from the flash.
        EXPECT_EQ(isSaved ? vornhal_init_env(0) : 0, 0);
        char name[100] = "?";
        vornhal_getenv("ChassisName", name, sizeof name);
        EXPECT_EQ(name, after);
    }
}

} // namespace
