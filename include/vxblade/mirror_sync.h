/* Bringing the store and its mirror back into step, file by file. */
#ifndef VXBLADE_MIRROR_SYNC_H
#define VXBLADE_MIRROR_SYNC_H

#include <vxblade/pmgr.h>

VXBLADE_BEGIN

/*
 * Makes every mirror equal to its primary, the sequence number last. The arguments go to
 * vxpmgr_create_mirror_paths. A primary that does not exist counts as in step. A pair that was
 * copied and still differs is copied again every two seconds, without end, until a signal
 * interrupts the wait. 0; -1 when it was interrupted, and (with the command on standard error) as
 * soon as a copy fails.
 */
VXBLADE_API int vxpmgr_Sync(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
/* Copies every file without comparing: direction 0 to the mirror, 1 from it, else -1. Copies that
 * fail are passed over. */
VXBLADE_API int vxpmgr_CopyFiles(uint32_t direction);
/* 0 when a pair of paths needs no copy, -1 when it does: the mirror is missing or the contents'
 * CRC-32 differ. */
VXBLADE_API int ComparePsst(const char* primary, const char* mirror);
/* The CRC-32 of the bytes from `start` to before `end`; 0 for an empty region and for a file that
 * cannot be read. */
VXBLADE_API uint32_t ComputeFileCrc(const char* path, int64_t start, int64_t end);
/* Side 0: the number in memory. Other sides: that of the mirror's file, whose header is not
 * checked. 0, or -1 when it cannot be read. */
VXBLADE_API int vxpmgr_GetSequenceNumber(int side, uint64_t* number);
/* Makes the mirror file of an index, empty. Its descriptor, which the caller closes, or -1, also
 * for a mirror that exists. */
VXBLADE_API int CreatePeerPsstFile(int fileIndex);
/* Writes fresh headers into 23 record files, each through the write path. Always 0. */
VXBLADE_API int vxpmgr_validate_headers(void);

VXBLADE_END

#endif
