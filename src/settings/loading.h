// From the properties of a defaults file to records.
#pragma once

#include "settings/table.h"

#include <vxblade/properties.h>

#include <array>

namespace vx {

// The prefix of one of several sections: "config.passwd." and 2 give "config.passwd.2.". The final
// point keeps port 1 apart from port 10.
class Prefix {
  public:
    Prefix(const Section& section, int number);
    [[nodiscard]] const char* string() const { return string_.data(); }

  private:
    std::array<char, 64> string_{};
};

// Which settings of a section are read.
using Wanted = bool (*)(const Setting& setting);

// Fills `record` from the properties whose key is the section's prefix followed by the key of a
// wanted setting. The first occurrence of a key counts, even where its value does not convert.
void loadSettings(PropertiesHandle handle, const Section& section, int number, Wanted wanted,
                  void* record);

// Loads the defaults of a section into a fresh record and stores that. The result is the store's.
int storeDefaults(PropertiesHandle handle, const Section& section, int number);

// Files of the same version have nothing to merge.
[[nodiscard]] bool sameVersion(const VersionBlock& a, const VersionBlock& b);

inline constexpr const char* chassisVariable = "ChassisName";
using ChassisName = std::array<char, 64>; // NUL-terminated, zeros after the string

// The name that a defaults file gives: the value of its last key that begins with chassisPrefix,
// cut to 63 characters; empty where it has none.
[[nodiscard]] ChassisName loadChassisName(PropertiesHandle handle);

} // namespace vx
