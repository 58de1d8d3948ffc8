#include "tools/defaults/release_diff.h"

#include "settings/loading.h"
#include "tools/base/forms.h"
#include "tools/base/values.h"
#include "tools/defaults/absences.h"
#include "tools/defaults/lint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace tools {

namespace {

using vx::Rule;
using vx::Section;
using vx::Setting;

// Versions are compared part by part, as numbers where both are.
bool isOlder(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        std::string const left(a.substr(0, a.find('.')));
        std::string const right(b.substr(0, b.find('.')));
        if (left != right) {
            bool const areNumbers =
                (left + right).find_first_not_of("0123456789") == std::string::npos &&
                !left.empty() && !right.empty();
            return areNumbers && left.size() != right.size() ? left.size() < right.size()
                                                             : left < right;
        }
        a.remove_prefix(std::min(left.size() + 1, a.size()));
        b.remove_prefix(std::min(right.size() + 1, b.size()));
    }
    return a.empty() && !b.empty();
}

// Read by the programs that ask for it, from the file itself.
bool isReadFromFile(const Section& section) {
    return section.record == nullptr && section.keepsAbsent;
}

bool isMergedIn(const Section& section, uint32_t number, const Setting& setting) {
    return number < section.merge.count && setting.rule != Rule::loadedOnly;
}

std::string reachOf(const Section& section, uint32_t number, const Setting& setting) {
    if (isReadFromFile(section)) {
        return "programs that ask for it";
    }
    if (!isMergedIn(section, number, setting)) {
        return "new blades";
    }
    const Section& into = **std::ranges::find(vx::sections, section.merge.into,
                                              [](const Section* other) { return other->record; });
    std::string const record = std::string(into.prefix) + (into.count > 0 ? "N." : "");
    return record + (!vx::isLoaded(setting) ? ", not of new blades"
                     : &into != &section    ? ", and new blades"
                                            : "");
}

std::string joined(const std::vector<uint32_t>& numbers) {
    std::string text;
    for (uint32_t const number : numbers) {
        text += (text.empty() ? "" : ",") + std::to_string(number);
    }
    return numbers.size() == 1 ? text : '{' + text + '}';
}

std::string nameOf(const ChangedDefault& change) {
    bool const areAll = change.numbers.size() == change.section->count && change.numbers.size() > 1;
    return change.section->prefix +
           (change.section->count == 0 ? "" : (areAll ? "N" : joined(change.numbers)) + '.') +
           change.setting->key;
}

class Comparison {
  public:
    Comparison(const DefaultsText& oldText, const DefaultsText& newText, ReleaseDiff& diff)
        : old_(oldText), new_(newText), diff_(diff) {}

    void run() {
        vx::forEachSection(vx::sections, [this](const Section& section, uint32_t number) {
            if (&section != &vx::versionSection) {
                vx::forEachSetting(
                    section, [&](const Setting& setting) { compare(section, number, setting); });
            }
        });
        compareChassis();
        for (ChangedDefault& change : diff_.changes) {
            if (change.section != nullptr) {
                change.name = nameOf(change);
                examine(change);
            }
        }
        examineDropped();
        examineVersions();
    }

  private:
    void add(const Check& check, const char* place, std::string message, std::string hint = "") {
        diff_.findings.push_back(
            {&check, new_.positionOf(place), std::move(message), std::move(hint)});
    }

    [[nodiscard]] static std::optional<std::string> valueIn(const vx::Property* property,
                                                            const Setting& setting) {
        return property == nullptr
                   ? std::nullopt
                   : std::optional(valueOf(setting, readAs(setting, property->value).data()));
    }

    // The value's place in the new file, or where it would be.
    [[nodiscard]] const char* placeOf(std::string_view key) const {
        const vx::Property* const property = new_.find(key);
        return property != nullptr ? property->value.data() : new_.lastLine();
    }

