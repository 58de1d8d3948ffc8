#include "tools/vxcfg/report.h"

#include "tools/defaults/lint.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace tools {

namespace {

const char* severityOf(const Finding& finding, bool isStrict) {
    return isStrict || finding.check->severity == Severity::error ? "error" : "warning";
}

std::string plural(std::size_t count, const char* what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

} // namespace

void printFindings(const std::string& file, const Findings& findings, bool isStrict) {
    for (const Finding& finding : findings) {
        std::printf("%s:%zu:%zu: %s: %s\n", file.c_str(), finding.place.line, finding.place.column,
                    severityOf(finding, isStrict), finding.message.c_str());
        if (!finding.hint.empty()) {
            std::printf("  hint: %s\n", finding.hint.c_str());
        }
    }
}

Json jsonOf(const Findings& findings, bool isStrict) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"line", finding.place.line},
                        {"column", finding.place.column},
                        {"severity", severityOf(finding, isStrict)},
                        {"check", finding.check->name},
                        {"message", finding.message},
                        {"hint", finding.hint.empty() ? Json(nullptr) : Json(finding.hint)}});
    }
    return list;
}

std::size_t countErrors(const Findings& findings, bool isStrict) {
    return isStrict ? findings.size() : countOf(findings, Severity::error);
}

std::string summaryOf(const Findings& findings, bool isStrict) {
    std::size_t const errors = countErrors(findings, isStrict);
    return plural(errors, "error") + ", " + plural(findings.size() - errors, "warning");
}

} // namespace tools
