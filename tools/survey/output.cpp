// A survey as text, as a document and as lines, and back.
#include "tools/base/forms.h"
#include "tools/survey/survey.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace tools {

namespace {

constexpr const char* lookNames[] = {"damaged", "notMerged", "forced"};
constexpr const char* lookWords[] = {"damaged", "not merged", "forced"};

// Blades whose user's value is none of those that are kept.
uint64_t otherValues(const SurveyedSetting& setting) {
    return setting.kept + setting.forced - setting.values.sum();
}

Json toJson(const SurveyedSetting& setting, bool isAccepted) {
    Json values = Json::array();
    for (auto const& [text, count] : setting.values.all()) {
        values.push_back({{"value", text}, {"blades", count}});
    }
    return {{"key", setting.key},
            {"record", setting.record},
            {"moved", setting.moved},
            {"kept", setting.kept},
            {"alreadyThere", setting.alreadyThere},
            {"forced", setting.forced},
            {"never", setting.never},
            {"accepted", isAccepted},
            {"values", values},
            {"otherValues", otherValues(setting)},
            {"sampled", setting.values.isSampled()}};
}

Json versionsOf(const Survey& survey) {
    Json versions = Json::array();
    for (auto const& [text, count] : survey.versions.all()) {
        std::size_t const end = text.find('\0');
        versions.push_back({{"version", text.substr(0, end)},
                            {"product", text.substr(end + 1)},
                            {"blades", count}});
    }
    return versions;
}

SurveyedSetting settingOf(const Json& document) {
    SurveyedSetting setting{.key = document.at("key"),
                            .record = document.at("record"),
                            .moved = document.at("moved"),
                            .kept = document.at("kept"),
                            .alreadyThere = document.at("alreadyThere"),
                            .forced = document.at("forced"),
                            .never = document.at("never"),
                            .values = {}};
    for (const Json& value : document.at("values")) {
        setting.values.add(value.at("value"), value.at("blades"));
    }
    if (document.at("sampled").get<bool>()) {
        setting.values.setSampled();
    }
    return setting;
}

LookKind lookKindOf(const std::string& name) {
    auto const* const found = std::ranges::find(lookNames, name);
    if (found == std::end(lookNames)) {
        throw std::runtime_error("no kind of look: " + name);
    }
    return static_cast<LookKind>(found - std::begin(lookNames));
}

void addLine(Survey& survey, const Json& line) {
    if (line.contains("error")) {
        addDamaged(survey, line.at("blade"), line.at("error"));
    } else {
        add(survey, line.at("blade"), accountOf(line.at("plan")));
    }
}

// --- Text.

std::string number(uint64_t count) {
    return std::to_string(count);
}

// "9999" (40), "512" (11), others (3)
std::string valuesOf(const SurveyedSetting& setting) {
    constexpr std::size_t most = 3;
    auto const all = setting.values.all();
    std::string text;
    uint64_t others = otherValues(setting);
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i < most) {
            text +=
                (i == 0 ? "" : ", ") + inQuotes(all[i].text) + " (" + number(all[i].count) + ")";
        } else {
            others += all[i].count;
        }
    }
    return others == 0 ? text : text + ", others (" + number(others) + ")";
}

void printSettings(const Survey& survey) {
    if (survey.settings.empty()) {
        return;
    }
    std::printf("\n%-42s %8s %8s %8s %8s %8s  %s\n", "setting", "moved", "kept", "there", "forced",
                "never", "users' values");
    for (auto const& [place, setting] : survey.settings) {
        bool const isAccepted = setting.forced > 0 && survey.accepted.contains(setting.key);
        std::string const values = valuesOf(setting);
        std::printf("%-42s %8s %8s %8s %8s %8s%s%s%s\n", setting.key.c_str(),
                    number(setting.moved).c_str(), number(setting.kept).c_str(),
                    number(setting.alreadyThere).c_str(), number(setting.forced).c_str(),
                    number(setting.never).c_str(), values.empty() ? "" : "  ", values.c_str(),
                    isAccepted ? " (accepted)" : "");
    }
}

void printLook(const Survey& survey) {
    if (survey.look.empty()) {
        return;
    }
    std::printf("\nblades that need a look\n");
    for (const Look& look : survey.look) {
        bool const isNamed = look.why.starts_with(look.blade);
        std::printf("%-10s  %s\n", lookWords[static_cast<std::size_t>(look.kind)],
                    printable(isNamed ? look.why : look.blade + ": " + look.why).c_str());
    }
    if (survey.lookOmitted > 0) {
        std::printf("and %" PRIu64 " more\n", survey.lookOmitted);
    }
}

