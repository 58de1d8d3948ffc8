// What the blade says it is: its serial and its model number, kept in the boot environment.
#include <vxblade/seep.h>

#include "hw/diagnostics.h"

#include <vxblade/bootenv.h>

#include <algorithm>

namespace {

constexpr const char* sourceName = "i2c_access";

constexpr const char* serialVariable = "SERIAL";
constexpr const char* modelVariable = "modelNum";
constexpr int longestValue = 64; // with its terminator

bool readVariable(const char* name, char* text, int size) {
    return vornhal_getenv(name, text, std::min(size, longestValue)) > 0;
}

// Programs of the blade expect success whatever becomes of the save.
int saveVariable(const char* name, const char* text) {
    (void)vornhal_setenv(name, text);
    (void)vornhal_saveenv();
    return 0;
}

} // namespace

int getBladeSerialNum(char* text, int size) {
    if (readVariable(serialVariable, text, size)) {
        return 0;
    }
    VX_REPORT(__func__, "Failed to read serial number! serialNum: %s\n", serialVariable);
    return -1;
}

int getBladeModelNum(char* text, int size) {
    if (readVariable(modelVariable, text, size)) {
        return 0;
    }
    VX_REPORT(__func__, " Failed to read model number %s! modelNum: \n", modelVariable);
    return -1;
}

int setBladeSerialNum(const char* text) {
    return saveVariable(serialVariable, text);
}

int setBladeModelNum(const char* text) {
    return saveVariable(modelVariable, text);
}
