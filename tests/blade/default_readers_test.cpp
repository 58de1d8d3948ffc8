// Every reader of defaults stores what the file says of its section's settings, and of no others.
#include "tests/support/blade_files.h"
#include "tests/support/text.h"

#include "settings/saved_files.h"
#include "settings/table.h"
#include "tools/defaults/text.h"

#include <vxblade/props.h>

#include <fstream>

namespace {

// The record of the caller, where a reader fills or takes one.
alignas(8) unsigned char callers[sizeof(SnmpConfig)];
template <class Record>
Record* callersOwn() {
    return reinterpret_cast<Record*>(callers);
}

// Readers of what a blade has once, and of the caller's record.
template <int (*read)(PropertiesHandle)>
int once(PropertiesHandle handle, int) {
    return read(handle);
}
template <class Record, int (*read)(PropertiesHandle, Record*)>
int into(PropertiesHandle handle, int) {
    return read(handle, callersOwn<Record>());
}
int readIpv6OfPort(PropertiesHandle handle, int number) {
    auto* const port = callersOwn<PortParams>();
    port->type = PORT_TYPE_ISCSI;
    port->number = static_cast<uint16_t>(number);
    return readDefaultIsIPv6ConfigInfo(handle, number, port);
}
int readMode(PropertiesHandle handle, int) {
    return readBridgeDataMigrationModeValue(handle,
                                            &callersOwn<BridgeConfig>()->BridgeDataMigrationMode);
}

// Which settings a reader reads.
const char* const most = "(?!BridgeDataMigrationMode$|PortState$).*";
const char* const mode = "BridgeDataMigrationMode";
const char* const ipv6 = ".*pv6.*|BridgeMode|BridgeSmis.*";

constexpr int memory = -1; // nothing is stored
constexpr int cache = 0;
constexpr std::size_t cliAt = 64 + offsetof(BridgeConfig, cli);
constexpr std::size_t trapsAt = 64 + offsetof(SnmpConfig, traps);
constexpr std::size_t portAt(std::size_t slot) {
    return 3100 + 1296 * slot + offsetof(PortSlot, params);
}

const struct Reader {
    const vx::Section& section;
    std::string prefix;
    int number;
    int (*read)(PropertiesHandle, int);
    int index;            // of the file that gets the record
    std::size_t offset;   // there
    unsigned char absent; // the bytes of what is not read: 0, the caller's '5', 'A' of before
    const char* reads = most;
} readers[] = {
    // clang-format off
    {vx::bridgeSection, "config.bridge.", 0, once<readDefaultBridgeConfigInfo>, 1, 64, 0},
    {vx::cliSection, "config.cli.", 0, once<readDefaultCliConfigInfo>, 1, cliAt, 0},
    {vx::mgmtSection, "config.mgmt.", 0, once<readDefaultMgmtConfigInfo>, 1, 2768, 0},
    {vx::iscsiSection, "config.port.is.3.", 3, readDefaultIsConfigInfo, 1, portAt(11), 0},
    {vx::gigeSection, "config.port.gi.3.", 3, readDefaultGigeConfigInfo, 1, portAt(19), 0},
    {vx::fcSection, "config.port.fc.5.", 5, readDefaultFcConfigInfo, 1, portAt(5), 0},
    {vx::pcieSection, "config.port.pcie.0.", 0, readDefaultPcieConfigInfo, 1, portAt(24), 0},
    {vx::hostGroupSection, "config.hostgroup.3.", 3, readDefaultHostGroupConfigInfo, 20, 64 + 3 * 940, 0},
    {vx::passwordSection, "config.passwd.2.", 2, readDefaultPassword, 8, 64 + 2 * 128, 'A'},
    {vx::dmGlobalsSection, "config.bridge.", 0, once<readBridgeDMGlobalSettings>, 24, 64, 'A'},
    {vx::storagePoolSection, "config.storagepool.", 0, once<readDefaultStoragePoolConfig>, 31, 64, 0},
    {vx::cacheSection, "config.cache.", 0, once<readDefaultCacheConfig>, cache, 0, 0},
    {vx::snmpSection, "config.snmp.", 0, once<readDefaultSnmpConfigInfo>, 9, 64, 0},
    {vx::snmpTrapSection, "config.snmp.Traps.7.", 7, once<readDefaultSnmpConfigInfo>, 9, trapsAt + 7 * 36, 0},
    {vx::bridgeSection, "config.bridge.", 0, into<BridgeConfig, readDefaultBridgeIPv6ConfigInfo>, 1, 64, '5', ipv6},
    {vx::iscsiSection, "config.port.is.1.", 1, readIpv6OfPort, 1, portAt(9), '5', ipv6},
    {vx::bridgeSection, "config.bridge.", 0, into<BridgeConfig, readDefaultBridgeDataMigrationInfo>, 1, 64, '5', mode},
    {vx::bridgeSection, "config.bridge.", 0, readMode, memory, 0, '5', mode},
    {vx::capabilitiesSection, "config.bridge.", 0, into<SystemCapabilities, readDefaultSystemCapabilities>, memory, 0, '5'},
    {vx::versionSection, "properties.file.", 0, into<VersionBlock, readDefaultConfigurationVersion>, memory, 0, '5'},
    // clang-format on
};

// The bytes 'A' as a value of each type.
const std::string values[] = {
    // clang-format off
    "65", "16705", "1094795585", std::string(255, 'A'), "41414141414141414141414141414141", "65.65.65.65"};
// clang-format on

// A line for every setting of a section, and one more: the first counts.
std::string textOf(const Reader& reader) {
    std::string text = "nothing = \"\"\n";
    vx::forEachSetting(reader.section, [&](const vx::Setting& setting) {
        std::string const key = reader.prefix + setting.key;
        auto const type = static_cast<std::size_t>(setting.type);
        text += key + " = \"" + values[type] + "\"\n" + key + " = \"1\"\n";
    });
    return text;
}

void expectStored(const Reader& reader, bool fileSays) {
    Bytes const file = reader.index == memory  ? bytesOf(callers, sizeof callers)
                       : reader.index == cache ? readBytes("/mnt/nand1/brapp_psst_data.cfg")
                                               : readBytes(primary(reader.index));
    vx::forEachSetting(reader.section, [&](const vx::Setting& setting) {
        bool const isRead = fileSays && matches(setting.key, reader.reads);
        Bytes expected(setting.size, isRead ? 'A' : reader.absent);
        if (setting.type == vx::Type::string && expected[0] == 'A') {
            expected.back() = 0; // cut
        }
        EXPECT_EQ(bytesOf(&file.at(reader.offset + setting.offset), setting.size), expected)
            << reader.prefix << setting.key;
    });
}

using DefaultReaders = BladeTest;

TEST_F(DefaultReaders, EachStoresItsSettings) {
    makeFiles({1, 8, 9, 20});
    auto const readAll = [](bool fileSays) {
        for (Reader const& reader : readers) {
            auto const file = tools::openDefaults(fileSays ? textOf(reader) : "");
            std::ranges::fill(callers, '5');
            EXPECT_EQ(reader.read(file.get(), reader.number), reader.index == memory ? -1 : 0);
            expectStored(reader, fileSays);
        }
    };
    std::string const announced = printedBy([&] { readAll(true); });
    EXPECT_EQ(announced, "readDefaultFcConfigInfo: config.port.fc.5.\n"
                         "readDefaultPcieConfigInfo: config.port.pcie.0.\n"
                         "readDefaultHostGroupConfigInfo: config.hostgroup.3. and idx = 3 \n");
    EXPECT_EQ(printedBy([&] { readAll(false); }), announced);
    EXPECT_EQ(readDefaultPassword(nullptr, 8), -1);
    EXPECT_EQ(readDefaultSnmpTrapsInfo(nullptr, nullptr, 0), -1);
    EXPECT_EQ(readDefaultSnmpTrapsInfo(nullptr, callersOwn<SnmpConfig>(), 8), -1);
}

// Of each kind the last section that a whole file has.
TEST_F(DefaultReaders, WholeFileLoads) {
    makeFiles({1, 8, 20});
    for (Reader const& reader : readers) {
        std::ofstream(vx::savedPersonalityFiles[0], std::ios::app) << textOf(reader);
    }
    passwd_data.record = filled<PasswordSlot>('x');
    printedBy([] { EXPECT_EQ(readDefaultConfiguration(), 0); });
    for (Reader const& reader : readers) {
        if (reader.index != 9 && reader.absent != '5') {
            expectStored(reader, true);
        }
    }
    EXPECT_EQ(readBytes(primary(8)).back(), 'x') << "bytes that nobody names are kept";
}

} // namespace
