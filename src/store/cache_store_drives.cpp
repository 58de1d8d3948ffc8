#include <vxblade/record_files.h>

#include "store/slot_table.h"

#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

constinit vx::SlotTable table(CacheStorePhysDrvInfo, PSST_LIST_CACHE_STORE_DRIVES,
                              PSST_CACHE_STORE_DRIVES);

void print(const CacheStorePhysDrvEntry& entry) {
    constexpr const char* reader = "ReadCacheStorePhysDrvInfo";
    const CacheStorePhysDrv& drive = entry.record;
    std::printf("%s:%d data_cfg -> Valid: %x\n", reader, __LINE__, drive.valid);
    std::printf("%s:%d data_cfg -> driveIndex: %x\n", reader, __LINE__, drive.driveIndex);
    std::printf("%s:%d data_cfg -> TargetDeviceIndex: %x\n", reader, __LINE__,
                drive.TargetDeviceIndex);
    std::printf("%s:%d data_cfg -> LunInfoIndex: %x\n", reader, __LINE__, drive.LunInfoIndex);
    std::printf("%s:%d data_cfg -> LunId: %llx\n", reader, __LINE__,
                static_cast<unsigned long long>(drive.LunId));
    std::printf("%s:%d data_cfg -> ownerAdapterId: 0x%llx\n", reader, __LINE__,
                static_cast<unsigned long long>(drive.ownerAdapterId));
    std::printf("%s:%d data_cfg -> StartLbaForStripeAlloc: 0x%llx\n", reader, __LINE__,
                static_cast<unsigned long long>(drive.StartLbaForStripeAlloc));
}

bool hasName(const CacheStorePhysDrv& drive, const uint8_t* name, uint16_t length) {
    if (drive.LunInfoIndex >= std::size(LunInfoTable)) {
        return false;
    }
    const LunInfo& lun = LunInfoTable[drive.LunInfoIndex];
    return length <= sizeof lun.wwuln && lun.wwulnLength == length &&
           std::memcmp(lun.wwuln, name, length) == 0;
}

} // namespace

int ReadCacheStorePhysDrvInfo(void) {
    return table.load(print);
}

int WriteCacheStorePhysDrvInfo(const CacheStorePhysDrvEntry* entry) {
    return table.write(*entry);
}

CacheStorePhysDrvEntry* findCacheStorePhysDrvInfo(const uint8_t* name, uint16_t length) {
    return table.find([name, length](const CacheStorePhysDrvEntry& entry) {
        if (entry.record.valid != PSST_SLOT_VALID) {
            std::printf("findCacheStorePhysDrvInfo: Error !!!!");
            return false;
        }
        return hasName(entry.record, name, length);
    });
}

CacheStorePhysDrvEntry* findCacheStorePhysDrvInfoByDriveIndex(uint32_t driveIndex) {
    return table.find([driveIndex](const CacheStorePhysDrvEntry& entry) {
        return entry.record.valid == PSST_SLOT_VALID && entry.record.driveIndex == driveIndex;
    });
}

int vxpmgr_getNextCacheStorePhysDrvInfo(CacheStorePhysDrv* out, int index) {
    const CacheStorePhysDrvEntry* const entry = table.next(index);
    if (entry == nullptr) {
        return -1;
    }
    *out = entry->record;
    return static_cast<int>(table.indexOf(*entry)) + 1;
}

int vxpmgr_getCacheStorePhysDrvInfoByWwuln(const uint8_t* name, uint16_t length,
                                           CacheStorePhysDrv* out) {
    const CacheStorePhysDrvEntry* const entry = findCacheStorePhysDrvInfo(name, length);
    if (entry == nullptr) {
        return -1;
    }
    *out = entry->record;
    return 0;
}

CacheStorePhysDrvEntry*
vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo(const CacheStorePhysDrv* drive) {
    CacheStorePhysDrvEntry* const entry = table.take();
    if (entry != nullptr) {
        entry->record = *drive;
        entry->record.valid = PSST_SLOT_VALID;
        std::printf("%s:%d Not updating the file in this function\n", __func__, __LINE__);
    }
    return entry;
}
