#include "tools/defaults/absences.h"

#include "settings/loading.h"
#include "tools/base/values.h"

#include <algorithm>

namespace tools {

namespace {

using vx::Section;
using vx::Setting;
using Wanted = std::function<bool(const std::string&)>;

// The last property of a section, whatever its number.
const char* lastOf(const DefaultsText& text, const Section& section) {
    const char* last = nullptr;
    for (const vx::Property& property : text.properties()) {
        auto const known = knownKeys().find(property.key);
        if (known != knownKeys().end() && known->second.section == &section) {
            last = property.key.data();
        }
    }
    return last != nullptr ? last : text.lastLine();
}

// Of one number of a section: its keys, or itself where none of several is there.
std::vector<Absence> absencesIn(const DefaultsText& text, const Section& section, uint32_t number,
                                const Wanted& isWanted) {
    std::vector<Absence> absences;
    std::size_t wanted = 0;
    vx::forEachSetting(section, [&](const Setting& setting) {
        std::string const key = keyOf(section, number, setting);
        wanted += isWanted(key) ? 1 : 0;
        if (isWanted(key) && text.find(key) == nullptr && !text.isLost(key)) {
            absences.push_back({&section, &setting, number, key, 1, nullptr});
        }
    });
    if (absences.size() == wanted && wanted > 1) {
        std::string const prefix = vx::Prefix(section, static_cast<int>(number)).string();
        absences = {{&section, nullptr, number, prefix, wanted, nullptr}};
    }
    return absences;
}

// One absence in place of those of all numbers.
void joinNumbers(std::vector<Absence>& absences, const Section& section) {
    std::size_t keys = 0;
    vx::forEachSetting(section, [&](const Setting&) { ++keys; });
    std::size_t const all = keys * std::max(section.count, 1U);
    std::size_t absent = 0;
    for (const Absence& absence : absences) {
        absent += absence.keys;
    }
    if (absent == all && all > 1) {
        std::string const name = std::string(section.prefix) + (section.count > 0 ? "N." : "");
        absences = {{&section, nullptr, 0, name + " (" + section.title + ")", all, nullptr}};
    }
}

} // namespace

std::vector<Absence> absencesOf(const DefaultsText& text, const Wanted& isWanted) {
    std::vector<Absence> all;
    for (const Section* const section : vx::sections) {
        std::vector<Absence> absences;
        for (uint32_t number = 0; number == 0 || number < section->count; ++number) {
            auto const some = absencesIn(text, *section, number, isWanted);
            absences.insert(absences.end(), some.begin(), some.end());
        }
        joinNumbers(absences, *section);
        const char* const place = absences.empty() ? nullptr : lastOf(text, *section);
        for (Absence& absence : absences) {
            absence.place = place;
            all.push_back(absence);
        }
    }
    return all;
}

} // namespace tools
