// Making record files so that a half-made one is never taken for whole.
#pragma once

#include <cstdint>

namespace vx {

// True when a path is absent, shorter than a header, or carries magic 0 and size 0: a file whose
// making never began or was cut short.
[[nodiscard]] bool isUnfinished(const char* path);

// A cut between the last header of a new file and its mirror leaves the mirror unfinished, with all
// else in place: gives it the open file's header.
void finishMirror(int fileIndex);

// Writes the initial records of a file of that type; 0 or another status.
using RecordWriter = int (*)(uint32_t type);

// Makes the file of an index and keeps its descriptor. Where `writeRecords` is given it writes
// the initial records over the zeros; its failure fails the making. An unfinished file that
// cannot be made is removed.
[[nodiscard]] int makePsstFile(int fileIndex, RecordWriter writeRecords);

} // namespace vx
