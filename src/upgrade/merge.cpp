#include "upgrade/merge.h"

#include "settings/loading.h"
#include "upgrade/change_report.h"
#include "upgrade/report.h"

#include <cstdio>

namespace vx {

namespace {

constexpr bool everyMergeFits() {
    for (const Section* const section : mergeOrder) {
        std::size_t settings = 0;
        forEachSetting(*section, [&](const Setting&) { ++settings; });
        if (settings > Decisions::most) {
            return false;
        }
    }
    return true;
}
static_assert(everyMergeFits());

bool hasGuards(const Section& section) {
    return section.merge.guardsHold != nullptr;
}

bool doGuardsHold(const Section& section, const void* oldDefaults, const void* live) {
    bool hold = hasGuards(section);
    forEachSetting(section, [&](const Setting& setting) {
        hold = hold && ((setting.roles & guard) == 0 || valuesEqual(setting, live, oldDefaults));
    });
    return hold;
}

void printChanges(const Decisions& decisions) {
    for (const Decision& decision : decisions.list()) {
        if (changes(decision)) {
            std::printf("Compare Diff: field=%s, update=%d\n", decision.setting->key, 1);
        }
    }
}

void tell(ChangeReport& changes, const Section& section, uint32_t number,
          const Decisions& decisions, const MergeRoom& room) {
    AnyRecord own{};
    bool isRead = false;
    auto const ownLive = [&] {
        if (!isRead) {
            (void)section.record->get(&own, number);
            isRead = true;
        }
        return static_cast<const void*>(&own);
    };
    forEachChange(section, number, decisions, room, ownLive,
                  [&](const Change& change) { changes.add(change); });
}

// What is never merged is loaded for a report alone.
Decisions loadAndDecide(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                        uint32_t number, const MergeRoom& room, ChangeReport* changes) {
    auto const slot = static_cast<int>(number);
    Wanted const wanted =
        changes != nullptr ? [](const Setting&) { return true; } : Wanted{isMerged};
    loadSettings(newFile, section, slot, wanted, room.newDefaults);
    loadSettings(oldFile, section, slot, wanted, room.oldDefaults);
    Decisions const decisions = decide(section, room.oldDefaults, room.newDefaults, room.live);
    if (changes != nullptr) {
        tell(*changes, section, number, decisions, room);
    }
    return decisions;
}

} // namespace

Decisions decide(const Section& section, const void* oldDefaults, const void* newDefaults,
                 const void* live) {
    Decisions decisions;
    decisions.guardsHold = doGuardsHold(section, oldDefaults, live);
    decisions.count = 0;
    bool const shielded = hasGuards(section) && !decisions.guardsHold;
    auto const verdictOf = [&](const Setting& setting) {
        if (valuesEqual(setting, newDefaults, oldDefaults)) {
            return Verdict::same;
        }
        if (setting.rule == Rule::loadedOnly) {
            return Verdict::never;
        }
        if (setting.rule == Rule::forced) {
            return Verdict::forced;
        }
        return shielded || !valuesEqual(setting, live, oldDefaults) ? Verdict::kept
                                                                    : Verdict::moved;
    };
    forEachSetting(section, [&](const Setting& setting) {
        decisions.all[decisions.count++] = {&setting, verdictOf(setting)};
    });
    return decisions;
}

bool apply(const Decisions& decisions, const void* newDefaults, void* live) {
    bool changed = false;
    for (const Decision& decision : decisions.list()) {
        if (changes(decision)) {
            copyValue(*decision.setting, live, newDefaults);
            changed = true;
        }
    }
    return changed;
}

bool mergeRecord(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                 uint32_t number, const MergeRoom& room, ChangeReport* changes) {
    Decisions const decisions = loadAndDecide(section, oldFile, newFile, number, room, changes);
    if (decisions.guardsHold) {
        report(section.merge.function, section.merge.guardLine, "%s", section.merge.guardsHold);
    }
    printChanges(decisions);
    return apply(decisions, room.newDefaults, room.live);
}

int mergeSection(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                 uint32_t number, ChangeReport* changes) {
    const Merge& how = section.merge;
    AnyRecord oldDefaults{};
    AnyRecord newDefaults{};
    AnyRecord live{};
    if (int const result = how.into->get(&live, number); result != 0) {
        return result;
    }
    if (!mergeRecord(section, oldFile, newFile, number, {&oldDefaults, &newDefaults, &live},
                     changes)) {
        return 0;
    }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    report(how.function, how.line, how.update, number);
#pragma GCC diagnostic pop
    return how.into->put(&live, number);
}

void tellOfUnmerged(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile,
                    uint32_t number, ChangeReport& changes) {
    AnyRecord oldDefaults{};
    AnyRecord newDefaults{};
    AnyRecord live{};
    (void)loadAndDecide(section, oldFile, newFile, number, {&oldDefaults, &newDefaults, &live},
                        &changes);
}

int compareDefaultBridgeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return mergeSection(bridgeSection, oldFile, newFile);
}

int compareDefaultCliConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return mergeSection(cliSection, oldFile, newFile);
}

int compareDefaultIsConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port) {
    return mergeSection(iscsiSection, oldFile, newFile, port);
}

int compareDefaultFcConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port) {
    return mergeSection(fcSection, oldFile, newFile, port);
}

int compareDefaultGigeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile,
                                 uint32_t port) {
    return mergeSection(gigeSection, oldFile, newFile, port);
}

int compareDefaultHostGroupInfo(PropertiesHandle oldFile, PropertiesHandle newFile, int32_t index) {
    return mergeSection(hostGroupSection, oldFile, newFile, static_cast<uint32_t>(index));
}

int compareDefaultMgmtInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return mergeSection(mgmtSection, oldFile, newFile);
}

} // namespace vx
