// What an upgrade would do, decided from files by the same code as the upgrade's.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tools {

struct PlannedSetting {
    std::string key;    // the defaults' own
    std::string record; // the live setting's: GigE defaults are merged into iSCSI ports
    const char* action; // CHANGE, KEEP, FORCE or NEVER
    std::string live;
    std::string oldDefault;
    std::string newDefault;
};

struct Plan {
    std::string oldVersion;
    std::string newVersion;
    bool merges;                          // false where the versions are the same
    std::vector<PlannedSetting> settings; // whose default changed, in the order of the upgrade
};

// Plans the upgrade of the store below `volumes` (folders nand0, nand1, nand2) from one defaults
// file to another. Reads only. Throws std::runtime_error where a file cannot be read.
Plan planUpgrade(const std::filesystem::path& volumes, const std::filesystem::path& oldFile,
                 const std::filesystem::path& newFile);

// Prints a plan: a line of counts, then a line for each setting.
void printPlan(const Plan& plan);

} // namespace tools
