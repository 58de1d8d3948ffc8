#include "tools/defaults/lint.h"

#include "props/property_pass.h"
#include "settings/loading.h"
#include "settings/table.h"
#include "tools/base/forms.h"
#include "tools/base/values.h"
#include "tools/defaults/absences.h"
#include "tools/defaults/keys.h"

#include <vxblade/props.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <span>
#include <tuple>

namespace tools {

namespace {

using vx::Meaning;
using vx::Property;
using vx::Section;
using vx::Setting;

std::string linesText(std::size_t count) {
    return count == 1 ? "" : " (" + std::to_string(count) + " lines)";
}

// What is to be the same, or different, throughout a file.
struct Identity {
    Meaning meaning;
    const char* name;
};
constexpr Identity identities[] = {
    {Meaning::mac, "MAC address"},
    {Meaning::address, "address"},
    {Meaning::worldWideName, "world-wide name"},
    {Meaning::ipv6, "IPv6 address"},
};

class Linter {
  public:
    Linter(const DefaultsText& text, Lint& lint) : text_(text), lint_(lint) {}

    void run() {
        lint_.findings = text_.faults();
        if (text_.properties().empty() && text_.faults().empty()) {
            add(checks::empty, text_.lastLine(), "no properties");
            return;
        }
        examineKeys();
        examineValues();
        examineSubnets();
        addMissing();
        if (text_.isText()) {
            examineLines();
        }
        if (text_.faults().empty()) {
            examineSeal();
        }
    }

  private:
    void add(const Check& check, const char* place, std::string message, std::string hint = "") {
        lint_.findings.push_back(
            {&check, text_.positionOf(place), std::move(message), std::move(hint)});
    }

    [[nodiscard]] std::string lineOf(const char* place) const {
        return "line " + std::to_string(text_.positionOf(place).line);
    }

    // --- Keys.

    void examineKeys();
    void addRepeated(const Property& property, const Property& first);
    void addUnknown(const Property& property);
    void addUnknowns();
    void examineChassis(const Property& property);
    void addMissing();

    // --- Values.

    void examineValues();
    void examineIdentity(const KnownKey& known, const Property& property);
    void examineVersion(const KnownKey& known, const Property& property);
    void examineSubnets();
    // The first address of a meaning that is right; null where there is none.
    [[nodiscard]] const Property* findAddress(const Section& section, uint32_t number,
                                              Meaning meaning, uint32_t& address) const;
    void examineSubnet(const Section& section, uint32_t number);

    // --- Seal and lines.

    void examineSeal();
    void examineLines();
    void examineLineEnds();

    struct Unknowns {
        UnknownKey why;
        const char* place;
        std::size_t lines;
    };

