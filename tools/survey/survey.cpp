#include "tools/survey/survey.h"

#include "settings/table.h"
#include "tools/base/values.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

namespace tools {

namespace {

using vx::Action;

// The places of all keys in the order of an upgrade.
std::size_t placeOf(const std::string& key) {
    static const auto places = [] {
        std::unordered_map<std::string, std::size_t> all;
        vx::forEachSection(vx::mergeOrder, [&](const vx::Section& section, uint32_t number) {
            vx::forEachSetting(section, [&](const vx::Setting& setting) {
                all.emplace(keyOf(section, number, setting), all.size());
            });
        });
        return all;
    }();
    auto const found = places.find(key);
    if (found == places.end()) {
        throw std::runtime_error("no upgrade compares " + key);
    }
    return found->second;
}

// As a document has it. Results of documents and of plans are to be the same.
std::string asPrinted(const std::string& text) {
    bool const isAscii = std::ranges::all_of(text, [](char c) { return (c & 0x80) == 0; });
    return isAscii ? text : Json::parse(dumped(text)).get<std::string>();
}

void addLook(Survey& survey, Look look) {
    if (survey.look.size() < Survey::mostLooks) {
        survey.look.push_back(std::move(look));
    } else {
        ++survey.lookOmitted;
    }
}

SurveyedSetting& settingOf(Survey& survey, const std::string& key, const std::string& record) {
    SurveyedSetting& setting = survey.settings[placeOf(key)];
    if (setting.key.empty()) {
        setting.key = key;
        setting.record = record;
    }
    return setting;
}

// Adds a setting of a blade; what a forced default takes from a user.
std::string addSetting(Survey& survey, const AccountedSetting& planned) {
    SurveyedSetting& setting = settingOf(survey, planned.key, planned.record);
    if (planned.action == Action::never) {
        ++setting.never;
        return "";
    }
    if (planned.action == Action::change) {
        ++setting.moved;
        return "";
    }
    std::string const live = asPrinted(planned.live);
    std::string const newDefault = asPrinted(planned.newDefault);
    if (live == newDefault) {
        ++setting.alreadyThere;
        return "";
    }
    setting.values.add(live);
    if (planned.action == Action::keep) {
        ++setting.kept;
        return "";
    }
    ++setting.forced;
    bool const isMeant = survey.accepted.contains(planned.key);
    return isMeant ? "" : planned.record + " " + live + " -> " + newDefault;
}

void requireSameRelease(Survey& survey, const Release& release) {
    Release const printed = {asPrinted(release.version), asPrinted(release.product)};
    if (survey.newRelease == Release{}) {
        survey.newRelease = printed;
    }
    if (printed != Release{} && survey.newRelease != printed) {
        throw std::runtime_error("a survey of another release (" + printed.version + ")");
    }
}

void add(SurveyedSetting& setting, const SurveyedSetting& part) {
    setting.moved += part.moved;
    setting.kept += part.kept;
    setting.alreadyThere += part.alreadyThere;
    setting.forced += part.forced;
    setting.never += part.never;
    setting.values.add(part.values);
}

} // namespace

void requireKnown(const std::set<std::string>& keys) {
    for (const std::string& key : keys) {
        (void)placeOf(key);
    }
}

uint64_t bladesOf(const Survey& survey) {
    return survey.merged + survey.notMerged + survey.damaged;
}

void add(Survey& survey, const std::string& blade, const Account& plan) {
    requireSameRelease(survey, plan.newRelease);
    std::string version = asPrinted(plan.oldRelease.version);
    survey.versions.add(version + '\0' + asPrinted(plan.oldRelease.product));
    if (!plan.reason.empty()) {
        ++survey.notMerged;
        addLook(survey, {asPrinted(blade), LookKind::notMerged, asPrinted(plan.reason)});
        return;
    }
    ++survey.merged;
    std::string lost;
    for (const AccountedSetting& setting : plan.settings) {
        std::string const value = addSetting(survey, setting);
        lost += (lost.empty() || value.empty() ? "" : ", ") + value;
    }
    if (!lost.empty()) {
        addLook(survey, {asPrinted(blade), LookKind::forced, lost});
    }
}

void addDamaged(Survey& survey, const std::string& blade, const std::string& why) {
    ++survey.damaged;
    addLook(survey, {asPrinted(blade), LookKind::damaged, asPrinted(why)});
}

void add(Survey& survey, const Survey& part) {
    requireSameRelease(survey, part.newRelease);
    for (auto const& [place, setting] : part.settings) {
        if (setting.forced > 0 &&
            part.accepted.contains(setting.key) != survey.accepted.contains(setting.key)) {
            throw std::runtime_error("surveyed with another --accept: " + setting.key);
        }
        add(settingOf(survey, setting.key, setting.record), setting);
    }
    survey.merged += part.merged;
    survey.notMerged += part.notMerged;
    survey.damaged += part.damaged;
    survey.versions.add(part.versions);
    for (const Look& look : part.look) {
        addLook(survey, look);
    }
    survey.lookOmitted += part.lookOmitted;
    survey.isInterrupted = survey.isInterrupted || part.isInterrupted;
}

int statusOf(const Survey& survey) {
    bool const isForced = std::ranges::any_of(survey.settings, [&](auto const& numbered) {
        const SurveyedSetting& setting = numbered.second;
        return setting.forced > 0 && !survey.accepted.contains(setting.key);
    });
    bool const isAll = survey.notMerged + survey.damaged == 0 && !survey.isInterrupted;
    return isAll && !isForced ? good : found;
}

} // namespace tools
