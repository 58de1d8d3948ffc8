#include "tests/support/blade_files.h"
#include "tests/support/devices.h"

#include <vxblade/platform.h>
#include <vxblade/props.h>

#include <filesystem>

namespace {

constexpr const char* cachePath = "/mnt/nand1/brapp_psst_data.cfg";

struct ConfigApi : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        makeFiles({1, 8, 9, 20, 42});
    }
};

constexpr std::size_t bridgeAt = 64;
constexpr std::size_t portSlotAt(std::size_t slot) {
    return 3100 + 1296 * slot;
}

PortParams filledPort(int value, int type, int number) {
    auto port = filled<PortParams>(value);
    port.type = static_cast<uint16_t>(type);
    port.number = static_cast<uint16_t>(number);
    return port;
}

template <class Record>
Record got(int (*get)(Record*)) {
    auto record = filled<Record>(0x77);
    EXPECT_EQ(get(&record), 0);
    return record;
}

TEST_F(ConfigApi, FlagsOfUpdates) {
    int value = 1;
    for (uint32_t const flags : {0U, 0x100U, 1U, 0x80U, 0x101U}) { // only the low byte counts
        uint64_t const before = pmgr_cb->sequenceNumber;
        auto const port = filledPort(++value, PORT_TYPE_ISCSI, 0);
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, flags), 0);
        auto const bridge = filled<BridgeConfig>(value);
        EXPECT_EQ(vxpmgr_UpdateBridgeConfigInfo(&bridge, flags), 0);
        auto const mgmt = filled<MgmtPortConfig>(value);
        EXPECT_EQ(vxpmgr_UpdateMgmtPortInfo(&mgmt, flags), 0);
        EXPECT_EQ(pmgr_cb->sequenceNumber - before, flags == 0 || flags == 0x100 ? 0U : 3U)
            << flags;
    }
}

TEST_F(ConfigApi, PortsLandInTheirSlots) {
    const struct {
        uint16_t type, number;
        int slot; // -1: refused
    } cases[] = {{0, 0, 0},  {0, 7, 7}, {1, 0, 8},  {1, 2, 10},  {2, 2, 18},
                 {4, 7, 31}, {9, 3, 3}, {4, 8, -1}, {0, 32, -1}, {1, 65535, -1}};
    for (auto const& c : cases) {
        auto port = filledPort(0x42, c.type, c.number);
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, 1), c.slot < 0 ? -1 : 0);
        EXPECT_EQ(vxpmgr_GetPortParams(&port, c.type, c.number), c.slot < 0 ? -1 : 0);
        if (c.slot >= 0) {
            auto const slot = static_cast<uint32_t>(c.slot);
            PortSlot const expected = {slot, 0, 0xC3, port, {}};
            EXPECT_TRUE(equal(onFile<PortSlot>(1, portSlotAt(slot)), expected)) << c.slot;
            bool const isIp = c.type == 1 || c.type == 2; // others carry none of its settings
            EXPECT_EQ(expected.params.PortNumber, isIp ? 0x4242 : 0) << c.slot;
        }
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
    const struct {
        uint16_t board, type;
        bool offFile;
    } cases[] = {{255, 1, false}, {256, 1, true}, {511, 1, true}, {512, 1, false}, {256, 2, false}};
    for (auto const& c : cases) {
        HwVer = c.board;
        auto const port = filledPort(0x42, c.type, 0);
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, 1), 0);
        auto expected = port;
        std::memset(expected.boardWords, c.offFile ? 0 : 0x42, sizeof expected.boardWords);
        EXPECT_TRUE(equal(onFile<PortSlot>(1, portSlotAt(8U * c.type)).params, expected))
            << c.board;
        PortParams live;
        EXPECT_EQ(vxpmgr_GetPortParams(&live, c.type, 0), 0);
        EXPECT_TRUE(equal(live, port)) << "memory keeps them";
    }
}

TEST_F(ConfigApi, WhatIsNotOnFile) {
    auto group = filled<HostGroupConfig>(0x31);
    for (uint32_t const index : {7U, 8U, 9U}) { // 8 is in memory only
        EXPECT_EQ(vxpmgr_SetHostGroup(&group, index), index < 8 ? 0 : -1);
        EXPECT_EQ(vxpmgr_GetHostGroup(&group, index), index < 9 ? 0 : -1);
    }
    EXPECT_EQ(readBytes(primary(20)).at(64 + 7 * 940), 7) << "a slot bears its number";
    mgmt_port.record = filled<MgmtPortSlot>(0xC3);
    EXPECT_EQ(got(vxpmgr_GetMgmtInfo).padding74[0] + got(vxpmgr_GetMgmtInfo).reserved84[0], 0);
    EXPECT_TRUE(equal(got(vxpmgr_GetActualMgmtInfo), filled<MgmtPortConfig>(0x77)));
}

TEST_F(ConfigApi, ClusterMetaDataKeepsThreeFlags) {
    auto metadata = filled<ClusterMetaData>(0xFE);
    setByte(primary(42), 64 + 100, 0x5A); // kept: the stored record is read first
    EXPECT_EQ(vxpmgr_UpdateClusterMetaData(&metadata), 0);
    metadata.flags = 0x06;
    EXPECT_TRUE(equal(got(vxpmgr_GetClusterMetaData), metadata));
    EXPECT_TRUE(equal(onFile<ClusterMetaData>(42, 64), metadata));
    EXPECT_EQ(readBytes(primary(42)).at(64 + 100), 0x5A);
    setByte(primary(42), 4, 0);
    EXPECT_EQ(vxpmgr_UpdateClusterMetaData(&metadata), -1) << "a bad file is refused";
}

