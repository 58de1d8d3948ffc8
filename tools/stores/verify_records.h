// The record files of a store and their mirrors, held against the table of files and each other.
#pragma once

#include "tools/stores/verify.h"

#include <string>

namespace tools {

// Adds the record files, in the order of their indices, and the sequence numbers. Mirrors are
// looked at where their volume is.
void verifyRecordFiles(const Place& place, Verification& verification);

// The whole content of a file that is there; nothing, with a finding, where it cannot be read.
[[nodiscard]] std::optional<std::string> readNoting(const Place& place, const std::string& path,
                                                    const FileStatus& status,
                                                    std::vector<Note>& notes);

} // namespace tools
