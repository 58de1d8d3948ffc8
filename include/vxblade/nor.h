/*
 * The NOR flash, /dev/mtd0, by byte offset; and the blade's slot.
 *
 * Units: offsets and lengths are in bytes. Errors: failures are reported on standard error and in
 * the system log (ident "vhnor_api"), and returned; what is learned of the geometry is printed on
 * standard error. Ownership: buffers stay the caller's. Threads: every access takes the I2C lock
 * (i2c.h) and gives it back, so a caller must not hold it; vhnor_init and VX_getMySlotPosition are
 * for one thread, before others use the flash.
 */
#ifndef VXBLADE_NOR_H
#define VXBLADE_NOR_H

#include <mtd/mtd-user.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Descriptor of the flash; -1 until vhnor_init opened it, then open for the process's life. */
VXBLADE_API extern int32_t vhnor_drv;
/* What the driver says about the flash, `size` and `erasesize` above all. Zero until then. */
VXBLADE_API extern struct mtd_info_user nor_info;
/* The erase regions, by offset; a flash of one block size has one region for each block. After the
 * last one `nor_region` has one more entry, whose offset is the end of the flash. The library owns
 * the table. */
VXBLADE_API extern int32_t nor_num_regions;
VXBLADE_API extern const struct region_info_user* nor_region;
/* The most regions that are taken: a flash of more has none, which is reported. */
#define NOR_REGION_LIMIT 65536

/* Maps and opens the flash and learns its geometry, once per process. Returns 0, also where it was
 * open, or a part of the geometry cannot be learned; -1 where the node cannot be opened.
 * map_driver's words (hw.h) go to standard output. */
VXBLADE_API int vhnor_init(void);

/*
 * Read, or program, a range. Programming clears bits and sets none: erase first.
 *   offset  where the range begins
 *   buffer  receives, or has, `length` bytes
 *   length  of the range
 * Returns the driver's count, which may be short; 0 for length 0; -1 with the driver's errno where
 * it fails; -1 for a range that is not within the flash, or without the lock.
 */
VXBLADE_API int vhnor_read(uint32_t offset, void* buffer, uint32_t length);
VXBLADE_API int vhnor_program(uint32_t offset, const void* buffer, uint32_t length);

/* Returns the index in nor_region of the region that holds `offset`, or -1 outside the flash;
 * printed on standard error. Takes no lock. */
VXBLADE_API int vhnor_offset_region(uint32_t offset);

/*
 * Erases the blocks from the one that holds `offset` on, as long as they begin before the range's
 * last byte: a block whose first byte that is stays, and one byte at a block's start erases
 * nothing. The lock is taken for each block.
 *   offset  where the range begins
 *   length  of the range
 * Returns 0; the last failing request's result, and the other blocks are erased all the same; -1
 * for a range that is not within the regions (nothing is erased), or without the lock (nothing more
 * is).
 */
VXBLADE_API int vhnor_erase(uint32_t offset, uint32_t length);

/* The flash has no write protection: these say so on standard error, and return 0. */
VXBLADE_API int vhnor_lock(uint32_t offset, uint32_t length);
VXBLADE_API int vhnor_unlock(uint32_t offset, uint32_t length);

/* The slot, once it is known; 255 before. */
VXBLADE_API extern uint64_t bladeCurSlot;
/* Asks the general-purpose device once, which is opened if need be (up to two minutes). Returns the
 * number of the slot that the blade is in, or 255 where it cannot be learned. */
VXBLADE_API uint64_t VX_getMySlotPosition(void);

VXBLADE_END

#endif
