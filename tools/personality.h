// Checks on a personality file before it is released or used.
#pragma once

#include "props/property_parser.h"

#include <vxblade/properties.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tools {

struct PersonalityReport {
    std::string version;
    std::string product;
    std::size_t properties = 0;
    uint32_t computedCrc = 0;
    uint32_t storedCrc = 0;
    bool sealed = false;               // carries a CRC line
    std::vector<std::string> problems; // each a sentence that names the line or the key
};

struct CloseDefaults {
    void operator()(PropertiesHandle handle) const { propClosePropertiesFile(handle); }
};
using Defaults = std::unique_ptr<PropertiesHandleRecord, CloseDefaults>;

// A defaults file's text, open.
Defaults openDefaults(const std::string& text);

// Examines a personality file's text.
PersonalityReport examinePersonality(const std::string& text);

// Writes the text with the CRC line that its properties ask for, replacing one that is there.
// Throws where the text has problems, which no CRC mends, or the file cannot be written.
void sealPersonality(const std::filesystem::path& path);

} // namespace tools
