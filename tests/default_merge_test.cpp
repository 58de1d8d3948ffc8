#include "tests/devices.h"
#include "upgrade/sections.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

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

using Operation = int (*)(PropertiesHandle, PropertiesHandle);

template <auto operation, auto number>
int on(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return operation(oldFile, newFile, number);
}

// The keys of each section in the order in which they are compared, as engineers know them.
#define IP_PORT_KEYS                                                                               \
    "FwOptions MaxEthernetFrameSize AddlFwOptions HeartbeatInterval InstanceNo iScsiOptions "      \
    "TcpOptions IpOptions MaxRcvDataSegLen iScsiRcvMarkerInterval iScsiSendMarkerInterval "        \
    "iScsiDefT2W iScsiDefT2R iScsiMaxOutStandingR2T ConnKeepAliveTo PortNumber TypeOfService "     \
    "TimeToLive VlanPriority TcpMaxWinSize iScsiMaxBurstSize iScsiFirstBurstSize "                 \
    "iSnsClientPortNo iSnsServerPortNo iSnsScnPortNo iSnsEsiPortNo LinkCfg TcpWindowScaleFactor "
struct SectionCase {
    Operation operation;
    const char* prefix;
    const char* update;
    std::size_t count;
    const char* keys;
} const sectionCases[] = {
    // clang-format off
    {vx::compareDefaultBridgeConfigInfo, "config.bridge.", "BridgeConfigInfo!244 Updating Bridge Info\n", 12,
     "BridgeMode BridgeLogSize BridgeLogLevel BridgeRemoteCommandTimeout BridgeSmisFlags "
     "BridgeUserDaemonFeatures BridgeSmisListenerPersistenceType BridgeDataMigrationMode "
     "BridgeIqnGenFlags BridgeTargetMode BridgeLunMapping BridgeIscsiBaseName"},
    {vx::compareDefaultCliConfigInfo, "config.cli.", "CliConfigInfo!327 Updating CLI Info\n", 2,
     "BridgeCliTimeout BridgeCliPrompt"},
    {on<vx::compareDefaultIsConfigInfo, 1>, "config.port.is.1.", "IsConfigInfo!537 Updating iSCSI Port 1\n", 43,
     IP_PORT_KEYS
     "PortState Ipv6Enabled Ipv6TrafficClass Ipv6HopLimit Ipv6TcpWindowScaleFactor "
     "Ipv6DupDetectionCnt Ipv6Options Ipv6AdditionalOptions Ipv6TcpOptions Ipv6PortNumber "
     "Ipv6FlowLabel Ipv6TagControlInfo Ipv6NDReachableTime Ipv6NDRexmitTime Ipv6StaleTimeout"},
    {on<vx::compareDefaultFcConfigInfo, 5>, "config.port.fc.5.", "FcConfigInfo!1051 Updating FC Port 5\n", 23,
     "HostOption ResetDelay PortDownRetryCount MaxLunsPerTarget RiscVersion RiscOption "
     "MaxIocbAllocation RetryCount RetryDelay AdapterHardLoopId TargetDiscovery LoginTimeout "
     "ExtRiscOption1 RespAccumulationTimer IntrDelayTimer ExtRiscOption2 LinkDownTimeout "
     "MaxFrameLength ExecutionThrottle TxParam8G TxParam4G RxParam8G RxParam4G"},
    {on<vx::compareDefaultGigeConfigInfo, 0>, "config.port.gi.0.", "GigeConfigInfo!696 Updating GE Port 0\n", 28, IP_PORT_KEYS},
    {on<vx::compareDefaultHostGroupInfo, 3>, "config.hostgroup.3.", "HostGroupInfo!1280 Updating HostGroup Index 3\n", 2,
     "Flags HostGroupName"},
    // clang-format on
};

// Every key's default changed alone: its own line and no other, the update named once.
TEST_F(MergeTest, EveryKeyOfEverySection) {
    for (SectionCase const& c : sectionCases) {
        std::string allNew;
        std::string allLines;
        std::size_t count = 0;
        std::istringstream words(c.keys);
        for (std::string key; words >> key; ++count) {
            SetUp();
            std::string const expected = "Compare Diff: field=" + key + ", update=1\n";
            EXPECT_EQ(merge(c.operation, "", line(c.prefix, key, "17")), expected);
            EXPECT_EQ(errors, std::string("vxpvh:compareDefault") + c.update);
            EXPECT_EQ(result, noFile);
            allNew = line(c.prefix, key, "17") + allNew; // the file's order is the reverse
            allLines += expected;
        }
        EXPECT_EQ(count, c.count) << c.prefix;
        SetUp();
        EXPECT_EQ(merge(c.operation, "", allNew), allLines);
        EXPECT_EQ(merge(c.operation, allNew, allNew), "");
        EXPECT_EQ(errors, "");
        EXPECT_EQ(result, 0);
    }
}

