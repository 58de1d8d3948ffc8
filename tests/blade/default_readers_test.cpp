// Texts to bytes, through the readers and into the store's files.
#include "tests/support/blade_files.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <cstring>
#include <string>

namespace {

// The reader of a section that a blade has once.
template <int (*read)(PropertiesHandle)>
int once(PropertiesHandle handle, int) {
    return read(handle);
}
constexpr auto* readMgmt = once<readDefaultMgmtConfigInfo>;
constexpr auto* readBridge = once<readDefaultBridgeConfigInfo>;
constexpr auto* readCli = once<readDefaultCliConfigInfo>;
constexpr auto* readSnmp = once<readDefaultSnmpConfigInfo>;
constexpr auto* readPool = once<readDefaultStoragePoolConfig>;

constexpr std::size_t portAt(std::size_t slot) {
    return 3100 + 1296 * slot + offsetof(PortSlot, params);
}

TEST_F(BladeTest, ConversionsThroughReaders) {
    constexpr std::size_t bridge = 64;
    constexpr std::size_t mgmt = 2768;
    constexpr std::size_t snmp = 64;
    struct {
        int (*read)(PropertiesHandle, int);
        int number;
        std::string key, value;
        int index;          // of the file
        std::size_t offset; // in the file
        Bytes bytes;        // found there
    } const cases[] = {
        // clang-format off
        {readBridge, 0, "config.bridge.BridgeSerialNumber", std::string(40, 's'), 1, bridge + 286, {'s', 0}},
        {readCli, 0, "config.cli.BridgeCliPrompt", std::string(70, 'p'), 1, bridge + 1036 + 62, {'p', 0}},
        {readMgmt, 0, "config.mgmt.MacAddr", "AB", 1, mgmt + 20, {0xAB, 0xAB, 0, 0, 0, 0}},
        {readDefaultIsConfigInfo, 1, "config.port.is.1.MacAddr", "001b21aabbcc", 1, portAt(9) + 6, {0, 0x1B, 0x21, 0xAA, 0xBB, 0xCC}},
        {readDefaultIsConfigInfo, 1, "config.port.is.10.PortNumber", "5", 1, portAt(9) + 456, {0, 0}},
        {readDefaultIsConfigInfo, 1, "config.port.is.1.PortState", "5", 1, portAt(9) + 24, {0}},
        {readDefaultGigeConfigInfo, 3, "config.port.gi.3.Ipv6PortNumber", "5", 1, portAt(19) + 494, {0, 0}},
        {readDefaultFcConfigInfo, 0, "config.port.fc.0.PortName", "21001B32A0B1C2D3", 1, portAt(0) + 532, {0x21, 0, 0x1B, 0x32, 0xA0, 0xB1, 0xC2, 0xD3}},
        {readDefaultPcieConfigInfo, 0, "config.port.pcie.0.PortNumber", "7", 1, portAt(24), {1, 0, 4, 0, 0, 0, 0}},
        {readDefaultHostGroupConfigInfo, 2, "config.hostgroup.2.HostGroupName", std::string(100, 'g'), 20, 64 + 2 * 940 + 68, {'g', 0}},
        {readDefaultHostGroupConfigInfo, 3, "nothing", "", 20, 64 + 3 * 940 + 4, {0, 0, 0}},
        {readDefaultPassword, 2, "config.passwd.2.Passwd", std::string(200, 'w'), 8, 64 + 3 * 128 - 2, {'w', 0}},
        {readSnmp, 0, "config.snmp.Traps.8.TrapPort", "1", 9, snmp + 128 + 8 * 36 + 24, {0, 0, 0, 0}},
        {readPool, 0, "config.storagepool.TotalSpareDrives", "3", 31, 64 + 4, {3, 0, 0, 0}},
        // clang-format on
    };
    makeFiles({1, 8, 9, 20, 31});
    testing::internal::CaptureStdout();
    for (auto const& c : cases) {
        std::string const text = c.key + " = \"" + c.value + "\"\n";
        PropertiesHandle handle =
            propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
        EXPECT_EQ(c.read(handle, c.number), 0) << c.key;
        Bytes const file = readBytes(primary(c.index));
        auto const at = file.begin() + static_cast<std::ptrdiff_t>(c.offset);
        EXPECT_EQ(Bytes(at, at + static_cast<std::ptrdiff_t>(c.bytes.size())), c.bytes) << c.key;
        propClosePropertiesFile(handle);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "readDefaultFcConfigInfo: config.port.fc.0.\n"
              "readDefaultPcieConfigInfo: config.port.pcie.0.\n"
              "readDefaultHostGroupConfigInfo: config.hostgroup.2. and idx = 2 \n"
              "readDefaultHostGroupConfigInfo: config.hostgroup.3. and idx = 3 \n");
}

} // namespace