    const DefaultsText& text_;
    Lint& lint_;
    std::vector<Unknowns> unknown_;               // by subject
    std::map<std::string, std::size_t> subjects_; // their places in unknown_
    std::set<std::string> intended_;              // keys that unknown ones were meant to be
    std::set<const char*> wrong_;                 // values whose form is wrong
    std::map<std::pair<Meaning, std::string>, const Property*> identities_;
    const Property* chassis_ = nullptr;
};

void Linter::examineKeys() {
    for (const Property& property : text_.properties()) {
        const Property& first = *text_.find(property.key);
        if (property.key == sealKey) {
            continue;
        }
        if (&first != &property) {
            addRepeated(property, first);
        } else if (property.key.starts_with(vx::chassisPrefix)) {
            examineChassis(property);
        } else if (!isOtherKey(property.key) && !knownKeys().contains(property.key)) {
            addUnknown(property);
        }
    }
    addUnknowns();
}

void Linter::addRepeated(const Property& property, const Property& first) {
    add(checks::repeatedKey, property.key.data(),
        std::string(property.key) + " is repeated: the value of " + lineOf(first.key.data()) +
            " counts, " + inQuotes(first.value));
}

void Linter::addUnknown(const Property& property) {
    UnknownKey const why = explainUnknown(property.key, [&](const std::string& known) {
        return text_.find(known) == nullptr && !intended_.contains(known);
    });
    intended_.insert(why.intended);
    auto const [known, isNew] = subjects_.emplace(why.subject, unknown_.size());
    if (isNew) {
        unknown_.push_back({why, property.key.data(), 0});
    }
    ++unknown_[known->second].lines;
}

void Linter::addUnknowns() {
    static constexpr std::pair<const Check*, const char*> texts[] = {
        {&checks::unknownNumber, "no such number: "},
        {&checks::unknownSection, "unknown section "},
        {&checks::otherSection, "key of another section: "},
        {&checks::otherCase, "in another case: "},
        {&checks::unknownKey, "unknown key "},
    };
    for (const Unknowns& unknown : unknown_) {
        const UnknownKey& why = unknown.why;
        const char* const text = std::ranges::find_if(texts, [&](auto const& t) {
                                     return t.first == why.check;
                                 })->second;
        add(*why.check, unknown.place,
            text + why.subject + "; a blade does not read it" + linesText(unknown.lines), why.hint);
    }
}

// A chassis name's key may be any; of several the last counts.
void Linter::examineChassis(const Property& property) {
    constexpr std::size_t longest = 63;
    if (chassis_ != nullptr) {
        add(checks::repeatedKey, property.key.data(),
            "another chassis name: it counts, not that of " + lineOf(chassis_->key.data()));
    }
    chassis_ = &property;
    if (property.value.size() > longest) {
        add(property.value.size() < vx::propertyBufferSize ? checks::longText : checks::longValue,
            property.value.data(),
            std::to_string(property.value.size()) +
                " characters do not fit 63; a blade reads the first 63");
    }
}

void Linter::addMissing() {
    auto const absences =
        absencesOf(text_, [this](const std::string& key) { return !intended_.contains(key); });
    for (const Absence& absence : absences) {
        bool const isKey = absence.setting != nullptr;
        add(isKey ? checks::missingKey : checks::missingSection, absence.place,
            absence.name + " is missing" +
                (isKey ? "" : ", " + std::to_string(absence.keys) + " keys") + ": " +
                absentMeaning(*absence.section, absence.setting));
    }
    bool const isMeant = std::ranges::any_of(
        intended_, [](const std::string& key) { return key.starts_with(vx::chassisPrefix); });
    if (chassis_ == nullptr && !isMeant && text_.faults().empty()) {
        add(checks::missingSection, text_.lastLine(),
            std::string(vx::chassisPrefix) + " is missing: the chassis name is then empty");
    }
}

void Linter::examineValues() {
    for (const Property& property : text_.properties()) {
        auto const known = knownKeys().find(property.key);
        if (known == knownKeys().end() || text_.find(property.key) != &property) {
            continue;
        }
        KnownKey const& key = known->second;
        bool isRight = true;
        for (ValueFinding& found : examineValue(*key.setting, key.number, property.value)) {
            isRight = isRight && found.check->severity != Severity::error;
            add(*found.check, property.value.data() + found.offset, std::move(found.message),
                std::move(found.hint));
        }
        if (isRight) {
            examineIdentity(key, property);
            examineVersion(key, property);
        } else {
            wrong_.insert(property.value.data());
        }
    }
}

void Linter::examineIdentity(const KnownKey& known, const Property& property) {
    auto const identity = std::ranges::find(identities, known.setting->meaning, &Identity::meaning);
    std::string const value =
        valueOf(*known.setting, readAs(*known.setting, property.value).data());
    if (identity == std::end(identities) || value.find_first_not_of("0.") == std::string::npos) {
        return; // zero is none
    }
    auto const [first, isNew] = identities_.emplace(std::pair(identity->meaning, value), &property);
    if (!isNew) {
        add(checks::sameIdentity, property.value.data(),
            std::string("the same ") + identity->name + " as " + std::string(first->second->key) +
                ", " + lineOf(first->second->key.data()));
    }
}

void Linter::examineVersion(const KnownKey& known, const Property& property) {
    bool const isFiles = known.section == &vx::versionSection;
    if (known.setting->meaning == Meaning::version && !isFiles && !lint_.version.empty() &&
        property.value != lint_.version) {
        add(checks::otherVersion, property.value.data(),
            inQuotes(property.value) + " is not the file's version, " + inQuotes(lint_.version));
    }
}

const Property* Linter::findAddress(const Section& section, uint32_t number, Meaning meaning,
                                    uint32_t& address) const {
    const Property* found = nullptr;
    vx::forEachSetting(section, [&](const Setting& setting) {
        const Property* const property = setting.meaning == meaning && found == nullptr
                                             ? text_.find(keyOf(section, number, setting))
                                             : nullptr;
        if (property != nullptr && !wrong_.contains(property->value.data())) {
            found = property;
            std::memcpy(&address, readAs(setting, property->value).data() + setting.offset,
                        sizeof address);
        }
    });
    return found;
}

void Linter::examineSubnets() {
    vx::forEachSection(vx::sections, [this](const Section& section, uint32_t number) {
        examineSubnet(section, number);
    });
}

void Linter::examineSubnet(const Section& section, uint32_t number) {
    uint32_t address = 0;
    uint32_t mask = 0;
    uint32_t gateway = 0;
    if (findAddress(section, number, Meaning::address, address) == nullptr ||
        findAddress(section, number, Meaning::mask, mask) == nullptr) {
        return;
    }
    const Property* const last = findAddress(section, number, Meaning::gateway, gateway);
    if (last != nullptr && address != 0 && gateway != 0 && ((address ^ gateway) & mask) != 0) {
        add(checks::gateway, last->value.data(),
            inQuotes(last->value) + " is outside the subnet of " +
                vx::Prefix(section, static_cast<int>(number)).string() + "IpAddr");
    }
}

void Linter::examineSeal() {
    const Property* first = text_.find(sealKey);
    bool const isWhole = std::ranges::none_of(lint_.findings, [](const Finding& finding) {
        return finding.check == &checks::longValue; // it ends the seal's reach
    });
    if (first == nullptr) {
        if (!intended_.contains(std::string(sealKey))) {
            add(checks::sealMissing, text_.lastLine(), "the seal is missing",
                "vxcfg seal writes it");
        }
        return;
    }
    const Property* last = first;
    for (const Property& property : text_.properties()) {
        if (property.key == sealKey && &property != first) {
            add(checks::sealRepeated, property.key.data(),
                "another seal: the last one counts, the first is in " + lineOf(first->key.data()));
            last = &property;
        }
    }
    std::string_view digits = last->value;
    digits.remove_prefix(digits.starts_with("0x") || digits.starts_with("0X") ? 2 : 0);
    if (digits.empty() || digits.size() > 8 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos) {
        add(checks::sealMalformed, last->value.data(),
            inQuotes(last->value) + " is no seal of eight hexadecimal digits",
            "vxcfg seal writes it");
    } else if (isWhole && lint_.storedSeal != lint_.computedSeal) {
        add(checks::sealWrong, last->value.data(),
            "the seal is " + sealDigits(lint_.storedSeal) + ", the properties give " +
                sealDigits(lint_.computedSeal),
            "vxcfg seal writes it");
    }
}

void Linter::examineLines() {
    examineLineEnds();
    std::string_view const text = text_.text();
    std::size_t count = 0;
    const char* first = nullptr;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size());
        std::string_view line = text.substr(begin, end - begin);
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        std::size_t const used = line.find_last_not_of(" \t\r") + 1;
        if (used != 0 && used != line.size() && count++ == 0) {
            first = line.data() + used;
        }
        begin = end + 1;
    }
    if (count > 0) {
        add(checks::blanksAtEnd, first, "blanks at the end of the line" + linesText(count));
    }
    if (!text.ends_with('\n') && !text_.isCutShort()) {
        add(checks::lastLine, text_.lastLine(), "the last line does not end with a line feed");
    }
}

