/*
 * What the layer imports from the blade's shared platform libraries, its boot environment
 * (bootenv.h) among them. The build carries working stand-ins (platform/), which the blade's own
 * libraries replace. Buffers are the caller's and not kept.
 *
 * They replace them when the layer is built (VXBLADE_PLATFORM_LIBRARIES), or when a program starts,
 * by their soname (libvxplatform.so.0): such a library has all of these functions, and where their
 * names do not have the version VXBLADE_0 the loader says so on standard error and goes on.
 *
 * Threads: one at a time uses the store. Locks may be taken and given back on any.
 */
#ifndef VXBLADE_PLATFORM_H
#define VXBLADE_PLATFORM_H

#include <vxblade/bootenv.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/* ---- The persistence utility library ----------------------------------------------------- */

/* Fills psstFileMirrorPaths from 1 on and sets vxpmgr_mirror_path_init_done. The arguments are
 * those of the store's callers; the stand-in has no use for them. Returns 0. */
VXBLADE_API int vxpmgr_create_mirror_paths(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
/* Remembers, across restarts, that the file of an index changed. 0; -1 for an index outside 1 to 43
 * and where that cannot be written. */
VXBLADE_API int vxbackup_SetBackupBitmap(uint32_t fileIndex);
/* Runs a shell command and waits for its end. 0 where that was with status 0, else non-zero. */
VXBLADE_API int VX_systemWrapper(const char* command);

/* The configuration files of remote access. */
#define VX_TELNET_CONFIG_PATH "/mnt/nand1/telnet.cfg"
#define VX_SSH_CONFIG_PATH "/mnt/nand1/ssh.cfg"
#define VX_FTP_CONFIG_PATH "/mnt/nand1/ftp.cfg"
/* Make one of them with its default content, whatever is there. 0 or -1. */
VXBLADE_API int InitializeTelnetConfigFile(void);
VXBLADE_API int InitializeSshConfigFile(void);
VXBLADE_API int InitializeftpConfigFile(void);

/* Make a record file where it is missing, and open it. 0 or non-zero. */
VXBLADE_API int CreateLogicalLunPsst(void);
VXBLADE_API int CreateMigrationPsst(void);
VXBLADE_API int CreateStoragePoolInfoPsstFile(void);
VXBLADE_API int CreateWriteCacheInfoPsstFile(void);
/* Brings the unique names in the logical-LUN records up to date. 0 or non-zero. */
VXBLADE_API int updateLogicalLunWwuln(void);
/* Data-migration globals: Get reads the file into `dm_globals` and the caller's record, Set puts
 * the caller's record into both. Either makes the file where it is missing. 0 or -1. */
VXBLADE_API int vxpmgr_GetDMGlobals(DmGlobals* record);
VXBLADE_API int vxpmgr_SetDMGlobals(const DmGlobals* record);
/* Store the caller's record, durably: the parameters of the cache, and the defaults of the storage
 * pools. What follows them in their files is kept. 0 or -1. */
VXBLADE_API int vxpmgr_setCacheParams(const CacheParams* record);
VXBLADE_API int vxpmgr_updateDefaultStoragePoolConfig(const StoragePoolConfig* record);
/* Writes ClusterMemberInfo to its file, which must be open. 0 or -1. */
VXBLADE_API int WriteClusterMemberInfo(void);

/* ---- The EEPROM library ------------------------------------------------------------------ */

/* Operations of VX_PosixFileLockUnLock. */
enum { FILE_LOCK = 1, FILE_UNLOCK = 2 };
/*
 * Takes or gives back a lock on a whole file, held among processes; taking waits until it is
 * granted.
 *   fd         the file, open for writing
 *   operation  FILE_LOCK or FILE_UNLOCK, else EINVAL
 * Returns 0 or more; negative with errno set on failure.
 */
VXBLADE_API int VX_PosixFileLockUnLock(int fd, int operation);

VXBLADE_END

#endif