    void compare(const Section& section, uint32_t number, const Setting& setting);
    void compareChassis();
    void examine(const ChangedDefault& change);
    void examineGige(const ChangedDefault& change);
    void examineDropped();
    void examineVersions();

    const DefaultsText& old_;
    const DefaultsText& new_;
    ReleaseDiff& diff_;
};

void Comparison::compare(const Section& section, uint32_t number, const Setting& setting) {
    std::string const key = keyOf(section, number, setting);
    const vx::Property* const was = old_.find(key);
    const vx::Property* const is = new_.find(key);
    auto const oldRecord = readAs(setting, was != nullptr ? was->value : "");
    auto const newRecord = readAs(setting, is != nullptr ? is->value : "");
    bool const isLost = is == nullptr && new_.isLost(key);
    if (isLost || vx::valuesEqual(setting, oldRecord.data(), newRecord.data())) {
        return;
    }
    ChangedDefault change{&section,
                          &setting,
                          {number},
                          {key},
                          key,
                          valueIn(was, setting),
                          valueIn(is, setting),
                          ruleOf(section, number, setting),
                          reachOf(section, number, setting)};
    auto const alike = std::ranges::find_if(diff_.changes, [&](const ChangedDefault& other) {
        return other.section == &section && other.setting == &setting && other.old == change.old &&
               other.now == change.now && other.rule == change.rule;
    });
    if (alike == diff_.changes.end()) {
        diff_.changes.push_back(std::move(change));
    } else {
        alike->numbers.push_back(number);
        alike->keys.push_back(key);
    }
}

// The last key that begins so counts.
std::optional<std::string> chassisName(const DefaultsText& text) {
    std::optional<std::string> name;
    for (const vx::Property& property : text.properties()) {
        if (property.key.starts_with(vx::chassisPrefix)) {
            std::string_view const value = text.find(property.key)->value;
            name = value.substr(0, std::tuple_size_v<vx::ChassisName> - 1);
        }
    }
    return name;
}

void Comparison::compareChassis() {
    auto const was = chassisName(old_);
    auto const is = chassisName(new_);
    if (was != is) {
        std::string const key = std::string(vx::chassisPrefix) + vx::chassisVariable;
        diff_.changes.push_back(
            {nullptr, nullptr, {}, {key}, key, was, is, "never merged", "new blades"});
    }
}

void Comparison::examine(const ChangedDefault& change) {
    const Setting& setting = *change.setting;
    bool const isVersion = setting.meaning == vx::Meaning::version;
    const char* const place = placeOf(change.keys.front());
    if (!change.now.has_value() || isVersion) {
        return; // a key that is dropped is another finding; a version is meant to change
    }
    if ((setting.roles & vx::guard) != 0 && setting.rule == Rule::loadedOnly) {
        add(checks::guardChanged, place,
            change.name + " changed: only new blades get the address, and on all others " +
                change.section->prefix + " is not merged from the next release on",
            "keep the address, or tell the field");
    } else if (!isMergedIn(*change.section, change.numbers.front(), setting)) {
        if (!isReadFromFile(*change.section)) {
            add(checks::neverMerged, place, change.name + " changed: only new blades get it");
        }
    } else if (setting.rule == Rule::forced) {
        add(checks::forcedChanged, place,
            change.name + " changed and is forced: values that users have set are lost");
    } else if (change.section == &vx::gigeSection) {
        examineGige(change);
    }
}

// The GigE merge comes after the iSCSI merge and works on the same records: what that leaves there
// may equal the old GigE default and moves on. Onto the old iSCSI default it must not come: once
// more merged, it would pass for untouched.
void Comparison::examineGige(const ChangedDefault& change) {
    for (uint32_t const number : change.numbers) {
        std::string const key = keyOf(vx::iscsiSection, number, *change.setting);
        auto const iscsi = valueIn(new_.find(key), *change.setting);
        if (iscsi.value_or("0") == change.old.value_or("0")) {
            add(checks::gigeIntoIscsi, placeOf(keyOf(vx::gigeSection, number, *change.setting)),
                "the old GigE default is the default of " + key + " too: that becomes " +
                    *change.now + " in the field",
                "the GigE defaults are merged into the iSCSI ports");
        }
        auto const oldIscsi = valueIn(old_.find(key), *change.setting);
        if (change.now && oldIscsi.value_or("0") == *change.now) {
            add(checks::gigeIntoIscsi, placeOf(keyOf(vx::gigeSection, number, *change.setting)),
                "the new GigE default is the old default of " + key +
                    ": in a port that got it, an iSCSI merge takes it for untouched",
                "give the GigE setting another default");
        }
    }
}

