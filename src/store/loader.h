// Loading records from files into tables.
#pragma once

#include "store/control_block.h"
#include "store/psst_header.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace vx {

// Loads one record through the staging buffer, so that a failed read leaves the table as it was.
[[nodiscard]] inline int loadRecord(uint32_t type, uint32_t number, void* record,
                                    std::size_t size) {
    if (int const result =
            ReadPsstFile(scratch_pad, static_cast<int32_t>(size), type, number, PSST_MODE_RECORD);
        result < 0) {
        return result;
    }
    copyChanged(record, scratch_pad, size);
    return 0;
}

template <class Entry, std::size_t count>
[[nodiscard]] int loadEntries(uint32_t type, std::span<Entry, count> entries) {
    static_assert(sizeof(Entry::record) <= sizeof scratch_pad);
    uint32_t number = 0;
    for (Entry& entry : entries) {
        if (int const result = loadRecord(type, number++, &entry.record, sizeof entry.record);
            result < 0) {
            return result;
        }
    }
    return 0;
}

// Checks the header of a file, then loads its records in order.
template <class Entry, std::size_t count>
[[nodiscard]] int loadFile(uint32_t type, std::span<Entry, count> entries) {
    int const result = checkHeader(type);
    return result < 0 ? result : loadEntries(type, entries);
}

template <class Entry>
std::span<Entry, 1> single(Entry& entry) {
    return std::span<Entry, 1>(&entry, 1);
}

// Writes an entry's record to the slot of its index.
template <class Entry>
[[nodiscard]] int writeEntry(const Entry& entry, uint32_t type) {
    return WritePsstFile(&entry.record, sizeof entry.record, type, entry.prefix.index,
                         PSST_MODE_RECORD);
}

} // namespace vx
