// Whether the files of a store are what docs/store-format.md says, read from a place: nothing is
// opened as a store, and nothing is written.
//
// A finding is a file that is not what the format says or not what its twin is, one that a store
// needs and lacks, or one that tells of work that nobody has finished. A remark is what normal life
// leaves behind and costs nothing. Both name the file that they are about.
#pragma once

#include "tools/base/output.h"
#include "tools/blade/place.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tools {

struct Note {
    bool isFinding;
    std::string path;    // a blade's own
    const char* check;   // scripts know what was looked for by this name, which stays
    std::string message; // for people
};

// The first byte in which a mirror is not its file.
struct Difference {
    std::size_t offset; // bytes, from the start of the file
    std::string where;  // the setting's key, else the header's field or the record
    std::string file;   // the setting's value, else the byte, in either; empty after the end
    std::string mirror;
};

struct VerifiedMirror {
    std::string path;
    FileStatus status;
    std::optional<Difference> difference;
    bool isCompared = false; // both were there and could be read
};

struct VerifiedFile {
    std::string path; // a blade's own, as all paths here
    const char* kind;
    FileStatus status;
    std::optional<VerifiedMirror> mirror; // of record files
    std::string content;                  // what it holds, in words; empty where that is not known
    std::vector<Note> notes;              // on itself and its mirror

    void find(const char* check, std::string message) {
        notes.push_back({true, path, check, std::move(message)});
    }
    void remark(const char* check, std::string message) {
        notes.push_back({false, path, check, std::move(message)});
    }
};

struct Verification {
    std::vector<VerifiedFile> files;
    std::optional<uint64_t> sequenceNumber; // of the files and of their mirrors, where there is one
    std::optional<uint64_t> mirrorNumber;

    [[nodiscard]] std::size_t count(bool isFinding) const;
};

// Reads every file, one after the other. What cannot be read is a finding. Throws
// std::runtime_error where the volume of the store is not there.
[[nodiscard]] Verification verifyStore(const Place& place);

// A line of counts, then one for each file, and below it its notes.
void printText(const Verification& verification, const Place& place);

// As docs/vxcfg.schema.json describes it.
[[nodiscard]] Json toJson(const Verification& verification, const Place& place);

} // namespace tools
