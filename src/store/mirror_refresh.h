// Mirrors brought up to date after an interruption: a power cut between a record and its mirror
// leaves the mirror behind, and a later run, which finds the record as it should be, writes
// neither.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vx {

// True where the mirror's sequence number is ahead of the file's, or cannot be read where there is
// one: the mirrors may then hold what the files lost. To be asked before the store is initialised,
// which may write both numbers.
[[nodiscard]] bool mirrorIsAhead();

// Copies a record of the open store to its mirror where the two differ and both can be read.
// `size` is the record's, in bytes, up to that of the bridge record.
void refreshMirror(uint32_t type, uint32_t number, std::size_t size);

// The same for the sequence number, which claims the state of all records: last.
void refreshSequenceMirror();

} // namespace vx
