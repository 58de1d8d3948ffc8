// The boot environment: both copies as they are in the flash or in an image of it, and a change.
#pragma once

#include "tools/base/output.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tools {

enum class CopyState : uint8_t { good, blank, damaged, unreadable };

struct EnvironmentCopy {
    uint32_t offset; // in the device
    CopyState state;
    uint32_t storedCrc;
    uint32_t computedCrc;
    uint8_t flag;
};

// Names and values, in their order.
using VariableValues = std::vector<std::pair<std::string, std::string>>;

struct Environment {
    std::string device; // or the image
    uint32_t size;      // of a copy, in bytes
    std::array<EnvironmentCopy, 2> copies;
    int active;               // the copy that counts, or -1
    VariableValues variables; // of that one
    std::string remark;       // what an engineer should know
};

struct EnvironmentSource {
    std::string image;            // empty: this blade's flash
    std::string config;           // where the copies are in an image; empty: at its end
    uint32_t blockSize = 0x10000; // of an image, in bytes
};

// Reads and neither writes nor waits: without a lock, so that of a save under way a copy may be
// half written. Throws std::runtime_error where the flash or the image cannot be read or has no
// place for two copies.
Environment readEnvironment(const EnvironmentSource& source = {});

// The value of a variable; null where it is not set.
const std::string* findVariable(const Environment& environment, const std::string& name);

struct VariableChange {
    std::string before;
    std::string after; // empty: removed
};

// Sets a variable of this blade, or removes it by an empty value, and saves the environment as the
// layer does: waits for the standard tools' lock, and writes nothing where nothing changes. Throws
// std::runtime_error where it cannot.
VariableChange setVariable(const std::string& name, const std::string& value, bool isVerbose);

// The same for several at once, in one save.
void setVariables(const VariableValues& variables, bool isVerbose);

void printText(const Environment& environment);
// As docs/vxcfg.schema.json describes it.
[[nodiscard]] Json toJson(const Environment& environment);

} // namespace tools
