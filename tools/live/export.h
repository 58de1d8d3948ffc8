// The settings of a store as a defaults file.
#pragma once

#include "tools/blade/place.h"
#include "tools/live/settings.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tools {

struct Export {
    std::string text; // sealed
    std::vector<LiveSetting> settings;
    std::vector<Unreadable> unreadable;
    std::vector<std::string> problems; // because of which no blade reads all of it as it is meant
    uint32_t seal;
};

// Every setting that a store holds, passwords among them, and what its saved reference says of
// those that no store holds: version and product, capabilities, the chassis name. What cannot be
// read is left out, as are values that no defaults file can hold. Throws as liveSettings.
Export exportSettings(const Place& place);

// Replaces or makes a file that its owner alone may read: it has passwords. Throws
// std::runtime_error where it cannot, and for what is no regular file.
void writeExport(const Export& settings, const std::string& path);

} // namespace tools
