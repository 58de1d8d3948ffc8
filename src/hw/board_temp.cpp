// The temperature sensors. Their drivers share the I2C buses, so they are read under the lock.
#include <vxblade/seep.h>

#include "common/files.h"
#include "hw/diagnostics.h"

#include <vxblade/i2c.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char* sourceName = "i2c_access";
constexpr const char* operation = "getBoardTemp";
constexpr int longestText = 5; // characters that are read of a sensor's text

struct Sensor {
    const char* name;
    const char* path;
    int atLeast; // characters, of longestText
    int divisor; // of thousandths of a degree
};

// clang-format off
constexpr Sensor boardSensor = {"board", "/sys/class/hwmon/hwmon0/device/temp1_input",           1, 1};
constexpr Sensor frontSensor = {"front", "/sys/class/i2c-dev/i2c-1/device/1-004c/temp1_input", 5, 100};
constexpr Sensor rearSensor  = {"rear",  "/sys/class/i2c-dev/i2c-1/device/1-004c/temp2_input", 5, 100};
constexpr Sensor memSensor   = {"mem",   "/sys/class/i2c-dev/i2c-0/device/0-001e/temp1_input", 5, 100};
// clang-format on

int lastMemReading = 0; // thousandths of a degree

enum class Reading { good, failed, noAccess };

// Reads a sensor into `value`, in thousandths of a degree.
Reading readSensor(const Sensor& sensor, int& value) {
    std::array<char, 32> text{};
    vx::Descriptor const file(vx::openFile(sensor.path, O_RDONLY));
    if (!file.ok()) {
        VX_REPORT(operation, "open %s failed!\n", sensor.path);
        return Reading::noAccess;
    }
    if (VX_AcquireI2CLock() < 0) {
        return Reading::noAccess;
    }
    errno = 0;
    auto const count = static_cast<int>(::read(file.get(), text.data(), longestText));
    int const error = errno;
    VX_ReleaseI2CLock();
    if (count < sensor.atLeast) {
        VX_REPORT(operation, "reading %s temp failed! retval = %d, errno: %d buf: %s\n",
                  sensor.name, count, error, text.data());
        return Reading::failed;
    }
    value = 0;
    (void)std::sscanf(text.data(), "%d", &value);
    return Reading::good;
}

void store(const Sensor& sensor, int value, uint16_t* result) {
    *result = static_cast<uint16_t>(value / sensor.divisor);
}

} // namespace

int getBoardTemp(uint16_t* front, uint16_t* rear, uint16_t* board, uint16_t* mem) {
    struct {
        const Sensor& sensor;
        uint16_t* result;
    } const required[] = {{boardSensor, board}, {frontSensor, front}, {rearSensor, rear}};
    int value = 0;
    for (auto const& [sensor, result] : required) {
        if (result != nullptr) {
            if (readSensor(sensor, value) != Reading::good) {
                return -1;
            }
            store(sensor, value, result);
        }
    }
    if (mem == nullptr) {
        return 0;
    }
    if (!vx::fileExists(memSensor.path)) {
        VX_REPORT(operation, "stat: %s does not exist\n", memSensor.path);
        *mem = 0;
        return 0;
    }
    switch (readSensor(memSensor, value)) {
    case Reading::noAccess:
        return -1;
    case Reading::good:
        lastMemReading = value;
        break;
    case Reading::failed:
        break; // the last good reading is better than none
    }
    store(memSensor, lastMemReading, mem);
    return 0;
}
