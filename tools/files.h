// Files that companion programs read and put in place.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tools {

// True where a volume is: one of the blade's is mounted, any other is a folder.
bool isVolume(const std::filesystem::path& path);

// A path of the blade, such as "/mnt/nand1/x", below another folder of volumes.
std::filesystem::path onVolumes(const std::filesystem::path& volumes, const char* path);

// Reads a whole regular file. Throws std::runtime_error where there is none or it cannot be read.
std::string readText(const std::filesystem::path& path);

// Replaces the file at `to` by `text`, as vx::replaceFile does. Throws std::system_error.
void installText(std::string_view text, const std::filesystem::path& to);

} // namespace tools
