#include "tests/support/blade_files.h"

namespace {

struct ConfigApi : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        makeFiles({1, 20, 42});
    }
};

constexpr std::size_t portSlotAt(std::size_t slot) {
    return 3100 + 1296 * slot;
}

PortParams filledPort(uint16_t type, uint16_t number) {
    auto port = filled<PortParams>(0x42);
    port.type = type;
    port.number = number;
    return port;
}

TEST_F(ConfigApi, FlagsOfUpdates) {
    auto const mgmt = filled<MgmtPortConfig>(1);
    for (uint32_t const flags : {0U, 0x100U, 1U, 0x80U, 0x101U}) { // only the low byte counts
        uint64_t const before = pmgr_cb->sequenceNumber;
        auto const port = filledPort(PORT_TYPE_ISCSI, 0);
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, flags), 0);
        EXPECT_EQ(vxpmgr_UpdateBridgeConfigInfo(&bridge_configuration.record, flags), 0);
        EXPECT_EQ(vxpmgr_UpdateMgmtPortInfo(&mgmt, flags), 0);
        EXPECT_EQ(pmgr_cb->sequenceNumber - before, (flags & 0xFF) == 0 ? 0U : 3U) << flags;
    }
}

// Which slot holds a port, and what of it: some boards keep an iSCSI port's board words in memory.
TEST_F(ConfigApi, PortsLandInTheirSlots) {
    const struct {
        uint16_t type, number;
        int slot; // -1: refused
        uint16_t board = 0;
        int words = 0x42;
    } cases[] = {{0, 7, 7},      {1, 2, 10},        {2, 2, 18},        {4, 7, 31},
                 {9, 3, 3},      {4, 8, -1},        {0, 32, -1},       {1, 9999, -1},
                 {1, 0, 8, 255}, {1, 0, 8, 256, 0}, {1, 0, 8, 511, 0}, {1, 0, 8, 512},
                 {2, 0, 16, 256}};
    for (auto const& c : cases) {
        HwVer = c.board;
        auto port = filledPort(c.type, c.number);
        int const result = c.slot < 0 ? -1 : 0;
        EXPECT_EQ(vxpmgr_UpdatePortParams(&port, 1), result);
        EXPECT_EQ(vxpmgr_GetPortParams(&port, c.type, c.number), result);
        if (result != 0) {
            continue;
        }
        auto const slot = static_cast<uint32_t>(c.slot);
        PortSlot expected = {slot, 0, 0xC3, port, {}};
        EXPECT_EQ(port.boardWords[0] & 0xFF, 0x42) << "memory keeps them";
        std::memset(expected.params.boardWords, c.words, sizeof port.boardWords);
        EXPECT_TRUE(equal(onFile<PortSlot>(1, portSlotAt(slot)), expected)) << c.slot;
        bool const isIp = c.type == 1 || c.type == 2; // others carry none of its settings
        EXPECT_EQ(port.PortNumber, isIp ? 0x4242 : 0) << c.slot;
    }
    auto port = filledPort(PORT_TYPE_NONE, 99); // of no type: nothing is done
    EXPECT_EQ(vxpmgr_UpdatePortParams(&port, 1), 0);
    EXPECT_TRUE(vxpmgr_GetPortParams(&port, PORT_TYPE_NONE, 0) == 0 && port.number == 99);
    EXPECT_EQ(vxpmgr_GetPortParams(&port, PORT_TYPE_ISCSI, 3), 0);
    EXPECT_TRUE(port.type == PORT_TYPE_ISCSI && port.number == 3) << "comes back to itself";
}

TEST_F(ConfigApi, WhatIsNotOnFile) {
    auto group = filled<HostGroupConfig>(0x31);
    for (uint32_t const index : {7U, 8U, 9U}) { // 8 is in memory only
        EXPECT_EQ(vxpmgr_SetHostGroup(&group, index), index < 8 ? 0 : -1);
        EXPECT_EQ(vxpmgr_GetHostGroup(&group, index), index < 9 ? 0 : -1);
    }
    EXPECT_EQ(readBytes(primary(20)).at(64 + 7 * 940), 7) << "a slot bears its number";
    mgmt_port.record = filled<MgmtPortSlot>(0xC3);
    auto mgmt = filled<MgmtPortConfig>(0x77);
    EXPECT_TRUE(vxpmgr_GetActualMgmtInfo(&mgmt) == 0 && mgmt.MacAddr[0] == 0x77);
    EXPECT_TRUE(vxpmgr_GetMgmtInfo(&mgmt) == 0 && mgmt.MacAddr[0] == 0xC3);
    EXPECT_EQ(mgmt.padding74[0] + mgmt.reserved84[0], 0);
}

TEST_F(ConfigApi, ClusterMetaDataKeepsThreeFlags) {
    auto metadata = filled<ClusterMetaData>(0xFE);
    setByte(primary(42), 64 + 100, 0x5A); // kept: the stored record is read first
    EXPECT_EQ(vxpmgr_UpdateClusterMetaData(&metadata), 0);
    metadata.flags = 0x06;
    EXPECT_TRUE(equal(onFile<ClusterMetaData>(42, 64), metadata));
    EXPECT_EQ(readBytes(primary(42)).at(64 + 100), 0x5A);
    setByte(primary(42), 4, 0);
    EXPECT_EQ(vxpmgr_UpdateClusterMetaData(&metadata), -1) << "a bad file is refused";
}

TEST_F(ConfigApi, OneWriterForThreeRecords) {
    bridge_configuration.record = filled<BridgeConfig>(1);
    mgmt_port.record = filled<MgmtPortSlot>(2);
    EXPECT_EQ(WriteBridgeConfigFile(&bridge_configuration, PSST_BRIDGE_CONFIG), 0);
    EXPECT_EQ(WriteBridgeConfigFile(&mgmt_port, PSST_MGMT_PORT), 0);
    EXPECT_EQ(WriteBridgeConfigFile(&port_configuration[31], PSST_PORT_CONFIG), 0);
    EXPECT_EQ(WriteBridgeConfigFile(&mgmt_port, PSST_PASSWD), -1);
    Bytes const file = readBytes(primary(1));
    EXPECT_TRUE(file[64] == 1 && file[2768] == 2 && file[portSlotAt(31)] == 31);
}

TEST_F(ConfigApi, PlatformRecordsKeepWhatIsBesideThem) {
    std::string const cachePath = psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_DATA];
    StoragePoolConfig const pool{20, 3};
    CacheParams const cache{1, 2, 3, 4, 5, 6, {}};
    writeBytes(cachePath, Bytes(500, 0x5A));
    ASSERT_EQ(CreatePsstFile(31), 0);
    setByte(primary(31), 64 + 100, 0x5A);
    EXPECT_EQ(vxpmgr_updateDefaultStoragePoolConfig(&pool) + vxpmgr_setCacheParams(&cache), 0);
    EXPECT_EQ(readBytes(primary(31)).at(64 + 100), 0x5A);
    EXPECT_TRUE(equal(onFile<StoragePoolConfig>(31, 64), pool));
    EXPECT_TRUE(readBytes(cachePath).size() == 500 && readBytes(cachePath)[0] == 1);
    EXPECT_TRUE(VX_systemWrapper("exit 3") != 0 && VX_systemWrapper("exit 0") == 0);
}

} // namespace