void printVersions(const Survey& survey) {
    if (survey.merged + survey.notMerged == 0) {
        return;
    }
    std::printf("\n%-42s %8s\n", "old version", "blades");
    uint64_t others = survey.merged + survey.notMerged - survey.versions.sum();
    for (auto const& [text, count] : survey.versions.all()) {
        std::string const version = text.substr(0, text.find('\0'));
        std::printf("%-42s %8" PRIu64 "\n", version.empty() ? "(none)" : printable(version).c_str(),
                    count);
    }
    if (others > 0) {
        std::printf("%-42s %8" PRIu64 "\n", "others", others);
    }
}

} // namespace

void printText(const Survey& survey) {
    std::printf("to %s: %" PRIu64 " blades: %" PRIu64 " would merge, %" PRIu64
                " would not, %" PRIu64 " damaged\n",
                printable(survey.newRelease.version).c_str(), bladesOf(survey), survey.merged,
                survey.notMerged, survey.damaged);
    if (survey.isInterrupted) {
        std::printf("interrupted: these are the blades that were surveyed until then\n");
    }
    printSettings(survey);
    printLook(survey);
    printVersions(survey);
}

Json toJson(const Survey& survey) {
    Json settings = Json::array();
    for (auto const& [place, setting] : survey.settings) {
        settings.push_back(toJson(setting, survey.accepted.contains(setting.key)));
    }
    Json look = Json::array();
    for (auto const& [blade, kind, why] : survey.look) {
        look.push_back(
            {{"blade", blade}, {"kind", lookNames[static_cast<std::size_t>(kind)]}, {"why", why}});
    }
    return {{"new", toJson(survey.newRelease)},
            {"blades",
             {{"surveyed", bladesOf(survey)},
              {"merged", survey.merged},
              {"notMerged", survey.notMerged},
              {"damaged", survey.damaged}}},
            {"versions", versionsOf(survey)},
            {"otherVersions", survey.merged + survey.notMerged - survey.versions.sum()},
            {"settings", settings},
            {"look", look},
            {"lookOmitted", survey.lookOmitted},
            {"interrupted", survey.isInterrupted}};
}

Survey surveyOf(const Json& document) {
    Survey survey;
    const Json& blades = document.at("blades");
    survey.newRelease = releaseOf(document.at("new"));
    survey.merged = blades.at("merged");
    survey.notMerged = blades.at("notMerged");
    survey.damaged = blades.at("damaged");
    for (const Json& row : document.at("versions")) {
        std::string const version = row.at("version");
        survey.versions.add(version + '\0' + row.at("product").get<std::string>(),
                            row.at("blades"));
    }
    for (const Json& row : document.at("settings")) {
        if (row.at("accepted").get<bool>()) {
            survey.accepted.insert(row.at("key"));
        }
        survey.settings[survey.settings.size()] = settingOf(row);
    }
    for (const Json& row : document.at("look")) {
        survey.look.push_back({row.at("blade"), lookKindOf(row.at("kind")), row.at("why")});
    }
    survey.lookOmitted = document.at("lookOmitted");
    survey.isInterrupted = document.at("interrupted");
    return survey;
}

std::string lineOf(const std::string& blade, const Account& plan) {
    Json line = {{"blade", blade}};
    line["plan"] = toJson(plan);
    return dumped(line);
}

std::string lineOf(const std::string& blade, const std::string& why) {
    return dumped({{"blade", blade}, {"error", why}});
}

void addFile(Survey& survey, const std::string& file) {
    std::ifstream opened;
    if (file != "-") {
        opened.open(file, std::ios::binary);
    }
    std::istream& input = file == "-" ? std::cin : opened;
    std::size_t number = 0;
    try {
        std::string line;
        if (!input || (input.peek(), input.bad())) {
            throw std::runtime_error("cannot be read");
        }
        for (; std::getline(input, line);) {
            ++number;
            if (number == 1 && line == "{") { // a document's first line
                Json const document =
                    Json::parse(line + std::string(std::istreambuf_iterator<char>(input), {}));
                add(survey, surveyOf(document));
                return;
            }
            Json const document = Json::parse(line);
            document.contains("blade") ? addLine(survey, document)
                                       : add(survey, surveyOf(document));
        }
    } catch (const std::exception& error) {
        throw std::runtime_error(file + (number > 0 ? ":" + std::to_string(number) : "") + ": " +
                                 error.what());
    }
}

} // namespace tools
