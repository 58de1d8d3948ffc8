// The upgrade, end to end.
#pragma once

#include "common/files.h"

#include <cstdint>

namespace vx {

// Compares the personality file in the working directory with the saved one and, where their
// versions differ, merges every section into the store. Non-zero tells the caller to save the new
// file as the reference of the next upgrade.
int compareDefaultConfiguration();

// The whole run: the comparison and, where it says so, the two saved copies. Always 0.
int runUpgrade();

// The lock by which those that change settings take turns, held until the end of the scope: a
// second upgrade waits here and then finds the work done. Where there can be no lock file nobody
// waits.
[[nodiscard]] Descriptor waitForTurn();

// What becomes of a merge by hand.
enum class HandMerge : uint8_t {
    done,        // all that changed is merged
    sameVersion, // there is nothing to merge
    unfinished,  // an interrupted upgrade comes first
    notMounted,  // the store's volume
    unusable,    // the store
    notStored,   // in part, which is reported: once more goes on
};

// Merges the changes from one defaults file to another, as an upgrade that could not do so would
// have: with its lock, its journal and its report. Both must be there: one that cannot be read
// counts as all zeros. The old defaults that an upgrade kept, if they are these, are removed at the
// end; the saved copies stay as they are.
[[nodiscard]] HandMerge mergeByHand(const char* oldFile, const char* newFile);

} // namespace vx
