#include "tools/live_records.h"

#include "store/psst_table.h"
#include "store/record_io.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace tools {

namespace {

// The files that the store needs. Those that may be made are, where they are missing or were never
// finished.
struct NeededFile {
    uint32_t type;
    bool mayBeMade;
};
constexpr NeededFile neededFiles[] = {
    {PSST_BRIDGE_CONFIG, false},  {PSST_PASSWD, false}, {PSST_HOST_GROUP, false},
    {PSST_FCIP, false},           {PSST_DEVICE, false}, {PSST_EVENT_NOTIFY, true},
    {PSST_MIGRATION_PARAM, true},
};

// What is wrong with a needed file's header; empty where nothing is.
std::string problemOf(const Place& place, const std::string& path, const NeededFile& file) {
    FileStatus const status = place.statusOf(path);
    if (status.kind == FileKind::other) {
        return "is no regular file";
    }
    PsstHeader header{};
    bool const isRegular = status.kind == FileKind::regular;
    std::string const bytes = isRegular ? place.read(path, sizeof header) : "";
    std::memcpy(&header, bytes.data(), bytes.size());
    if (bytes.size() < sizeof header || vx::isUnfinishedHeader(header)) {
        return file.mayBeMade ? "" : "is missing, or was never finished";
    }
    if (!vx::isValidHeader(header, vx::fileTypeOf(vx::fileIndexOf(file.type)))) {
        return "is not valid";
    }
    if (file.type != PSST_BRIDGE_CONFIG) {
        return "";
    }
    if (header.version != PSST_HEADER_VERSION) {
        return "is of another version";
    }
    std::size_t const whole = sizeof header + vx::dataLengthOf(PSST_CONFIG_INDEX);
    return status.size < whole ? "is too short" : "";
}

} // namespace

std::string whyUnusable(const Place& place) {
    for (const NeededFile& file : neededFiles) {
        std::string const path = psstFilePrimaryPaths[vx::fileIndexOf(file.type)];
        if (std::string const problem = problemOf(place, path, file); !problem.empty()) {
            place.verify(path);
            return place.nameOf(path) + " " + problem;
        }
    }
    return "";
}

Record& LiveRecords::of(const vx::RecordAccess& access, uint32_t number) {
    auto const place = vx::placeOf(access.type);
    std::size_t const begin =
        place->first + std::size_t{place->slotSize} * (access.firstSlot + number) + access.offset;
    auto const known = records_.find({place->fileIndex, begin});
    if (known != records_.end()) {
        return known->second;
    }
    const std::string& bytes = fileOf(place->fileIndex, access.type);
    if (bytes.size() < begin + access.size) {
        throw std::runtime_error(place_->nameOf(psstFilePrimaryPaths[place->fileIndex]) +
                                 " is too short");
    }
    Record record(access.size);
    std::memcpy(record.data(), bytes.data() + begin, access.size);
    return records_[{place->fileIndex, begin}] = record;
}

const std::string& LiveRecords::fileOf(int fileIndex, uint32_t type) {
    auto const known = files_.find(fileIndex);
    if (known != files_.end()) {
        return known->second;
    }
    std::string const path = psstFilePrimaryPaths[fileIndex];
    std::string bytes = place_->read(path);
    PsstHeader header{};
    std::memcpy(&header, bytes.data(), std::min(sizeof header, bytes.size()));
    if (!vx::isValidHeader(header, vx::fileTypeOf(vx::fileIndexOf(type)))) {
        throw std::runtime_error(place_->nameOf(path) + " is not valid");
    }
    return files_[fileIndex] = std::move(bytes);
}

} // namespace tools
