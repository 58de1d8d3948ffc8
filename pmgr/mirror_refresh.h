// Mirrors brought up to date after an interruption.
#pragma once

namespace vx {

// Copies what differs of the configuration file, the host groups and, last, the sequence number to
// their mirrors, as far as both sides exist: a power cut between a record and its mirror leaves
// the mirror behind, and a later run, which finds the record as it should be, writes neither.
// Reads both sides once (about 50 KB each) and writes nothing where they agree.
void refreshMirrors();

} // namespace vx
