/*
 * The NOR flash, /dev/mtd0, by byte offset; and the blade's slot.
 *
 * Every access takes the I2C lock (i2c.h) and gives it back. Failures are reported on standard
 * error and in the system log (ident "vhnor_api"), geometry on standard error.
 */
#ifndef VXBLADE_NOR_H
#define VXBLADE_NOR_H

#include <mtd/mtd-user.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Descriptor of the flash; -1 until vhnor_init opened it, then open for the process's life. */
VXBLADE_API extern int32_t vhnor_drv;
/* What the driver says about the flash: `size` and `erasesize` in bytes. Zero until then. */
VXBLADE_API extern struct mtd_info_user nor_info;
/* The erase regions, by offset; a flash of one block size has one region for each block. Behind
 * the last one `nor_region` has one more entry, whose offset is the end of the flash. */
VXBLADE_API extern int32_t nor_num_regions;
VXBLADE_API extern const struct region_info_user* nor_region;
/* The most regions that are taken: a flash of more has none, which is reported. */
#define NOR_REGION_LIMIT 65536

/* Maps and opens the flash and learns its geometry, once per process. 0, or -1 when the node
 * cannot be opened. map_driver's words go to standard output. */
VXBLADE_API int vhnor_init(void);

/* Read and program `length` bytes from `offset`. The driver's count, which may be short; 0 for
 * length 0; -1 for a range that is not within the flash, and without the lock. */
VXBLADE_API int vhnor_read(uint32_t offset, void* buffer, uint32_t length);
VXBLADE_API int vhnor_program(uint32_t offset, const void* buffer, uint32_t length);

/* Index of the region that holds the offset, or -1; printed on standard error. */
VXBLADE_API int vhnor_offset_region(uint32_t offset);
/*
 * Erases the blocks from the one that holds `offset` on, as long as they begin before the range's
 * last byte: a block whose first byte that is stays, and one byte at a block's start erases
 * nothing. The lock is taken for each block. 0; the last failing request's result, and the other
 * blocks are erased all the same; -1 for a range that is not within the regions, or without the
 * lock.
 */
VXBLADE_API int vhnor_erase(uint32_t offset, uint32_t length);
/* The flash has no write protection: these say so on standard error and return 0. */
VXBLADE_API int vhnor_lock(uint32_t offset, uint32_t length);
VXBLADE_API int vhnor_unlock(uint32_t offset, uint32_t length);

/* The slot, once it is known; 255 before. */
VXBLADE_API extern uint64_t bladeCurSlot;
/* The slot that the blade sits in, from the general-purpose device, which is opened if need be
 * (up to two minutes). 255 when it cannot be learned. */
VXBLADE_API uint64_t VX_getMySlotPosition(void);

VXBLADE_END

#endif
