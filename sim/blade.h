// A private view of the file system in which this machine looks like a blade.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <string_view>

namespace sim {

struct BladeOptions {
    std::filesystem::path state;     // folder that keeps the volumes between runs
    std::set<std::string> unmounted; // volumes ("nand0" …) that are not to be mounted
};

// The names of the NAND volumes, mounted at /mnt/<name>.
inline constexpr std::string_view volumeNames[] = {"nand0", "nand1", "nand2"};

// Moves this process, which must be single-threaded, and what it starts into a mount namespace of
// its own, where
//   /mnt/nand0, nand1, nand2  are the state folder's folders of those names,
//   /var/lock                 is the state folder's "lock", writable,
//   /dev/vxgpdev, /dev/mtd0   open: plain files of the state folder's "dev".
// Everything else, the working directory included, stays as it is. Nothing outside the state
// folder changes. Without root a user namespace stands in, in which the caller is root.
//
// Throws std::system_error (or std::runtime_error) that says what is missing.
void enterBlade(const BladeOptions& options);

} // namespace sim
