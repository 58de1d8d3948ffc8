// A table of slots, each on an in-use or a free list; one table for each kind of entry. The lists'
// heads and counts are in the control block, their links beside the table, so that walking them
// touches no record.
#pragma once

#include "store/record_io.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vx {

template <class Entry, std::size_t count>
class SlotTable {
  public:
    constexpr SlotTable(Entry (&entries)[count], PsstList list, uint32_t type)
        : entries_(entries), list_(list), type_(type) {}

    // Reads the file: all slots free, in index order, then those in use appended to their list.
    // `loaded` sees each slot in use.
    template <class Loaded>
    [[nodiscard]] int load(Loaded loaded) {
        if (int const result = checkHeader(type_); result < 0) {
            return result;
        }
        reset();
        for (std::size_t i = 0; i < count; ++i) {
            Entry& entry = entries_[i];
            auto const number = static_cast<uint32_t>(i);
            if (int const result = readRecords(
                    type_, number,
                    {&entry.record, 1, sizeof entry, sizeof entry.record, Content::any});
                result < 0) {
                return result;
            }
            if (entry.record.valid == PSST_SLOT_VALID) {
                use(entry);
                loaded(entry);
            }
        }
        return 0;
    }

    // The first free slot, now in use and marked valid; null when none is free.
    [[nodiscard]] Entry* take() {
        if (counts().free == 0 || VXLIST_list_mt(&heads().free.list) != 0) {
            return nullptr;
        }
        Entry& entry = entryOf(*heads().free.list.next);
        use(entry);
        return &entry;
    }

    // Frees a slot; it is the next one to be taken.
    void release(Entry& entry) {
        entry.record.valid = 0;
        VXLIST& link = links_[indexOf(entry)];
        VXLIST_insert_on_list_head(&heads().free.list, VXLIST_remove_from_list(&link));
        --counts().inUse;
        ++counts().free;
    }

    // The first slot of the in-use list that matches, or null.
    template <class Match>
    [[nodiscard]] Entry* find(Match match) {
        VXLIST& head = heads().inUse.list;
        for (VXLIST* link = head.next; link != nullptr && link != &head; link = link->next) {
            if (Entry& entry = entryOf(*link); match(entry)) {
                return &entry;
            }
        }
        return nullptr;
    }

    // The first slot in use at or after `index` (below 0 is 0), or null.
    [[nodiscard]] Entry* next(int index) {
        for (std::size_t i = index < 0 ? 0 : static_cast<std::size_t>(index); i < count; ++i) {
            if (entries_[i].record.valid == PSST_SLOT_VALID) {
                return &entries_[i];
            }
        }
        return nullptr;
    }

    // Writes a slot of the table, or a copy of one to the slot that its prefix names.
    [[nodiscard]] int write(const Entry& entry) const {
        bool const isOwn =
            !std::less<>()(&entry, entries_) && std::less<>()(&entry, entries_ + count);
        auto const number = isOwn ? static_cast<uint32_t>(indexOf(entry)) : entry.prefix.index;
        return WritePsstFile(&entry.record, sizeof entry.record, type_, number, PSST_MODE_RECORD);
    }

    [[nodiscard]] std::size_t indexOf(const Entry& entry) const {
        return static_cast<std::size_t>(&entry - entries_);
    }

  private:
    // A slot of a large table bears its number from its first use on: numbering them all would
    // take the table's memory, megabytes of it, for good.
    static constexpr bool numbersFreeSlots = sizeof(Entry[count]) < 1U << 20;

    auto& heads() { return pmgr_cb->lists[list_]; }
    auto& counts() { return pmgr_cb->counts[list_]; }
    Entry& entryOf(const VXLIST& link) { return entries_[&link - links_]; }

    void reset() {
        VXLIST_init_listhead(&heads().inUse.list);
        VXLIST_init_listhead(&heads().free.list);
        for (std::size_t i = 0; i < count; ++i) {
            if (entries_[i].record.valid != 0) {
                entries_[i].record.valid = 0; // a load that fails leaves no slot valid and free
            }
            if constexpr (numbersFreeSlots) {
                entries_[i].prefix.index = static_cast<uint32_t>(i);
            }
            VXLIST_insert_on_list_tail(&heads().free.list, &links_[i]);
        }
        counts() = {.inUse = 0, .free = count};
    }

    void use(Entry& entry) {
        VXLIST& link = links_[indexOf(entry)];
        VXLIST_insert_on_list_tail(&heads().inUse.list, VXLIST_remove_from_list(&link));
        entry.prefix.index = static_cast<uint32_t>(indexOf(entry));
        entry.record.valid = PSST_SLOT_VALID;
        ++counts().inUse;
        --counts().free;
    }

    Entry (&entries_)[count];
    PsstList list_;
    uint32_t type_;
    // Apart from the constants above, in memory that takes no room in the program's file.
    static inline VXLIST links_[count];
};

} // namespace vx
