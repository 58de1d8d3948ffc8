// What an upgrade would do, decided from files by the same code as the upgrade's.
#pragma once

#include "tools/blade/place.h"
#include "tools/live/records.h"
#include "tools/upgrades/account.h"

#include <vxblade/settings.h>

#include <cstdint>
#include <filesystem>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace tools {

// A defaults file, loaded into a record for each section and number that an upgrade compares.
class LoadedDefaults {
  public:
    // Throws std::runtime_error where the text is too large for a blade.
    explicit LoadedDefaults(std::string text);

    [[nodiscard]] const std::string& text() const { return text_; }
    [[nodiscard]] const VersionBlock& version() const { return version_; }
    // In the order in which vx::forEachSection visits vx::mergeOrder.
    [[nodiscard]] std::vector<Record>& records() { return records_; }

  private:
    std::string text_;
    VersionBlock version_;
    std::vector<Record> records_;
};

// Plans the upgrades of any number of blades to the same new defaults, for one thread. What was
// loaded of old defaults is kept for the next blades, of a few versions.
class Planner {
  public:
    // Without `oldText` the old defaults are each blade's saved reference.
    Planner(std::string newText, std::optional<std::string> oldText);

    // Reads only. Throws std::runtime_error where a file of the store cannot be read.
    [[nodiscard]] Account plan(const Place& place);

  private:
    LoadedDefaults& oldDefaultsOf(const Place& place);

    LoadedDefaults new_;
    std::optional<LoadedDefaults> old_;
    std::list<LoadedDefaults> known_; // the last used first
};

// Plans the upgrade of the store of a place to the defaults of
// `newFile`, from those of `oldFile` or, where that is empty, from the saved reference. Reads only.
// Throws std::runtime_error where a file that was named cannot be read.
[[nodiscard]] Account planUpgrade(const Place& place, const std::filesystem::path& oldFile,
                                  const std::filesystem::path& newFile);

} // namespace tools
