// What a release does to a fleet: the plans of all its blades, added up.
//
// Results of parts can be added, exactly: in the order of the parts they are the result of one run
// over all blades. They take a memory that does not grow with the number of blades.
#pragma once

#include "tools/base/output.h"
#include "tools/survey/bounded_counts.h"
#include "tools/upgrades/account.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tools {

// Blades by what becomes of one setting's live value.
struct SurveyedSetting {
    std::string key;    // the default's
    std::string record; // the live setting's
    uint64_t moved = 0;
    uint64_t kept = 0;         // the user's own value
    uint64_t alreadyThere = 0; // it is the new default
    uint64_t forced = 0;       // over the user's own value
    uint64_t never = 0;        // the blade's own
    BoundedCounts values;      // users' own, of kept and forced
};

enum class LookKind : uint8_t { damaged, notMerged, forced };

// A blade that somebody should look at.
struct Look {
    std::string blade;
    LookKind kind;
    std::string why;
};

struct Survey {
    static constexpr std::size_t mostLooks = 10'000;

    Release newRelease;             // empty as long as nobody knows
    std::set<std::string> accepted; // keys whose forced defaults are meant
    uint64_t merged = 0;            // blades that would merge
    uint64_t notMerged = 0;         // that can be read, but nothing would be merged
    uint64_t damaged = 0;           // of which nothing can be said
    BoundedCounts versions;         // of blades: version and product with a NUL between them
    std::map<std::size_t, SurveyedSetting> settings; // by place in the order of the upgrade
    std::vector<Look> look;                          // the first in the order of the blades
    uint64_t lookOmitted = 0;
    bool isInterrupted = false;
};

// Throws std::runtime_error where a key is none that an upgrade compares.
void requireKnown(const std::set<std::string>& keys);

[[nodiscard]] uint64_t bladesOf(const Survey& survey);

// Add a blade that could be planned, and one that could not.
void add(Survey& survey, const std::string& blade, const Account& plan);
void addDamaged(Survey& survey, const std::string& blade, const std::string& why);

// Adds what was surveyed of blades that come after those of `survey`. Throws std::runtime_error
// where the two are of different releases or accept different settings.
void add(Survey& survey, const Survey& part);

// good, or found where a forced default that is not accepted overwrites users' values, where a
// blade would not merge, and where not all were surveyed.
[[nodiscard]] int statusOf(const Survey& survey);

void printText(const Survey& survey);

// As docs/vxcfg.schema.json describes it, and back. The latter throws where it is no such document.
[[nodiscard]] Json toJson(const Survey& survey);
[[nodiscard]] Survey surveyOf(const Json& document);

// A blade as a line of "jsonl", without its line break.
[[nodiscard]] std::string lineOf(const std::string& blade, const Account& plan);
[[nodiscard]] std::string lineOf(const std::string& blade, const std::string& why);

// Adds the blades of a file of such lines, or of one document, "-" being standard input. Throws
// std::runtime_error where it is neither.
void addFile(Survey& survey, const std::string& file);

} // namespace tools
