// Stands in for the blade's persistence utility library: mirror paths, the backup bitmap, shell
// commands, remote access, and the record files that the library owns.
#include <vxblade/creators.h>
#include <vxblade/platform.h>
#include <vxblade/record_io.h>

#include "common/files.h"
#include "store/psst_table.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr uint64_t everyFile = (uint64_t{2} << PSST_LAST_INDEX) - (uint64_t{1} << PSST_FIRST_INDEX);

// As the store's own writers do where it is open for reading alone.
bool refusesWrites() {
    if ((pmgr_cb->flags & PMGR_FLAG_READ_ONLY) == 0) {
        return false;
    }
    errno = EROFS;
    return true;
}

int initialize(const char* path, std::string_view content) {
    return refusesWrites() ? -1 : vx::replaceFile(path, content.data(), content.size());
}

int createFile(uint32_t type) {
    return CreatePsstFile(vx::fileIndexOf(type));
}

template <class Record>
int readFirst(uint32_t type, Record& record) {
    return ReadPsstFile(&record, sizeof record, type, 0, PSST_MODE_RECORD);
}

template <class Record>
int writeFirst(uint32_t type, const Record& record) {
    return WritePsstFile(&record, sizeof record, type, 0, PSST_MODE_RECORD);
}

} // namespace

// ---- Mirrors, backups, the shell ----

int vxpmgr_create_mirror_paths(uint32_t /*a*/, uint32_t /*b*/, uint32_t /*c*/, uint32_t /*d*/) {
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        const char* const primary = psstFilePrimaryPaths[index];
        const char* const slash = std::strrchr(primary, '/'); // reserved indices have none
        std::snprintf(psstFileMirrorPaths[index], sizeof psstFileMirrorPaths[index],
                      "/mnt/nand2/%s", slash != nullptr ? slash + 1 : primary);
    }
    vxpmgr_mirror_path_init_done = 1;
    return 0;
}

int vxbackup_SetBackupBitmap(uint32_t fileIndex) {
    if (fileIndex < PSST_FIRST_INDEX || fileIndex > PSST_LAST_INDEX || refusesWrites()) {
        return -1;
    }
    uint64_t marked = 0;
    errno = 0; // a short read sets none
    bool const isRead = vx::readFile(vx::backupMarks, &marked, sizeof marked) == sizeof marked;
    if (!isRead) {
        // Absent: nothing is marked. Unreadable: marks would be lost, so every file is.
        marked = errno == ENOENT ? 0 : everyFile;
    }
    uint64_t const bitmap = marked | uint64_t{1} << fileIndex;
    if (isRead && bitmap == marked) {
        return 0; // spares the flash a write for every further record of a file
    }
    return vx::replaceFile(vx::backupMarks, &bitmap, sizeof bitmap);
}

int VX_systemWrapper(const char* command) {
    std::fflush(stdout);
    return std::system(command) == 0 ? 0 : -1; // NOLINT(bugprone-command-processor)
}

// ---- Factory state of remote access: the encrypted shell only ----

int InitializeTelnetConfigFile(void) {
    return initialize(VX_TELNET_CONFIG_PATH, "enabled=0\nport=23\n");
}

int InitializeSshConfigFile(void) {
    return initialize(VX_SSH_CONFIG_PATH, "enabled=1\nport=22\n");
}

int InitializeftpConfigFile(void) {
    return initialize(VX_FTP_CONFIG_PATH, "enabled=0\nport=21\n");
}

// ---- Record files ----

int CreateLogicalLunPsst(void) {
    return createFile(PSST_LOGICAL_LUN);
}

int CreateMigrationPsst(void) {
    return createFile(PSST_MIGRATION);
}

int CreateStoragePoolInfoPsstFile(void) {
    return createFile(PSST_STORAGE_POOL);
}

int CreateWriteCacheInfoPsstFile(void) {
    return createFile(PSST_WRITE_CACHE_MARKER);
}

// Logical LUNs are the bridge application's; without one none has a name to bring up to date.
int updateLogicalLunWwuln(void) {
    return 0;
}

int vxpmgr_GetDMGlobals(DmGlobals* record) {
    DmGlobals& stored = dm_globals.record;
    if (createFile(PSST_DM_GLOBALS) != 0 || readFirst(PSST_DM_GLOBALS, stored) != 0) {
        return -1;
    }
    *record = stored;
    return 0;
}

int vxpmgr_SetDMGlobals(const DmGlobals* record) {
    if (refusesWrites() || createFile(PSST_DM_GLOBALS) != 0) {
        return -1;
    }
    dm_globals.record = *record;
    return writeFirst(PSST_DM_GLOBALS, *record);
}

// Cache parameters have no file of their own among the record files.
int vxpmgr_setCacheParams(const CacheParams* record) {
    return refusesWrites()
               ? -1
               : vx::overwriteStart(psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_DATA], record,
                                    sizeof *record);
}

int vxpmgr_updateDefaultStoragePoolConfig(const StoragePoolConfig* record) {
    StoragePoolRecord& slot = StoragePoolInfo[0].record;
    if (refusesWrites() || CreateStoragePoolInfoPsstFile() != 0 ||
        readFirst(PSST_STORAGE_POOL, slot) != 0) {
        return -1;
    }
    std::memcpy(slot.bytes, record, sizeof *record);
    return writeFirst(PSST_STORAGE_POOL, slot);
}

int WriteClusterMemberInfo(void) {
    return writeFirst(PSST_CLUSTER_MEMBER, ClusterMemberInfo.record);
}
