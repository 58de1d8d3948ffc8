#pragma once

#include "tools/blade/place.h"

namespace tools {

// The place at `path`: a folder of volumes, or a backup. Throws std::runtime_error where it is
// neither.
[[nodiscard]] std::unique_ptr<Place> openPlace(const std::filesystem::path& path);

} // namespace tools