// Names, addresses and keys of other ports never move.
TEST_F(MergeTest, WhatIsNobodysToMerge) {
    std::string other;
    for (const char* const key :
         {"config.port.is.10.PortNumber", "config.port.is.1.IpAddr", "config.port.is.1.MacAddr",
          "config.port.is.1.IpAddr_ipv60", "config.port.is.1.iScsiNameString",
          "config.port.fc.5.NodeName", "config.port.fc.5.PortName", "config.port.fc.50.RetryCount",
          "config.port.gi.0.Ipv6Enabled", "config.port.gi.0.PortState", "config.hostgroup.3.index",
          "config.bridge.BridgeProductName"}) {
        other += line(key, "", "17");
    }
    for (SectionCase const& c : sectionCases) {
        EXPECT_EQ(merge(c.operation, "", other), "") << c.prefix;
    }
}

// Both work on one record: the GigE merge sees what the iSCSI merge just wrote.
TEST_F(MergeTest, GigeFollowsIscsi) {
    std::string const is = "config.port.is.0.";
    std::string const gi = "config.port.gi.0.";
    uint16_t& live = port_configuration[8].record.params.TcpOptions;
    for (bool const equalsIscsi : {false, true}) { // the old GigE default: 10, or what iSCSI wrote
        SetUp();
        live = 10;
        merge(on<vx::compareDefaultIsConfigInfo, 0>, line(is, "TcpOptions", "10"),
              line(is, "TcpOptions", "20"));
        EXPECT_EQ(merge(on<vx::compareDefaultGigeConfigInfo, 0>,
                        line(gi, "TcpOptions", equalsIscsi ? "20" : "10"),
                        line(gi, "TcpOptions", "30")),
                  equalsIscsi ? "Compare Diff: field=TcpOptions, update=1\n" : "");
        EXPECT_EQ(live, equalsIscsi ? 30 : 20);
    }
}

TEST_F(MergeTest, ManagementPort) {
    std::string const match =
        "vxpvh:compareDefaultMgmtInfo!1366 Updating MGMT DHCP and IpAddr Match\n";
    std::string const updating = "vxpvh:compareDefaultMgmtInfo!1372 Updating MGMT\n";
    std::string const moved = "Compare Diff: field=iDhcpEnabled, update=1\n";
    struct {
        const char* newDhcp;
        uint32_t liveDhcp;
        uint8_t liveOctet;
        std::string printed, errors;
        uint32_t after;
    } const cases[] = {
        {"1", 0, 1, moved, match + updating, 1},
        {"0", 0, 1, "", match, 0},
        {"1", 0, 9, "", "", 0},
        {"1", 1, 1, "", "", 1},
        {"2", 1, 9, "", "", 1},
    };
    for (auto const& c : cases) {
        SetUp();
        MgmtPortConfig live{};
        live.iDhcpEnabled = c.liveDhcp;
        live.IpAddr = {{10, 0, 0, c.liveOctet}};
        vxpmgr_UpdateMgmtPortInfo(&live, 0);
        std::string const oldFile =
            line("config.mgmt.", "iDhcpEnabled", "0") + line("config.mgmt.", "IpAddr", "10.0.0.1");
        std::string const newFile = line("config.mgmt.", "iDhcpEnabled", c.newDhcp) +
                                    line("config.mgmt.", "IpAddr", "10.0.0.77") +
                                    line("config.mgmt.", "IpAddrType", "5");
        EXPECT_EQ(merge(vx::compareDefaultMgmtInfo, oldFile, newFile), c.printed);
        EXPECT_EQ(errors, c.errors);
        live.iDhcpEnabled = c.after;
        MgmtPortConfig after{};
        vxpmgr_GetMgmtInfo(&after);
        EXPECT_EQ(std::memcmp(&after, &live, sizeof live), 0) << "only DHCP moves";
    }
    SetUp();
    EXPECT_EQ(merge(vx::compareDefaultMgmtInfo, "", ""), "");
    EXPECT_EQ(errors, match) << "an all-zero record equals absent defaults";
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
    struct {
        std::string live, oldFile, newFile, errors, after;
    } const cases[] = {
        {"", "", "", updating, ""},
        {"a", line(key, "ChassisName", "a"), line(key, "ChassisName", "b"), current("a") + updating,
         "b"},
        {"mine", line(key, "ChassisName", "a"), line(key, "ChassisName", "b"), current("mine"),
         "mine"},
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
        // … and after the saved environment was read again, where the merge saved it.
        for (bool const saved : {false, c.errors.ends_with(updating)}) {
            EXPECT_EQ(saved ? vornhal_init_env(0) : 0, 0);
            char name[100] = "?";
            vornhal_getenv("ChassisName", name, sizeof name);
            EXPECT_EQ(name, c.after);
        }
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
            std::string text = line("config.cli.", "BridgeCliPrompt", std::to_string(value));
            for (const char* const key :
                 {"BridgeMode", "BridgeLogSize", "BridgeTargetMode", "BridgeIscsiBaseName"}) {
                text += line("config.bridge.", key, std::to_string(value));
            }
            return text;
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
    for (std::string const& newPrompt : {common + "new", std::string("short")}) {
        EXPECT_EQ(merge(vx::compareDefaultCliConfigInfo, oldFile,
                        line("config.cli.", "BridgeCliPrompt", newPrompt)),
                  "");
        std::memset(&bridge_configuration.record.cli, 'p', sizeof(CliConfig)); // without a NUL
    }
}

} // namespace
