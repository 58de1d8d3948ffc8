/*
 * The I2C buses, /dev/i2c-<bus>, and the lock that serialises them and the NOR flash among the
 * blade's programs: a semaphore within the process, then a lock on /var/lock/i2cLock.
 *
 * Errors: failures are reported on standard error and in the system log (ident "i2c_access"), and
 * returned. Ownership: buffers stay the caller's. Threads: every function may be called by any
 * thread at any time; transfers of all threads and processes follow one another.
 */
#ifndef VXBLADE_I2C_H
#define VXBLADE_I2C_H

#include <semaphore.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Descriptor of the lock file; -1 until it is first opened, then open for the process's life. */
VXBLADE_API extern int32_t i2cLockFd;
/* The semaphore, 1 from load on: the threads of this process, one at a time. */
VXBLADE_API extern sem_t vxI2CSema;

/* Opens the lock file once, making it where it is missing (mode 0666). Returns i2cLockFd, or -1. */
VXBLADE_API int VX_openI2CLock(void);

/*
 * Takes the lock, semaphore first, and waits for it without an end; opens the lock file if need be.
 * Returns 0 or more, or a negative number where the file lock cannot be had: nothing is held then.
 * Not recursive: a thread that holds the lock waits for itself. A wait for the semaphore that is
 * interrupted is printed on standard output; after six of them it goes on without the semaphore.
 */
VXBLADE_API int VX_AcquireI2CLock(void);

/* Gives the lock back, the file lock first. Returns 0 or more, or a negative number where the file
 * lock could not be given back; the semaphore always is. */
VXBLADE_API int VX_ReleaseI2CLock(void);

/* The most that one writeI2cDev writes, in bytes. */
#define I2C_WRITE_LIMIT 256

/*
 * Reads from a device's memory, under the lock, in pieces of eight bytes.
 *   bus                 number of the bus
 *   devAddr             the device's address, 7 bits
 *   offset              memory address to begin at
 *   buffer              receives the bytes; what it holds after the result's bytes is undefined
 *   length              bytes to read
 *   i2c_data_addr_bits  16: memory addresses are sent as two bytes, high byte first; else as one
 * Returns the bytes read, of complete pieces; fewer than `length` after a failure. 0 for a length
 * of 0 or less; -1 where the lock cannot be had, or node, device or memory address do not answer.
 * EIO is tried again up to 15 times, 15 microseconds apart; nothing else is.
 */
VXBLADE_API int readI2cDev(int bus, int devAddr, int offset, void* buffer, int length,
                           int i2c_data_addr_bits);

/*
 * Writes to a device's memory in the same way, in pieces of two bytes that begin at even addresses.
 *   buffer  the bytes to write
 *   length  how many; what is above I2C_WRITE_LIMIT is not written
 *   the others as for readI2cDev
 * Returns the bytes written, fewer after a failure; 0 also where the node cannot be opened or the
 * device does not answer; -1 where the lock cannot be had.
 */
VXBLADE_API int writeI2cDev(int bus, int devAddr, int offset, const void* buffer, int length,
                            int i2c_data_addr_bits);

VXBLADE_END

#endif
