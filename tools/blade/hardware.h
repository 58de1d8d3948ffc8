// What a blade's hardware says of itself, and its vital product data.
#pragma once

#include "tools/base/output.h"
#include "tools/blade/place.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tools {

struct Reading {
    const char* name;
    std::string value;
    std::string reason; // why there is no value; empty where there is one
};

// One of the two files of vital product data.
struct VpdFile {
    std::string file;
    uint32_t stored;    // CRC in its header
    uint32_t computed;  // CRC of its record
    std::string reason; // why it is not good; empty where it is
};

struct Hardware {
    std::vector<Reading> readings;
    std::array<VpdFile, 2> vpd;
    int difference; // bytes in which the two records differ; -1 where one cannot be read
};

// Asks this blade's devices where `place` is its own volumes: those that are not there at once,
// and a bus that another program keeps for some seconds. Changes nothing but the bus's lock file,
// which it makes where it is missing.
Hardware readHardware(const Place& place, bool isBlade, bool isVerbose);

void printText(const Hardware& hardware);
// As docs/vxcfg.schema.json describes it.
[[nodiscard]] Json toJson(const Hardware& hardware);

// True where all could be read, and the VPD files are good and the same.
[[nodiscard]] bool isGood(const Hardware& hardware);

} // namespace tools
