// Files that companion programs read and put in place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace tools {

// True where a volume is: one of the blade's is mounted, any other is a folder.
bool isVolume(const std::filesystem::path& path);

// Reads a regular file, of which at most the first `limit` bytes. Throws std::runtime_error where
// there is none or it cannot be read.
std::string readText(const std::filesystem::path& path, std::size_t limit = SIZE_MAX);

// Replaces the file at `to` by `text`, as vx::replaceFile does. Throws std::system_error.
void installText(std::string_view text, const std::filesystem::path& to);

} // namespace tools
