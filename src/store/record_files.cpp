// Further record files: tables of slots, and single records that are not configuration.
#include <vxblade/record_files.h>

#include "store/record_io.h"
#include "store/slot_table.h"

#include <vxblade/brapp.h>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>

namespace vx {
namespace {

constinit SlotTable clients(RegisteredClients, PSST_LIST_REGISTERED_CLIENTS,
                            PSST_REGISTERED_CLIENTS);
constinit SlotTable drives(CacheStorePhysDrvInfo, PSST_LIST_CACHE_STORE_DRIVES,
                           PSST_CACHE_STORE_DRIVES);
constinit SlotTable stripes(PhysLunStripeTable, PSST_LIST_STRIPE_TABLE, PSST_STRIPE_TABLE);
constinit SlotTable cachedLuns(ClusterCachedLuns, PSST_LIST_CACHED_LUNS, PSST_CACHED_LUN);

void printDrive(const CacheStorePhysDrvEntry& entry) {
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

void printJob(const char* function, int line, const char* words) {
    std::printf("\n %s:%d %s JOBUUID = %d\n", function, line, words,
                static_cast<int>(migration_param.record.JOBUUID));
}

} // namespace
} // namespace vx

using namespace vx;

// ---- Registered management clients ----

int ReadRegisteredClientInfo(void) {
    return clients.load([](const RegisteredClientEntry& entry) {
        std::printf("%s:%d data_cfg -> Valid: %x\n", "ReadRegisteredClientInfo", __LINE__,
                    entry.record.valid);
    });
}

int WriteRegisteredClientInfo(const RegisteredClientEntry* entry) {
    return clients.write(*entry);
}

RegisteredClientEntry* findRegisteredClient(const RegisteredClient* client) {
    if (client->identityLength > sizeof client->identity) {
        return nullptr;
    }
    return clients.find([client](const RegisteredClientEntry& entry) {
        const RegisteredClient& known = entry.record.client;
        return known.identityLength == client->identityLength &&
               std::memcmp(known.identity, client->identity, client->identityLength) == 0;
    });
}

int vxpmgr_addRegisteredClient(const RegisteredClient* client) {
    if (refusesWrites()) {
        return -1;
    }
    if (client->identityLength > sizeof client->identity ||
        findRegisteredClient(client) != nullptr) {
        return -1;
    }
    RegisteredClientEntry* const entry = clients.take();
    if (entry == nullptr) {
        return -2;
    }
    entry->record.client = *client;
    return clients.write(*entry);
}

int vxpmgr_delRegisteredClient(const RegisteredClient* client) {
    if (refusesWrites()) {
        return -1;
    }
    RegisteredClientEntry* const entry = findRegisteredClient(client);
    if (entry == nullptr) {
        return -1;
    }
    clients.release(*entry);
    return clients.write(*entry);
}

int vxpmgr_getNextRegisteredClient(RegisteredClient* out, int index) {
    const RegisteredClientEntry* const entry = clients.next(index);
    if (entry == nullptr) {
        return -1;
    }
    *out = entry->record.client;
    int const following = static_cast<int>(clients.indexOf(*entry)) + 1;
    std::printf("%s:%d Found Valid pRegClient. next index: %d\n", __func__, __LINE__, following);
    return following;
}

// ---- Physical drives of the cache store ----

int ReadCacheStorePhysDrvInfo(void) {
    return drives.load(printDrive);
}

int WriteCacheStorePhysDrvInfo(const CacheStorePhysDrvEntry* entry) {
    return drives.write(*entry);
}

CacheStorePhysDrvEntry* findCacheStorePhysDrvInfo(const uint8_t* name, uint16_t length) {
    return drives.find([name, length](const CacheStorePhysDrvEntry& entry) {
        if (entry.record.valid != PSST_SLOT_VALID) {
            std::printf("findCacheStorePhysDrvInfo: Error !!!!");
            return false;
        }
        return hasName(entry.record, name, length);
    });
}

CacheStorePhysDrvEntry* findCacheStorePhysDrvInfoByDriveIndex(uint32_t driveIndex) {
    return drives.find([driveIndex](const CacheStorePhysDrvEntry& entry) {
        return entry.record.valid == PSST_SLOT_VALID && entry.record.driveIndex == driveIndex;
    });
}

int vxpmgr_getNextCacheStorePhysDrvInfo(CacheStorePhysDrv* out, int index) {
    const CacheStorePhysDrvEntry* const entry = drives.next(index);
    if (entry == nullptr) {
        return -1;
    }
    *out = entry->record;
    return static_cast<int>(drives.indexOf(*entry)) + 1;
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
    CacheStorePhysDrvEntry* const entry = refusesWrites() ? nullptr : drives.take();
    if (entry != nullptr) {
        entry->record = *drive;
        entry->record.valid = PSST_SLOT_VALID;
        std::printf("%s:%d Not updating the file in this function\n", __func__, __LINE__);
    }
    return entry;
}

// ---- The stripe table, and the cluster's cached LUNs ----

int ReadPhysLunStripeTable(void) {
    return stripes.load([](const PhysLunStripeEntry&) {});
}

int WritePhysLunStripeTable(const PhysLunStripeEntry* entry) {
    return stripes.write(*entry);
}

int WritePhysLunStripeTableEx(const void* buffer, uint32_t index, uint32_t stripeCount) {
    std::printf("%s:%d: index: %d, stripes= %d\n", __func__, __LINE__, static_cast<int>(index),
                static_cast<int>(stripeCount));
    if (stripeCount > std::size(PhysLunStripeTable)) { // their length would not fit its type
        return -1;
    }
    return WritePsstFile(buffer, static_cast<int32_t>(stripeCount * sizeof(PhysLunStripe)),
                         PSST_STRIPE_TABLE, index, PSST_MODE_RECORD);
}

int ReadClusterCachedLunAndPushToBA(void) {
    return cachedLuns.load([](ClusterCachedLunEntry& entry) {
        (void)XBMGT_SetClusterCachedLun(entry.record.driverRecord);
    });
}

int WriteClusterCachedLunInfo(const ClusterCachedLun* record) {
    return WritePsstFile(record, sizeof *record, PSST_CACHED_LUN, record->index, PSST_MODE_RECORD);
}

// ---- Event notification ----

int ReadEventNotifyFile(void) {
    return readFileInto(single(eventnotify_info), PSST_EVENT_NOTIFY);
}

int WriteEventNotifyFile(const EventNotifyEntry* entry) {
    return writeEntry(*entry, PSST_EVENT_NOTIFY);
}

int vxpmgr_UpdateEventNotifyInfo(const EventNotifyInfo* entry) {
    if (refusesWrites()) {
        return -1;
    }
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

// ---- Migration parameters, external migrations, target devices ----

int ReadMigrationParamFile(void) {
    return readFileInto(single(migration_param), PSST_MIGRATION_PARAM);
}

int WriteMigrationParamFile(const MigrationParam* record, uint32_t type) {
    if (refusesWrites()) {
        return -1;
    }
    if (type != PSST_MIGRATION_PARAM) {
        return -1;
    }
    migration_param.record.JOBUUID = record->JOBUUID;
    printJob(__func__, __LINE__, "HERE I am with");
    return WritePsstFile(record, sizeof *record, type, 0, PSST_MODE_RECORD);
}

int vxpmgr_GetMigrationParam(MigrationParam* out) {
    if (ReadMigrationParamFile() == 0) { // the words are the other way round, and stay so
        printJob(__func__, __LINE__, "error reading file");
    }
    *out = {};
    out->JOBUUID = migration_param.record.JOBUUID;
    printJob(__func__, __LINE__, "HERE I am with");
    return 0;
}

int vxpmgr_SetMigrationParam(const MigrationParam* in) {
    if (refusesWrites()) {
        return -1;
    }
    (void)ReadMigrationParamFile(); // bytes beside the identifier are kept
    migration_param.record.JOBUUID = in->JOBUUID;
    return WriteMigrationParamFile(&migration_param.record, PSST_MIGRATION_PARAM);
}

int WriteExtMigrationFile(const ExtMigrationEntry* entry) {
    return writeEntry(*entry, PSST_EXT_MIGRATION);
}

int ReadTargetDeviceFile(void) {
    return readFileInto(std::span(TargetDevices), PSST_DEVICE);
}
