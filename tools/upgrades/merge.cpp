#include "tools/upgrades/merge.h"

#include "tools/base/files.h"
#include "tools/base/silence.h"
#include "upgrade/driver.h"
#include "upgrade/journal.h"

#include <iterator>
#include <stdexcept>

namespace tools {

namespace {

namespace fs = std::filesystem;

// By vx::HandMerge; null where there is nothing to complain about.
constexpr const char* complaints[] = {
    nullptr,
    "the versions are the same: there is nothing to merge",
    "an interrupted upgrade or merge comes first: repeat that one",
    "/mnt/nand1 is not mounted",
    "the store cannot be used (--verbose says more)",
    "not all could be stored: \"vxcfg last\" says what; once the cause is mended, merge again",
};

// After a cut the old defaults may be gone with nothing left to do but to say so.
bool wasMergedByHand() {
    return vx::readJournal().phase == vx::Phase::byHand;
}

} // namespace

void mergeByHand(const fs::path& oldFile, const fs::path& newFile, bool isVerbose) {
    (void)readText(newFile);
    if (fs::exists(oldFile) || !wasMergedByHand()) {
        (void)readText(oldFile);
    }
    auto const result = [&] {
        Silence const silence(isVerbose);
        return vx::mergeByHand(oldFile.c_str(), newFile.c_str());
    }();
    static_assert(std::size(complaints) == static_cast<std::size_t>(vx::HandMerge::notStored) + 1);
    if (const char* const complaint = complaints[static_cast<std::size_t>(result)]) {
        throw std::runtime_error(complaint);
    }
}

} // namespace tools
