/*
 * What the layer imports from the blade's shared platform libraries and its boot-environment
 * store. The build carries working stand-ins (platform/), which the blade's own libraries
 * replace.
 */
#ifndef VXBLADE_PLATFORM_H
#define VXBLADE_PLATFORM_H

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

/*
 * The boot environment in the NOR flash: texts by name, in two copies in different erase blocks,
 * one of which is whole at any time. Each copy is a CRC-32 of its texts (little-endian), a flag
 * (1 active, 0 obsolete) and texts "name=value", each ended by a NUL and the last by two; of texts
 * of one name the last counts. Of two whole copies the one of the greater flag counts, of equal
 * flags the first, but of two 255 the second. All this is how the standard tools read a NOR flash.
 *
 * /etc/fw_env.config says where the copies lie, in two lines "/dev/mtd0 OFFSET SIZE" (more numbers
 * may follow): the offset decimal, or with 0x or 0 in front hexadecimal or octal, the size
 * hexadecimal with or without 0x. Without the file they are at the start of the last two erase
 * blocks, 16 KiB each. Failures are reported on standard error and in the system log (ident
 * "boot_env").
 */

/* Loads the environment; `norStatus` is the result of vhnor_init. Waits at most five seconds for
 * the standard tools' lock; a load without it is reported, and writes nothing. 0, also where the
 * copies are blank; -1 where the environment cannot be read or is damaged: nothing is set then, and
 * nothing saved. */
VXBLADE_API int vornhal_init_env(int norStatus);
/* Copies a value, cut to `size` - 1 characters and always terminated. Returns the value's length,
 * 0 when the name is not set. */
VXBLADE_API int vornhal_getenv(const char* name, char* value, int size);
/* Sets a name in memory; an empty value removes it. 0, or -1 when it does not fit or the name is
 * empty or has a "=". */
VXBLADE_API int vornhal_setenv(const char* name, const char* value);
/*
 * Makes what was set since the last load or save durable, on top of what other programs saved
 * meanwhile; waits for the standard tools' lock as long as another program holds it, which is
 * reported after five seconds. Writes nothing where nothing changes. 0, or -1: the flash then holds
 * the old or the new environment whole, and what was set waits for the next save. Never erases a
 * block that holds anything but an environment, or what a save that was cut left of one: the block
 * of a save under way is noted in /mnt/nand0/boot_env.erasing, and without the note there is no
 * save.
 */
VXBLADE_API int vornhal_saveenv(void);

VXBLADE_END

#endif
