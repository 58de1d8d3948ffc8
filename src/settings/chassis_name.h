// The chassis name, which lives in the boot environment.
#pragma once

#include <vxblade/props.h>

#include <array>

namespace vx {

inline constexpr const char* chassisVariable = "ChassisName";
using ChassisName = std::array<char, 64>; // NUL-terminated, zeros behind the text

// The name that a personality file gives: the value of its last key that begins with the section's
// prefix, cut to 63 characters; empty where it has none.
[[nodiscard]] ChassisName loadChassisName(PropertiesHandle handle);

} // namespace vx
