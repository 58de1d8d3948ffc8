// SNMP: two texts by the general rule, and eight traps that a user's own settings shield.
#include "upgrade/sections.h"

#include "settings/config_fields.h"
#include "upgrade/default_merge.h"
#include "upgrade/report.h"

#include <vxblade/pmgr.h>

#include <iterator>

namespace vx {

namespace {

constexpr FieldGroup communityGroups[] = {snmpCommunities};
constexpr FieldGroup trapGroups[] = {snmpTrapFields};
constexpr uint32_t trapCount = std::size(SnmpConfig{}.traps);
constexpr const char* operation = "compareDefaultSnmpConfigInfo";

void loadSnmp(PropertiesHandle handle, SnmpConfig& record) {
    loadFields(handle, snmpPrefix, communityGroups, &record);
    for (uint32_t trap = 0; trap < trapCount; ++trap) {
        (void)loadDefaultSnmpTrapsInfo(handle, record.traps, trap);
    }
}

bool mergeTrap(uint32_t number, const SnmpTrap& oldDefault, const SnmpTrap& newDefault,
               SnmpTrap& live) {
    if (live.enabled != 0) {
        report(operation, 1190,
               "%d: Already configured. TrapPort %d. Enabled: %d. Not Updating with default \n",
               number, live.TrapPort, live.enabled);
        return false;
    }
    return mergeFields(trapGroups, &oldDefault, &newDefault, &live);
}

} // namespace

int loadDefaultSnmpTrapsInfo(PropertiesHandle handle, SnmpTrap* traps, uint32_t trap) {
    if (traps == nullptr || trap >= trapCount) {
        return -1;
    }
    loadFields(handle, NumberedPrefix(snmpTrapPrefix, static_cast<int>(trap)).text(), trapGroups,
               &traps[trap]);
    return 0;
}

int compareDefaultSnmpConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    SnmpConfig newDefaults{};
    SnmpConfig oldDefaults{};
    SnmpConfig live{};
    loadSnmp(newFile, newDefaults);
    loadSnmp(oldFile, oldDefaults);
    if (int const result = vxpmgr_GetSnmpConfigInfo(&live); result != 0) {
        return result;
    }
    bool changed = mergeFields(communityGroups, &oldDefaults, &newDefaults, &live);
    for (uint32_t trap = 0; trap < trapCount; ++trap) {
        changed =
            mergeTrap(trap, oldDefaults.traps[trap], newDefaults.traps[trap], live.traps[trap]) ||
            changed;
    }
    if (!changed) {
        return 0;
    }
    report(operation, 1200, "Updating SNMP\n");
    return vxpmgr_UpdateSnmpInfo(&live);
}

} // namespace vx
