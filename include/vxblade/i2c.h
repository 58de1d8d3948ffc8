/*
 * The I2C buses, /dev/i2c-<bus>, and the lock that serialises them and the NOR flash among the
 * blade's programs: a semaphore within the process, then a lock on /var/lock/i2cLock.
 *
 * Failures are reported on standard error and in the system log (ident "i2c_access").
 */
#ifndef VXBLADE_I2C_H
#define VXBLADE_I2C_H

#include <semaphore.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Descriptor of the lock file; -1 until it is first opened, then open for the process's life. */
VXBLADE_API extern int32_t i2cLockFd;
/* 1 from load on: the threads of this process, one at a time. */
VXBLADE_API extern sem_t vxI2CSema;

/* Opens the lock file once, making it where it is missing. The descriptor, or -1. */
VXBLADE_API int VX_openI2CLock(void);
/*
 * Takes the lock, semaphore first, and waits for it; opens the lock file if need be. 0 or more,
 * or negative when the file lock cannot be had, and then nothing is held. Not recursive. After
 * six failed waits for the semaphore (each printed) it goes on without it.
 */
VXBLADE_API int VX_AcquireI2CLock(void);
/* Gives the file lock back, then the semaphore. The file lock's result. */
VXBLADE_API int VX_ReleaseI2CLock(void);

/* The most that one writeI2cDev writes, in bytes. */
#define I2C_WRITE_LIMIT 256

/*
 * Reads `length` bytes from memory address `offset` of the device at the 7-bit address `devAddr`,
 * under the lock. Memory addresses have two bytes, high byte first, where `i2c_data_addr_bits` is
 * 16, else one. The bytes read, of complete pieces of eight; -1 where the lock cannot be had, or
 * node, device or memory address do not answer; 0 for a length of 0 or less. Retries after EIO
 * only.
 */
VXBLADE_API int readI2cDev(int bus, int devAddr, int offset, void* buffer, int length,
                           int i2c_data_addr_bits);
/*
 * Writes in the same way, at most I2C_WRITE_LIMIT bytes, two at a time. The bytes written; -1
 * where the lock cannot be had.
 */
VXBLADE_API int writeI2cDev(int bus, int devAddr, int offset, const void* buffer, int length,
                            int i2c_data_addr_bits);

VXBLADE_END

#endif
