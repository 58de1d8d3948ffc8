/*
 * The vital product data: one record of 2224 bytes in two files, each with a CRC-32 of its data in
 * the header. One of the two is whole at any instant.
 *
 * Functions return 0 or -1. Records are the caller's and not kept.
 *
 * Threads: one at a time uses the store.
 */
#ifndef VXBLADE_VPD_H
#define VXBLADE_VPD_H

#include <vxblade/control_block.h>

VXBLADE_BEGIN

/* Copies the record in memory to the caller's. Always 0. */
VXBLADE_API int vxpmgr_GetVpdInfo(VpdRecord* record);
/* Copies the caller's record into memory and writes the VPD file, data before header, then its
 * backup. -1 where a write fails; the backup is not touched after a failure of the first file. */
VXBLADE_API int vxpmgr_UpdateVpdInfo(const VpdRecord* record);
/*
 * Loads the record into memory. A bad file is repaired from its good twin, and a backup that holds
 * another record gets the first file's; the repairs' results are not reported. -1 when both files
 * are bad: they and the memory are then left alone.
 */
VXBLADE_API int vxpmgr_readVpdFile(void);

/* Makes each of the two files that is unfinished (creators.h), with the record in memory. -1 where
 * one cannot be made. */
VXBLADE_API int vxpmgr_create_vpd_psst(void);
/*
 * Rebuild the backup from the VPD file, and the VPD file from its backup; the record goes to
 * memory, too. -1, with nothing written, for a source whose header or CRC is bad. With `create` 0
 * an unfinished target is left as it is, and the result is -1.
 */
VXBLADE_API int copy_vpd_psst(int create);
VXBLADE_API int copy_backup_vpd_psst(int create);

/* Writes an entry's data, without a header, to the file of `type`: PSST_VPD or PSST_VPD_BACKUP,
 * else -1. Returns as WritePsstFile. */
VXBLADE_API int WriteVpdFile(const VpdEntry* entry, uint32_t type);

VXBLADE_END

#endif