void Linter::examineLineEnds() {
    std::string_view const text = text_.text();
    std::size_t const firstEnd = text.find('\n');
    const auto isCrLf = [&](std::size_t end) { return end > 0 && text[end - 1] == '\r'; };
    for (std::size_t end = firstEnd; end != std::string_view::npos;
         end = text.find('\n', end + 1)) {
        if (isCrLf(end) != isCrLf(firstEnd)) {
            add(checks::lineEnds, text.data() + end - (isCrLf(end) ? 1 : 0),
                "line ends are mixed: CR LF and LF", "end lines with LF");
            return;
        }
    }
    if (firstEnd != std::string_view::npos && isCrLf(firstEnd)) {
        add(checks::lineEnds, text.data() + firstEnd - 1, "lines end with CR LF",
            "end lines with LF");
    }
}

} // namespace

std::string sealDigits(uint32_t seal) {
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08x", seal);
    return text.data();
}

Lint lint(const DefaultsText& text) {
    VersionBlock const version = versionOf(text.handle());
    unsigned long stored = 0;
    unsigned long computed = 0;
    (void)propGetCrc(text.handle(), &stored, &computed);
    Lint lint{version.version,
              version.product,
              text.propertiesRead(),
              static_cast<uint32_t>(computed),
              static_cast<uint32_t>(stored),
              text.find(sealKey) != nullptr,
              {}};
    Linter(text, lint).run();
    sortByPlace(lint.findings);
    return lint;
}

std::size_t countOf(const Findings& findings, Severity severity) {
    return static_cast<std::size_t>(std::ranges::count_if(
        findings, [=](const Finding& finding) { return finding.check->severity == severity; }));
}

void sortByPlace(Findings& findings) {
    std::ranges::stable_sort(findings, {}, &Finding::place);
}

bool isOfSeal(const Finding& finding) {
    static constexpr const Check* ofSeal[] = {&checks::sealMissing, &checks::sealWrong,
                                              &checks::sealMalformed, &checks::sealRepeated};
    return std::ranges::find(ofSeal, finding.check) != std::end(ofSeal);
}

bool isOfText(const Finding& finding) {
    static constexpr const Check* ofText[] = {
        &checks::grammar,   &checks::empty,     &checks::repeatedKey,  &checks::longValue,
        &checks::noVersion, &checks::sealWrong, &checks::sealMalformed};
    return std::ranges::find(ofText, finding.check) != std::end(ofText);
}

} // namespace tools
