// How far an upgrade came, kept in /mnt/nand0/vxpvh.journal so that the start after a cut goes on
// from there. Written before what it announces, removed once nothing is left to do.
#pragma once

#include "settings/saved_files.h"

#include <vxblade/settings.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace vx {

// Permanent numbers: they are on the medium.
enum class Phase : uint32_t {
    none = 0,      // no upgrade is unfinished, or nobody knows of it
    merging = 1,   // sections may be stored, in part
    portsDone = 2, // all iSCSI sections are stored; GigE, which goes into the same records, may be
    copying = 3,   // nothing is left to merge; the saved copies may be torn
    byHand = 4,    // nothing is left to merge by hand; the old defaults kept for it may be there
};

// The file, whole.
struct JournalRecord {
    VersionBlock version; // of the new personality file
    Phase phase;
    uint32_t crc; // of all before it
};
static_assert(sizeof(JournalRecord) == 280 && offsetof(JournalRecord, phase) == 272 &&
              offsetof(JournalRecord, crc) == 276);

// The journal of any upgrade; one that is missing, torn or from nobody gives phase none.
[[nodiscard]] JournalRecord readJournal();
[[nodiscard]] JournalRecord journalOf(std::span<const std::byte> content);

// Notes that the upgrade to `version` has reached a phase. Durable when it returns 0; -1, which it
// reports, leaves the journal as it was.
int noteProgress(const VersionBlock& version, Phase phase);

// The upgrade is over.
void removeJournal();

} // namespace vx
