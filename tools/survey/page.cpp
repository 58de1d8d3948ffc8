#include "tools/survey/page.h"

#include "tools/survey/template.h"

#include <nlohmann/json.hpp>

#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace tools {

namespace {

std::string escaped(const std::string& text) {
    std::string html;
    for (char const byte : text) {
        switch (byte) {
        case '&':
            html += "&amp;";
            break;
        case '<':
            html += "&lt;";
            break;
        case '>':
            html += "&gt;";
            break;
        case '"':
            html += "&quot;";
            break;
        default:
            html += byte;
        }
    }
    return html;
}

std::string textOf(const Json& object, const char* name) {
    // What is no UTF-8 becomes U+FFFD, as in the document.
    std::string const quoted = object[name].dump(-1, ' ', false, Json::error_handler_t::replace);
    return escaped(Json::parse(quoted).get<std::string>());
}

uint64_t numberOf(const Json& object, const char* name) {
    return object[name].get<uint64_t>();
}

std::string blades(uint64_t count) {
    return std::to_string(count) + (count == 1 ? " blade" : " blades");
}

std::string cell(const std::string& content, const char* attributes = "") {
    return "<td" + std::string(attributes) + ">" + content + "</td>";
}

std::string numberCell(uint64_t number) {
    return cell(std::to_string(number), " class=\"number\"");
}

std::string rowHeading(const std::string& content) {
    return "<th scope=\"row\">" + content + "</th>";
}

// --- The tables.

// What becomes of a default, and the colour of its part of the bar.
constexpr std::pair<const char*, const char*> parts[] = {{"moved", "moved"},
                                                         {"kept", "kept"},
                                                         {"alreadyThere", "kept"},
                                                         {"forced", "forced"},
                                                         {"never", "never"}};

std::string bar(const Json& setting) {
    uint64_t all = 0;
    for (auto const& [name, colour] : parts) {
        all += numberOf(setting, name);
    }
    std::string html = "<div class=\"bar\" aria-hidden=\"true\">";
    for (auto const& [name, colour] : parts) {
        if (uint64_t const part = numberOf(setting, name); part > 0) {
            html += "<span class=\"" + std::string(colour) +
                    "\" style=\"width:" + std::to_string(100.0 * double(part) / double(all)) +
                    "%\"></span>";
        }
    }
    return html + "</div>";
}

// The most frequent ones, which come first.
std::string usersValues(const Json& setting) {
    constexpr std::size_t shown = 10;
    std::vector<std::string> values;
    uint64_t others = numberOf(setting, "otherValues");
    for (const Json& value : setting["values"]) {
        if (uint64_t const count = numberOf(value, "blades"); values.size() < shown) {
            values.push_back("&ldquo;" + textOf(value, "value") + "&rdquo; on " +
                             std::to_string(count));
        } else {
            others += count;
        }
    }
    if (others > 0) {
        values.push_back("others on " + std::to_string(others));
    }
    std::string html;
    for (const std::string& value : values) {
        html += (html.empty() ? "" : ", ") + value;
    }
    return html;
}

std::string settingRow(const Json& setting) {
    uint64_t const forced = numberOf(setting, "forced");
    bool const isLost = forced > 0 && !setting["accepted"].get<bool>();
    std::string const key = textOf(setting, "key");
    std::string const record = textOf(setting, "record");
    return "<tr>" + rowHeading(key + (record == key ? "" : " in " + record)) +
           numberCell(numberOf(setting, "moved")) + numberCell(numberOf(setting, "kept")) +
           numberCell(numberOf(setting, "alreadyThere")) +
           cell(std::to_string(forced), isLost ? " class=\"number lost\"" : " class=\"number\"") +
           numberCell(numberOf(setting, "never")) + cell(bar(setting)) +
           cell(usersValues(setting), " class=\"values\"") + "</tr>\n";
}

// A kind of trouble, as the document and as people name it.
const std::map<std::string, const char*> kinds = {
    {"damaged", "damaged"}, {"notMerged", "not merged"}, {"forced", "overwritten"}};

std::string lookRow(const Json& blade) {
    return "<tr>" + rowHeading(textOf(blade, "blade")) + cell(kinds.at(textOf(blade, "kind"))) +
           cell(textOf(blade, "why")) + "</tr>\n";
}

std::string versionRow(const Json& version) {
    std::string const name = textOf(version, "version");
    return "<tr>" + rowHeading(name.empty() ? "none" : name) + cell(textOf(version, "product")) +
           numberCell(numberOf(version, "blades")) + "</tr>\n";
}

std::string rowsOf(const Json& list, std::string (*row)(const Json&)) {
    std::string html;
    for (const Json& one : list) {
        html += row(one);
    }
    return html;
}

// --- The answer.

struct Losses {
    uint64_t settings = 0;
    uint64_t values = 0;
};

Losses lossesOf(const Json& survey) {
    Losses losses;
    for (const Json& setting : survey["settings"]) {
        if (uint64_t const forced = numberOf(setting, "forced");
            forced > 0 && !setting["accepted"].get<bool>()) {
            losses.settings += 1;
            losses.values += forced;
        }
    }
    return losses;
}

std::string answerOf(const Json& survey, const Losses& losses) {
    const Json& counts = survey["blades"];
    std::string html = "<p><strong>";
    html += losses.values == 0
                ? "No user&rsquo;s value is overwritten."
                : std::to_string(losses.values) + " users&rsquo; values are overwritten, of " +
                      std::to_string(losses.settings) +
                      (losses.settings == 1 ? " setting." : " settings.");
    html += "</strong> " + blades(numberOf(counts, "merged")) + " of " +
            std::to_string(numberOf(counts, "surveyed")) + " merge the new defaults.</p>\n";
    if (uint64_t const none = numberOf(counts, "notMerged"); none > 0) {
        html += "<p>On " + blades(none) + " nothing would be merged.</p>\n";
    }
    if (uint64_t const damaged = numberOf(counts, "damaged"); damaged > 0) {
        html += "<p>" + blades(damaged) + " could not be read.</p>\n";
    }
    if (survey["interrupted"].get<bool>()) {
        html +=
            "<p><strong>The survey was interrupted: this is what was done so far.</strong></p>\n";
    }
    return html;
}

std::string lookCaption(const Json& survey) {
    uint64_t const omitted = numberOf(survey, "lookOmitted");
    std::string const more =
        omitted == 0 ? "" : " Another " + std::to_string(omitted) + " are not listed.";
    return survey["look"].empty() ? "None." : "In the order in which they were read." + more;
}

// The template with each "{{name}}" replaced.
std::string filled(std::string_view page, const std::map<std::string_view, std::string>& contents) {
    std::string html;
    for (std::size_t open = 0; (open = page.find("{{")) != std::string_view::npos;) {
        std::size_t const close = page.find("}}", open);
        html += page.substr(0, open);
        html += contents.at(page.substr(open + 2, close - open - 2));
        page.remove_prefix(close + 2);
    }
    return html.append(page);
}

} // namespace

std::string surveyPage(const Json& survey) {
    Losses const losses = lossesOf(survey);
    const Json& counts = survey["blades"];
    bool const isGood = losses.values == 0 && numberOf(counts, "notMerged") == 0 &&
                        numberOf(counts, "damaged") == 0 && !survey["interrupted"].get<bool>();
    std::string const title =
        textOf(survey["new"], "version") + " on " + blades(numberOf(counts, "surveyed"));
    return filled(surveyTemplate,
                  {{"title", title},
                   {"heading", "What " + textOf(survey["new"], "version") + " does to " +
                                   blades(numberOf(counts, "surveyed"))},
                   {"answerClass", isGood ? "" : " bad"},
                   {"answer", answerOf(survey, losses)},
                   {"settings", rowsOf(survey["settings"], settingRow)},
                   {"lookCaption", lookCaption(survey)},
                   {"look", rowsOf(survey["look"], lookRow)},
                   {"versions", rowsOf(survey["versions"], versionRow)}});
}

} // namespace tools
