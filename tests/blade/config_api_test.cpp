#include "tests/support/blade_files.h"
#include "tests/support/devices.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <cstring>
#include <filesystem>
#include <utility>

namespace {

constexpr const char* cachePath = "/mnt/nand1/brapp_psst_data.cfg";

struct ConfigApi : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        makeFiles({1, 8, 9, 20, 42});
    }
};

constexpr std::size_t portSlotAt(std::size_t slot) {
    return 3100 + 1296 * slot;
}
PortParams portOnFile(std::size_t slot) {
    return onFile<PortSlot>(1, portSlotAt(slot)).params;
}

PortParams filledPort(int value, int type, int number) {
    auto port = filled<PortParams>(value);
    port.type = static_cast<uint16_t>(type);
    port.number = static_cast<uint16_t>(number);
    return port;
}

TEST_F(ConfigApi, FlagsOfUpdates) {
    std::pair<uint32_t, bool> const cases[] = {// flags, and whether they write through
                                               {0, false},
                                               {0x100, false},
                                               {1, true},
                                               {0x80, true},
                                               {0x101, true}};
    int value = 1;
    for (auto const& [flags, writes] : cases) {
        uint64_t const before = pmgr_cb->sequenceNumber;
        auto const port = filledPort(++value, PORT_TYPE_ISCSI, 0);
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, flags), 0);
        auto const bridge = filled<BridgeConfig>(value);
        EXPECT_EQ(vxpmgr_UpdateBridgeConfigInfo(&bridge, flags), 0);
        auto const mgmt = filled<MgmtPortConfig>(value);
        EXPECT_EQ(vxpmgr_UpdateMgmtPortInfo(&mgmt, flags), 0);
        EXPECT_EQ(pmgr_cb->sequenceNumber - before, writes ? 3U : 0U) << flags;
    }
}

TEST_F(ConfigApi, BridgeAndCliShareARecord) {
    auto bridge = filled<BridgeConfig>(0x5A);
    EXPECT_EQ(vxpmgr_UpdateBridgeConfigInfo(&bridge, 1), 0);
    CliConfig cli = filled<CliConfig>(0);
    EXPECT_EQ(vxpmgr_GetCliConfigInfo(&cli), 0);
    EXPECT_TRUE(equal(cli, bridge.cli));
    bridge.cli.BridgeCliTimeout = 600;
    EXPECT_EQ(vxpmgr_UpdateCliConfigInfo(&bridge.cli), 0);
    std::memset(bridge.volatile744, 0, sizeof bridge.volatile744);
    EXPECT_TRUE(equal(onFile<BridgeConfig>(1, 64), bridge));
    auto live = filled<BridgeConfig>(1);
    EXPECT_EQ(vxpmgr_GetBridgeConfigInfo(&live), 0);
    EXPECT_TRUE(equal(live, bridge));
}

TEST_F(ConfigApi, ManagementPortKeepsItsOpaqueBytes) {
    std::memset(&mgmt_port.record, 0xC3, sizeof mgmt_port.record);
    auto expected = filled<MgmtPortConfig>(0x11);
    EXPECT_EQ(vxpmgr_UpdateMgmtPortInfo(&expected, 1), 0);
    auto slot = filled<MgmtPortSlot>(0xC3);
    std::memset(slot.config, 0x11, sizeof slot.config);
    slot.config[74] = slot.config[75] = 0xC3; // padding
    EXPECT_TRUE(equal(onFile<MgmtPortSlot>(1, 2768), slot));
    std::memset(expected.reserved84, 0, sizeof expected.reserved84);
    std::memset(expected.padding74, 0, sizeof expected.padding74);
    auto live = filled<MgmtPortConfig>(0x77);
    for (auto const get : {vxpmgr_GetMgmtInfo, vxpmgr_GetActualMgmtInfo}) {
        EXPECT_EQ(get(&live), 0);
        EXPECT_TRUE(equal(live, expected));
    }
}

