#include <vxblade/record_files.h>

#include "store/loader.h"

namespace {

EventNotifyInfo* findEntry(uint32_t clientId) {
    for (EventNotifyInfo& entry : eventnotify_info.record.entries) {
        if (entry.valid == PSST_SLOT_VALID && entry.clientId == clientId) {
            return &entry;
        }
    }
    return nullptr;
}

EventNotifyInfo* takeEntry() {
    for (EventNotifyInfo& entry : eventnotify_info.record.entries) {
        if (entry.valid != PSST_SLOT_VALID) {
            ++eventnotify_info.record.entriesInUse;
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

int ReadEventNotifyFile(void) {
    return vx::loadFile(PSST_EVENT_NOTIFY, vx::single(eventnotify_info));
}

int WriteEventNotifyFile(const EventNotifyEntry* entry) {
    return vx::writeEntry(*entry, PSST_EVENT_NOTIFY);
}

int vxpmgr_UpdateEventNotifyInfo(const EventNotifyInfo* entry) {
    EventNotifyInfo* place = findEntry(entry->clientId);
    if (place == nullptr) {
        place = takeEntry();
    }
    if (place == nullptr) {
        return -2;
    }
    *place = *entry;
    place->valid = PSST_SLOT_VALID;
    return WriteEventNotifyFile(&eventnotify_info);
}

int vxpmgr_GetEventNotifyInfo(EventNotifyInfo* out, uint32_t clientId) {
    const EventNotifyInfo* const entry = findEntry(clientId);
    if (entry == nullptr) {
        return -1;
    }
    *out = *entry;
    return 0;
}
