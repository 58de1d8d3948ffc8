// Files that companion programs put in place.
#pragma once

#include <filesystem>
#include <string_view>

namespace tools {

// Puts `text` at `to`, so that a power cut leaves the old file or the new one: written beside it,
// synced, renamed, the folder synced. Throws std::system_error.
void installText(std::string_view text, const std::filesystem::path& to);

} // namespace tools
