// The live configuration by the keys of defaults files.
#pragma once

#include "tools/base/output.h"
#include "tools/blade/place.h"
#include "tools/live/records.h"

#include <string>
#include <vector>

namespace tools {

struct LiveSetting {
    std::string key;
    std::string value;
};

// The keys of all settings that stores hold.
std::vector<std::string> liveKeys();

// What of a store cannot be read.
struct Unreadable {
    std::string file;
    std::string reason;                // names the file as the user knows it
    std::vector<std::string> sections; // the prefixes of the keys that it holds
};

struct LiveConfiguration {
    std::vector<LiveSetting> settings; // in the order of the table
    std::vector<Unreadable> unreadable;
};

// Every setting that a store holds and whose key begins with `prefix`; passwords where that asks
// for them. Read from its files or their mirrors, which not all files have. Throws
// std::runtime_error where the volume is not there and where there is no store.
LiveConfiguration liveSettings(const Place& place, const std::string& prefix,
                               Side side = Side::files);

// One setting. Throws std::runtime_error for a key that is no setting's or that no store holds, and
// where it cannot be read.
LiveSetting liveSetting(const Place& place, const std::string& key, Side side = Side::files);

struct SettingChange {
    std::string key;
    std::string before;
    std::string after; // as it is shown: "0x1f" of a number is "31"
    bool isMended;     // the value was there, and not yet in the mirror: a power cut left it so
    std::vector<std::string> warnings; // about a value that converts but hardly anybody means
};

// Gives one setting of this blade's store a value and writes it through; waits for an upgrade under
// way. Writes nothing where the value is there already, but for a mirror that a power cut left
// behind. Throws std::runtime_error for a key that is no live setting's, for a value that the
// setting or a defaults file cannot hold, and where the store cannot be used or written.
SettingChange setConfiguration(const std::string& key, const std::string& value, bool isVerbose);

// As docs/vxcfg.schema.json describes them.
[[nodiscard]] Json toJson(const LiveSetting& setting);
[[nodiscard]] Json toJson(const std::vector<Unreadable>& unreadable);

// A line for each on standard error.
void report(const std::vector<Unreadable>& unreadable);

} // namespace tools
