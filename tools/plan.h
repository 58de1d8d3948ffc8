// What an upgrade would do, decided from files by the same code as the upgrade's.
#pragma once

#include "tools/account.h"
#include "tools/place.h"

#include <filesystem>

namespace tools {

// Plans the upgrade of the store of a place to the defaults of
// `newFile`, from those of `oldFile` or, where that is empty, from the saved reference. Reads only.
// Throws std::runtime_error where a file that was named cannot be read.
[[nodiscard]] Account planUpgrade(const Place& place, const std::filesystem::path& oldFile,
                                  const std::filesystem::path& newFile);

} // namespace tools
