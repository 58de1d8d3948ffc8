#include "tools/stores/verify_records.h"

#include "settings/table.h"
#include "store/psst_table.h"
#include "store/record_io.h"
#include "tools/base/values.h"
#include "tools/blade/store_files.h"

#include <vxblade/common.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>
#include <stdexcept>

namespace tools {

namespace {

using vx::Layout;
using vx::Section;
using vx::Setting;

// --- What is looked for.

// Without these no start uses the store. None of a blade's programs makes them.
constexpr uint32_t needed[] = {
    PSST_BRIDGE_CONFIG, PSST_DEVICE, PSST_PASSWD, PSST_FCIP, PSST_HOST_GROUP,
};

// A start, an upgrade or the platform library makes these where they are missing, and then without
// a mirror: that one is missing is no finding.
constexpr uint32_t madeWithoutMirror[] = {
    PSST_VPD,          PSST_VPD_BACKUP,         PSST_SEQUENCE_NUMBER,    PSST_EVENT_NOTIFY,
    PSST_MIGRATION,    PSST_EXT_MIGRATION,      PSST_MIGRATION_PARAM,    PSST_LOGICAL_LUN,
    PSST_DM_GLOBALS,   PSST_REGISTERED_CLIENTS, PSST_WRITE_CACHE_MARKER, PSST_CLUSTER_MEMBER,
    PSST_STORAGE_POOL, PSST_CACHE_STORE_DRIVES, PSST_STRIPE_TABLE,       PSST_CLUSTER_METADATA,
    PSST_CACHED_LUN,
};

// The fields of a header. Each is what the store's own makers write, CRC and number apart.
struct HeaderField {
    const char* check;
    const char* name;
    std::size_t offset;
    std::size_t size; // numbers up to 8 bytes, else bytes
};
#define FIELD(check, name, member)                                                                 \
    HeaderField {                                                                                  \
        check, name, offsetof(PsstHeader, member), sizeof(PsstHeader::member)                      \
    }
constexpr HeaderField headerFields[] = {
    FIELD("version", "version", version),
    FIELD("magic", "magic", magic),
    FIELD("crc", "CRC", crc),
    FIELD("file-size", "file size", fileSize),
    FIELD("type", "type", type),
    FIELD("number", "sequence number", sequenceLow),
    FIELD("number", "sequence number (high half)", sequenceHigh),
    FIELD("header-length", "header length", headerLength),
    FIELD("reserved", "reserved part", reserved),
};
#undef FIELD

// Every byte of a header is a field's.
constexpr bool fieldsFillTheHeader() {
    std::size_t end = 0;
    for (const HeaderField& field : headerFields) {
        if (field.offset != end) {
            return false;
        }
        end += field.size;
    }
    return end == sizeof(PsstHeader);
}
static_assert(fieldsFillTheHeader());

// The records of the configuration file, which has several types.
struct ConfigRecord {
    uint32_t type;
    const char* name;
};
constexpr ConfigRecord configRecords[] = {
    {PSST_BRIDGE_CONFIG, "bridge record"},
    {PSST_MGMT_PORT, "management port"},
    {PSST_PORT_CONFIG, "port slot"},
};

bool isAmong(std::span<const uint32_t> types, uint32_t type) {
    return std::ranges::find(types, type) != types.end();
}

// A record file by its index.
struct RecordFile {
    int index;
    uint32_t type = vx::fileTypeOf(index);
    Layout layout = vx::psstFile(index).layout;

