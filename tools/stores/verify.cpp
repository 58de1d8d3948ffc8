#include "tools/stores/verify.h"

#include "bootenv/copies.h"
#include "settings/saved_files.h"
#include "store/psst_table.h"
#include "tools/base/forms.h"
#include "tools/defaults/lint.h"
#include "tools/stores/restore.h"
#include "tools/stores/verify_records.h"
#include "tools/upgrades/last.h"
#include "upgrade/journal.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>
#include <span>
#include <stdexcept>
#include <string_view>

namespace tools {

namespace {

// --- The files beside the record files.

// What a defaults file holds. Whether its values are what they should be is the lint's own affair.
void checkDefaults(const Place& /*place*/, const std::string& content, VerifiedFile& file) {
    static constexpr const Check* ofText[] = {&checks::grammar, &checks::empty, &checks::sealWrong,
                                              &checks::sealMalformed};
    Lint const lint = tools::lint(DefaultsText(content));
    auto const isOfContent = [](const Finding& finding) {
        return std::ranges::find(ofText, finding.check) != std::end(ofText);
    };
    auto const first = std::ranges::find_if(lint.findings, isOfContent); // others follow from it
    file.content = "version " + (lint.version.empty() ? "(none)" : lint.version);
    if (first != lint.findings.end()) {
        file.find(first->check->name,
                  "line " + std::to_string(first->place.line) + ": " + first->message);
    } else if (lint.hasSeal) {
        file.content += ", sealed " + sealDigits(lint.storedSeal);
    } else {
        file.remark(checks::sealMissing.name, "has no seal: nobody can tell whether it is whole");
    }
}

void checkUnmerged(const Place& place, const std::string& content, VerifiedFile& file) {
    checkDefaults(place, content, file);
    file.find("unmerged", "an upgrade could not merge all: vxcfg merge does");
}

void checkJournal(const Place& /*place*/, const std::string& content, VerifiedFile& file) {
    static constexpr const char* phases[] = {"", "merging", "the iSCSI ports are merged",
                                             "merged, the saved copies may be torn",
                                             "merged by hand"};
    auto const journal = vx::journalOf(std::as_bytes(std::span(content)));
    auto const phase = static_cast<std::size_t>(journal.phase);
    if (journal.phase == vx::Phase::none) {
        file.find("torn",
                  "is torn: nobody knows how far an upgrade came; the next start merges all");
        return;
    }
    std::string_view const version(journal.version.version, sizeof journal.version.version);
    file.content =
        "upgrade to " + std::string(version.substr(0, version.find('\0'))) + ": " + phases[phase];
    file.find("unfinished-upgrade", "an upgrade is not finished: the next start goes on");
}

void checkReport(const Place& place, const std::string& /*content*/, VerifiedFile& file) {
    try {
        Account const last = lastUpgrade(place);
        file.content = last.oldRelease.version + " -> " + last.newRelease.version;
    } catch (const std::runtime_error&) {
        file.find("torn", "is no whole report of an upgrade");
    }
}

void checkMarks(const Place& /*place*/, const std::string& content, VerifiedFile& file) {
    constexpr uint64_t every = (uint64_t{2} << PSST_LAST_INDEX) - (uint64_t{1} << PSST_FIRST_INDEX);
    uint64_t marks = 0;
    if (content.size() != sizeof marks) {
        file.find("size",
                  std::to_string(content.size()) + " bytes instead of 8: all marks are lost");
        return;
    }
    std::memcpy(&marks, content.data(), sizeof marks);
    file.content = "changed since the last backup:";
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        bool const isFile = vx::psstFile(index).layout != vx::Layout::reserved;
        if (isFile && (marks >> index & 1) != 0) {
            std::string const path = psstFilePrimaryPaths[index];
            file.content += " " + path.substr(path.rfind('/') + 1);
        }
    }
    if ((marks & ~every) != 0) {
        file.find("marks", "marks files that do not exist");
    }
}

void checkErasing(const Place& /*place*/, const std::string& content, VerifiedFile& file) {
    bool const isWhole = content.size() == 9 && content.back() == '\n' &&
                         content.find_first_not_of("0123456789abcdef") == 8;
    if (isWhole) {
        file.content = "flash block at 0x" + content.substr(0, 8);
    } else {
        file.find("torn", "names no flash block");
    }
    file.find("erasing",
              "a save of the boot environment was cut in an erase: the next finishes it");
}

void checkRestoring(const Place& /*place*/, const std::string& content, VerifiedFile& file) {
    file.content = content.substr(0, content.find('\n'));
    file.find("restoring", "a restore is not finished: repeat it");
}

void checkCache(const Place& /*place*/, const std::string& content, VerifiedFile& file) {
    if (content.size() < sizeof(CacheParams)) {
        file.find("size",
                  std::to_string(content.size()) + " bytes, fewer than the parameters have");
    }
}

// Who looks at a content, and whether every store that was made has the file.
struct OtherFile {
    const char* path;
    const char* kind;
    void (*check)(const Place& place, const std::string& content, VerifiedFile& file); // or null
    bool isNeeded = false;
};
const OtherFile otherFiles[] = {
    {vx::savedPersonalityFiles[0], "reference of the next upgrade", checkDefaults, true},
    {vx::savedPersonalityFiles[1], "second copy of the reference", checkDefaults, true},
    {vx::unmergedPersonalityFile, "defaults that were not merged", checkUnmerged},
    {vx::upgradeJournal, "journal of an upgrade", checkJournal},
    {vx::upgradeReport, "report of the last upgrade", checkReport},
    {vx::backupMarks, "backup marks", checkMarks},
    {vx::bootenv::notePath, "note of an erase", checkErasing},
    {restoreNote, "note of a restore", checkRestoring},
    {psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_DATA], "cache parameters", checkCache},
    {VX_TELNET_CONFIG_PATH, "remote access", nullptr},
    {VX_SSH_CONFIG_PATH, "remote access", nullptr},
    {psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_FTP], "remote access", nullptr},
    {psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_MIGRATION_LOG], "another program's", nullptr},
    {psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_CLIENT_STORAGE], "another program's", nullptr},
    {psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_DRIVES], "another program's", nullptr},
    {psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_DRIVES_BACKUP], "another program's", nullptr},
};

