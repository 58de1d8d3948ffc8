#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include "common/files.h"

#include <cstring>

namespace {

constexpr int indexOf(uint32_t type) {
    return static_cast<int>(type) - 3;
}

// Cache parameters have no file of their own among the record files; they stand at the start of
// the backup set's additional data file.
constexpr const char* cacheParamsPath = "/mnt/nand1/brapp_psst_data.cfg";

} // namespace

int CreateLogicalLunPsst(void) {
    return CreatePsstFile(indexOf(PSST_LOGICAL_LUN));
}

int CreateMigrationPsst(void) {
    return CreatePsstFile(indexOf(PSST_MIGRATION));
}

int CreateStoragePoolInfoPsstFile(void) {
    return CreatePsstFile(indexOf(PSST_STORAGE_POOL));
}

int CreateWriteCacheInfoPsstFile(void) {
    return CreatePsstFile(indexOf(PSST_WRITE_CACHE_MARKER));
}

// Logical LUNs are the bridge application's; without one none has a name to bring up to date.
int updateLogicalLunWwuln(void) {
    return 0;
}

int vxpmgr_GetDMGlobals(DmGlobals* record) {
    DmGlobals& stored = dm_globals.record;
    if (CreatePsstFile(indexOf(PSST_DM_GLOBALS)) != 0 ||
        ReadPsstFile(&stored, sizeof stored, PSST_DM_GLOBALS, 0, PSST_MODE_RECORD) != 0) {
        return -1;
    }
    *record = stored;
    return 0;
}

int vxpmgr_SetDMGlobals(const DmGlobals* record) {
    if (CreatePsstFile(indexOf(PSST_DM_GLOBALS)) != 0) {
        return -1;
    }
    dm_globals.record = *record;
    return WritePsstFile(record, sizeof *record, PSST_DM_GLOBALS, 0, PSST_MODE_RECORD);
}

int vxpmgr_setCacheParams(const CacheParams* record) {
    return vx::overwriteStart(cacheParamsPath, record, sizeof *record);
}

int vxpmgr_updateDefaultStoragePoolConfig(const StoragePoolConfig* record) {
    StoragePoolRecord& slot = StoragePoolInfo[0].record;
    if (CreateStoragePoolInfoPsstFile() != 0 ||
        ReadPsstFile(&slot, sizeof slot, PSST_STORAGE_POOL, 0, PSST_MODE_RECORD) != 0) {
        return -1;
    }
    std::memcpy(slot.bytes, record, sizeof *record);
    return WritePsstFile(&slot, sizeof slot, PSST_STORAGE_POOL, 0, PSST_MODE_RECORD);
}

int WriteClusterMemberInfo(void) {
    return WritePsstFile(&ClusterMemberInfo.record, sizeof ClusterMemberInfo.record,
                         PSST_CLUSTER_MEMBER, 0, PSST_MODE_RECORD);
}
