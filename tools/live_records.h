// The live records of a store as its files hold them, read without opening the store or a device.
#pragma once

#include "settings/table.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tools {

using Record = std::vector<std::byte>;

// Why an upgrade could not use the store below `volumes`; empty where it could.
[[nodiscard]] std::string whyUnusable(const std::filesystem::path& volumes);

class LiveRecords {
  public:
    // `volumes` is the folder of nand0, nand1 and nand2. Reads nothing yet.
    explicit LiveRecords(std::filesystem::path volumes) : volumes_(std::move(volumes)) {}

    // A record, which the caller may change for later calls to see. Throws std::runtime_error where
    // its file cannot be read, is not valid or is too short.
    Record& of(const vx::RecordAccess& access, uint32_t number);

  private:
    const std::string& fileOf(int fileIndex, uint32_t type);

    std::filesystem::path volumes_;
    std::map<int, std::string> files_;                      // by index
    std::map<std::pair<int, std::size_t>, Record> records_; // by file and place
};

} // namespace tools
