#include "tools/upgrades/plan.h"

#include "props/property_index.h"
#include "settings/loading.h"
#include "settings/saved_files.h"
#include "tools/base/files.h"
#include "tools/base/values.h"
#include "tools/defaults/text.h"
#include "tools/live/records.h"
#include "upgrade/change.h"
#include "upgrade/journal.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <utility>

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

// One plan: decides section by section, and changes its own copies of the live records as the
// upgrade changes the blade's.
class Decider {
  public:
    explicit Decider(const Place& place) : live_(place) {}

    void decide(const Section& section, uint32_t number, Record& oldDefaults, Record& newDefaults) {
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

    [[nodiscard]] std::vector<AccountedSetting> takeSettings() { return std::move(settings_); }

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
    std::vector<AccountedSetting> settings_;
};

// Up to `limit` bytes of a file. An upgrade takes one that cannot be read for one that is not
// there: empty.
std::string readAsUpgrade(const Place& place, const char* path, std::size_t limit) {
    try {
        bool const isThere = place.statusOf(path).kind == FileKind::regular;
        return isThere ? place.read(path, limit) : "";
    } catch (const DamagedCopy&) {
        throw;
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
    std::string const content = readAsUpgrade(place, vx::upgradeJournal, sizeof(vx::JournalRecord));
    return vx::journalOf(std::as_bytes(std::span(content)));
}

const char* remarkOn(Phase phase, bool hasReference) {
    return phase == Phase::portsDone
               ? "An interrupted upgrade goes on; it has merged the iSCSI ports."
           : phase == Phase::merging ? "An interrupted upgrade goes on."
           : hasReference            ? ""
                                     : "There are no saved defaults: all count as 0 and empty.";
}

} // namespace

LoadedDefaults::LoadedDefaults(std::string text) : text_(std::move(text)) {
    Defaults const handle = openDefaults(text_);
    vx::indexProperties(handle.get());
    version_ = versionOf(handle.get());
    vx::forEachSection(vx::mergeOrder, [&](const Section& section, uint32_t number) {
        records_.push_back(load(handle, section, number));
    });
}

Planner::Planner(std::string newText, std::optional<std::string> oldText)
    : new_(std::move(newText)) {
    if (oldText) {
        old_.emplace(*std::move(oldText));
    }
}

LoadedDefaults& Planner::oldDefaultsOf(const Place& place) {
    constexpr std::size_t most = 16;
    if (old_) {
        return *old_;
    }
    std::string text = readAsUpgrade(place, vx::savedPersonalityFiles[0], SIZE_MAX);
    auto const found = std::ranges::find(known_, text, &LoadedDefaults::text);
    if (found != known_.end()) {
        known_.splice(known_.begin(), known_, found);
        return known_.front();
    }
    known_.emplace_front(std::move(text));
    if (known_.size() > most) {
        known_.pop_back();
    }
    return known_.front();
}

Account Planner::plan(const Place& place) {
    LoadedDefaults& old = oldDefaultsOf(place);
    const VersionBlock& from = old.version();
    const VersionBlock& to = new_.version();
    auto const journal = journalAt(place);
    Phase const phase = vx::sameVersion(journal.version, to) ? journal.phase : Phase::none;
    Account plan{.oldRelease = {from.version, from.product},
                 .newRelease = {to.version, to.product},
                 .reason = whyNot(place, phase, vx::sameVersion(from, to)),
                 .remark = remarkOn(phase, !old.text().empty()),
                 .settings = {},
                 .outcome = {}};
    if (plan.reason.empty()) {
        Decider decider(place);
        std::size_t index = 0;
        vx::forEachSection(vx::mergeOrder, [&](const Section& section, uint32_t number) {
            if (&section != &vx::iscsiSection || phase != Phase::portsDone) {
                decider.decide(section, number, old.records()[index], new_.records()[index]);
            }
            ++index;
        });
        plan.settings = decider.takeSettings();
    }
    return plan;
}

Account planUpgrade(const Place& place, const fs::path& oldFile, const fs::path& newFile) {
    auto const oldText = oldFile.empty() ? std::nullopt : std::optional(readText(oldFile));
    return Planner(readText(newFile), oldText).plan(place);
}

} // namespace tools
