// What a backup holds beside the files of a store: who the blade is, and its boot environment. An
// unpacked backup has them as files beside its folder "mnt".
#pragma once

#include "tools/blade/environment.h"
#include "tools/blade/place.h"

#include <map>
#include <string>

namespace tools {

// As paths, like those of the store's files.
inline constexpr const char* identityMember = "/blade.json";  // what `vxcfg hw` says, one document
inline constexpr const char* environmentMember = "/boot_env"; // "name=value", each ended by a NUL

// The members of a place: of this blade what it says now, of others what came with them. What
// cannot be read is left out.
[[nodiscard]] std::map<std::string, std::string> bladeMembers(const Place& place, bool isBlade);

// The serial number in an identity; empty where there is none.
[[nodiscard]] std::string serialOf(const std::string& identity);

[[nodiscard]] VariableValues variablesOf(const std::string& environment);

} // namespace tools
