// Records and headers between files and tables in memory, both ways. Every change to a file takes
// the way of WritePsstFile, whose source says in which order it becomes durable.
#pragma once

#include "store/control_block.h"

#include <vxblade/record_io.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace vx {

// ---- Headers ----

// The three tests of every reader: magic, a size, the expected type.
[[nodiscard]] bool isValidHeader(const PsstHeader& header, uint32_t type);

// A header of a file whose making began and was cut, or of zeros that nobody wrote over yet.
[[nodiscard]] constexpr bool isUnfinishedHeader(const PsstHeader& header) {
    return header.magic == 0 && header.fileSize == 0;
}

// Reads the header of the open file of a type and tests it: the read's failure, or -1 where the
// header is bad.
[[nodiscard]] int checkHeader(uint32_t type);

[[nodiscard]] constexpr uint64_t sequenceNumberOf(const PsstHeader& header) {
    return uint64_t{header.sequenceHigh} << 32 | header.sequenceLow;
}

// The sequence-number file, whole.
[[nodiscard]] PsstHeader sequenceHeader(uint64_t number);

// ---- From a file into a table ----

// Records in memory, each `size` bytes and `stride` bytes after the one before.
struct Records {
    void* first;
    std::size_t count;
    std::size_t stride;
    std::size_t size;
    Content content = Content::any;
};

// Reads records that follow each other in the file of a type, from one's number on. They are read
// through the staging buffer, as many at once as it holds: a read that fails leaves the record that
// it could not read, and those after it, as they were.
[[nodiscard]] int readRecords(uint32_t type, uint32_t number, const Records& into);

// Reads the records of a type in order, from number 0 on.
template <class Entry, std::size_t count>
[[nodiscard]] int readEntries(std::span<Entry, count> entries, uint32_t type,
                              Content content = Content::any) {
    static_assert(sizeof(Entry::record) <= sizeof scratch_pad);
    return readRecords(type, 0,
                       {&entries[0].record, count, sizeof(Entry), sizeof(Entry::record), content});
}

template <class Entry>
std::span<Entry, 1> single(Entry& entry) {
    return std::span<Entry, 1>(&entry, 1);
}

// The same after a check of the file's header.
template <class Entry, std::size_t count>
[[nodiscard]] int readFileInto(std::span<Entry, count> entries, uint32_t type,
                               Content content = Content::any) {
    int const result = checkHeader(type);
    return result < 0 ? result : readEntries(entries, type, content);
}

// ---- From a table into a file ----

// Whether the mirror of a record could not be written since this was last asked.
[[nodiscard]] bool takeMirrorFailure();

// Writes an entry's record to the slot of its index.
template <class Entry>
[[nodiscard]] int writeEntry(const Entry& entry, uint32_t type) {
    return WritePsstFile(&entry.record, sizeof entry.record, type, entry.prefix.index,
                         PSST_MODE_RECORD);
}

} // namespace vx
