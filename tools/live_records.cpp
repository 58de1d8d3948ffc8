#include "tools/live_records.h"

#include "store/psst_table.h"
#include "store/record_io.h"
#include "tools/files.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace tools {

namespace fs = std::filesystem;

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
        throw std::runtime_error(pathOf(place->fileIndex).string() + " is too short");
    }
    Record record(access.size);
    std::memcpy(record.data(), bytes.data() + begin, access.size);
    return records_[{place->fileIndex, begin}] = record;
}

fs::path LiveRecords::pathOf(int fileIndex) const {
    return folder_ / fs::path(psstFilePrimaryPaths[fileIndex]).filename();
}

const std::string& LiveRecords::fileOf(int fileIndex, uint32_t type) {
    auto const known = files_.find(fileIndex);
    if (known != files_.end()) {
        return known->second;
    }
    std::string bytes = readText(pathOf(fileIndex));
    PsstHeader header{};
    std::memcpy(&header, bytes.data(), std::min(sizeof header, bytes.size()));
    if (!vx::isValidHeader(header, vx::fileTypeOf(vx::fileIndexOf(type)))) {
        throw std::runtime_error(pathOf(fileIndex).string() + " is not valid");
    }
    return files_[fileIndex] = std::move(bytes);
}

} // namespace tools
