#include "tools/live/records.h"

#include "store/psst_table.h"
#include "store/record_io.h"

#include <vxblade/platform.h>

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

// Records that a section's access gives no slot: what readers of defaults store, and no program
// reads back. The file of type 0 has no header.
struct OtherRecord {
    const vx::Section* section;
    uint32_t type;
    std::size_t offset; // after the header
    std::size_t size;   // also the distance of a section's numbers
};
constexpr OtherRecord otherRecords[] = {
    {&vx::cacheSection, 0, 0, sizeof(CacheParams)},
    {&vx::storagePoolSection, PSST_STORAGE_POOL, 0, sizeof(StoragePoolConfig)},
    {&vx::dmGlobalsSection, PSST_DM_GLOBALS, 0, sizeof(DmGlobals)},
    {&vx::passwordSection, PSST_PASSWD, offsetof(PasswordSlot, passwords),
     sizeof(vx::PasswordString)},
    {&vx::snmpSection, PSST_SNMP, 0, sizeof(SnmpConfig)},
    {&vx::snmpTrapSection, PSST_SNMP, offsetof(SnmpConfig, traps), sizeof(SnmpTrap)},
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

RecordPlace placeOf(const vx::RecordAccess& access, uint32_t number) {
    auto const place = vx::placeOf(access.type);
    return {place->fileIndex, vx::fileTypeOf(place->fileIndex),
            place->first + std::size_t{place->slotSize} * (access.firstSlot + number) +
                access.offset,
            access.size};
}

std::optional<RecordPlace> placeOf(const vx::Section& section, uint32_t number) {
    if (section.record != nullptr && section.record->slotSize > 0 && !section.groups.empty()) {
        return placeOf(*section.record, number);
    }
    for (const OtherRecord& other : otherRecords) {
        if (other.section == &section) {
            bool const hasHeader = other.type != 0;
            return RecordPlace{hasHeader ? vx::fileIndexOf(other.type) : 0, other.type,
                               (hasHeader ? sizeof(PsstHeader) : 0) + other.offset +
                                   other.size * number,
                               other.size};
        }
    }
    return std::nullopt;
}

std::string pathOf(int fileIndex, Side side) {
    if (fileIndex == 0) {
        return psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_DATA];
    }
    if (side == Side::files) {
        return psstFilePrimaryPaths[fileIndex];
    }
    if (vxpmgr_mirror_path_init_done == 0) {
        vxpmgr_create_mirror_paths(0, 0, 0, 0);
    }
    return psstFileMirrorPaths[fileIndex];
}

Record& LiveRecords::at(const RecordPlace& record) {
    auto const known = records_.find(record);
    if (known != records_.end()) {
        return known->second;
    }
    const std::string& bytes = fileOf(record);
    if (bytes.size() < record.begin + record.size) {
        throw std::runtime_error(place_->nameOf(pathOf(record.fileIndex, side_)) + " is too short");
    }
    Record content(record.size);
    std::memcpy(content.data(), bytes.data() + record.begin, record.size);
    return records_[record] = content;
}

const std::string& LiveRecords::fileOf(const RecordPlace& record) {
    auto const known = files_.find(record.fileIndex);
    if (known != files_.end()) {
        return known->second;
    }
    std::string const path = pathOf(record.fileIndex, side_);
    std::string bytes = place_->read(path);
    PsstHeader header{};
    std::memcpy(&header, bytes.data(), std::min(sizeof header, bytes.size()));
    if (record.type != 0 && !vx::isValidHeader(header, record.type)) {
        throw std::runtime_error(place_->nameOf(path) + " is not valid");
    }
    return files_[record.fileIndex] = std::move(bytes);
}

} // namespace tools
