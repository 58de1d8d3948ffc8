// The keys that blades read, and what an unknown one was meant to be.
#pragma once

#include "settings/table.h"
#include "tools/base/finding.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace tools {

struct KnownKey {
    const vx::Section* section;
    uint32_t number;
    const vx::Setting* setting;
};
using KnownKeys = std::map<std::string, KnownKey, std::less<>>;

// Every key of a setting. The seal's and those of the chassis name are none.
const KnownKeys& knownKeys();

// True for a key that is no setting's and yet right: the seal's, a chassis name's, any key of a
// section without settings.
bool isOtherKey(std::string_view key);

struct UnknownKey {
    const Check* check;
    std::string subject;  // what is unknown: the key, its section or its section with the number
    std::string hint;     // may be empty
    std::string intended; // a known key; empty where none is near
};

// Explains a key that is neither known nor another. Of keys that are as near, the one that
// `isMissing` was meant.
UnknownKey explainUnknown(std::string_view key,
                          const std::function<bool(const std::string&)>& isMissing);

} // namespace tools
