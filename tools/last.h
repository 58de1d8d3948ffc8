// What the last upgrade did, from the report that it left.
#pragma once

#include "tools/account.h"
#include "tools/place.h"

namespace tools {

// Reads the report of the last upgrade that merged.
// Throws std::runtime_error where there is none, or none that is whole.
[[nodiscard]] Account lastUpgrade(const Place& place);

} // namespace tools
