#include "tools/vxcfg/defaults_files.h"

#include "tools/base/files.h"
#include "tools/base/output.h"
#include "tools/defaults/lint.h"
#include "tools/defaults/release_diff.h"
#include "tools/defaults/seal.h"
#include "tools/vxcfg/report.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>

namespace tools {

namespace {

int statusOf(const Findings& findings, bool isStrict) {
    return countErrors(findings, isStrict) > 0 ? found : good;
}

// Calls `use(file)`, which returns a status, for each file; the worst status.
int forEachFile(const std::vector<std::string>& files, auto use) {
    int worst = good;
    for (const std::string& file : files) {
        int status = failed;
        try {
            status = use(file);
        } catch (const std::exception& error) {
            std::fflush(stdout);
            std::fprintf(stderr, "vxcfg: %s\n", error.what());
        }
        worst = std::max(worst, status);
    }
    return worst;
}

void printCheck(const std::string& file, const Lint& found, bool isStrict) {
    printFindings(file, found.findings, isStrict);
    if (found.findings.empty()) {
        std::printf("%s: good: version %s, %zu properties, seal %s\n", file.c_str(),
                    found.version.c_str(), found.properties, sealDigits(found.storedSeal).c_str());
    } else {
        std::printf("%s: %s\n", file.c_str(), summaryOf(found.findings, isStrict).c_str());
    }
}

Json jsonOf(const std::string& file, const Lint& found, bool isStrict) {
    std::size_t const errors = countErrors(found.findings, isStrict);
    return {{"file", file},
            {"version", found.version},
            {"product", found.product},
            {"properties", found.properties},
            {"seal",
             {{"stored", found.hasSeal ? Json(sealDigits(found.storedSeal)) : Json(nullptr)},
              {"computed", sealDigits(found.computedSeal)}}},
            {"errors", errors},
            {"warnings", found.findings.size() - errors},
            {"findings", tools::jsonOf(found.findings, isStrict)}};
}

int sealOne(const std::string& file) {
    Sealing const sealing = sealFile(file);
    if (!sealing.errors.empty()) {
        printFindings(file, sealing.errors, false);
        std::printf("%s: not sealed: %s\n", file.c_str(), summaryOf(sealing.errors, false).c_str());
        return found;
    }
    std::printf("%s: %s: %s\n", file.c_str(), sealing.isNew ? "sealed" : "is sealed already",
                sealDigits(sealing.seal).c_str());
    return good;
}

} // namespace

int checkFiles(const std::vector<std::string>& files, const ReportOptions& options) {
    Json list = Json::array();
    int const status = forEachFile(files, [&](const std::string& file) {
        Lint const found = lint(DefaultsText(readText(file)));
        if (options.isJson) {
            list.push_back(jsonOf(file, found, options.isStrict));
        } else {
            printCheck(file, found, options.isStrict);
        }
        return statusOf(found.findings, options.isStrict);
    });
    if (options.isJson) {
        print({{"files", list}});
    }
    return status;
}

int sealFiles(const std::vector<std::string>& files) {
    return forEachFile(files, sealOne);
}

int diffFiles(const std::string& oldFile, const std::string& newFile,
              const ReportOptions& options) {
    DefaultsText const oldText(readText(oldFile));
    DefaultsText const newText(readText(newFile));
    ReleaseDiff const diff = compareReleases(oldText, newText);
    if (options.isJson) {
        Json document = jsonOf(diff);
        document["oldFindings"] = jsonOf(oldText.faults(), options.isStrict);
        document["findings"] = jsonOf(diff.findings, options.isStrict);
        print(document);
    } else {
        printFindings(oldFile, oldText.faults(), options.isStrict);
        printFindings(newFile, diff.findings, options.isStrict);
        printChanges(diff);
    }
    return std::max(statusOf(oldText.faults(), options.isStrict),
                    statusOf(diff.findings, options.isStrict));
}

} // namespace tools
