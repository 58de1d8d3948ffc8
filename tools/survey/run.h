// The blades of a fleet, planned on all cores.
#pragma once

#include "tools/survey/survey.h"

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace tools {

struct SurveyRun {
    std::string newText;                // of the defaults files
    std::optional<std::string> oldText; // nothing: each blade's own saved reference
    std::vector<std::string> places;
    unsigned jobs = 1;
    bool wantsLines = false; // prints a line a blade
};

// Adds all blades to `survey`. With a terminal for standard error it tells there how far it came.
// Once `isStopped` is set it begins no more blades.
void surveyBlades(const SurveyRun& run, const std::atomic<bool>& isStopped, Survey& survey);

} // namespace tools
