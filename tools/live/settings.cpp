#include "tools/live/settings.h"

#include "props/property_pass.h"
#include "settings/table.h"
#include "store/mirror_refresh.h"
#include "tools/base/forms.h"
#include "tools/base/silence.h"
#include "tools/base/values.h"
#include "tools/blade/open_place.h"
#include "tools/defaults/keys.h"
#include "upgrade/driver.h"

#include <vxblade/pmgr.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace tools {

namespace {

using vx::Section;
using vx::Setting;
using vx::Type;

constexpr const char* storeVolume = "/mnt/nand1";
constexpr const char* mirrorVolume = "/mnt/nand2";

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what);
}

void requireVolume(const Place& place, const std::string& volume) {
    if (!place.hasVolume(volume)) {
        fail(place.nameOf(volume) + " is not mounted");
    }
}

std::string configurationFile(Side side = Side::files) {
    return pathOf(PSST_CONFIG_INDEX, side);
}

void requireStore(const Place& place, Side side) {
    if (place.statusOf(configurationFile(side)).kind == FileKind::missing) {
        fail("no store: " + place.nameOf(configurationFile(side)) + " is missing");
    }
}

// --- Reading.

// True where the section has keys that begin so; passwords must be asked for.
bool isWanted(const Section& section, uint32_t number, const std::string& prefix) {
    if (&section == &vx::passwordSection && !prefix.starts_with(section.prefix)) {
        return false;
    }
    bool wanted = false;
    vx::forEachSetting(section, [&](const Setting& setting) {
        wanted = wanted || keyOf(section, number, setting).starts_with(prefix);
    });
    return wanted;
}

void addUnreadable(std::vector<Unreadable>& all, const Section& section, const std::string& file,
                   const std::string& reason) {
    auto known = std::ranges::find(all, file, &Unreadable::file);
    if (known == all.end()) {
        all.push_back({file, reason, {}});
        known = all.end() - 1;
    }
    if (known->sections.empty() || known->sections.back() != section.prefix) {
        known->sections.emplace_back(section.prefix);
    }
}

// --- Keys.

KnownKey keyFor(const std::string& key) {
    auto const known = knownKeys().find(key);
    if (known == knownKeys().end()) {
        std::string const meant =
            explainUnknown(key, [](const std::string&) { return false; }).intended;
        fail(
            "no such setting: " + key +
            (meant.empty() ? " (\"vxcfg settings\" lists them)" : "; did you mean " + meant + "?"));
    }
    return known->second;
}

// --- Values.

bool isHexadecimal(const std::string& digits) {
    return !digits.empty() &&
           std::ranges::all_of(digits, [](unsigned char c) { return std::isxdigit(c) != 0; });
}

// What a user may write, as defaults files have it: without blanks around it and without "0x".
std::string plainValue(const Setting& setting, std::string value) {
    if (setting.type == Type::string) {
        return value;
    }
    value.erase(0, value.find_first_not_of(' '));
    value.erase(value.find_last_not_of(' ') + 1);
    if (!value.starts_with("0x") && !value.starts_with("0X")) {
        return value;
    }
    std::string digits = value.substr(2);
    if (setting.type == Type::hex) {
        return digits;
    }
    constexpr std::size_t longest = 2 * sizeof(uint32_t);
    bool const isNumber = setting.type <= Type::number32 && isHexadecimal(digits);
    return isNumber && digits.size() <= longest ? std::to_string(std::stoul(digits, nullptr, 16))
                                                : value;
}

// Which values are taken, in words.
std::string acceptedBy(const Setting& setting) {
    if (setting.meaning == vx::Meaning::ownNumber) {
        return "the number of its section";
    }
    std::string const range = rangeOf(setting);
    std::string const digits = std::to_string(2 * setting.size) + " hexadecimal digits";
    return setting.type != Type::hex               ? range
           : setting.meaning == vx::Meaning::plain ? digits
                                                   : range + " of " + digits;
}

// Throws unless the setting and a line of a defaults file can hold the value; what else there is to
// say about it.
std::vector<std::string> examine(const KnownKey& known, const std::string& key,
                                 const std::string& value) {
    std::string const takes = key + " takes " + acceptedBy(*known.setting);
    if (value.find('"') != std::string::npos) {
        fail("a value holds no quote, as defaults files have none in theirs; " + takes);
    }
    std::vector<std::string> warnings;
    for (const ValueFinding& finding : examineValue(*known.setting, known.number, value)) {
        if (finding.check == &checks::control) {
            fail("a value holds no control character; " + takes);
        }
        if (finding.check->severity == Severity::error) {
            fail(takes + ", not " + inQuotes(value));
        }
        if (finding.check != &checks::leadingZeros) {
            warnings.push_back(finding.message);
        }
    }
    return warnings;
}

// A value in a record without another setting, as it is shown.
std::string shownValue(const Setting& setting, const std::string& value) {
    return valueOf(setting, readAs(setting, value).data());
}

// --- Writing.

// Whoever opens the store opens all its files for writing.
void requireWritable() {
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        const char* const path = psstFilePrimaryPaths[index];
        if (::faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) != 0 && errno != ENOENT) {
            fail(errno == EACCES || errno == EPERM
                     ? "permission denied: " + std::string(path) + " cannot be written by this user"
                     : "cannot write " + std::string(path) + ": " + std::strerror(errno));
        }
    }
}

void requireUsable(const Place& place) {
    requireVolume(place, storeVolume);
    requireStore(place, Side::files);
    requireWritable();
    if (std::string const why = whyUnusable(place); !why.empty()) {
        fail("the store cannot be used: " + why);
    }
}

