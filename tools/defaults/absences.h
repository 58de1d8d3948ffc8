// What a defaults file leaves out.
#pragma once

#include "tools/defaults/keys.h"
#include "tools/defaults/text.h"

#include <functional>
#include <string>
#include <vector>

namespace tools {

// Keys that are not there, as one: a key alone, all of a section's number, all of a section.
struct Absence {
    const vx::Section* section;
    const vx::Setting* setting; // null: all of them
    uint32_t number;
    std::string name;  // the key, the prefix or the section's title and prefix
    std::size_t keys;  // how many
    const char* place; // in the text: the section's last line, or the file's
};

// What of the wanted keys is absent from a text and not lost in one of its faults.
std::vector<Absence> absencesOf(const DefaultsText& text,
                                const std::function<bool(const std::string& key)>& isWanted);

} // namespace tools
