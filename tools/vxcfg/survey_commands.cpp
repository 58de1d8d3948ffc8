#include "tools/base/files.h"
#include "tools/survey/page.h"
#include "tools/survey/run.h"
#include "tools/survey/survey.h"
#include "tools/upgrades/plan.h"
#include "tools/vxcfg/commands.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

namespace tools::commands {

namespace {

std::atomic<bool> isStopped = false;
static_assert(std::atomic<bool>::is_always_lock_free); // a signal sets it

// While one lives, the first interrupt asks to stop and the second one ends the program.
class Interruptible {
  public:
    Interruptible() {
        struct sigaction action {};
        action.sa_handler = [](int) { isStopped = true; };
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigaction(SIGINT, &action, &before_);
    }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;
    ~Interruptible() { ::sigaction(SIGINT, &before_, nullptr); }

  private:
    struct sigaction before_ {};
};

// The result of either way.
int show(const Survey& survey, const Arguments& arguments) {
    if (bladesOf(survey) == 0 && !survey.isInterrupted) {
        throw std::runtime_error("there is no blade to survey");
    }
    if (arguments.wantsJson()) {
        print(toJson(survey));
    } else if (arguments.format == "text") {
        printText(survey);
    }
    if (!arguments.page.empty()) {
        installText(surveyPage(toJson(survey)), arguments.page);
    }
    if (survey.isInterrupted) {
        std::fprintf(stderr, "vxcfg: interrupted after %" PRIu64 " blades\n", bladesOf(survey));
    }
    return statusOf(survey);
}

Survey begun(const Arguments& arguments) {
    Survey survey;
    survey.accepted.insert(arguments.accepted.begin(), arguments.accepted.end());
    requireKnown(survey.accepted);
    return survey;
}

int mergeResults(const Arguments& arguments) {
    if (arguments.format == "jsonl") {
        throw std::runtime_error("lines are put one after the other by cat");
    }
    Survey survey = begun(arguments);
    for (const std::string& file : arguments.files) {
        addFile(survey, file);
    }
    return show(survey, arguments);
}

unsigned processors() {
    return std::max(1U, std::thread::hardware_concurrency()); // 0 where nobody knows
}

int surveyFleet(const Arguments& arguments) {
    if (arguments.files.size() < 2) {
        throw std::runtime_error("a survey takes the new defaults and places (--help says more)");
    }
    Survey survey = begun(arguments);
    SurveyRun run{.newText = readText(arguments.files[0]),
                  .oldText = {},
                  .places = {arguments.files.begin() + 1, arguments.files.end()},
                  .jobs = arguments.jobs > 0 ? arguments.jobs : processors(),
                  .wantsLines = arguments.format == "jsonl"};
    if (!arguments.old.empty()) {
        run.oldText = readText(arguments.old);
    }
    LoadedDefaults const defaults(run.newText);
    if (defaults.version().version[0] == '\0') {
        throw std::runtime_error(arguments.files[0] + " is no defaults file: it says no version");
    }
    survey.newRelease = {defaults.version().version, defaults.version().product};
    {
        Interruptible const interruptible;
        surveyBlades(run, isStopped, survey);
    }
    return show(survey, arguments);
}

} // namespace

int survey(const Arguments& arguments) {
    return arguments.isMerge ? mergeResults(arguments) : surveyFleet(arguments);
}

} // namespace tools::commands
