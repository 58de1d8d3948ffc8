#include "settings/chassis_name.h"

#include "props/property_pass.h"
#include "settings/config_fields.h"

#include <cstdio>
#include <cstring>

namespace vx {

ChassisName loadChassisName(PropertiesHandle handle) {
    std::array<char, propertyBufferSize> lastKey{};
    for (PropertyPass pass(handle); pass.next();) {
        if (std::strncmp(pass.key(), chassisPrefix, std::strlen(chassisPrefix)) == 0) {
            std::snprintf(lastKey.data(), lastKey.size(), "%s", pass.key());
        }
    }
    ChassisName name{};
    if (lastKey[0] != '\0') {
        // Looked up by its key, because of a repeated key the first value counts.
        std::array<char, propertyBufferSize> value{};
        (void)propGetValue(handle, lastKey.data(), value.data(), static_cast<int>(value.size()));
        std::memcpy(name.data(), value.data(), ::strnlen(value.data(), name.size() - 1));
    }
    return name;
}

} // namespace vx
