// What the last upgrade did, from the report that it left.
#pragma once

#include "tools/blade/place.h"
#include "tools/upgrades/account.h"

namespace tools {

// Reads the report of the last upgrade that merged.
// Throws std::runtime_error where there is none, or none that is whole.
[[nodiscard]] Account lastUpgrade(const Place& place);

} // namespace tools
