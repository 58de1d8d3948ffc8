// The upgrade, end to end.
#pragma once

namespace vx {

// Compares the personality file in the working directory with the saved one and, where their
// versions differ, merges every section into the store. Non-zero tells the caller to save the new
// file as the reference of the next upgrade.
int compareDefaultConfiguration();

// The whole run: the comparison and, where it says so, the two saved copies. Always 0.
int runUpgrade();

} // namespace vx
