// The chassis name, in the boot environment instead of a record.
#include "upgrade/sections.h"

#include "settings/chassis_name.h"
#include "upgrade/report.h"

#include <vxblade/platform.h>

namespace vx {

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
