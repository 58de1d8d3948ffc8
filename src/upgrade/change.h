// What an upgrade does with each default that changed, for who tells of it before or after.
#pragma once

#include "upgrade/merge.h"

namespace vx {

enum class Action : uint8_t {
    change, // the live value becomes the new default
    keep,   // the user's own value stays
    force,  // a user's value becomes the new default
    never,  // the live value is the blade's own
};
inline constexpr const char* actionNames[] = {"CHANGE", "KEEP", "FORCE", "NEVER"};

struct Change {
    const Section& section; // whose default it is
    uint32_t number;
    const Setting& setting;
    Action action;
    const RecordAccess& record; // the live one: GigE defaults are merged into iSCSI ports
    const void* live;           // records, before the change
    const void* oldDefaults;
    const void* newDefaults;
};

constexpr Action actionOf(Verdict verdict, bool isUsersOwn) {
    return verdict == Verdict::moved    ? Action::change
           : verdict == Verdict::forced ? (isUsersOwn ? Action::force : Action::change)
           : verdict == Verdict::kept   ? Action::keep
                                        : Action::never;
}

// Calls `visit(change)` for each default of a section that changed, in the table's order. Sections
// of higher numbers than are merged never move. `unmerged` gives the section's own live record,
// where the settings that never move are, if that is not the record of the room.
template <class Unmerged, class Visit>
void forEachChange(const Section& section, uint32_t number, const Decisions& decisions,
                   const MergeRoom& room, Unmerged unmerged, Visit visit) {
    bool const isMerged = number < section.merge.count;
    for (const Decision& decision : decisions.list()) {
        if (decision.verdict == Verdict::same) {
            continue;
        }
        bool const moves = isMerged && decision.verdict != Verdict::never;
        const RecordAccess& record = moves ? *section.merge.into : *section.record;
        const void* const live = &record == section.merge.into ? room.live : unmerged();
        bool const isUsersOwn = !valuesEqual(*decision.setting, live, room.oldDefaults);
        visit(Change{section, number, *decision.setting,
                     actionOf(moves ? decision.verdict : Verdict::never, isUsersOwn), record, live,
                     room.oldDefaults, room.newDefaults});
    }
}

} // namespace vx
