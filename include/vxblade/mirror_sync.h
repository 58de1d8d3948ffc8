/*
 * Whole files and their mirrors: bringing the two back into step, and the peer that the mirrors are
 * for.
 *
 * Threads: one at a time uses the store. ComparePsst and ComputeFileCrc use nothing of it, and run
 * on any.
 */
#ifndef VXBLADE_MIRROR_SYNC_H
#define VXBLADE_MIRROR_SYNC_H

#include <vxblade/export.h>

VXBLADE_BEGIN

/* ---- Copies ------------------------------------------------------------------------------ */

/*
 * Makes every mirror equal to its primary, the sequence number last. A primary that does not exist
 * counts as in step. A pair that was copied and still differs is copied again every two seconds,
 * without end, until a signal interrupts the wait.
 *   a, b, c, d  go to vxpmgr_create_mirror_paths as they are
 * Returns 0; -1 when it was interrupted, and at once where a copy fails, with its command on
 * standard error.
 */
VXBLADE_API int vxpmgr_Sync(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
/*
 * Copies every file, without comparing and in index order.
 *   direction  0: to the mirror, 1: from it; goes to vxpmgr_create_mirror_paths, too
 * Returns 0, whatever the copies gave; -1 for other directions.
 */
VXBLADE_API int vxpmgr_CopyFiles(uint32_t direction);
/* 0 when a pair of paths needs no copy, -1 when it does: the mirror is missing or the contents'
 * CRC-32 differ. */
VXBLADE_API int ComparePsst(const char* primary, const char* mirror);
/*
 * The CRC-32 of a region of a file.
 *   start, end  offsets in bytes, from `start` to before `end`; a shorter file ends the region
 * Returns 0 for an empty region and for a file that cannot be read.
 */
VXBLADE_API uint32_t ComputeFileCrc(const char* path, int64_t start, int64_t end);

/* ---- One side ---------------------------------------------------------------------------- */

/*
 * The sequence number of a side.
 *   side    0: the number in memory; others: that of the mirror's file, whose header is not checked
 *   number  gets it; left alone on failure
 * Returns 0; -1 where the mirror cannot be read.
 */
VXBLADE_API int vxpmgr_GetSequenceNumber(int side, uint64_t* number);
/* Makes the mirror file of an index, empty. Its descriptor, which the caller closes; -1 for a
 * mirror that exists or cannot be made, and for a reserved index. */
VXBLADE_API int CreatePeerPsstFile(int fileIndex);
/* Writes fresh headers into 23 open record files, each through WriteHeader, whose results are not
 * looked at. Always 0. */
VXBLADE_API int vxpmgr_validate_headers(void);

/* ---- The peer blade ---------------------------------------------------------------------- */

/* 1 when the link to the peer can be queried on the general-purpose device, else 0. */
VXBLADE_API int GetLinkStatus(void);
/* 1 when the peer counts as operational, which it does when its link can be queried; else 0. */
VXBLADE_API int VX_isPeerBladeOperational(void);

VXBLADE_END

#endif
