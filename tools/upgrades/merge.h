// A merge that an upgrade could not make, made by hand.
#pragma once

#include <filesystem>

namespace tools {

// Merges the changes from one defaults file to another into the store of this blade, by the code of
// the upgrade and under its lock. Once all is stored, the old defaults that an upgrade kept for it
// are removed. Throws std::runtime_error with a sentence for the user where it did not do all.
void mergeByHand(const std::filesystem::path& oldFile, const std::filesystem::path& newFile,
                 bool isVerbose);

} // namespace tools
