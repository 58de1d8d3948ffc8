#include "tools/upgrades/account.h"

#include "tools/base/forms.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <utility>

namespace tools {

namespace {

using vx::Action;

std::size_t countOf(const Account& account, Action action) {
    auto const count = std::ranges::count(account.settings, action, &AccountedSetting::action);
    return static_cast<std::size_t>(count);
}

const char* nameOf(Action action) {
    return vx::actionNames[static_cast<std::size_t>(action)];
}

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string describe(const AccountedSetting& setting) {
    std::string const live = printable(setting.live);
    std::string const now = printable(setting.newDefault);
    std::string const defaults = printable(setting.oldDefault) + " -> " + now;
    std::string const elsewhere = setting.record != setting.key ? " in " + setting.record : "";
    bool const isThere = setting.live == setting.newDefault;
    switch (setting.action) {
    case Action::keep:
        return live + " (default " + defaults +
               (isThere ? "; is there already" : "; the user's own value") + elsewhere + ")";
    case Action::never:
        return live + " (the blade's own; default " + defaults + ")";
    case Action::force:
        return live + " -> " + now + elsewhere + " (the user's value is lost)";
    case Action::change:
        break;
    }
    return live + " -> " + now + elsewhere;
}

const char* shown(const std::string& version) {
    return version.empty() ? "(no version)" : version.c_str();
}

std::string timeOf(int64_t seconds) {
    auto const time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    std::array<char, 32> text{};
    if (::gmtime_r(&time, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) {
        return "";
    }
    return text.data();
}

void printOutcome(const Outcome& outcome) {
    std::printf("%s by the blade's clock%s\n", timeOf(outcome.time).c_str(),
                outcome.isResumed
                    ? ", after an interrupted run: what that one changed is there already"
                    : "");
    for (const FailedSection& failed : outcome.failed) {
        std::printf("FAILED %s* could not be stored: %d\n", failed.section.c_str(), failed.result);
    }
    if (outcome.omitted > 0) {
        std::printf("%u more are not in the report, which was full\n", outcome.omitted);
    }
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

std::string textOf(const Json& textOrNull) {
    return textOrNull.is_null() ? "" : textOrNull.get<std::string>();
}

Action actionOf(const std::string& name) {
    auto const* const found = std::ranges::find(vx::actionNames, name, lowerCase);
    if (found == std::end(vx::actionNames)) {
        throw std::runtime_error("no action: " + name);
    }
    return static_cast<Action>(found - std::begin(vx::actionNames));
}

} // namespace

Json toJson(const Release& release) {
    return {{"version", release.version}, {"product", release.product}};
}

Release releaseOf(const Json& document) {
    return {document.at("version"), document.at("product")};
}

Account accountOf(const Json& plan) {
    Account account{.oldRelease = releaseOf(plan.at("old")),
                    .newRelease = releaseOf(plan.at("new")),
                    .reason = textOf(plan.at("reason")),
                    .remark = textOf(plan.at("remark")),
                    .settings = {},
                    .outcome = {}};
    for (const Json& row : plan.at("settings")) {
        account.settings.push_back({.key = row.at("key"),
                                    .record = row.at("record"),
                                    .action = actionOf(row.at("action")),
                                    .live = row.at("live"),
                                    .oldDefault = row.at("old"),
                                    .newDefault = row.at("new")});
    }
    return account;
}

void printText(const Account& account) {
    const char* const from = shown(account.oldRelease.version);
    const char* const to = shown(account.newRelease.version);
    if (!account.reason.empty()) {
        std::printf("%s -> %s: nothing is merged: %s\n", from, to, account.reason.c_str());
    } else {
        std::printf("%s -> %s: %zu change, %zu kept, %zu forced over a user's value\n", from, to,
                    countOf(account, Action::change), countOf(account, Action::keep),
                    countOf(account, Action::force));
    }
    if (!account.remark.empty()) {
        std::printf("%s\n", account.remark.c_str());
    }
    if (account.outcome) {
        printOutcome(*account.outcome);
    }
    for (const AccountedSetting& setting : account.settings) {
        std::printf("%-6s %-40s %s\n", nameOf(setting.action), setting.key.c_str(),
                    describe(setting).c_str());
    }
}

Json toJson(const Account& account) {
    Json settings = Json::array();
    for (const AccountedSetting& setting : account.settings) {
        Json& row = settings.emplace_back(Json::object()); // a list would copy all once more
        row["key"] = setting.key;
        row["record"] = setting.record;
        row["action"] = lowerCase(nameOf(setting.action));
        row["live"] = setting.live;
        row["old"] = setting.oldDefault;
        row["new"] = setting.newDefault;
    }
    Json counts;
    for (Action const action : {Action::change, Action::keep, Action::force, Action::never}) {
        counts[lowerCase(nameOf(action))] = countOf(account, action);
    }
    Json document = {{"old", toJson(account.oldRelease)},
                     {"new", toJson(account.newRelease)},
                     {"merges", account.reason.empty()},
                     {"reason", textOrNull(account.reason)},
                     {"remark", textOrNull(account.remark)}};
    if (account.outcome) {
        document["time"] = timeOf(account.outcome->time);
        document["resumed"] = account.outcome->isResumed;
        document["failed"] = Json::array();
        for (const FailedSection& failed : account.outcome->failed) {
            document["failed"].push_back({{"section", failed.section}, {"result", failed.result}});
        }
        document["omitted"] = account.outcome->omitted;
    }
    document["settings"] = std::move(settings);
    document["counts"] = counts;
    return document;
}

} // namespace tools
