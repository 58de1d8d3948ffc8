// The three-way merge: carries changed factory defaults into live records. What becomes of each
// setting is decided first, from records in memory alone; printing and storing follow from that.
#pragma once

#include "settings/table.h"

#include <vxblade/settings.h>

#include <array>
#include <cstddef>
#include <span>

namespace vx {

class ChangeReport;

enum class Verdict : uint8_t {
    same,   // both files have the same default
    moved,  // the live value was the old default: it becomes the new one
    kept,   // the live value is the user's own: it stays
    forced, // it becomes the new default whatever it is
    never,  // an upgrade leaves it alone
};

struct Decision {
    const Setting* setting;
    Verdict verdict;
};

constexpr bool changes(const Decision& decision) {
    return decision.verdict == Verdict::moved || decision.verdict == Verdict::forced;
}

// What becomes of each setting of a section, in the table's order.
struct Decisions {
    static constexpr std::size_t most = 80;

    bool guardsHold; // false where the section has none
    std::size_t count;
    std::array<Decision, most> all;

    [[nodiscard]] std::span<const Decision> list() const { return {all.data(), count}; }
};

// Decides from three records of the section's kind: the old defaults, the new ones, the live one.
// Settings that were not loaded are the same in both defaults.
[[nodiscard]] Decisions decide(const Section& section, const void* oldDefaults,
                               const void* newDefaults, const void* live);

// Gives `live` the new default of each setting that changes. True when there is one.
bool apply(const Decisions& decisions, const void* newDefaults, void* live);

// Records of a section's kind: zeros that both defaults are loaded into, and the live one.
struct MergeRoom {
    void* oldDefaults;
    void* newDefaults;
    void* live;
};

// Loads both defaults, decides, prints a "Compare Diff" line for each setting that changes, and
// changes the live record. True when anything changed. What was decided is told to a report, if
// there is one.
bool mergeRecord(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                 uint32_t number, const MergeRoom& room, ChangeReport* changes = nullptr);

// Merges the live record of a section, and reports and stores it once if anything changed. Returns
// the Get's failure, with nothing compared, else the result of the write, or 0 without one.
int mergeSection(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                 uint32_t number = 0, ChangeReport* changes = nullptr);

// Tells a report of a section of a higher number than are merged.
void tellOfUnmerged(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                    uint32_t number, ChangeReport& changes);

// The merge of each section by name; results as of mergeSection. Numbers are a port's or a group's.
int compareDefaultBridgeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);
int compareDefaultCliConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);
int compareDefaultIsConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port);
int compareDefaultFcConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port);
int compareDefaultGigeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port);
int compareDefaultHostGroupInfo(PropertiesHandle oldFile, PropertiesHandle newFile, int32_t index);
int compareDefaultMgmtInfo(PropertiesHandle oldFile, PropertiesHandle newFile);

// An upgrade makes neither of these. SNMP: two strings by the general rule, and eight traps that a
// user's own settings shield. The chassis name is in the boot environment; always -1.
int compareDefaultSnmpConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);
int compareDefaultChassisName(PropertiesHandle oldFile, PropertiesHandle newFile);

// Fills port and version of one of eight traps; -1 without a table, else 0.
int loadDefaultSnmpTrapsInfo(PropertiesHandle handle, SnmpTrap* traps, uint32_t trap);

} // namespace vx