TEST_F(ConfigApi, OneWriterForThreeRecords) {
    bridge_configuration.record = filled<BridgeConfig>(1);
    mgmt_port.record = filled<MgmtPortSlot>(2);
    port_configuration[31].record = filled<PortSlot>(3);
    WriteBridgeConfigFile(&bridge_configuration, PSST_BRIDGE_CONFIG);
    WriteBridgeConfigFile(&mgmt_port, PSST_MGMT_PORT);
    EXPECT_EQ(WriteBridgeConfigFile(&port_configuration[31], PSST_PORT_CONFIG), 0);
    EXPECT_EQ(WriteBridgeConfigFile(&mgmt_port, PSST_PASSWD), -1);
    Bytes const file = readBytes(primary(1));
    EXPECT_TRUE(file[bridgeAt] == 1 && file[2768] == 2 && file[portSlotAt(31) + 4] == 3);
    EXPECT_EQ(file[portSlotAt(31)], 31) << "a slot bears its number";
}

// Defaults of one blade for all that it has. What programs show of them is compared elsewhere, with
// every line of the file.
TEST_F(ConfigApi, WholeFileLoads) {
    std::filesystem::copy_file(SAMPLES "/personality-5.2.1.cfg",
                               "/mnt/nand0/default_bridge_config.cfg.0");
    passwd_data.record = filled<PasswordSlot>('x');
    EXPECT_EQ(readDefaultConfiguration(), 0);
    PasswordConfig const passwords{{{"config", "admin", "guest"}, {}}};
    EXPECT_TRUE(equal(onFile<PasswordConfig>(8, 64), passwords));
    EXPECT_TRUE(equal(got(vxpmgr_GetPasswordInfo), passwords));
    EXPECT_EQ(readBytes(primary(8)).back(), 'x') << "bytes that nobody names are kept";
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
    SnmpConfig snmp{"public", "public", {}, {}};
    for (uint32_t i = 0; i < 8; ++i) {
        snmp.traps[i].TrapPort = 162 + i;
        snmp.traps[i].TrapVersion = 2;
    }
    EXPECT_TRUE(equal(onFile<SnmpConfig>(9, 64), snmp));
    EXPECT_TRUE(equal(got(vxpmgr_GetSnmpConfigInfo), snmp));
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
    auto const stored = onFile<PortSlot>(1, portSlotAt(9)).params;
    EXPECT_TRUE(stored.Ipv6PortNumber == 3260 && stored.IpAddr_ipv60[15] == 2 &&
                stored.PortNumber == 0x3535);
    auto bridge = filled<BridgeConfig>(0x35);
    EXPECT_EQ(readDefaultBridgeIPv6ConfigInfo(handle, &bridge), 0);
    EXPECT_EQ(readDefaultBridgeDataMigrationInfo(handle, &bridge), 0);
    bridge = onFile<BridgeConfig>(1, bridgeAt);
    EXPECT_TRUE(bridge.BridgeSmisListenerPersistenceType == 2 &&
                bridge.BridgeDataMigrationMode == 2 && bridge.BridgeLogSize == 0x35353535);
    uint32_t mode = 9;
    for (auto const& [from, left] : {std::pair(PropertiesHandle{}, 9U), {handle, 2U}}) {
        EXPECT_EQ(readBridgeDataMigrationModeValue(from, &mode), -1);
        EXPECT_EQ(mode, left);
    }

    EXPECT_EQ(readDefaultPassword(handle, 8), -1);
    EXPECT_EQ(readDefaultCacheConfig(nullptr), 0);
    EXPECT_EQ(readBytes(cachePath), Bytes(20, 0)) << "what no key sets";
    propClosePropertiesFile(handle);
}

// After the process they are there, with the bytes of other programs beside them.
TEST_F(ConfigApi, PlatformRecords) {
    auto const globals = filled<DmGlobals>(0x21);
    StoragePoolConfig const pool{20, 3};
    CacheParams const cache{1, 2, 3, 4, 5, 6, {}};
    writeBytes(cachePath, Bytes(500, 0x5A));
    auto const store = [&] {
        EXPECT_EQ(vxpmgr_updateDefaultStoragePoolConfig(&pool) + vxpmgr_setCacheParams(&cache), 0);
    };
    EXPECT_EQ(vxpmgr_SetDMGlobals(&globals), 0);
    store();
    setByte(primary(31), 64 + 100, 0x5A);
    InitDatabaseLite();
    store();
    EXPECT_TRUE(equal(onFile<StoragePoolConfig>(31, 64), pool));
    EXPECT_TRUE(readBytes(primary(31)).at(164) == 0x5A && readBytes(cachePath).size() == 500);
    EXPECT_EQ(readBridgeDMGlobalSettings(nullptr), 0);
    EXPECT_TRUE(equal(onFile<DmGlobals>(24, 64), globals)) << "absent keys keep what is stored";
    EXPECT_TRUE(VX_systemWrapper("exit 3") != 0 && VX_systemWrapper("exit 0") == 0);
}

} // namespace
