// Carries out what is asked of the simulated devices, and collects the system log.
#pragma once

#include "sim/blade/devices.h"
#include "sim/blade/faults.h"

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace sim {

// The device files, by name; "control" takes commands (faults.h, devices.h), one a line.
inline constexpr std::string_view deviceNames[] = {"mtd0",    "i2c-0",   "i2c-1",
                                                   "vxgpdev", "vxbrapp", "vxllednode"};
inline constexpr std::string_view controlName = "control";

// Every operation on the devices passes here: counted, perhaps spoilt, and written to the trace
// as a line "DEVICE OPERATION DETAIL = RESULT".
class DeviceBench {
  public:
    explicit DeviceBench(const std::filesystem::path& state);

    [[nodiscard]] Device& device(std::string_view name) { return *devices_.at(std::string(name)); }
    // Result of the operation for the process `caller`, which is killed where the power goes;
    // `whole` is the result that a program takes for complete success.
    int carryOut(std::string_view device, const Operation& operation, std::size_t whole,
                 pid_t caller);
    // Applies commands. 0, or -EINVAL, reported on standard error, at the first wrong one.
    int control(std::string_view commands);

  private:
    void commandLine(const std::string& line);
    Faults faults_;
    std::map<std::string, std::unique_ptr<Device>> devices_;
    int trace_;
};

// What the server needs, all open: the hub's link (device_hub.h), the system log's socket, and a
// line that ends when the server shall.
struct ServerDescriptors {
    int hub;
    int log;
    int lifetime;
};

// Serves until `lifetime` ends. Records of the system log go to state/syslog, a line each.
void serveDevices(DeviceBench& devices, const std::filesystem::path& state,
                  const ServerDescriptors& descriptors);

} // namespace sim