void verifyOtherFile(const Place& place, const OtherFile& other, Verification& verification) {
    VerifiedFile file{other.path, other.kind, place.statusOf(other.path), {}, "", {}};
    try {
        auto const content = readNoting(place, file.path, file.status, file.notes);
        if (content && other.check != nullptr) {
            other.check(place, *content, file);
        }
    } catch (const std::exception& error) { // a text that no blade could hold
        file.find("unreadable", error.what());
    }
    if (file.status.kind == FileKind::missing && other.isNeeded) {
        file.find("missing", "is not there");
    }
    verification.files.push_back(std::move(file));
}

// Both copies are made of one file.
void compareReferences(const Place& place, const VerifiedFile& first, VerifiedFile& second) {
    try {
        bool const isEqual = place.read(first.path) == place.read(second.path);
        if (!isEqual && std::ranges::none_of(first.notes, &Note::isFinding)) {
            second.find("twin", "is not what the reference is");
        }
    } catch (const std::exception&) { // is a finding already
    }
}

// --- What else lies on the volumes.

// The files that a start moves aside: with the time after their names.
bool mayBeMovedAside(const std::string& path) {
    bool isOne = path == psstFilePrimaryPaths[vx::fileIndexOf(PSST_MIGRATION_PARAM)];
    for (const char* const* file = psstCfgFilesToDelete; *file != nullptr; ++file) {
        isOne = isOne || path == *file;
    }
    return isOne;
}

// The volumes that hold the store and nothing else; on the first one other programs keep files.
bool isOfStore(const std::string& path) {
    return !path.starts_with(std::string(volumes[0]) + "/");
}