TEST_F(ConfigApi, PortsLandInTheirSlots) {
    struct {
        uint16_t type, number;
        int slot; // -1: refused
    } const cases[] = {
        {0, 0, 0},  {0, 7, 7}, {1, 0, 8},  {1, 2, 10},  {2, 2, 18},
        {4, 7, 31}, {9, 3, 3}, {4, 8, -1}, {0, 32, -1}, {1, 65535, -1},
    };
    for (auto const& c : cases) {
        auto port = filledPort(0x42, c.type, c.number);
        Bytes const before = readBytes(primary(1));
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, 1), c.slot < 0 ? -1 : 0);
        if (c.slot < 0) {
            EXPECT_EQ(readBytes(primary(1)), before);
            EXPECT_EQ(vxpmgr_GetPortParams(&port, c.type, c.number), -1);
            continue;
        }
        if (c.type != 1 && c.type != 2) { // no IP port: these settings stay as they are
            std::memset(reinterpret_cast<char*>(&port) + 6, 0, offsetof(PortParams, PortName) - 6);
        }
        auto const slot = static_cast<uint32_t>(c.slot);
        PortSlot const expected = {slot, 0, 0xC3, port, {}};
        EXPECT_TRUE(equal(onFile<PortSlot>(1, portSlotAt(slot)), expected)) << c.slot;
    }
    auto untouched = filledPort(0x42, PORT_TYPE_NONE, 0x4242);
    EXPECT_EQ(vxpmgr_GetPortParams(&untouched, PORT_TYPE_NONE, 0), 0);
    EXPECT_EQ(vxpmgr_UpdatePortParams(&untouched, 1), 0);
    EXPECT_EQ(untouched.number, 0x4242);
    PortParams neverWritten{}; // comes back to itself
    EXPECT_EQ(vxpmgr_GetPortParams(&neverWritten, PORT_TYPE_ISCSI, 3), 0);
    EXPECT_TRUE(neverWritten.type == PORT_TYPE_ISCSI && neverWritten.number == 3);
}

TEST_F(ConfigApi, BoardWordsStayOffTheFileOnTheirBoards) {
    struct {
        uint16_t board, type;
        bool offFile;
    } const cases[] = {
        {255, 1, false}, {256, 1, true}, {511, 1, true}, {512, 1, false}, {256, 2, false}};
    for (auto const& c : cases) {
        HwVer = c.board;
        auto const port = filledPort(0x42, c.type, 0);
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, 1), 0);
        auto expected = port;
        if (c.offFile) {
            std::memset(expected.boardWords, 0, sizeof expected.boardWords);
        }
        EXPECT_TRUE(equal(portOnFile(8U * c.type), expected)) << c.board;
        PortParams live;
        EXPECT_EQ(vxpmgr_GetPortParams(&live, c.type, 0), 0);
        EXPECT_TRUE(equal(live, port)) << "memory keeps them";
    }
}

TEST_F(ConfigApi, HostGroups) {
    auto group = filled<HostGroupConfig>(0x31);
    EXPECT_EQ(vxpmgr_SetHostGroup(&group, 7), 0);
    group.slot = 7;
    EXPECT_TRUE(equal(onFile<HostGroupConfig>(20, 64 + 7 * 940), group));
    HostGroupConfig live{};
    EXPECT_EQ(vxpmgr_GetHostGroup(&live, 7), 0);
    EXPECT_TRUE(equal(live, group));
    EXPECT_EQ(vxpmgr_GetHostGroup(&live, 8), 0) << "the entry after the last one";
    EXPECT_EQ(vxpmgr_GetHostGroup(&live, 9), -1);
    EXPECT_EQ(vxpmgr_SetHostGroup(&group, 8), -1) << "which the file does not hold";
    EXPECT_EQ(vxpmgr_SetHostGroup(&group, 9), -1);
    close_all_files();
    EXPECT_EQ(vxpmgr_SetHostGroup(&group, 0), -1);
}

TEST_F(ConfigApi, WholeRecords) {
    passwd_data.record.opaque2048[0] = 9;
    auto const passwords = filled<PasswordConfig>('p');
    auto const snmp = filled<SnmpConfig>('s');
    EXPECT_EQ(vxpmgr_UpdatePasswordInfo(&passwords) + vxpmgr_UpdateSnmpInfo(&snmp), 0);
    EXPECT_EQ(WritePasswdFile(&passwd_data) + WriteSnmpFile(&snmp_info), 0);
    auto readPasswords = filled<PasswordConfig>(0);
    auto readSnmp = filled<SnmpConfig>(0);
    EXPECT_EQ(vxpmgr_GetPasswordInfo(&readPasswords) + vxpmgr_GetSnmpConfigInfo(&readSnmp), 0);
    EXPECT_TRUE(equal(onFile<PasswordConfig>(8, 64), passwords) && equal(readPasswords, passwords));
    EXPECT_TRUE(equal(onFile<SnmpConfig>(9, 64), snmp) && equal(readSnmp, snmp));
    EXPECT_EQ(readBytes(primary(8)).at(64 + 2048), 9) << "bytes that nobody names are kept";
}

