// The live records of a store as its files hold them, read without opening the store or a device.
#pragma once

#include "settings/table.h"
#include "tools/place.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tools {

using Record = std::vector<std::byte>;

// Why an upgrade could not use a store; empty where it could.
[[nodiscard]] std::string whyUnusable(const Place& place);

class LiveRecords {
  public:
    // Reads nothing yet. The place stays the caller's and must outlive the records.
    explicit LiveRecords(const Place& place) : place_(&place) {}

    // A record, which the caller may change for later calls to see. Throws std::runtime_error where
    // its file cannot be read, is not valid or is too short.
    Record& of(const vx::RecordAccess& access, uint32_t number);

  private:
    const std::string& fileOf(int fileIndex, uint32_t type);

    const Place* place_;
    std::map<int, std::string> files_;                      // by index
    std::map<std::pair<int, std::size_t>, Record> records_; // by file and place
};

} // namespace tools
