// The two sections of the bridge record.
#include "upgrade/default_merge.h"

#include "props/config_fields.h"

#include <vxblade/pmgr.h>

namespace vx {

namespace {

constexpr uint32_t writeThrough = 1;

constexpr FieldGroup bridgeGroups[] = {bridgeSettings, bridgeDataMigration, bridgeForced};
constexpr FieldGroup cliGroups[] = {cliFields};

constexpr Section bridgeSection = {
    .operation = "compareDefaultBridgeConfigInfo",
    .line = 244,
    .update = "Updating Bridge Info\n",
    .prefix = bridgePrefix,
    .groups = bridgeGroups,
    .get =
        [](void* record) { return vxpmgr_GetBridgeConfigInfo(static_cast<BridgeConfig*>(record)); },
    .put =
        [](const void* record) {
            return vxpmgr_UpdateBridgeConfigInfo(static_cast<const BridgeConfig*>(record),
                                                 writeThrough);
        },
};

constexpr Section cliSection = {
    .operation = "compareDefaultCliConfigInfo",
    .line = 327,
    .update = "Updating CLI Info\n",
    .prefix = cliPrefix,
    .groups = cliGroups,
    .get = [](void* record) { return vxpmgr_GetCliConfigInfo(static_cast<CliConfig*>(record)); },
    .put =
        [](const void* record) {
            return vxpmgr_UpdateCliConfigInfo(static_cast<const CliConfig*>(record));
        },
};

} // namespace

int compareDefaultBridgeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return mergeSection(bridgeSection, oldFile, newFile);
}

int compareDefaultCliConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return mergeSection(cliSection, oldFile, newFile);
}

} // namespace vx
