#include "tools/stores/restore.h"

#include "common/files.h"
#include "settings/saved_files.h"
#include "store/psst_table.h"
#include "store/record_io.h"
#include "tools/base/forms.h"
#include "tools/blade/backup.h"
#include "tools/blade/members.h"
#include "tools/blade/place.h"
#include "tools/blade/store_files.h"
#include "tools/live/settings.h"
#include "upgrade/driver.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace tools {

namespace {

namespace fs = std::filesystem;

const char* const sequenceFile = psstFilePrimaryPaths[PSST_SEQUENCE_INDEX];

bool isOfVolume(const std::string& path, const char* volume) {
    return path.starts_with(volume);
}

// The order that keeps file, mirror and number in step: the mirrors are behind until the last two
// steps say that they are not.
std::vector<std::string> inOrder() {
    std::string const sequenceMirror = mirrorOf(sequenceFile);
    std::vector<std::string> paths;
    for (const char* const volume : {"/mnt/nand1", "/mnt/nand0", "/mnt/nand2"}) {
        std::ranges::copy_if(storeFiles(), std::back_inserter(paths), [&](const std::string& path) {
            return isOfVolume(path, volume) && path != sequenceFile && path != sequenceMirror;
        });
    }
    paths.push_back(sequenceMirror);
    paths.emplace_back(sequenceFile);
    return paths;
}

bool isThere(const Place& place, const std::string& path) {
    return place.statusOf(path).kind == FileKind::regular;
}

// What becomes of a file; null where it stays.
const char* actionOn(const std::string& path, const Place& backup, const Place& now) {
    FileStatus const wanted = backup.statusOf(path);
    FileStatus const found = now.statusOf(path);
    if (found.kind == FileKind::other) {
        throw std::runtime_error(now.nameOf(path) + " is no regular file");
    }
    if (wanted.kind == FileKind::missing) {
        return found.kind == FileKind::missing ? nullptr : "remove";
    }
    if (found.kind == FileKind::missing) {
        return "make";
    }
    bool const isSame = found.size == wanted.size && now.read(path) == backup.read(path);
    return isSame ? nullptr : "replace";
}

// By key; what cannot be read is left out, and remarked.
std::map<std::string, std::string> settingsOf(const Place& place, std::string& remark) {
    std::map<std::string, std::string> values;
    try {
        LiveConfiguration const live = liveSettings(place, "config.");
        for (auto const& [key, value] : live.settings) {
            values[key] = value;
        }
        for (const Unreadable& file : live.unreadable) {
            remark += "Not compared: " + file.reason + "\n";
        }
    } catch (const std::runtime_error& why) {
        remark += std::string("Not compared: ") + why.what() + "\n";
    }
    return values;
}

void compareSettings(const Place& backup, const Place& now, RestoreReport& report) {
    auto const restored = settingsOf(backup, report.remark);
    for (auto const& [key, value] : settingsOf(now, report.remark)) {
        auto const other = restored.find(key);
        if (other != restored.end() && other->second != value) {
            report.settings.push_back({key, value, other->second});
        }
    }
}

using Members = std::map<std::string, std::string>; // by path

Members membersOf(const Place& backup) {
    return bladeMembers(backup, false);
}

void requireSameBlade(const Members& backup, const Members& blade) {
    if (!backup.contains(identityMember) || !blade.contains(identityMember)) {
        return;
    }
    std::string const wanted = serialOf(backup.at(identityMember));
    std::string const serial = serialOf(blade.at(identityMember));
    if (!wanted.empty() && !serial.empty() && wanted != serial) {
        throw std::runtime_error("the backup is of blade " + printable(wanted) + ", this is " +
                                 printable(serial) + " (--force restores it all the same)");
    }
}

// Nothing is changed where either is unknown.
void compareVariables(const Members& backup, const Members& blade, RestoreReport& report) {
    if (!backup.contains(environmentMember) || blade.empty()) {
        return;
    }
    if (!blade.contains(environmentMember)) {
        report.remark += "Not restored: the boot environment, which cannot be read\n";
        report.isPartial = true;
        return;
    }
    std::map<std::string, RestoredVariable> changes;
    for (auto const& [name, value] : variablesOf(blade.at(environmentMember))) {
        changes[name] = {name, value, ""};
    }
    for (auto const& [name, value] : variablesOf(backup.at(environmentMember))) {
        changes[name].name = name;
        changes[name].restored = value;
    }
    for (auto const& [name, change] : changes) {
        if (change.live != change.restored) {
            report.variables.push_back(change);
        }
    }
}

[[noreturn]] void failOn(const fs::path& path) {
    throw std::system_error(errno, std::generic_category(), "cannot write " + path.string());
}

void replace(const fs::path& path, std::string_view content, mode_t mode) {
    if (vx::replaceFile(path.c_str(), content.data(), content.size(), mode) != 0) {
        failOn(path);
    }
    fs::permissions(path, static_cast<fs::perms>(mode)); // whatever the mask of the user's files is
}

void removeDurably(const fs::path& path) {
    if (vx::removeFile(path.c_str()) != 0 && errno != ENOENT) {
        failOn(path);
    }
}

uint64_t numberOf(const Place& place, const std::string& path) {
    PsstHeader header{};
    std::string const bytes = isThere(place, path) ? place.read(path, sizeof header) : "";
    std::memcpy(&header, bytes.data(), bytes.size());
    return vx::sequenceNumberOf(header);
}

// Puts the file's number ahead of every mirror's that there is or will be.
void leadMirrors(const Place& backup, const Place& now, const fs::path& folder) {
    std::string const mirror = mirrorOf(sequenceFile);
    uint64_t const ahead = 1 + std::max({numberOf(now, mirror), numberOf(backup, mirror),
                                         numberOf(now, sequenceFile)});
    PsstHeader const header = vx::sequenceHeader(ahead);
    replace(onVolumes(folder, sequenceFile),
            {reinterpret_cast<const char*>(&header), sizeof header}, vx::storeFileMode);
}

// Whether or not a restore that was cut got to a file, it may have left its temporary one.
void put(const std::string& path, const Place& backup, const Place& now, const fs::path& folder) {
    fs::path const target = onVolumes(folder, path);
    vx::removeTemporary(target.c_str());
    const char* const action = actionOn(path, backup, now);
    if (action == nullptr) {
        return;
    }
    if (isThere(backup, path)) {
        replace(target, backup.read(path), static_cast<mode_t>(backup.statusOf(path).mode));
    } else {
        removeDurably(target);
    }
}

void requireVolumes(const fs::path& folder, const Place& now) {
    for (const char* const volume : volumes) {
        if (folder == "/mnt" && !now.hasVolume(volume)) {
            throw std::runtime_error(std::string(volume) + " is not mounted");
        }
    }
}

// Reads the whole backup, so that every sum is compared.
void requireWhole(const Place& backup) {
    for (const std::string& path : backup.files()) {
        (void)backup.read(path);
    }
    (void)membersOf(backup);
}

RestoreReport compare(const Place& backup, const Place& now, const Members& ofBlade) {
    RestoreReport report;
    compareSettings(backup, now, report);
    compareVariables(membersOf(backup), ofBlade, report);
    for (const std::string& path : inOrder()) {
        if (const char* const action = actionOn(path, backup, now)) {
            report.files.push_back({action, path});
        }
    }
    return report;
}

void putFiles(const Place& backup, const Place& now, const fs::path& folder) {
    leadMirrors(backup, now, folder);
    for (const std::string& path : inOrder()) {
        put(path, backup, now, folder);
    }
}

void putVariables(const RestoreReport& report) {
    VariableValues changes;
    for (auto const& [name, live, restored] : report.variables) {
        changes.emplace_back(name, restored);
    }
    if (!changes.empty()) {
        setVariables(changes, false);
    }
}

bool isNothing(const RestoreReport& report) {
    return report.files.empty() && report.variables.empty();
}

} // namespace

