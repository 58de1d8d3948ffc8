/*
 * Writing and reading records, their files' headers and the sequence number.
 *
 * Files are those that the control block holds open (store_init.h, creators.h); nothing here opens
 * one, except ReadSequenceNumber. A transfer that fails closes its file for good: every later one
 * returns -1 until the store is initialised again. Nothing is printed or retried. Buffers are the
 * caller's and not kept.
 *
 * Threads: one at a time uses the store. Programs that write at the same time need a lock of their
 * own.
 */
#ifndef VXBLADE_RECORD_IO_H
#define VXBLADE_RECORD_IO_H

#include <vxblade/control_block.h>

VXBLADE_BEGIN

/* ---- Records ----------------------------------------------------------------------------- */

/* What a transfer addresses. */
enum {
    PSST_MODE_RECORD = 0, /* the slot of a record number */
    PSST_MODE_HEADER = 1  /* the start of the file */
};

/*
 * Writes a record or a header, durably. Then, in this order: writes the mirror, advances the
 * sequence number, marks the backup bitmap; a failure of these does not fail the write.
 *   buffer        the bytes
 *   length        their count, 0 or more; may span records, but not reach beyond the last one
 *   type          enum PsstFileType: the file, and in the configuration file the kind of record
 *   recordNumber  from 0; types with a single record ignore it
 *   mode          PSST_MODE_HEADER, or any other value for a record
 * Returns 0; -1 for a type without records, a file that is not open, and bytes beyond the last
 * record; -1 too where the seek or the write fails or comes up short, and the file is then closed.
 */
VXBLADE_API int WritePsstFile(const void* buffer, int32_t length, uint32_t type,
                              uint32_t recordNumber, int mode);
/*
 * Reads a record or a header: addressed, refused and failed as by WritePsstFile. On failure
 * `buffer` may hold part of the bytes.
 */
VXBLADE_API int ReadPsstFile(void* buffer, int32_t length, uint32_t type, uint32_t recordNumber,
                             int mode);
/*
 * Writes into a mirror, durably.
 *   buffer, length  the bytes and their count
 *   fileIndex       1 to 43
 *   offset          in bytes, from the start of the file
 * Returns 0; -1 for other indices, where there is no mirror (none is made), and for a failed or
 * short write.
 */
VXBLADE_API int MirrorPsstFile(const void* buffer, int32_t length, int fileIndex, int64_t offset);

/* The `kind` that decides whether writes are mirrored. */
enum { PSST_PEER_MIRRORS = 4 };
/* Whether the peer takes part, by kind: always 1. */
VXBLADE_API int GetPeerStatus(int kind);

/* ---- Headers ----------------------------------------------------------------------------- */

/*
 * Fills all 64 bytes of a header for a file-type code; writes no file. Codes without a file get
 * the size of a bare header, the VPD codes the CRC-32 of `vpd_info`'s record. Cannot fail.
 */
VXBLADE_API void CreateHeader(PsstHeader* header, uint32_t type);
/* Writes a header at the start of the file that its own type names. Returns as WritePsstFile. */
VXBLADE_API int WriteHeader(const PsstHeader* header);
/* Reads the header of the file of a type, without a check of it. Returns as ReadPsstFile. */
VXBLADE_API int ReadHeader(PsstHeader* header, uint32_t type);
/*
 * Writes zeros after the header of an open file, in synced pieces of at most 131,072 bytes; neither
 * mirrored nor counted.
 *   fileIndex  1 to 43
 *   length     in bytes; 0 writes nothing
 * Returns 0; -1 for a file that is not open, without memory, and for a failed or short write,
 * which leaves the file open and as far as it got.
 */
VXBLADE_API int WriteZeroFile(int fileIndex, uint32_t length);

/* ---- The sequence number ----------------------------------------------------------------- */

/*
 * Writes the sequence number to its file, durably, to that file's mirror, and marks the file for
 * the backup.
 *   increment  not 0: the number is advanced by one before
 * Returns 0; 0 too, with nothing done, while PMGR_FLAG_SEQUENCE_STOPPED is set; -1 where the file
 * is not open or the write fails (the number in memory is advanced all the same).
 */
VXBLADE_API int UpdateSequenceNumber(int increment);
/*
 * Opens the sequence-number file and takes the number from it, whatever magic and type say. A
 * missing or empty file is made, with 0. Returns 0; -1 where it cannot be opened, made or read.
 */
VXBLADE_API int ReadSequenceNumber(void);

VXBLADE_END

#endif
