// Which files make up a store, on all three volumes.
#pragma once

#include <string>
#include <vector>

namespace tools {

// The path of the mirror of a record file, "/mnt/nand1/x": the same name on /mnt/nand2.
[[nodiscard]] std::string mirrorOf(const std::string& path);

// The paths of every file that a store may have. The order is that of a backup: first what a plan
// of an upgrade reads, then what is left of the store, of the first volume, and the mirrors.
[[nodiscard]] const std::vector<std::string>& storeFiles();

} // namespace tools
