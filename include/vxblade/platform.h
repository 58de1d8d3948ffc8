/*
 * What the layer imports from the blade's shared platform libraries, its boot environment
 * (bootenv.h) among them. The build carries working stand-ins (platform/), which the blade's own
 * libraries replace.
 */
#ifndef VXBLADE_PLATFORM_H
#define VXBLADE_PLATFORM_H

#include <vxblade/bootenv.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/* Fills psstFileMirrorPaths and sets vxpmgr_mirror_path_init_done. The arguments are the
 * caller's own; the stand-in has no use for them. Returns 0. */
VXBLADE_API int vxpmgr_create_mirror_paths(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
/* Remembers for the next backup that the file of an index changed. 0 or -1. */
VXBLADE_API int vxbackup_SetBackupBitmap(uint32_t fileIndex);
/* Runs a shell command: 0 where it ended with status 0, else non-zero. */
VXBLADE_API int VX_systemWrapper(const char* command);
/* Operations of VX_PosixFileLockUnLock. */
enum { FILE_LOCK = 1, FILE_UNLOCK = 2 };
/* Takes or gives back a lock on the whole file, shared among processes; taking waits until it is
 * granted. 0 or more on success, negative with errno set on failure. */
VXBLADE_API int VX_PosixFileLockUnLock(int fd, int operation);

/* Make /mnt/nand1/telnet.cfg, ssh.cfg and ftp.cfg with their default contents. 0 or -1. */
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
/* Data-migration globals: loads them into, stores them from the caller's record. 0 or -1. */
VXBLADE_API int vxpmgr_GetDMGlobals(DmGlobals* record);
VXBLADE_API int vxpmgr_SetDMGlobals(const DmGlobals* record);
/* Store the parameters of the cache and the defaults of the storage pools. 0 or -1. */
VXBLADE_API int vxpmgr_setCacheParams(const CacheParams* record);
VXBLADE_API int vxpmgr_updateDefaultStoragePoolConfig(const StoragePoolConfig* record);
/* Writes ClusterMemberInfo to its file. 0 or -1. */
VXBLADE_API int WriteClusterMemberInfo(void);

VXBLADE_END

#endif
