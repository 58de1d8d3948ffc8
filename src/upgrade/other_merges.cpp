// The merges that an upgrade does not make.
#include "upgrade/merge.h"

#include "settings/loading.h"
#include "upgrade/report.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <iterator>

namespace vx {

namespace {

constexpr uint32_t trapCount = std::size(SnmpConfig{}.traps);
constexpr const char* snmpOperation = "compareDefaultSnmpConfigInfo";

// Merges a part of the live record.
template <class Part>
bool mergePart(const Section& section, uint32_t number, PropertiesHandle oldFile,
               PropertiesHandle newFile, Part& live) {
    Part oldDefaults{};
    Part newDefaults{};
    return mergeRecord(section, oldFile, newFile, number, {&oldDefaults, &newDefaults, &live});
}

bool mergeTrap(uint32_t number, PropertiesHandle oldFile, PropertiesHandle newFile,
               SnmpTrap& live) {
    if (live.enabled != 0) {
        report(snmpOperation, 1190,
               "%d: Already configured. TrapPort %d. Enabled: %d. Not Updating with default \n",
               number, live.TrapPort, live.enabled);
        return false;
    }
    return mergePart(snmpTrapSection, number, oldFile, newFile, live);
}

} // namespace

int loadDefaultSnmpTrapsInfo(PropertiesHandle handle, SnmpTrap* traps, uint32_t trap) {
    if (traps == nullptr || trap >= trapCount) {
        return -1;
    }
    loadSettings(handle, snmpTrapSection, static_cast<int>(trap), isLoaded, &traps[trap]);
    return 0;
}

int compareDefaultSnmpConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    SnmpConfig live{};
    if (int const result = vxpmgr_GetSnmpConfigInfo(&live); result != 0) {
        return result;
    }
    bool changed = mergePart(snmpSection, 0, oldFile, newFile, live);
    for (uint32_t trap = 0; trap < trapCount; ++trap) {
        changed = mergeTrap(trap, oldFile, newFile, live.traps[trap]) || changed;
    }
    if (!changed) {
        return 0;
    }
    report(snmpOperation, 1200, "Updating SNMP\n");
    return vxpmgr_UpdateSnmpInfo(&live);
}

int compareDefaultChassisName(PropertiesHandle oldFile, PropertiesHandle newFile) {
    constexpr const char* operation = "compareDefaultChassisName";
    ChassisName const newDefault = loadChassisName(newFile);
    ChassisName const oldDefault = loadChassisName(oldFile);
    ChassisName live{};
    if (vornhal_getenv(chassisVariable, live.data(), static_cast<int>(live.size())) != 0) {
        report(operation, 1464, "compareDefaultChassisName: CurrChassisName is %s \n", live.data());
    }
    // Unlike every other setting the name is set even where the defaults agree.
    if (live == oldDefault) {
        report(operation, 1472, "compareDefaultChassisName: update chassis name \n");
        (void)vornhal_setenv(chassisVariable, newDefault.data());
        (void)vornhal_saveenv();
    }
    return -1;
}

} // namespace vx