TEST_F(ConfigApi, ClusterMetaDataKeepsThreeFlags) {
    auto const record = filled<ClusterMetaData>(0xFE);
    EXPECT_EQ(vxpmgr_UpdateClusterMetaData(&record), 0);
    ClusterMetaData live{};
    EXPECT_EQ(vxpmgr_GetClusterMetaData(&live), 0);
    auto expected = record;
    expected.flags = 0x06;
    EXPECT_TRUE(equal(live, expected));
    EXPECT_TRUE(equal(onFile<ClusterMetaData>(42, 64), expected));
    // The stored record is read first: bytes beside the words are kept, a bad file is refused.
    for (std::size_t const changed : {64 + 100, 4}) {
        setByte(primary(42), changed, 0x5A);
        Bytes const bytes = readBytes(primary(42));
        EXPECT_EQ(vxpmgr_UpdateClusterMetaData(&record), changed == 4 ? -1 : 0);
        EXPECT_EQ(readBytes(primary(42)), bytes);
    }
    close_all_files();
    EXPECT_EQ(vxpmgr_UpdateClusterMetaData(&record), -1);
    EXPECT_EQ(WriteClusterMetaData(&cluster_metadata), -1);
}

TEST_F(ConfigApi, WholeFileLoads) {
    std::filesystem::copy_file(SAMPLES "/personality-5.2.1.cfg",
                               "/mnt/nand0/default_bridge_config.cfg.0");
    std::memset(&passwd_data.record.passwords, 'x', sizeof(PasswordConfig));
    EXPECT_EQ(readDefaultConfiguration(), 0);

    // What programs show of it is compared elsewhere, with every line of the file.
    PasswordConfig passwords{};
    std::strcpy(passwords.Passwd[0][0], "config");
    std::strcpy(passwords.Passwd[0][1], "admin");
    std::strcpy(passwords.Passwd[0][2], "guest");
    EXPECT_TRUE(equal(onFile<PasswordConfig>(8, 64), passwords));

    DmGlobals const dm{100, 300, 600, 120, 1, {}};
    EXPECT_TRUE(equal(onFile<DmGlobals>(24, 64), dm));
    StoragePoolConfig const pool{20, 1};
    EXPECT_TRUE(equal(onFile<StoragePoolConfig>(31, 64), pool));
    CacheParams const cache{1, 2, 500, 64, 0, 1, {}};
    EXPECT_EQ(readBytes(cachePath), bytesOf(&cache, sizeof cache));
    EXPECT_EQ(onFile<BridgeConfig>(1, 64).BridgeDataMigrationMode, 0U) << "has a reader of its own";
}

