#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include "props/config_fields.h"

namespace vx {
namespace {

constexpr FieldGroup versionGroups[] = {versionFields};
constexpr FieldGroup bridgeGroups[] = {bridgeIdentity, bridgeSettings, bridgeForced};
constexpr FieldGroup bridgeIpv6Groups[] = {bridgeIpv6Settings};
constexpr FieldGroup bridgeDataMigrationGroups[] = {bridgeDataMigration};
constexpr FieldGroup cliGroups[] = {cliFields};

constexpr uint32_t writeThrough = 1;
constexpr int storesNothing = -1;

} // namespace
} // namespace vx

using namespace vx;

int readDefaultConfigurationVersion(PropertiesHandle handle, VersionBlock* result) {
    loadFields(handle, versionPrefix, versionGroups, result);
    return storesNothing;
}

int readDefaultBridgeConfigInfo(PropertiesHandle handle) {
    BridgeConfig record{};
    loadFields(handle, bridgePrefix, bridgeGroups, &record);
    return vxpmgr_UpdateBridgeConfigInfo(&record, writeThrough);
}

int readDefaultBridgeIPv6ConfigInfo(PropertiesHandle handle, BridgeConfig* record) {
    loadFields(handle, bridgePrefix, bridgeIpv6Groups, record);
    return vxpmgr_UpdateBridgeConfigInfo(record, writeThrough);
}

int readDefaultBridgeDataMigrationInfo(PropertiesHandle handle, BridgeConfig* record) {
    loadFields(handle, bridgePrefix, bridgeDataMigrationGroups, record);
    return vxpmgr_UpdateBridgeConfigInfo(record, writeThrough);
}

int readBridgeDataMigrationModeValue(PropertiesHandle handle, uint32_t* result) {
    BridgeConfig record{};
    record.BridgeDataMigrationMode = *result;
    loadFields(handle, bridgePrefix, bridgeDataMigrationGroups, &record);
    *result = record.BridgeDataMigrationMode;
    return storesNothing;
}

int readDefaultCliConfigInfo(PropertiesHandle handle) {
    CliConfig record{};
    loadFields(handle, cliPrefix, cliGroups, &record);
    return vxpmgr_UpdateCliConfigInfo(&record);
}
