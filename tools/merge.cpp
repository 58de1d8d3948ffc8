#include "tools/merge.h"

#include "common/files.h"
#include "settings/saved_files.h"
#include "tools/files.h"
#include "tools/silence.h"
#include "upgrade/driver.h"

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

bool isKeptReference(const fs::path& path) {
    std::error_code none;
    return fs::equivalent(path, vx::unmergedPersonalityFile, none) ||
           (fs::exists(vx::unmergedPersonalityFile) &&
            readText(path) == readText(vx::unmergedPersonalityFile));
}

} // namespace

void mergeByHand(const fs::path& oldFile, const fs::path& newFile, bool isVerbose) {
    bool const isKept = isKeptReference(oldFile);
    (void)readText(oldFile); // one that cannot be read would count as all zeros
    (void)readText(newFile);
    auto const result = [&] {
        Silence const silence(isVerbose);
        return vx::mergeByHand(oldFile.c_str(), newFile.c_str());
    }();
    static_assert(std::size(complaints) == static_cast<std::size_t>(vx::HandMerge::notStored) + 1);
    if (const char* const complaint = complaints[static_cast<std::size_t>(result)]) {
        throw std::runtime_error(complaint);
    }
    if (isKept && vx::removeFile(vx::unmergedPersonalityFile) != 0) {
        throw std::runtime_error(std::string(vx::unmergedPersonalityFile) +
                                 " is merged, but could not be removed");
    }
}

} // namespace tools