VerifiedFile strangeFile(const Place& place, const std::string& path,
                         const std::set<std::string>& known) {
    VerifiedFile file{path, "unknown", place.statusOf(path), {}, "", {}};
    std::size_t const dot = path.rfind('.');
    std::string const stem = path.substr(0, dot);
    std::string const suffix = dot == std::string::npos ? "" : path.substr(dot);
    if ((suffix == ".new" || suffix == ".replacing") && known.contains(stem)) {
        file.kind = "leftover of a cut";
        file.remark("leftover", "a cut left it: the next replacement of its file removes it");
    } else if (suffix.size() > 1 && suffix.find_first_not_of("0123456789", 1) == suffix.npos &&
               mayBeMovedAside(stem)) {
        file.kind = "moved aside";
        file.remark("moved-aside", "a start could not use it and moved it aside");
    } else {
        file.notes.push_back({isOfStore(path), path, "unknown", "is no file of a store"});
    }
    return file;
}

void verifyTheRest(const Place& place, Verification& verification) {
    std::set<std::string> known;
    for (const VerifiedFile& file : verification.files) {
        known.insert(file.path);
        if (file.mirror) {
            known.insert(file.mirror->path);
        }
    }
    for (const std::string& path : place.files()) {
        if (!known.contains(path)) {
            verification.files.push_back(strangeFile(place, path, known));
        }
    }
}

void findVolume(const char* volume, std::string message, Verification& verification) {
    VerifiedFile file{volume, "volume", {}, {}, "", {}};
    file.find("volume", std::move(message));
    verification.files.push_back(std::move(file));
}

// --- Printing.

const char* wordOf(const VerifiedFile& file) {
    return std::ranges::any_of(file.notes, &Note::isFinding) ? "FOUND"
           : file.status.kind == FileKind::missing           ? "-"
                                                             : "ok";
}

std::string describe(const VerifiedFile& file) {
    std::string text =
        file.status.kind == FileKind::missing ? "not present"
        : file.status.kind == FileKind::other
            ? "no regular file"
            : std::to_string(file.status.size) + (file.status.size == 1 ? " byte" : " bytes");
    if (file.mirror && file.mirror->isCompared) {
        text += file.mirror->difference ? ", mirror differs" : ", mirror equal";
    }
    if (!std::string_view(file.kind).starts_with("record")) {
        text += std::string(", ") + file.kind;
    }
    return text + (file.content.empty() ? "" : ": " + file.content);
}

std::string plural(std::size_t count, const char* what) {
    return (count == 0 ? "no" : std::to_string(count)) + " " + what + (count == 1 ? "" : "s");
}

const char* newerOf(const Verification& verification) {
    auto const& [own, mirrored] = std::pair(verification.sequenceNumber, verification.mirrorNumber);
    return !own || !mirrored  ? nullptr
           : *own > *mirrored ? "files"
           : *own < *mirrored ? "mirrors"
                              : "neither";
}

std::string describeNumbers(const Verification& verification) {
    auto const shown = [](const std::optional<uint64_t>& number) {
        return number ? std::to_string(*number) : "none";
    };
    const char* const newer = newerOf(verification);
    return "sequence number " + shown(verification.sequenceNumber) + ", of the mirrors " +
           shown(verification.mirrorNumber) +
           (newer == nullptr || *newer == 'n' ? "" : std::string(": the ") + newer + " are newer");
}

Json jsonOf(const std::optional<uint64_t>& number) {
    return number ? Json(*number) : Json(nullptr);
}

Json sizeOf(const FileStatus& status) {
    return status.kind == FileKind::regular ? Json(status.size) : Json(nullptr);
}

