// A second account of what an upgrade does, to compare the tool with. It shares neither code nor
// tables with the tool: own parser, own conversions, own list of fields with their places on file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace oracle {

using Bytes = std::string;
using Files = std::map<std::string, Bytes>; // content by path; a missing file has no entry

inline const std::string newFile =
    "/mnt/nand0/default_bridge_config.cfg"; // the working directory's
inline const std::string savedFiles[] = {newFile + ".0", newFile + ".1"};
inline const std::string unmergedFile = newFile + ".unmerged";
inline const std::string configFile = "/mnt/nand1/brapp_config.bin";
inline const std::string hostGroupFile = "/mnt/nand1/brapp_hostgroup.bin";
inline const std::string sequenceFile = "/mnt/nand1/brapp_seqno.cfg";
inline const std::string bitmapFile = "/mnt/nand0/backup_bitmap.bin";
std::string mirrorOf(const std::string& path);

// A file that is moved aside gets the time after its name; here it gets this one.
inline const std::string movedAside = sequenceFile + ".TIME";
// Content of a file that must have come to be, whatever is in it.
inline const Bytes anything = "?";

enum class Kind { number, text, address };

struct Field {
    const char* key;    // after the section's prefix
    std::size_t offset; // bytes, in the settings of its record
    std::size_t size;   // bytes
    Kind kind = Kind::number;
    bool isForced = false;
};

// A field of the live configuration.
struct Setting {
    std::string key; // whole
    Field field;
    std::string path;
    std::size_t offset; // bytes, in the file
};
const std::vector<Setting>& settings(); // by key

// Keys and values up to the first malformed line or key of more than 255 characters; the first
// value of a repeated key; values cut to 255 characters.
using Defaults = std::unordered_map<std::string, std::string>;
Defaults parse(std::string_view text);

// What a field holds for its value in a file: zeros where there is none or it does not convert.
Bytes convert(const Field& field, const Defaults& defaults, const std::string& key);

// Overwrites, and lengthens the file where it must.
void writeAt(Bytes& file, std::size_t offset, const Bytes& bytes);
Bytes littleEndian(uint64_t value, std::size_t size);

struct Upgrade {
    std::string output; // standard output
    std::string errors; // standard error
    Files files;        // afterwards
    long decided = 0;   // defaults that differ between the two personality files
    long moved = 0;     // of these, carried into the live configuration
};

// The whole run, given all files of the three volumes; of files that hold neither configuration nor
// defaults the first 64 bytes suffice.
Upgrade upgrade(Files before, bool isMounted);

} // namespace oracle
