// The live records of a store as its files hold them, read without opening the store or a device.
#pragma once

#include "settings/table.h"
#include "tools/blade/place.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tools {

using Record = std::vector<std::byte>;

// Why an upgrade could not use a store; empty where it could.
[[nodiscard]] std::string whyUnusable(const Place& place);

// The files themselves, or their mirrors.
enum class Side : uint8_t { files, mirrors };

// Where a record is: `begin` bytes into the file of an index; 0 is the file of the cache's
// parameters, which has no header and no mirror.
struct RecordPlace {
    int fileIndex;
    uint32_t type; // as the file's header has it
    std::size_t begin;
    std::size_t size;

    friend auto operator<=>(const RecordPlace&, const RecordPlace&) = default;
};

[[nodiscard]] RecordPlace placeOf(const vx::RecordAccess& access, uint32_t number);
// Nothing for a section that no record of a store holds, or that has no settings.
[[nodiscard]] std::optional<RecordPlace> placeOf(const vx::Section& section, uint32_t number);

[[nodiscard]] std::string pathOf(int fileIndex, Side side);

class LiveRecords {
  public:
    // Reads nothing yet. The place stays the caller's and must outlive the records.
    explicit LiveRecords(const Place& place, Side side = Side::files)
        : place_(&place), side_(side) {}

    // A record, which the caller may change for later calls to see. Throws std::runtime_error where
    // its file cannot be read, is not valid or is too short.
    Record& at(const RecordPlace& record);
    Record& of(const vx::RecordAccess& access, uint32_t number) {
        return at(placeOf(access, number));
    }

  private:
    const std::string& fileOf(const RecordPlace& record);

    const Place* place_;
    Side side_;
    std::map<int, std::string> files_; // by index
    std::map<RecordPlace, Record> records_;
};

} // namespace tools