bool areEqual(const Place& place, int fileIndex, std::size_t begin, std::size_t size) {
    try {
        std::string const file = place.read(pathOf(fileIndex, Side::files), begin + size);
        std::string const mirror = place.read(pathOf(fileIndex, Side::mirrors), begin + size);
        return mirror.size() < begin + size || file.substr(begin) == mirror.substr(begin);
    } catch (const std::exception&) {
        return true; // without a mirror there is nothing to do
    }
}

// True where a power cut left the mirror of a record, or of the sequence number, behind.
bool isMirrorBehind(const Place& place, const vx::RecordAccess& access, uint32_t number) {
    std::size_t const begin = placeOf(access, number).begin - access.offset;
    bool const areSame =
        areEqual(place, placeOf(access, number).fileIndex, begin, access.slotSize) &&
        areEqual(place, PSST_SEQUENCE_INDEX, 0, sizeof(PsstHeader));
    return !areSame && !vx::mirrorIsAhead();
}

void openStore() {
    if (vxpmgr_init_lite() != 0) {
        fail("the store under /mnt/nand1 cannot be used (--verbose says more)");
    }
}

void write(const KnownKey& known, const std::string& value) {
    const vx::RecordAccess& access = *known.section->record;
    Record record(access.size);
    std::array<char, vx::propertyBufferSize> text{};
    value.copy(text.data(), text.size() - 1);
    if (access.get(record.data(), known.number) != 0) {
        fail("the setting could not be read");
    }
    vx::convertValue(*known.setting, text.data(), record.data());
    if (access.put(record.data(), known.number) != 0) {
        fail("the setting could not be written");
    }
}

} // namespace

std::vector<std::string> liveKeys() {
    std::vector<std::string> keys;
    vx::forEachSection(vx::sections, [&](const Section& section, uint32_t number) {
        vx::forEachSetting(section, [&](const Setting& setting) {
            if (placeOf(section, number)) {
                keys.push_back(keyOf(section, number, setting));
            }
        });
    });
    return keys;
}

LiveConfiguration liveSettings(const Place& place, const std::string& prefix, Side side) {
    requireVolume(place, side == Side::files ? storeVolume : mirrorVolume);
    LiveRecords records(place, side);
    LiveConfiguration live;
    vx::forEachSection(vx::sections, [&](const Section& section, uint32_t number) {
        auto const record = placeOf(section, number);
        bool const hasSide = record && (side == Side::files || record->fileIndex != 0);
        if (!hasSide || !isWanted(section, number, prefix)) {
            return;
        }
        try {
            const Record& content = records.at(*record);
            vx::forEachSetting(section, [&](const Setting& setting) {
                std::string const key = keyOf(section, number, setting);
                if (key.starts_with(prefix)) {
                    live.settings.push_back({key, valueOf(setting, content.data())});
                }
            });
        } catch (const std::exception& error) {
            addUnreadable(live.unreadable, section, pathOf(record->fileIndex, side), error.what());
        }
    });
    if (live.settings.empty() && !live.unreadable.empty()) {
        requireStore(place, side);
    }
    return live;
}

LiveSetting liveSetting(const Place& place, const std::string& key, Side side) {
    KnownKey const known = keyFor(key);
    auto const record = placeOf(*known.section, known.number);
    if (!record || (side == Side::mirrors && record->fileIndex == 0)) {
        fail(record ? key + " has no mirror"
                    : "no store holds " + key + ": defaults files alone do");
    }
    requireVolume(place, side == Side::files ? storeVolume : mirrorVolume);
    try {
        return {key, valueOf(*known.setting, LiveRecords(place, side).at(*record).data())};
    } catch (const std::exception&) {
        requireStore(place, side);
        throw;
    }
}

SettingChange setConfiguration(const std::string& key, const std::string& text, bool isVerbose) {
    KnownKey const known = keyFor(key);
    if (known.section->record == nullptr || known.section->record->get == nullptr) {
        fail(key + " is no setting that can be changed in a store by itself");
    }
    std::string const plain = plainValue(*known.setting, text);
    std::vector<std::string> const warnings = examine(known, key, plain);
    std::string const value = shownValue(*known.setting, plain);
    auto const blade = openPlace("/mnt");
    requireUsable(*blade);
    vx::Descriptor const turn = vx::waitForTurn();
    const vx::RecordAccess& access = *known.section->record;
    std::string const before = liveSetting(*blade, key).value;
    bool const isNew = before != value;
    bool const isBehind = isMirrorBehind(*blade, access, known.number);
    if (isNew || isBehind) {
        Silence const silence(isVerbose);
        openStore();
        if (isNew) {
            write(known, value);
        } else {
            vx::refreshMirror(access.type, access.firstSlot + known.number, access.slotSize);
        }
        vx::refreshSequenceMirror();
    }
    return {key, before, value, !isNew && isBehind, warnings};
}

Json toJson(const LiveSetting& setting) {
    return {{"key", setting.key}, {"value", setting.value}};
}

Json toJson(const std::vector<Unreadable>& unreadable) {
    Json all = Json::array();
    for (const Unreadable& one : unreadable) {
        all.push_back({{"file", one.file}, {"reason", one.reason}, {"sections", one.sections}});
    }
    return all;
}

void report(const std::vector<Unreadable>& unreadable) {
    for (const Unreadable& one : unreadable) {
        std::string sections;
        for (const std::string& section : one.sections) {
            sections += (sections.empty() ? "" : ", ") + section;
        }
        std::fprintf(stderr, "vxcfg: %s: not shown: %s\n", one.reason.c_str(), sections.c_str());
    }
}

} // namespace tools
