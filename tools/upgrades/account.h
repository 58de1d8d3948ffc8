// What an upgrade does, setting by setting: before it runs as a plan, after it as its report tells.
#pragma once

#include "tools/base/output.h"
#include "upgrade/change.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tools {

struct Release {
    std::string version;
    std::string product;

    bool operator==(const Release&) const = default;
};

struct AccountedSetting {
    std::string key;    // the defaults' own
    std::string record; // the live setting's: GigE defaults are merged into iSCSI ports
    vx::Action action;
    std::string live; // before the upgrade
    std::string oldDefault;
    std::string newDefault;

    bool operator==(const AccountedSetting&) const = default;
};

struct FailedSection {
    std::string section; // the prefix of its keys
    int result;          // of the store
};

// Of an upgrade that ran.
struct Outcome {
    int64_t time;                      // seconds since 1970, by the blade's clock
    bool isResumed;                    // an interrupted run had done a part
    std::vector<FailedSection> failed; // whose changes could not be stored
    unsigned omitted;                  // changes that the report had no room for
};

struct Account {
    Release oldRelease;
    Release newRelease;
    std::string reason;                     // why nothing is merged; empty where it is
    std::string remark;                     // what else there is to know; may be empty
    std::vector<AccountedSetting> settings; // whose default changed, in the order of the upgrade
    std::optional<Outcome> outcome;         // not of a plan
};

// A line of counts, what there is to remark, then a line for each setting.
void printText(const Account& account);

// As docs/vxcfg.schema.json describes it, and a plan back. The latter throws where it is none.
[[nodiscard]] Json toJson(const Account& account);
[[nodiscard]] Account accountOf(const Json& plan);

[[nodiscard]] Json toJson(const Release& release);
[[nodiscard]] Release releaseOf(const Json& document);

} // namespace tools
