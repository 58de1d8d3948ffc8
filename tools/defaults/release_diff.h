// What a release does to the field: its defaults compared with those of the one before.
#pragma once

#include "settings/table.h"
#include "tools/base/output.h"
#include "tools/defaults/text.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tools {

// A default that changed, in as many numbers of its section as changed alike.
struct ChangedDefault {
    const vx::Section* section; // null for the chassis name
    const vx::Setting* setting; // null for the chassis name
    std::vector<uint32_t> numbers;
    std::vector<std::string> keys;
    std::string name;               // the keys as one: "config.port.is.N.IpAddr"
    std::optional<std::string> old; // as a blade reads them; none where the key is absent
    std::optional<std::string> now;
    std::string rule;
    std::string reaches; // which records of which blades
};

struct ReleaseDiff {
    VersionBlock old{};
    VersionBlock now{};
    std::vector<ChangedDefault> changes;
    Findings findings; // with places in the new file
};

ReleaseDiff compareReleases(const DefaultsText& oldText, const DefaultsText& newText);

void printChanges(const ReleaseDiff& diff);
// {"old","new","changes"}
Json jsonOf(const ReleaseDiff& diff);

} // namespace tools
