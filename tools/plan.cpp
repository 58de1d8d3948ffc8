#include "tools/plan.h"

#include "settings/loading.h"
#include "tools/files.h"
#include "tools/live_records.h"
#include "tools/personality.h"
#include "tools/values.h"
#include "upgrade/merge.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace tools {

namespace {

namespace fs = std::filesystem;
using vx::Section;
using vx::Setting;

Record load(const Defaults& defaults, const Section& section, uint32_t number) {
    Record record(section.record->size);
    auto const all = [](const Setting&) { return true; };
    vx::loadSettings(defaults.get(), section, static_cast<int>(number), all, record.data());
    return record;
}

// The section whose settings a record holds.
const Section& sectionOf(const vx::RecordAccess& access) {
    return **std::ranges::find_if(
        vx::sections, [&](const Section* section) { return section->record == &access; });
}

const char* actionOf(const vx::Decision& decision, bool isUsersOwn) {
    switch (decision.verdict) {
    case vx::Verdict::moved:
        return "CHANGE";
    case vx::Verdict::forced:
        return isUsersOwn ? "FORCE" : "CHANGE";
    case vx::Verdict::kept:
        return "KEEP";
    case vx::Verdict::never:
    case vx::Verdict::same:
        break;
    }
    return "NEVER";
}

class Planner {
  public:
    Planner(LiveRecords live, const std::string& oldText, const std::string& newText, Plan& plan)
        : live_(std::move(live)), old_(openDefaults(oldText)), new_(openDefaults(newText)),
          plan_(plan) {}

    void plan(const Section& section, uint32_t number) {
        Record const oldDefaults = load(old_, section, number);
        Record const newDefaults = load(new_, section, number);
        bool const isMerged = number < section.merge.count || section.count == 0;
        const vx::RecordAccess& into = isMerged ? *section.merge.into : *section.record;
        Record& live = live_.of(into, number);
        vx::Decisions const decisions =
            vx::decide(section, oldDefaults.data(), newDefaults.data(), live.data());
        for (const vx::Decision& decision : decisions.list()) {
            if (decision.verdict != vx::Verdict::same) {
                vx::Decision const made{decision.setting,
                                        isMerged ? decision.verdict : vx::Verdict::never};
                add(section, number, made, oldDefaults, newDefaults);
            }
        }
        if (isMerged) {
            (void)vx::apply(decisions, newDefaults.data(), live.data());
        }
    }

  private:
    void add(const Section& section, uint32_t number, const vx::Decision& decision,
             const Record& oldDefaults, const Record& newDefaults) {
        const Setting& setting = *decision.setting;
        bool const isNever = decision.verdict == vx::Verdict::never;
        const vx::RecordAccess& into = isNever ? *section.record : *section.merge.into;
        const Record& live = live_.of(into, number);
        bool const isUsersOwn = !vx::valuesEqual(setting, live.data(), oldDefaults.data());
        plan_.settings.push_back(
            {keyOf(section, number, setting), keyOf(sectionOf(into), number, setting),
             actionOf(decision, isUsersOwn), valueOf(setting, live.data()),
             valueOf(setting, oldDefaults.data()), valueOf(setting, newDefaults.data())});
    }

    LiveRecords live_;
    Defaults old_;
    Defaults new_;
    Plan& plan_;
};

VersionBlock versionOf(const std::string& text) {
    VersionBlock version{};
    (void)readDefaultConfigurationVersion(openDefaults(text).get(), &version);
    return version;
}

std::size_t countOf(const Plan& plan, std::string_view action) {
    auto const isIt = [&](const PlannedSetting& setting) { return setting.action == action; };
    return static_cast<std::size_t>(std::ranges::count_if(plan.settings, isIt));
}

std::string describe(const PlannedSetting& setting) {
    std::string const defaults = setting.oldDefault + " -> " + setting.newDefault;
    std::string const elsewhere = setting.record != setting.key ? " in " + setting.record : "";
    std::string_view const action = setting.action;
    if (action == "KEEP") {
        bool const isThere = setting.live == setting.newDefault;
        return setting.live + " (default " + defaults +
               (isThere ? "; is there already" : "; the user's own value") + elsewhere + ")";
    }
    if (action == "NEVER") {
        return setting.live + " (the blade's own; default " + defaults + ")";
    }
    return setting.live + " -> " + setting.newDefault + elsewhere +
           (action == "FORCE" ? " (the user's value is lost)" : "");
}

} // namespace

Plan planUpgrade(const fs::path& volumes, const fs::path& oldFile, const fs::path& newFile) {
    std::string const oldText = readText(oldFile);
    std::string const newText = readText(newFile);
    VersionBlock const oldVersion = versionOf(oldText);
    VersionBlock const newVersion = versionOf(newText);
    Plan plan{oldVersion.version, newVersion.version, false, {}};
    plan.merges = !vx::sameVersion(oldVersion, newVersion);
    if (plan.merges) {
        Planner planner(LiveRecords(volumes), oldText, newText, plan);
        vx::forEachSection(vx::mergeOrder, [&](const Section& section, uint32_t number) {
            planner.plan(section, number);
        });
    }
    return plan;
}

void printPlan(const Plan& plan) {
    if (!plan.merges) {
        std::printf("%s: nothing to merge, the versions are the same\n", plan.newVersion.c_str());
        return;
    }
    std::printf("%s -> %s: %zu change, %zu kept, %zu forced over a user's value\n",
                plan.oldVersion.c_str(), plan.newVersion.c_str(), countOf(plan, "CHANGE"),
                countOf(plan, "KEEP"), countOf(plan, "FORCE"));
    for (const PlannedSetting& setting : plan.settings) {
        std::printf("%-6s %-40s %s\n", setting.action, setting.key.c_str(),
                    describe(setting).c_str());
    }
}

} // namespace tools
