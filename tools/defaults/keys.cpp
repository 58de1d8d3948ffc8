#include "tools/defaults/keys.h"

#include "settings/loading.h"
#include "tools/base/values.h"
#include "tools/defaults/text.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <vector>

namespace tools {

namespace {

using vx::Section;
using vx::Setting;

constexpr std::size_t farthest = 3; // edits between a key and what it was meant to be

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// The edits that make one text the other: characters inserted, deleted and replaced. More than
// `farthest` are not counted.
std::size_t distance(std::string_view a, std::string_view b) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > farthest) {
        return farthest + 1;
    }
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::swap(last, row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t const replaced = last[j - 1] + (a[i - 1] != b[j - 1] ? 1 : 0);
            row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
        }
        if (*std::ranges::min_element(row) > farthest) {
            return farthest + 1;
        }
    }
    return row[b.size()];
}

// What follows a key's section.
std::string_view lastPart(std::string_view key) {
    return key.substr(key.rfind('.') + 1);
}

// A key's section without its number: "config.port.is." of "config.port.is.0.IpAddr".
std::string_view sectionPart(std::string_view key) {
    key.remove_suffix(lastPart(key).size());
    std::string_view stem = key.substr(0, key.empty() ? 0 : key.size() - 1);
    std::size_t const digits = lastPart(stem).size();
    bool const isNumbered = digits > 0 && std::ranges::all_of(lastPart(stem), isDigit);
    return isNumbered ? key.substr(0, stem.size() - digits) : key;
}

// The section with the longest prefix of a key; null where none fits.
const Section* sectionOf(std::string_view key) {
    const Section* best = nullptr;
    for (const Section* const section : vx::sections) {
        std::string_view const prefix = section->prefix;
        if (key.starts_with(prefix) &&
            (best == nullptr || prefix.size() > std::string_view(best->prefix).size())) {
            best = section;
        }
    }
    return best;
}

// True where a key has its section's prefix and one of its numbers, if it has numbers.
bool hasNumber(const Section& section, std::string_view key) {
    bool found = section.count == 0;
    for (uint32_t number = 0; number < section.count; ++number) {
        found = found || key.starts_with(section.prefix + std::to_string(number) + '.');
    }
    return found;
}

struct Candidate {
    std::string key;
    std::size_t distance = farthest + 1; // twice the edits, one less for a key that is missing
};

struct Spelling {
    std::string key;
    std::string lowerCase;
};

std::vector<Spelling> spellingsOfKeys() {
    std::vector<Spelling> all;
    for (const std::string& key :
         {std::string(sealKey), std::string(vx::chassisPrefix) + vx::chassisVariable}) {
        all.push_back({key, lowerCase(key)});
    }
    for (auto const& [key, place] : knownKeys()) {
        all.push_back({key, lowerCase(key)});
    }
    return all;
}

// The known key that is nearest by spelling, whatever the case.
std::string nearest(std::string_view key, const auto& isMissing) {
    std::string const lower = lowerCase(key);
    Candidate best{"", 2 * (farthest + 1) - 1};
    static const std::vector<Spelling> spellings = spellingsOfKeys();
    for (auto const& [known, lowerKnown] : spellings) {
        std::size_t const edits = 2 * distance(lower, lowerKnown);
        std::size_t const total = edits < best.distance && isMissing(known) ? edits : edits + 1;
        best = total < best.distance ? Candidate{known, total} : best;
    }
    return best.key;
}

// A known key that ends as this one, in the section whose name is nearest.
std::string inOtherSection(std::string_view key, const auto& isMissing) {
    Candidate best{"", key.size() * 4};
    for (auto const& [known, place] : knownKeys()) {
        if (lastPart(known) == lastPart(key)) {
            std::size_t const total =
                2 * std::min(distance(known, key), farthest + 1) + (isMissing(known) ? 0 : 1);
            best = total < best.distance ? Candidate{known, total} : best;
        }
    }
    return best.key;
}

std::string numbersOf(const Section& section) {
    return std::string(section.prefix) +
           (section.count == 1 ? "0. is the only one"
                               : "N. has the numbers 0 to " + std::to_string(section.count - 1));
}

// A key's section with what stands for the number, if anything does.
std::string numberedPart(std::string_view key, const Section& section) {
    std::string const prefix = section.prefix;
    std::size_t const end = key.find('.', prefix.size());
    return end != std::string_view::npos ? std::string(key.substr(0, end + 1)) : prefix;
}

} // namespace

const KnownKeys& knownKeys() {
    static const KnownKeys keys = [] {
        KnownKeys all;
        vx::forEachSection(vx::sections, [&](const Section& section, uint32_t number) {
            vx::forEachSetting(section, [&](const Setting& setting) {
                all[keyOf(section, number, setting)] = {&section, number, &setting};
            });
        });
        return all;
    }();
    return keys;
}

bool isOtherKey(std::string_view key) {
    const Section* const section = sectionOf(key);
    return key == sealKey || key.starts_with(vx::chassisPrefix) ||
           (section != nullptr && section->groups.empty() && hasNumber(*section, key));
}

UnknownKey explainUnknown(std::string_view key,
                          const std::function<bool(const std::string&)>& isMissing) {
    std::string const near = nearest(key, isMissing);
    std::string const elsewhere = near.empty() ? inOtherSection(key, isMissing) : near;
    const Section* const section = sectionOf(key);
    if (section != nullptr && !hasNumber(*section, key)) {
        return {&checks::unknownNumber, numberedPart(key, *section), numbersOf(*section), near};
    }
    bool const isCase = lowerCase(key) == lowerCase(elsewhere);
    std::string const meant = elsewhere.empty() ? "" : "did you mean " + elsewhere + "?";
    if (section == nullptr && key.find('.') != std::string_view::npos) {
        std::string const part(sectionPart(elsewhere));
        return {isCase ? &checks::otherCase : &checks::unknownSection,
                std::string(sectionPart(key)), part.empty() ? "" : "did you mean " + part + "?",
                elsewhere};
    }
    if (isCase) {
        return {&checks::otherCase, std::string(key), "it is spelt " + elsewhere, elsewhere};
    }
    if (!elsewhere.empty() && sectionPart(elsewhere) != sectionPart(key) &&
        lastPart(elsewhere) == lastPart(key)) {
        return {&checks::otherSection, std::string(key), "it belongs to " + elsewhere, elsewhere};
    }
    return {&checks::unknownKey, std::string(key), meant, elsewhere};
}

} // namespace tools
