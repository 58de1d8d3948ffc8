#include "tools/survey/run.h"

#include "tools/blade/open_place.h"
#include "tools/survey/blade_names.h"
#include "tools/survey/work_in_order.h"
#include "tools/upgrades/plan.h"

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include <unistd.h>

namespace tools {

namespace {

// Of one blade.
struct Result {
    std::string blade;
    std::optional<Account> plan;
    std::string why;  // there is no plan
    std::string line; // where lines are wanted
};

Result planBlade(Planner& planner, BladeName blade, bool wantsLine) {
    Result result{.blade = std::move(blade.name), .plan = {}, .why = blade.problem, .line = ""};
    try {
        if (result.why.empty()) {
            result.plan = planner.plan(*openPlace(result.blade));
        }
    } catch (const std::exception& error) {
        result.why = error.what();
    }
    if (wantsLine) {
        result.line =
            result.plan ? lineOf(result.blade, *result.plan) : lineOf(result.blade, result.why);
    }
    return result;
}

// Tells a terminal how far a survey came.
class Progress {
  public:
    // `total` is 0 where nobody knows it.
    explicit Progress(uint64_t total) : total_(total) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() {
        if (isShown_) {
            std::fputs("\r\033[K", stderr);
        }
    }

    void tell(uint64_t blades) {
        auto const now = Clock::now();
        if (now - told_ < std::chrono::milliseconds(250)) {
            return;
        }
        told_ = now;
        isShown_ = true;
        double const rate =
            static_cast<double>(blades) / std::chrono::duration<double>(now - begun_).count();
        std::fprintf(stderr, "\r\033[K%" PRIu64 " blades, %.0f a second", blades, rate);
        if (total_ >= blades && rate > 0) {
            std::fprintf(stderr, ", %.0f s left", static_cast<double>(total_ - blades) / rate);
        }
        std::fflush(stderr);
    }

  private:
    using Clock = std::chrono::steady_clock;
    uint64_t total_;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point told_ = begun_;
    bool isShown_ = false;
};

uint64_t countBlades(const std::vector<std::string>& places,
                     const std::function<bool()>& isStopped) {
    if (std::ranges::find(places, "-") != places.end()) {
        return 0;
    }
    uint64_t count = 0;
    for (BladeNames names(places, isStopped); names.next();) {
        ++count;
    }
    return count;
}

} // namespace

void surveyBlades(const SurveyRun& run, const std::atomic<bool>& isStopped, Survey& survey) {
    auto const stopped = [&] { return isStopped.load(); };
    std::optional<Progress> progress;
    if (::isatty(STDERR_FILENO) == 1) {
        progress.emplace(countBlades(run.places, stopped));
    }
    BladeNames names(run.places, stopped);
    WorkInOrder<BladeName, Result> all(run.jobs, [&] { return names.next(); });
    auto const makeWork = [&] {
        auto const planner = std::make_shared<Planner>(run.newText, run.oldText);
        return [planner, &run](BladeName blade) {
            return planBlade(*planner, std::move(blade), run.wantsLines);
        };
    };
    all.run(makeWork, [&](const Result& result) {
        result.plan ? add(survey, result.blade, *result.plan)
                    : addDamaged(survey, result.blade, result.why);
        // Who reads along gets each line at once.
        if (run.wantsLines && (std::puts(result.line.c_str()) < 0 || std::fflush(stdout) != 0)) {
            throw std::runtime_error("standard output cannot be written");
        }
        if (progress) {
            progress->tell(bladesOf(survey));
        }
    });
    survey.isInterrupted = isStopped;
}

} // namespace tools