Json jsonOf(const VerifiedMirror& mirror, const Place& place) {
    Json difference;
    if (mirror.difference) {
        difference = {{"offset", mirror.difference->offset},
                      {"where", mirror.difference->where},
                      {"file", mirror.difference->file},
                      {"mirror", mirror.difference->mirror}};
    }
    return {{"file", place.nameOf(mirror.path)},
            {"present", mirror.status.kind != FileKind::missing},
            {"size", sizeOf(mirror.status)},
            {"equal", mirror.isCompared ? Json(!mirror.difference) : Json(nullptr)},
            {"difference", difference}};
}

Json jsonOf(const VerifiedFile& file, const Place& place) {
    Json notes = Json::array();
    for (const Note& note : file.notes) {
        notes.push_back({{"file", place.nameOf(note.path)},
                         {"severity", note.isFinding ? "finding" : "remark"},
                         {"check", note.check},
                         {"message", note.message}});
    }
    return {{"file", place.nameOf(file.path)},
            {"kind", file.kind},
            {"present", file.status.kind != FileKind::missing},
            {"size", sizeOf(file.status)},
            {"content", file.content.empty() ? Json(nullptr) : Json(file.content)},
            {"mirror", file.mirror ? jsonOf(*file.mirror, place) : Json(nullptr)},
            {"notes", notes}};
}

} // namespace

std::size_t Verification::count(bool isFinding) const {
    std::size_t sum = 0;
    for (const VerifiedFile& file : files) {
        sum +=
            static_cast<std::size_t>(std::ranges::count(file.notes, isFinding, &Note::isFinding));
    }
    return sum;
}

Verification verifyStore(const Place& place) {
    if (!place.hasVolume(volumes[1])) {
        throw std::runtime_error(place.nameOf(volumes[1]) + " is not there or not mounted");
    }
    Verification verification;
    verifyRecordFiles(place, verification);
    for (const OtherFile& other : otherFiles) {
        bool const isHere = place.hasVolume(
            std::string(other.path).substr(0, std::string_view(other.path).rfind('/')));
        if (isHere) {
            verifyOtherFile(place, other, verification);
        }
        if (isHere && other.path == std::string_view(vx::savedPersonalityFiles[1])) {
            compareReferences(place, verification.files.end()[-2], verification.files.back());
        }
    }
    for (const char* const volume : volumes) {
        if (!place.hasVolume(volume)) {
            findVolume(volume, "is not there or not mounted", verification);
        }
    }
    try {
        verifyTheRest(place, verification);
    } catch (const std::exception& error) {
        findVolume("/mnt", error.what(), verification);
    }
    return verification;
}

void printText(const Verification& verification, const Place& place) {
    auto const present = std::ranges::count_if(verification.files, [](const VerifiedFile& file) {
        return file.status.kind != FileKind::missing;
    });
    std::printf("%s, %s in %s; %s\n", plural(verification.count(true), "finding").c_str(),
                plural(verification.count(false), "remark").c_str(),
                plural(static_cast<std::size_t>(present), "file").c_str(),
                describeNumbers(verification).c_str());
    for (const VerifiedFile& file : verification.files) {
        std::printf("%-5s %-46s %s\n", wordOf(file), printable(place.nameOf(file.path)).c_str(),
                    printable(describe(file)).c_str());
        for (const Note& note : file.notes) {
            std::printf("      %s: %s: %s\n", note.isFinding ? "finding" : "remark",
                        printable(place.nameOf(note.path)).c_str(),
                        printable(note.message).c_str());
        }
    }
}

Json toJson(const Verification& verification, const Place& place) {
    const char* const newer = newerOf(verification);
    Json files = Json::array();
    for (const VerifiedFile& file : verification.files) {
        files.push_back(jsonOf(file, place));
    }
    return {{"findings", verification.count(true)},
            {"remarks", verification.count(false)},
            {"sequence",
             {{"files", jsonOf(verification.sequenceNumber)},
              {"mirrors", jsonOf(verification.mirrorNumber)},
              {"newer", newer == nullptr ? Json(nullptr) : Json(newer)}}},
            {"files", files}};
}

} // namespace tools
