#include "tools/plan.h"

#include "props/property_index.h"
#include "settings/loading.h"
#include "settings/saved_files.h"
#include "tools/defaults_text.h"
#include "tools/files.h"
#include "tools/live_records.h"
#include "tools/values.h"
#include "upgrade/change.h"
#include "upgrade/journal.h"

#include <span>
#include <stdexcept>

namespace tools {

namespace {

namespace fs = std::filesystem;
using vx::Phase;
using vx::Section;
using vx::Setting;

Record load(const Defaults& defaults, const Section& section, uint32_t number) {
    Record record(section.record->size);
    auto const all = [](const Setting&) { return true; };
    vx::loadSettings(defaults.get(), section, static_cast<int>(number), all, record.data());
    return record;
}

class Planner {
  public:
    Planner(LiveRecords live, const Defaults& oldFile, const Defaults& newFile)
        : live_(std::move(live)), old_(oldFile), new_(newFile) {}

    void plan(const Section& section, uint32_t number) {
        Record oldDefaults = load(old_, section, number);
        Record newDefaults = load(new_, section, number);
        Record& live = live_.of(*section.merge.into, number);
        vx::MergeRoom const room = {oldDefaults.data(), newDefaults.data(), live.data()};
        vx::Decisions const decisions =
            vx::decide(section, room.oldDefaults, room.newDefaults, room.live);
        vx::forEachChange(
            section, number, decisions, room,
            [&] { return live_.of(*section.record, number).data(); },
            [&](const vx::Change& change) { add(change); });
        if (number < section.merge.count) {
            (void)vx::apply(decisions, room.newDefaults, room.live);
        }
    }

    [[nodiscard]] const std::vector<AccountedSetting>& settings() const { return settings_; }

  private:
    void add(const vx::Change& change) {
        const Setting& setting = change.setting;
        settings_.push_back({.key = keyOf(change.section, change.number, setting),
                             .record = keyOf(vx::sectionOf(change.record), change.number, setting),
                             .action = change.action,
                             .live = valueOf(setting, change.live),
                             .oldDefault = valueOf(setting, change.oldDefaults),
                             .newDefault = valueOf(setting, change.newDefaults)});
    }

    LiveRecords live_;
    const Defaults& old_;
    const Defaults& new_;
    std::vector<AccountedSetting> settings_;
};

// What an upgrade takes a reference for that is not there or cannot be read.
std::string savedReference(const Place& place) {
    try {
        return place.read(vx::savedPersonalityFiles[0]);
    } catch (const std::exception&) {
        return "";
    }
}

// Why the next start merges nothing; empty where it merges.
std::string whyNot(const Place& place, Phase phase, bool isSame) {
    if (phase == Phase::copying || phase == Phase::byHand) {
        return "the upgrade to this version is done but for its saved copies, which the next start "
               "makes";
    }
    if (isSame) {
        return "the versions are the same";
    }
    return place.hasVolume("/mnt/nand1") ? whyUnusable(place)
                                         : place.nameOf("/mnt/nand1") + " is not mounted";
}

vx::JournalRecord journalAt(const Place& place) {
    try {
        std::string const content = place.read(vx::upgradeJournal, sizeof(vx::JournalRecord));
        return vx::journalOf(std::as_bytes(std::span(content)));
    } catch (const std::exception&) {
        return {};
    }
}

const char* remarkOn(Phase phase, bool hasReference) {
    return phase == Phase::portsDone
               ? "An interrupted upgrade goes on; it has merged the iSCSI ports."
           : phase == Phase::merging ? "An interrupted upgrade goes on."
           : hasReference            ? ""
                                     : "There are no saved defaults: all count as 0 and empty.";
}

} // namespace

Account planUpgrade(const Place& place, const fs::path& oldFile, const fs::path& newFile) {
    std::string const oldText = oldFile.empty() ? savedReference(place) : readText(oldFile);
    Defaults const oldDefaults = openDefaults(oldText);
    Defaults const newDefaults = openDefaults(readText(newFile));
    vx::indexProperties(oldDefaults.get());
    vx::indexProperties(newDefaults.get());
    VersionBlock const oldVersion = versionOf(oldDefaults.get());
    VersionBlock const newVersion = versionOf(newDefaults.get());
    auto const journal = journalAt(place);
    Phase const phase = vx::sameVersion(journal.version, newVersion) ? journal.phase : Phase::none;
    Account plan{.oldRelease = {oldVersion.version, oldVersion.product},
                 .newRelease = {newVersion.version, newVersion.product},
                 .reason = whyNot(place, phase, vx::sameVersion(oldVersion, newVersion)),
                 .remark = remarkOn(phase, !oldText.empty()),
                 .settings = {},
                 .outcome = {}};
    if (plan.reason.empty()) {
        Planner planner(LiveRecords(place), oldDefaults, newDefaults);
        vx::forEachSection(vx::mergeOrder, [&](const Section& section, uint32_t number) {
            if (&section != &vx::iscsiSection || phase != Phase::portsDone) {
                planner.plan(section, number);
            }
        });
        plan.settings = planner.settings();
    }
    return plan;
}

} // namespace tools
