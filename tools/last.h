// What the last upgrade did, from the report that it left.
#pragma once

#include "tools/account.h"

#include <filesystem>

namespace tools {

// Reads the report of the last upgrade that merged, below `volumes` (folders nand0, nand1, nand2).
// Throws std::runtime_error where there is none, or none that is whole.
[[nodiscard]] Account lastUpgrade(const std::filesystem::path& volumes);

} // namespace tools