TEST_F(ConfigApi, ReadersOutsideTheWholeLoad) {
    PropertiesHandle const handle = propOpenPropertiesFile(SAMPLES "/personality-5.3.0.cfg");
    SystemCapabilities capabilities;
    EXPECT_EQ(readDefaultSystemCapabilities(handle, &capabilities), -1);
    SystemCapabilities const expected{31, 3, 1, 0, 15, 2, 1, 1, 1, 255};
    EXPECT_EQ(std::memcmp(&capabilities, &expected, 9), 0);
    EXPECT_EQ(capabilities.EnabledFwCapabilities, 255U);

    EXPECT_EQ(readDefaultSnmpConfigInfo(handle), 0);
    SnmpConfig snmp{};
    std::strcpy(snmp.ReadCommunity, "public");
    std::strcpy(snmp.TrapCommunity, "public");
    for (uint32_t i = 0; i < 8; ++i) {
        snmp.traps[i].TrapPort = 162 + i;
        snmp.traps[i].TrapVersion = 2;
    }
    EXPECT_TRUE(equal(onFile<SnmpConfig>(9, 64), snmp));
    EXPECT_EQ(readDefaultSnmpTrapsInfo(handle, nullptr, 0), -1);
    EXPECT_EQ(readDefaultSnmpTrapsInfo(handle, &snmp, 8), -1);

    loadBlankEnvironment();
    EXPECT_EQ(see([&] { return readDefaultChassisName(handle); }).result, 0);
    char name[64];
    vornhal_getenv("ChassisName", name, sizeof name);
    EXPECT_STREQ(name, "vx2410-chassis");

    // Each of the three touches its own fields of the caller's record.
    auto port = filledPort(0x35, PORT_TYPE_ISCSI, 1);
    EXPECT_EQ(readDefaultIsIPv6ConfigInfo(handle, 1, &port), 0);
    auto const stored = portOnFile(9);
    EXPECT_TRUE(stored.Ipv6PortNumber == 3260 && stored.IpAddr_ipv60[15] == 2);
    EXPECT_EQ(stored.PortNumber, 0x3535);
    auto bridge = filled<BridgeConfig>(0x35);
    EXPECT_EQ(readDefaultBridgeIPv6ConfigInfo(handle, &bridge), 0);
    EXPECT_EQ(readDefaultBridgeDataMigrationInfo(handle, &bridge), 0);
    auto const storedBridge = onFile<BridgeConfig>(1, 64);
    EXPECT_EQ(storedBridge.BridgeSmisListenerPersistenceType, 2U);
    EXPECT_EQ(storedBridge.BridgeDataMigrationMode, 2U);
    EXPECT_EQ(storedBridge.BridgeLogSize, 0x35353535U);
    uint32_t mode = 9;
    EXPECT_EQ(readBridgeDataMigrationModeValue(nullptr, &mode), -1);
    EXPECT_EQ(mode, 9U);
    EXPECT_EQ(readBridgeDataMigrationModeValue(handle, &mode), -1);
    EXPECT_EQ(mode, 2U);

    EXPECT_EQ(readDefaultPassword(handle, 8), -1);
    EXPECT_EQ(readDefaultCacheConfig(nullptr), 0);
    EXPECT_EQ(readBytes(cachePath), Bytes(20, 0)) << "what no key sets";
    EXPECT_EQ(validateDefaultConfiguration(), 0);
    DmGlobals globals = filled<DmGlobals>(7);
    EXPECT_EQ(vxpmgr_SetDMGlobals(&globals), 0);
    EXPECT_EQ(readBridgeDMGlobalSettings(nullptr), 0);
    EXPECT_TRUE(equal(onFile<DmGlobals>(24, 64), globals)) << "absent keys keep what is stored";
    propClosePropertiesFile(handle);
}

TEST_F(ConfigApi, PlatformRecordsSurviveTheProcess) {
    DmGlobals globals = filled<DmGlobals>(0x21);
    EXPECT_EQ(vxpmgr_SetDMGlobals(&globals), 0);
    StoragePoolConfig const pool{20, 3};
    EXPECT_EQ(vxpmgr_updateDefaultStoragePoolConfig(&pool), 0);
    CacheParams const cache{1, 2, 3, 4, 5, 6, {}};
    EXPECT_EQ(vxpmgr_setCacheParams(&cache), 0);
    setByte(primary(31), 64 + 100, 0x5A); // bytes of another program's
    Bytes const pools = readBytes(primary(31));
    Bytes data = readBytes(cachePath);
    data.resize(500, 0x5A);
    writeBytes(cachePath, data);
    InitDatabaseLite();
    EXPECT_EQ(vxpmgr_updateDefaultStoragePoolConfig(&pool), 0);
    EXPECT_EQ(readBytes(primary(31)), pools);
    EXPECT_EQ(vxpmgr_setCacheParams(&cache), 0);
    EXPECT_EQ(readBytes(cachePath), data);
    DmGlobals read{};
    EXPECT_EQ(vxpmgr_GetDMGlobals(&read), 0);
    EXPECT_TRUE(equal(read, globals));
    EXPECT_TRUE(equal(onFile<StoragePoolConfig>(31, 64), pool));

    EXPECT_TRUE(VX_systemWrapper("exit 3") != 0 && VX_systemWrapper("exit 0") == 0);
    EXPECT_EQ(InitializeTelnetConfigFile() + InitializeSshConfigFile() + InitializeftpConfigFile(),
              0);
    EXPECT_FALSE(readBytes("/mnt/nand1/ssh.cfg").empty());
}

} // namespace
