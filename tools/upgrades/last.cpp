#include "tools/upgrades/last.h"

#include "settings/saved_files.h"
#include "upgrade/change_report.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace tools {

namespace {

using Fields = std::vector<std::string>;

std::string unescaped(const std::string& field) {
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field.compare(i, 2, "\\x") == 0 && i + 3 < field.size()) {
            text += static_cast<char>(std::stoi(field.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

Fields fieldsOf(const std::string& line) {
    Fields fields;
    std::istringstream parts(line + '\t');
    for (std::string field; std::getline(parts, field, '\t');) {
        fields.push_back(unescaped(field));
    }
    return fields;
}

// A line's first field, the number of its fields and what becomes of them.
struct Line {
    const char* name;
    std::size_t fields;
    void (*read)(const Fields& fields, Account& account);
};
constexpr Line lines[] = {
    {"old", 3,
     [](const Fields& is, Account& to) {
         to.oldRelease = {is[1], is[2]};
     }},
    {"new", 3,
     [](const Fields& is, Account& to) {
         to.newRelease = {is[1], is[2]};
     }},
    {"time", 2, [](const Fields& is, Account& to) { to.outcome->time = std::stoll(is[1]); }},
    {"resumed", 1, [](const Fields& /*is*/, Account& to) { to.outcome->isResumed = true; }},
    {"FAILED", 3,
     [](const Fields& is, Account& to) {
         to.outcome->failed.push_back({is[1], std::stoi(is[2])});
     }},
    {"omitted", 2,
     [](const Fields& is, Account& to) {
         to.outcome->omitted = static_cast<unsigned>(std::stoul(is[1]));
     }},
    {"end", 1, [](const Fields& /*is*/, Account& /*to*/) {}},
};

bool readSetting(const Fields& fields, Account& account) {
    auto const* const action = std::ranges::find(vx::actionNames, fields[0]);
    if (action == std::end(vx::actionNames) || fields.size() != 6) {
        return false;
    }
    account.settings.push_back({.key = fields[1],
                                .record = fields[2],
                                .action = static_cast<vx::Action>(action - vx::actionNames),
                                .live = fields[3],
                                .oldDefault = fields[4],
                                .newDefault = fields[5]});
    return true;
}

bool readLine(const Fields& fields, Account& account) {
    auto const* const line = std::ranges::find_if(lines, [&](const Line& one) {
        return fields[0] == one.name && fields.size() == one.fields;
    });
    if (line == std::end(lines)) {
        return readSetting(fields, account);
    }
    line->read(fields, account);
    return true;
}

bool readReport(const std::string& text, Account& account) {
    std::istringstream rest(text);
    std::string line;
    bool isWhole = std::getline(rest, line) && line == vx::ChangeReport::firstLine;
    while (isWhole && std::getline(rest, line)) {
        isWhole = readLine(fieldsOf(line), account);
    }
    return isWhole && text.ends_with("\nend\n");
}

} // namespace

Account lastUpgrade(const Place& place) {
    std::string const name = place.nameOf(vx::upgradeReport);
    if (place.statusOf(vx::upgradeReport).kind == FileKind::missing) {
        throw std::runtime_error("no report of an upgrade: " + name);
    }
    Account account{.oldRelease = {},
                    .newRelease = {},
                    .reason = {},
                    .remark = {},
                    .settings = {},
                    .outcome = Outcome{}};
    bool isWhole = false;
    try {
        isWhole = readReport(place.read(vx::upgradeReport), account);
    } catch (const std::logic_error&) { // a number that is none
    }
    return isWhole ? account : throw std::runtime_error(name + " is no whole report of an upgrade");
}

} // namespace tools
