// Readers of sections that every blade has once, and the reader of a whole file.
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include "settings/chassis_name.h"
#include "settings/config_fields.h"
#include "settings/saved_files.h"

#include <iterator>

namespace vx {
namespace {

constexpr FieldGroup versionGroups[] = {versionFields};
constexpr FieldGroup bridgeGroups[] = {bridgeIdentity, bridgeSettings, bridgeForced};
constexpr FieldGroup bridgeIpv6Groups[] = {bridgeIpv6Settings};
constexpr FieldGroup bridgeDataMigrationGroups[] = {bridgeDataMigration};
constexpr FieldGroup capabilityGroups[] = {capabilityFields};
constexpr FieldGroup cacheGroups[] = {cacheFields};
constexpr FieldGroup storagePoolGroups[] = {storagePoolFields};
constexpr FieldGroup dmGlobalGroups[] = {dmGlobalFields};
constexpr FieldGroup cliGroups[] = {cliFields};
constexpr FieldGroup mgmtGroups[] = {mgmtFields};
constexpr FieldGroup passwordGroups[] = {passwordFields};

constexpr int storesNothing = -1;

// A fresh record with the section's values.
template <class Record>
Record load(PropertiesHandle handle, const char* prefix, FieldGroups groups) {
    Record record{};
    loadFields(handle, prefix, groups, &record);
    return record;
}

} // namespace
} // namespace vx

using namespace vx;

int readDefaultConfigurationVersion(PropertiesHandle handle, VersionBlock* result) {
    loadFields(handle, versionPrefix, versionGroups, result);
    return storesNothing;
}

int readDefaultBridgeConfigInfo(PropertiesHandle handle) {
    auto const record = load<BridgeConfig>(handle, bridgePrefix, bridgeGroups);
    return vxpmgr_UpdateBridgeConfigInfo(&record, PSST_WRITE_THROUGH);
}

int readDefaultBridgeIPv6ConfigInfo(PropertiesHandle handle, BridgeConfig* record) {
    loadFields(handle, bridgePrefix, bridgeIpv6Groups, record);
    return vxpmgr_UpdateBridgeConfigInfo(record, PSST_WRITE_THROUGH);
}

int readDefaultBridgeDataMigrationInfo(PropertiesHandle handle, BridgeConfig* record) {
    loadFields(handle, bridgePrefix, bridgeDataMigrationGroups, record);
    return vxpmgr_UpdateBridgeConfigInfo(record, PSST_WRITE_THROUGH);
}

int readBridgeDataMigrationModeValue(PropertiesHandle handle, uint32_t* result) {
    BridgeConfig record{};
    record.BridgeDataMigrationMode = *result;
    loadFields(handle, bridgePrefix, bridgeDataMigrationGroups, &record);
    *result = record.BridgeDataMigrationMode;
    return storesNothing;
}

int readDefaultSystemCapabilities(PropertiesHandle handle, SystemCapabilities* capabilities) {
    loadFields(handle, bridgePrefix, capabilityGroups, capabilities);
    return storesNothing;
}

int readDefaultCacheConfig(PropertiesHandle handle) {
    auto const record = load<CacheParams>(handle, cachePrefix, cacheGroups);
    return vxpmgr_setCacheParams(&record);
}

int readDefaultStoragePoolConfig(PropertiesHandle handle) {
    auto const record = load<StoragePoolConfig>(handle, storagePoolPrefix, storagePoolGroups);
    return vxpmgr_updateDefaultStoragePoolConfig(&record);
}

int readBridgeDMGlobalSettings(PropertiesHandle handle) {
    DmGlobals record{};
    (void)vxpmgr_GetDMGlobals(&record);
    loadFields(handle, bridgePrefix, dmGlobalGroups, &record);
    return vxpmgr_SetDMGlobals(&record);
}

int readDefaultCliConfigInfo(PropertiesHandle handle) {
    auto const record = load<CliConfig>(handle, cliPrefix, cliGroups);
    return vxpmgr_UpdateCliConfigInfo(&record);
}

int readDefaultMgmtConfigInfo(PropertiesHandle handle) {
    auto const record = load<MgmtPortConfig>(handle, mgmtPrefix, mgmtGroups);
    return vxpmgr_UpdateMgmtPortInfo(&record, PSST_WRITE_THROUGH);
}

int readDefaultPassword(PropertiesHandle handle, int index) {
    PasswordConfig& passwords = passwd_data.record.passwords;
    if (index < 0 || index >= static_cast<int>(std::size(passwords.Passwd[0]))) {
        return -1;
    }
    loadFields(handle, NumberedPrefix(passwordPrefix, index).text(), passwordGroups,
               passwords.Passwd[0][index]);
    return vxpmgr_UpdatePasswordInfo(&passwords);
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
    (void)readDefaultBridgeConfigInfo(handle);
    (void)readDefaultCacheConfig(handle);
    (void)readDefaultStoragePoolConfig(handle);
    (void)readDefaultMgmtConfigInfo(handle);
    // How many of each a whole file brings.
    struct {
        int (*read)(PropertiesHandle handle, int number);
        int count;
    } const numbered[] = {
        {readDefaultIsConfigInfo, 4},   {readDefaultFcConfigInfo, 6},
        {readDefaultPcieConfigInfo, 1}, {readDefaultPassword, 3},
        {readDefaultGigeConfigInfo, 4},
    };
    for (auto const& section : numbered) {
        for (int number = 0; number < section.count; ++number) {
            (void)section.read(handle, number);
        }
    }
    (void)readDefaultCliConfigInfo(handle);
    constexpr int hostGroups = 4;
    for (int group = 0; group < hostGroups; ++group) {
        (void)readDefaultHostGroupConfigInfo(handle, group);
    }
    (void)readBridgeDMGlobalSettings(handle);
    propClosePropertiesFile(handle);
    return 0;
}
