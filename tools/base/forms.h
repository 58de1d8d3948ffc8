// The form of a value: what a blade reads of it, and whether that is what is written.
#pragma once

#include "settings/table.h"
#include "tools/base/finding.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

struct ValueFinding {
    const Check* check;
    std::size_t offset; // in the value
    std::string message;
    std::string hint;
};

// What is wrong with the value of a setting of a section's number. One mistake gives one finding.
std::vector<ValueFinding> examineValue(const vx::Setting& setting, uint32_t number,
                                       std::string_view value);

// The bytes of a record up to the setting's last, zero but for the setting as a blade reads it.
std::vector<std::byte> readAs(const vx::Setting& setting, std::string_view value);

// A text without bytes that a terminal would obey; for a message also cut, in quotes.
std::string printable(std::string_view text);
std::string inQuotes(std::string_view text);

} // namespace tools