void Comparison::examineDropped() {
    auto const wasThere = [this](const std::string& key) { return old_.find(key) != nullptr; };
    for (const Absence& absence : absencesOf(new_, wasThere)) {
        bool const isMerged = absence.section->merge.count > absence.number;
        add(checks::dropped, absence.place,
            absence.name + " is dropped" +
                (absence.setting == nullptr ? ", " + std::to_string(absence.keys) + " keys" : "") +
                ": " + absentMeaning(*absence.section, absence.setting) +
                (isMerged ? ", also in the field where nobody changed it" : ""));
    }
}

void Comparison::examineVersions() {
    const VersionBlock& was = diff_.old = versionOf(old_.handle());
    const VersionBlock& is = diff_.now = versionOf(new_.handle());
    const char* const version = placeOf("properties.file.version");
    if (vx::sameVersion(was, is)) {
        if (!diff_.changes.empty()) {
            add(checks::versionKept, version,
                "defaults changed, version and product did not: no blade merges them",
                "raise properties.file.version");
        }
        return;
    }
    if (isOlder(is.version, was.version)) {
        add(checks::olderVersion, version,
            inQuotes(is.version) + " is older than " + inQuotes(was.version));
    }
    if (std::string_view(was.product) != is.product) {
        add(checks::otherProduct, placeOf("properties.file.product"),
            "the product changed from " + inQuotes(was.product) + " to " + inQuotes(is.product));
    }
}

std::string shown(const std::optional<std::string>& value) {
    return value.has_value() ? inQuotes(*value) : "(absent)";
}

} // namespace

ReleaseDiff compareReleases(const DefaultsText& oldText, const DefaultsText& newText) {
    ReleaseDiff diff;
    diff.findings = newText.faults();
    Comparison(oldText, newText, diff).run();
    sortByPlace(diff.findings);
    return diff;
}

void printChanges(const ReleaseDiff& diff) {
    std::size_t keys = 0;
    std::size_t width = 0;
    for (const ChangedDefault& change : diff.changes) {
        keys += change.keys.size();
        width = std::max(width, change.name.size());
    }
    std::printf("%s -> %s: %zu defaults changed\n", printable(diff.old.version).c_str(),
                printable(diff.now.version).c_str(), keys);
    for (const ChangedDefault& change : diff.changes) {
        std::printf("%-*s  %s -> %s  %s: %s\n", static_cast<int>(width), change.name.c_str(),
                    shown(change.old).c_str(), shown(change.now).c_str(), change.rule.c_str(),
                    change.reaches.c_str());
    }
}

Json jsonOf(const ReleaseDiff& diff) {
    const auto textOrNull = [](const std::optional<std::string>& text) {
        return text.has_value() ? Json(*text) : Json(nullptr);
    };
    Json changes = Json::array();
    for (const ChangedDefault& change : diff.changes) {
        for (const std::string& key : change.keys) {
            changes.push_back({{"key", key},
                               {"old", textOrNull(change.old)},
                               {"new", textOrNull(change.now)},
                               {"rule", change.rule},
                               {"reaches", change.reaches}});
        }
    }
    const auto release = [](const VersionBlock& block) {
        return Json{{"version", block.version}, {"product", block.product}};
    };
    return {{"old", release(diff.old)}, {"new", release(diff.now)}, {"changes", changes}};
}

} // namespace tools
