// The management port: one field, under a condition of its own.
#include "upgrade/sections.h"

#include "settings/config_fields.h"
#include "upgrade/default_merge.h"
#include "upgrade/report.h"

#include <vxblade/pmgr.h>

namespace vx {

namespace {

// All that the rule looks at. A changed default address never reaches the live record, so the
// section's other keys need no reading.
constexpr Field dhcp = VX_FIELD(MgmtPortConfig, iDhcpEnabled);
constexpr Field address = VX_FIELD(MgmtPortConfig, IpAddr);
constexpr Field fields[] = {dhcp, address};
constexpr FieldGroup groups[] = {fields};

constexpr const char* operation = "compareDefaultMgmtInfo";

} // namespace

int compareDefaultMgmtInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    MgmtPortConfig newDefaults{};
    MgmtPortConfig oldDefaults{};
    MgmtPortConfig live{};
    loadFields(newFile, mgmtPrefix, groups, &newDefaults);
    loadFields(oldFile, mgmtPrefix, groups, &oldDefaults);
    if (int const result = vxpmgr_GetMgmtInfo(&live); result != 0) {
        return result;
    }
    // A user who changed either has set up the port: it keeps its settings.
    if (!fieldsEqual(dhcp, &live, &oldDefaults) || !fieldsEqual(address, &live, &oldDefaults)) {
        return 0;
    }
    report(operation, 1366, "Updating MGMT DHCP and IpAddr Match\n");
    if (!mergeField(dhcp, &oldDefaults, &newDefaults, &live)) {
        return 0;
    }
    report(operation, 1372, "Updating MGMT\n");
    return vxpmgr_UpdateMgmtPortInfo(&live, PSST_WRITE_THROUGH);
}

} // namespace vx
