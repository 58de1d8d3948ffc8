// Settings as tools show and check them.
#pragma once

#include "settings/table.h"

#include <string>

namespace tools {

// "config.port.is." and 2 and PortNumber give "config.port.is.2.PortNumber".
std::string keyOf(const vx::Section& section, uint32_t number, const vx::Setting& setting);

// A setting's value in a record of its section, as a defaults file has it.
std::string valueOf(const vx::Setting& setting, const void* record);

// True where the section's values are in a record file that is shown.
bool isLive(const vx::Section& section);

// Which values a setting takes, in words: "0 to 255", "up to 63 characters".
std::string rangeOf(const vx::Setting& setting);

// What an upgrade does with the default of a setting, in words.
const char* ruleOf(const vx::Section& section, uint32_t number, const vx::Setting& setting);

// What it means that a setting, or all of a section's (null), is absent from a defaults file.
std::string absentMeaning(const vx::Section& section, const vx::Setting* setting);

// Every section and every setting, as docs/settings.md has them.
std::string describeSettings();

} // namespace tools