RestoreReport restoreBackup(const fs::path& backup, const fs::path& folder,
                            const RestoreOptions& options) {
    bool const isBlade = folder == "/mnt";
    vx::Descriptor const turn = isBlade && !options.isDry ? vx::waitForTurn() : vx::Descriptor();
    auto const from = openBackup(backup);
    auto const now = openFolder(folder);
    requireWhole(*from);
    requireVolumes(folder, *now);
    Members const ofBlade = isBlade ? bladeMembers(*now, true) : Members();
    if (!options.isForced) {
        requireSameBlade(membersOf(*from), ofBlade);
    }
    RestoreReport report = compare(*from, *now, ofBlade);
    if (options.isDry || (isNothing(report) && !isThere(*now, restoreNote))) {
        return report;
    }
    fs::path const note = onVolumes(folder, restoreNote);
    vx::removeTemporary(note.c_str());
    replace(note, backup.filename().string() + "\n", vx::plainFileMode);
    putFiles(*from, *now, folder);
    putVariables(report);
    removeDurably(note);
    return report;
}

void printText(const RestoreReport& report) {
    for (auto const& [key, live, restored] : report.settings) {
        std::printf("%s: \"%s\" -> \"%s\"\n", key.c_str(), printable(live).c_str(),
                    printable(restored).c_str());
    }
    for (auto const& [name, live, restored] : report.variables) {
        std::printf("boot environment: %s: \"%s\" -> \"%s\"\n", printable(name).c_str(),
                    printable(live).c_str(), printable(restored).c_str());
    }
    for (auto const& [action, path] : report.files) {
        std::printf("%-7s %s\n", action, path.c_str());
    }
    if (!report.remark.empty()) {
        std::printf("%s", report.remark.c_str());
    }
    std::printf("%zu settings and %zu files differ\n", report.settings.size(), report.files.size());
}

Json toJson(const RestoreReport& report) {
    Json document = {
        {"settings", Json::array()}, {"variables", Json::array()}, {"files", Json::array()}};
    for (auto const& [key, live, restored] : report.settings) {
        document["settings"].push_back({{"key", key}, {"live", live}, {"restored", restored}});
    }
    for (auto const& [name, live, restored] : report.variables) {
        document["variables"].push_back({{"name", name}, {"live", live}, {"restored", restored}});
    }
    for (auto const& [action, path] : report.files) {
        document["files"].push_back({{"file", path}, {"action", action}});
    }
    document["remark"] = report.remark;
    return document;
}

} // namespace tools
