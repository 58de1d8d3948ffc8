// The seal of a defaults file: the CRC-32 of its properties.
#pragma once

#include "tools/base/finding.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace tools {

struct Sealing {
    Findings errors; // because of which it was not sealed: no seal mends them
    bool isNew;      // false where the file was sealed already: it was not written
    uint32_t seal;
};

// Gives the file the seal that its properties ask for: in place of the one that it has, or in a
// line of its own at the end. Mode and owner stay, a link is followed, and a power cut leaves the
// old or the new file. Throws where the file cannot be read or written.
Sealing sealFile(const std::filesystem::path& path);

// The text with that seal alone.
std::string sealText(const std::string& text);

} // namespace tools
