// The blade's files, held in memory by link-time wraps of the calls that name files: no fuzz
// target needs a simulated blade, and none leaves anything behind. What belongs to the blade is a
// table of paths; all other paths are the machine's. Folders of the blade are always there.
//
// The wraps serve a target's own calls too: it makes a file with open, and removes one with unlink.
// Of shell commands "mv -f" is carried out, and others do nothing with success; nothing reaches the
// system log.
#pragma once

#include <string_view>

namespace fuzz {

void removeBladeFiles();
// Makes a file, in place of one that is there.
void writeFile(const char* path, std::string_view content);

} // namespace fuzz
