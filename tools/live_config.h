// The live configuration by the keys of personality files.
#pragma once

#include "tools/place.h"

#include <string>
#include <vector>

namespace tools {

struct LiveSetting {
    std::string key;
    std::string value;
};

// The keys of all settings that every store has.
std::vector<std::string> liveKeys();

// Every setting whose key begins with `prefix`, read from the files of a store. Throws
// std::runtime_error where there is no store that can be used and where no key begins so.
std::vector<LiveSetting> liveSettings(const Place& place, const std::string& prefix);

// Gives one setting a value and writes it through. Throws std::runtime_error on an unknown key, a
// value that does not convert, and a store that cannot be opened or written.
void setConfiguration(const std::string& key, const std::string& value);

} // namespace tools
