// A store put back from a backup.
//
// Every sum of the backup is checked before the first byte is written. Each file is replaced so
// that a power cut leaves the old or the new one. Until all is done the file's sequence number is
// ahead of the mirror's: of two that differ, the file counts. A note on the first volume says that
// a restore is under way, and repeating one that was cut finishes it.
#pragma once

#include "tools/base/output.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tools {

inline constexpr const char* restoreNote = "/mnt/nand0/vxcfg.restoring";

struct RestoredSetting {
    std::string key;
    std::string live;
    std::string restored;
};

struct RestoredVariable {
    std::string name;
    std::string live;
    std::string restored; // empty: removed
};

struct RestoredFile {
    const char* action; // "replace", "make" or "remove"
    std::string path;   // on a blade
};

struct RestoreReport {
    std::vector<RestoredSetting> settings;   // that differ
    std::vector<RestoredVariable> variables; // of the boot environment, of this blade only
    std::vector<RestoredFile> files;         // that differ
    std::string remark;                      // what could not be compared or restored; mostly empty
    bool isPartial = false;                  // the boot environment is left as it was
};

struct RestoreOptions {
    bool isDry = false;
    bool isForced = false; // also of another blade
};

// Puts `backup` into the volumes of a folder, or when dry only says what that would change.
// "/mnt" are the volumes of this blade, whose upgrades wait meanwhile. Throws std::runtime_error
// where the backup is not whole or of another blade, where either cannot be read, and where a file
// cannot be written.
RestoreReport restoreBackup(const std::filesystem::path& backup,
                            const std::filesystem::path& folder, const RestoreOptions& options);

void printText(const RestoreReport& report);
[[nodiscard]] Json toJson(const RestoreReport& report);

} // namespace tools
