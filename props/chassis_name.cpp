#include "props/chassis_name.h"

#include "props/config_fields.h"
#include "props/property_pass.h"

#include <cstring>

namespace vx {

ChassisName loadChassisName(PropertiesHandle handle) {
    ChassisName name{};
    for (PropertyPass pass(handle); pass.next();) {
        if (std::strncmp(pass.key(), chassisPrefix, std::strlen(chassisPrefix)) != 0) {
            continue;
        }
        // Looked up by its key, because of a repeated key the first value counts.
        std::array<char, propertyBufferSize> value{};
        (void)propGetValue(handle, pass.key(), value.data(), static_cast<int>(value.size()));
        name.fill('\0');
        std::memcpy(name.data(), value.data(), ::strnlen(value.data(), name.size() - 1));
    }
    return name;
}

} // namespace vx
