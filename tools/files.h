// Files that companion programs put in place.
#pragma once

#include <filesystem>
#include <string_view>

namespace tools {

// Replaces the file at `to` by `text`, as vx::replaceFile does. Throws std::system_error.
void installText(std::string_view text, const std::filesystem::path& to);

} // namespace tools
