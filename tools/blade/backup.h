// Backups: the files of a store, and who the blade is, in one archive.
//
// Its first member is SHA256SUMS, the sum and the name of every other one, as sha256sum writes and
// checks it. Each file of the store follows under its path on the blade, in the order of
// storeFiles.
#pragma once

#include "tools/blade/place.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tools {

inline constexpr const char* sumsMember = "SHA256SUMS";

struct BackupReport {
    std::size_t files = 0;
    uint64_t bytes = 0;       // of these files
    uint64_t archiveSize = 0; // bytes
};

// Writes a backup of a place to `file`, which is replaced when the backup is whole. `isBlade` says
// that the place is this blade: upgrades wait until the backup is made. Throws std::runtime_error
// where a file cannot be read, where files do not keep still, and where `file` cannot be written.
BackupReport writeBackup(const Place& place, bool isBlade, const std::filesystem::path& file);

// A backup as a place. What is read whole is compared with its sum: a mismatch is a DamagedCopy,
// and so is what cannot be read. Throws std::runtime_error where it is no backup.
std::unique_ptr<Place> openBackup(const std::filesystem::path& file);

} // namespace tools
