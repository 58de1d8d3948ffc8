// The files of the store: numbers, names and geometry.
#pragma once

#include <vxblade/psst_table.h>
#include <vxblade/records.h>

#include <cstdint>
#include <optional>

namespace vx {

enum class Layout : uint8_t {
    reserved,   // an index that no file has
    headerOnly, // never read or written through the record path
    whole,      // one record
    slots,      // an array of records
    config,     // the configuration file: bridge, management port, ports
};

struct PsstFile {
    Layout layout;
    uint32_t recordSize; // bytes of a record
    uint32_t slots;      // records that the recorded size provides
    uint32_t size;       // as recorded in the header, header included
};

// The row of a file index; indices out of range give the reserved row.
[[nodiscard]] const PsstFile& psstFile(int fileIndex);

// File index and file-type code of each other.
[[nodiscard]] constexpr int fileIndexOf(uint32_t type) {
    return type <= PSST_PORT_CONFIG ? int{PSST_CONFIG_INDEX}
                                    : static_cast<int>(type) - PSST_TYPE_LESS_INDEX;
}
[[nodiscard]] constexpr uint32_t fileTypeOf(int fileIndex) {
    return fileIndex == PSST_CONFIG_INDEX ? uint32_t{PSST_BRIDGE_CONFIG}
                                          : static_cast<uint32_t>(fileIndex + PSST_TYPE_LESS_INDEX);
}

// The first slot of a port's type; unknown types share the first block.
[[nodiscard]] constexpr uint32_t firstPortSlotOf(uint32_t type) {
    uint32_t const block = type == PORT_TYPE_ISCSI  ? 1
                           : type == PORT_TYPE_GIGE ? 2
                           : type == PORT_TYPE_PCIE ? 3
                                                    : 0;
    return block * PORT_SLOTS_PER_TYPE;
}

// One 64-bit word: bit n says that the file of index n changed since the last backup, which removes
// the file.
inline constexpr const char* backupMarks = "/mnt/nand0/backup_bitmap.bin";

// Where the records of a type lie.
struct RecordPlace {
    int fileIndex;
    uint32_t first;    // offset of record 0
    uint32_t slotSize; // distance of the records, 0 where there is only one
    uint32_t end;      // offset after the last record
};
// Nothing for codes out of range and for types that the record path does not reach.
[[nodiscard]] std::optional<RecordPlace> placeOf(uint32_t type);

// Bytes after the header of a full file. Of the configuration file that is up to the end of its
// last port slot, which is after its recorded size.
[[nodiscard]] uint32_t dataLengthOf(int fileIndex);

} // namespace vx
