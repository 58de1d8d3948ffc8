/*
 * The boot environment in the NOR flash: variables by name, in two copies in different erase
 * blocks, one of which is whole at any time. Each copy is a CRC-32 of its strings (little-endian),
 * a flag (1 active, 0 obsolete) and strings "name=value", each ended by a NUL and the last by two;
 * of strings of one name the last counts. Of two whole copies the one of the greater flag counts,
 * of equal flags the first, but of two 255 the second. All this is how the standard tools read a
 * NOR flash.
 *
 * /etc/fw_env.config says where the copies are, in two lines "/dev/mtd0 OFFSET SIZE" (more numbers
 * may follow): the offset decimal, or with 0x or 0 in front hexadecimal or octal, the size
 * hexadecimal with or without 0x, both in bytes. Without the file they are at the start of the last
 * two erase blocks, 16 KiB each.
 *
 * Errors: a failure is reported on standard error and in the system log (ident "boot_env") where a
 * comment does not say otherwise. Ownership: names and values are copied, the caller's buffers stay
 * the caller's. Threads: there is one environment in a process, without a lock: one thread at a
 * time. Programs take turns by the standard tools' lock, /var/lock/fw_printenv.lock.
 */
#ifndef VXBLADE_BOOTENV_H
#define VXBLADE_BOOTENV_H

#include <vxblade/export.h>

VXBLADE_BEGIN

/*
 * Loads the environment; what was set and not saved is forgotten.
 *   norStatus  the result of vhnor_init (nor.h); another one than 0 means no flash, is not reported
 *              again, and nothing is loaded
 * Returns 0, also where both copies are blank; -1 where the environment cannot be read or is
 * damaged: nothing is set then, and nothing saved. Waits at most five seconds for the standard
 * tools' lock; a load without it is reported, and writes nothing.
 */
VXBLADE_API int vornhal_init_env(int norStatus);

/*
 * Copies a variable's value, as it was loaded or last set.
 *   name   the variable
 *   value  receives at most `size` - 1 characters and a NUL; an empty string where the name is not
 * set size   bytes of `value`; below 1 nothing is written Returns the whole value's length, which
 * may be more than was copied; 0 where the name is not set or `size` is below 1. Reports nothing.
 */
VXBLADE_API int vornhal_getenv(const char* name, char* value, int size);

/*
 * Sets a variable in memory; vornhal_saveenv makes it durable.
 *   name   the variable; not empty, and without "="
 *   value  its value; an empty one removes the variable
 * Returns 0; -1 for another name, where it does not fit into a copy, or where nothing is loaded.
 * Reports nothing.
 */
VXBLADE_API int vornhal_setenv(const char* name, const char* value);

/*
 * Makes what was set since the last load or save durable, on top of what other programs saved
 * meanwhile. Writes nothing where nothing changes.
 *
 * Returns 0, or -1: the flash then holds the old or the new environment whole, and what was set
 * waits for the next save. Waits for the standard tools' lock as long as another program holds it,
 * which is reported after five seconds. Never erases a block that holds anything but an
 * environment, or what a save that was cut left of one: the block of a save under way is noted in
 * /mnt/nand0/boot_env.erasing, and without the note there is no save.
 */
VXBLADE_API int vornhal_saveenv(void);

VXBLADE_END

#endif