    [[nodiscard]] bool isSequence() const { return index == PSST_SEQUENCE_INDEX; }
    // A header may not be there, and who writes it leaves the mirror alone.
    [[nodiscard]] bool isForeign() const { return layout == Layout::headerOnly && !isSequence(); }
    [[nodiscard]] std::size_t size() const {
        return PSST_HEADER_LENGTH + std::size_t{vx::dataLengthOf(index)};
    }
    // Of the keys nobody but their program knows the length.
    [[nodiscard]] bool isOpenEnded() const {
        return layout == Layout::whole && vx::psstFile(index).recordSize == 0;
    }
};

// --- One file.

PsstHeader headerOf(const std::string& content) {
    PsstHeader header{};
    std::memcpy(&header, content.data(), std::min(sizeof header, content.size()));
    return header;
}

// The header that a content should have.
PsstHeader wantedHeader(const RecordFile& file, const std::string& content) {
    PsstHeader header;
    CreateHeader(&header, file.type);
    header.crc = 0;
    if (file.type == PSST_VPD || file.type == PSST_VPD_BACKUP) {
        std::size_t const data = std::min(content.size(), file.size()) - sizeof header;
        header.crc = crc32(0, content.data() + sizeof header, static_cast<int>(data));
    }
    if (file.isSequence()) {
        PsstHeader const actual = headerOf(content);
        header.fileSize = 0;
        header.headerLength = 0;
        header.sequenceLow = actual.sequenceLow;
        header.sequenceHigh = actual.sequenceHigh;
    }
    return header;
}

std::string fieldText(const HeaderField& field, const PsstHeader& header) {
    uint64_t number = 0;
    std::memcpy(&number, reinterpret_cast<const char*>(&header) + field.offset,
                std::min(field.size, sizeof number));
    std::array<char, 24> text{};
    bool const isBits =
        field.offset == offsetof(PsstHeader, magic) || field.offset == offsetof(PsstHeader, crc);
    std::snprintf(text.data(), text.size(), isBits ? "0x%08llx" : "%llu",
                  static_cast<unsigned long long>(number));
    return text.data();
}

void checkHeader(const RecordFile& file, const std::string& content, const std::string& path,
                 std::vector<Note>& notes) {
    PsstHeader const actual = headerOf(content);
    PsstHeader const wanted = wantedHeader(file, content);
    for (const HeaderField& field : headerFields) {
        if (std::memcmp(reinterpret_cast<const char*>(&actual) + field.offset,
                        reinterpret_cast<const char*>(&wanted) + field.offset, field.size) != 0) {
            std::string const difference =
                field.size > sizeof(uint64_t)
                    ? " is not zero"
                    : " is " + fieldText(field, actual) + " instead of " + fieldText(field, wanted);
            notes.push_back({true, path, field.check, "the header's " + (field.name + difference)});
        }
    }
}

void checkContent(const RecordFile& file, const std::string& content, const std::string& path,
                  std::vector<Note>& notes) {
    if (file.isForeign()) {
        return;
    }
    if (content.size() < PSST_HEADER_LENGTH || vx::isUnfinishedHeader(headerOf(content))) {
        notes.push_back({true, path, "unfinished", "its making never began or was cut"});
        return;
    }
    checkHeader(file, content, path, notes);
    if (file.isOpenEnded() ? content.size() < file.size() : content.size() != file.size()) {
        notes.push_back(
            {true, path, "size",
             std::to_string(content.size()) + " bytes instead of " + std::to_string(file.size())});
    }
}

// --- Where a byte lies.

std::string byteText(const std::string& content, std::size_t offset) {
    if (offset >= content.size()) {
        return "";
    }
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "0x%02x", static_cast<unsigned char>(content[offset]));
    return text.data();
}

std::string nameOfRecord(const RecordFile& file, std::size_t offset) {
    auto const nameIn = [offset](uint32_t type, const char* name) -> std::string {
        auto const place = vx::placeOf(type);
        if (!place || offset < place->first || offset >= place->end) {
            return "";
        }
        std::size_t const inside = offset - place->first;
        bool const isOne = place->slotSize == 0;
        return name + (isOne ? "" : " " + std::to_string(inside / place->slotSize)) + ", byte " +
               std::to_string(isOne ? inside : inside % place->slotSize);
    };
    if (file.layout != Layout::config) {
        return nameIn(file.type, "record");
    }
    std::string name;
    for (const ConfigRecord& record : configRecords) {
        name += nameIn(record.type, record.name);
    }
    return name;
}

// A difference that has its offset gets the rest where a setting lies there.
bool describeSetting(const RecordFile& file, const std::string& content, const std::string& mirror,
                     Difference& difference) {
    bool isSetting = false;
    vx::forEachSection(vx::sections, [&](const Section& section, uint32_t number) {
        if (!isLive(section) || vx::fileIndexOf(section.record->type) != file.index) {
            return;
        }
        auto const place = vx::placeOf(section.record->type);
        std::size_t const begin =
            place->first + std::size_t{place->slotSize} * (section.record->firstSlot + number) +
            section.record->offset;
        vx::forEachSetting(section, [&](const Setting& setting) {
            std::size_t const at = begin + setting.offset;
            if (isSetting || difference.offset < at || difference.offset >= at + setting.size ||
                std::min(content.size(), mirror.size()) < begin + section.record->size) {
                return;
            }
            isSetting = true;
            difference.where = keyOf(section, number, setting);
            difference.file = valueOf(setting, content.substr(begin, section.record->size).data());
            difference.mirror = valueOf(setting, mirror.substr(begin, section.record->size).data());
        });
    });
    return isSetting;
}

std::optional<Difference> differenceOf(const RecordFile& file, const std::string& content,
                                       const std::string& mirror) {
    if (content == mirror) {
        return std::nullopt;
    }
    auto const own = std::ranges::mismatch(content, mirror).in1;
    auto const offset = static_cast<std::size_t>(own - content.begin());
    Difference difference{offset, "", byteText(content, offset), byteText(mirror, offset)};
    if (offset < PSST_HEADER_LENGTH) {
        auto const field = std::ranges::find_if(headerFields, [offset](const HeaderField& one) {
            return offset >= one.offset && offset < one.offset + one.size;
        });
        difference.where = std::string("header, ") + field->name;
    } else if (!describeSetting(file, content, mirror, difference)) {
        difference.where = nameOfRecord(file, offset);
    }
    return difference;
}

std::string describe(const Difference& one, const std::string& content, const std::string& mirror) {
    auto const shown = [&](const std::string& value, const std::string& of) {
        return one.offset < of.size() ? '"' + value + '"' : "nothing";
    };
    return "differs from the file at byte " + std::to_string(one.offset) +
           (one.where.empty() ? "" : " (" + one.where + ")") + ": " + shown(one.mirror, mirror) +
           " instead of " + shown(one.file, content);
}

// --- A file with its mirror.

bool isNamed(const VerifiedFile& file, const std::string& path) {
    return std::ranges::any_of(
        file.notes, [&](const Note& note) { return note.isFinding && note.path == path; });
}

void checkMirror(const RecordFile& file, const std::optional<std::string>& content,
                 const std::optional<std::string>& mirrored, VerifiedFile& verified) {
    VerifiedMirror& mirror = *verified.mirror;
    bool const hasMirror = mirror.status.kind != FileKind::missing;
    if (hasMirror && verified.status.kind == FileKind::missing) {
        verified.notes.push_back(
            {!file.isForeign(), verified.path, "missing", "is not there, but its mirror is"});
    } else if (!hasMirror && verified.status.kind == FileKind::regular) {
        verified.notes.push_back({!file.isForeign() && !isAmong(madeWithoutMirror, file.type),
                                  mirror.path, "no-mirror", "the mirror is not there"});
    }
    if (!content || !mirrored) {
        return;
    }
    mirror.isCompared = true;
    mirror.difference = differenceOf(file, *content, *mirrored);
    if (mirror.difference) {
        bool const isInnocent = isNamed(verified, verified.path) && !isNamed(verified, mirror.path);
        verified.notes.push_back({!file.isForeign() && !isInnocent, mirror.path, "mirror",
                                  describe(*mirror.difference, *content, *mirrored) +
                                      (isInnocent ? "; it is whole" : "")});
    }
}

std::optional<uint64_t> numberIn(const std::optional<std::string>& content) {
    return content && content->size() >= PSST_HEADER_LENGTH
               ? std::optional(vx::sequenceNumberOf(headerOf(*content)))
               : std::nullopt;
}

std::optional<std::string> verifyContent(const Place& place, const RecordFile& file,
                                         const std::string& path, const FileStatus& status,
                                         std::vector<Note>& notes) {
    auto content = readNoting(place, path, status, notes);
    if (content) {
        checkContent(file, *content, path, notes);
    }
    return content;
}

// The file's own content, for what is to be compared with another's.
std::optional<std::string> verifyRecordFile(const Place& place, const RecordFile& file,
                                            Verification& verification) {
    std::string const path = psstFilePrimaryPaths[file.index];
    VerifiedFile verified{path, "record file", place.statusOf(path), {}, "", {}};
    auto content = verifyContent(place, file, path, verified.status, verified.notes);
    if (file.isSequence()) {
        verification.sequenceNumber = numberIn(content);
    }
    if (place.hasVolume(volumes[2])) {
        std::string const mirrorPath = mirrorOf(path);
        verified.mirror = VerifiedMirror{mirrorPath, place.statusOf(mirrorPath), {}, false};
        auto const mirrored =
            verifyContent(place, file, mirrorPath, verified.mirror->status, verified.notes);
        checkMirror(file, content, mirrored, verified);
        if (file.isSequence()) {
            verification.mirrorNumber = numberIn(mirrored);
        }
    }
    if (verified.status.kind == FileKind::missing && verified.notes.empty() &&
        isAmong(needed, file.type)) {
        verified.find("missing", "is not there: no start can use the store");
    }
    verification.files.push_back(std::move(verified));
    return content;
}

// Two good files with different records: the next start makes the second what the first is.
void compareTwins(const std::optional<std::string>& first, const std::optional<std::string>& second,
                  const VerifiedFile& firstFile, VerifiedFile& secondFile) {
    if (first && second && !isNamed(firstFile, firstFile.path) &&
        !isNamed(secondFile, secondFile.path) &&
        first->substr(PSST_HEADER_LENGTH) != second->substr(PSST_HEADER_LENGTH)) {
        secondFile.find("twin", "holds another record than its twin");
    }
}

} // namespace

std::optional<std::string> readNoting(const Place& place, const std::string& path,
                                      const FileStatus& status, std::vector<Note>& notes) {
    if (status.kind == FileKind::missing) {
        return std::nullopt;
    }
    if (status.kind == FileKind::other) {
        notes.push_back({true, path, "unreadable", "is no regular file"});
        return std::nullopt;
    }
    try {
        return place.read(path);
    } catch (const std::exception& error) {
        notes.push_back({true, path, "unreadable", error.what()});
        return std::nullopt;
    }
}

void verifyRecordFiles(const Place& place, Verification& verification) {
    std::optional<std::string> vpd;
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        RecordFile const file{index};
        if (file.layout == Layout::reserved) {
            continue;
        }
        auto content = verifyRecordFile(place, file, verification);
        auto& files = verification.files;
        if (file.type == PSST_VPD) {
            vpd = std::move(content);
        } else if (file.type == PSST_VPD_BACKUP) {
            compareTwins(vpd, content, files[files.size() - 2], files.back());
        }
    }
}

} // namespace tools
