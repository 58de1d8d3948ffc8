// A private view of the file system in which this machine looks like a blade.
#pragma once

#include "sim/blade/server_process.h"

#include <filesystem>
#include <set>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace sim {

struct BladeOptions {
    std::filesystem::path state;     // folder that keeps the volumes and devices between runs
    std::set<std::string> unmounted; // volumes ("nand0" …) that are not to be mounted
};

// The names of the NAND volumes, mounted at /mnt/<name>.
inline constexpr std::string_view volumeNames[] = {"nand0", "nand1", "nand2"};

// A blade that this process has entered; its devices answer until this is destroyed.
class Blade {
  public:
    Blade(ServerProcess server, int state);
    Blade(Blade&& other) noexcept;
    Blade(const Blade&) = delete;
    Blade& operator=(const Blade&) = delete;
    Blade& operator=(Blade&&) = delete;
    ~Blade();

  private:
    pid_t owner_; // a forked child's copy does nothing
    ServerProcess server_;
    int state_; // the state folder, which may be covered
};

// Moves this process, which must be single-threaded, and what it starts into a mount namespace of
// its own, where
//   /mnt/nand0, nand1, nand2  are the state folder's folders of those names,
//   /var/lock                 is the state folder's "lock", writable,
//   /dev/mtd0, i2c-0, i2c-1, vxgpdev, vxbrapp, vxllednode
//                             answer as the blade's drivers do (device_server.h),
//   /dev/log                  collects the system log in the state folder's "syslog",
//   /proc/devices             lists the drivers, where their nodes can have a number,
//   /sys                      holds the temperature sensors, the state folder's "sys",
//   /etc/fw_env.config        is the state folder's, or missing as there,
//   /dev/blade                is the state folder itself, for tests and engineers.
// Everything else, the working directory included, stays as it is. Nothing outside the state
// folder changes. Without root a user namespace stands in, in which the caller is root and nodes
// have no numbers.
//
// Any number of blades may run at once; one whose state another blade uses waits here for that one
// to end, and says so on standard error.
//
// Throws std::system_error (or std::runtime_error) that says what is missing.
[[nodiscard]] Blade enterBlade(const BladeOptions& options);

} // namespace sim
