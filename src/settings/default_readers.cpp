// The readers of defaults files that programs call: each names a section, most store its record.
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/settings.h>

#include "settings/loading.h"
#include "settings/saved_files.h"

#include <iterator>

namespace vx {
namespace {

constexpr int storesNothing = -1;
constexpr int trapCount = std::size(SnmpConfig{}.traps);

bool isOfIpv6Reader(const Setting& setting) {
    return (setting.roles & ipv6Reader) != 0;
}

bool isOfModeReader(const Setting& setting) {
    return (setting.roles & modeReader) != 0;
}

} // namespace
} // namespace vx

using namespace vx;

int readDefaultConfigurationVersion(PropertiesHandle handle, VersionBlock* result) {
    loadSettings(handle, versionSection, 0, isLoaded, result);
    return storesNothing;
}

int readDefaultBridgeConfigInfo(PropertiesHandle handle) {
    return storeDefaults(handle, bridgeSection, 0);
}

int readDefaultBridgeIPv6ConfigInfo(PropertiesHandle handle, BridgeConfig* record) {
    loadSettings(handle, bridgeSection, 0, isOfIpv6Reader, record);
    return vxpmgr_UpdateBridgeConfigInfo(record, PSST_WRITE_THROUGH);
}

int readDefaultBridgeDataMigrationInfo(PropertiesHandle handle, BridgeConfig* record) {
    loadSettings(handle, bridgeSection, 0, isOfModeReader, record);
    return vxpmgr_UpdateBridgeConfigInfo(record, PSST_WRITE_THROUGH);
}

int readBridgeDataMigrationModeValue(PropertiesHandle handle, uint32_t* result) {
    BridgeConfig record{};
    record.BridgeDataMigrationMode = *result;
    loadSettings(handle, bridgeSection, 0, isOfModeReader, &record);
    *result = record.BridgeDataMigrationMode;
    return storesNothing;
}

int readDefaultSystemCapabilities(PropertiesHandle handle, SystemCapabilities* capabilities) {
    loadSettings(handle, capabilitiesSection, 0, isLoaded, capabilities);
    return storesNothing;
}

int readDefaultCacheConfig(PropertiesHandle handle) {
    return storeDefaults(handle, cacheSection, 0);
}

int readDefaultStoragePoolConfig(PropertiesHandle handle) {
    return storeDefaults(handle, storagePoolSection, 0);
}

int readBridgeDMGlobalSettings(PropertiesHandle handle) {
    return storeDefaults(handle, dmGlobalsSection, 0);
}

int readDefaultCliConfigInfo(PropertiesHandle handle) {
    return storeDefaults(handle, cliSection, 0);
}

int readDefaultMgmtConfigInfo(PropertiesHandle handle) {
    return storeDefaults(handle, mgmtSection, 0);
}

int readDefaultIsConfigInfo(PropertiesHandle handle, int port) {
    return storeDefaults(handle, iscsiSection, port);
}

int readDefaultIsIPv6ConfigInfo(PropertiesHandle handle, int port, PortParams* record) {
    loadSettings(handle, iscsiSection, port, isOfIpv6Reader, record);
    return vxpmgr_UpdatePortParams(record, PSST_WRITE_THROUGH);
}

int readDefaultFcConfigInfo(PropertiesHandle handle, int port) {
    return storeDefaults(handle, fcSection, port);
}

int readDefaultGigeConfigInfo(PropertiesHandle handle, int port) {
    return storeDefaults(handle, gigeSection, port);
}

int readDefaultPcieConfigInfo(PropertiesHandle handle, int port) {
    return storeDefaults(handle, pcieSection, port);
}

int readDefaultHostGroupConfigInfo(PropertiesHandle handle, int group) {
    return storeDefaults(handle, hostGroupSection, group);
}

int readDefaultPassword(PropertiesHandle handle, int index) {
    constexpr int passwordCount = std::size(PasswordConfig{}.Passwd[0]);
    return index < 0 || index >= passwordCount ? -1 : storeDefaults(handle, passwordSection, index);
}

int readDefaultSnmpConfigInfo(PropertiesHandle handle) {
    SnmpConfig record{};
    loadSettings(handle, snmpSection, 0, isLoaded, &record);
    for (int trap = 0; trap < trapCount; ++trap) {
        (void)readDefaultSnmpTrapsInfo(handle, &record, trap);
    }
    return vxpmgr_UpdateSnmpInfo(&record);
}

int readDefaultSnmpTrapsInfo(PropertiesHandle handle, SnmpConfig* record, int trap) {
    if (record == nullptr || trap < 0 || trap >= trapCount) {
        return -1;
    }
    loadSettings(handle, snmpTrapSection, trap, isLoaded, &record->traps[trap]);
    return 0;
}

int readDefaultChassisName(PropertiesHandle handle) {
    ChassisName const name = loadChassisName(handle);
    int const result = vornhal_setenv(chassisVariable, name.data());
    return result == 0 ? vornhal_saveenv() : result;
}

int validateDefaultConfiguration(void) {
    return 0;
}

int readDefaultConfiguration(void) {
    passwd_data.record.passwords = {};
    (void)validateDefaultConfiguration();
    PropertiesHandle handle = propOpenPropertiesFile(savedPersonalityFiles[0]);
    forEachSection(loadOrder, [&](const Section& section, uint32_t number) {
        (void)storeDefaults(handle, section, static_cast<int>(number));
    });
    propClosePropertiesFile(handle);
    return 0;
}
