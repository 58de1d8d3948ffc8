/*
 * Device nodes of drivers whose numbers are known at run time only, and the general-purpose device.
 *
 * Errors: failures are printed on standard output and returned. Ownership: nothing that is passed
 * is kept. Threads: no locks; the first opening of a device must not happen in two threads at once.
 */
#ifndef VXBLADE_HW_H
#define VXBLADE_HW_H

#include <stdio.h>
#include <sys/types.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Kinds of device, the sections of /proc/devices. */
enum { DEVICE_CHARACTER = 0, DEVICE_BLOCK = 1 };

/*
 * Looks a driver up in /proc/devices.
 *   name  the driver's name, whole, upper and lower case being different
 *   type  DEVICE_CHARACTER or DEVICE_BLOCK
 * Returns its major number, at most 9999; 0 where it is not listed in that section, or where the
 * file cannot be read, which is printed.
 */
VXBLADE_API uint32_t getMajor(const char* name, int type);

/*
 * Reads one line.
 *   file    open for reading
 *   buffer  receives at most `size` - 1 characters, the newline among them; the rest is zero
 *   size    bytes of `buffer`
 * Returns the number of bytes read, those that did not fit included; 0 at the end of the file.
 */
VXBLADE_API int readLine(FILE* file, char* buffer, int size);

/* Removes blanks, tabs, newlines and carriage returns from the end of `line`, in place. */
VXBLADE_API void trim(char* line);

/*
 * Splits a line of /proc/devices into the number and the driver's name.
 *   line    the line, ended by a NUL; not changed
 *   digits  four bytes; receives the number's digits, zeros after them; four digits leave no room
 *           for a NUL
 * Returns the name, which is the rest of `line` (empty where it has no digits), or null for a
 * number of more than four digits.
 */
VXBLADE_API char* walkToName(char* line, char* digits);

/*
 * Compares a node with a device number.
 *   path    the node
 *   device  the number that it should have
 * Returns 1 where the node, or the file system that holds it, has this number; 0 where there is no
 * such path; -1 for a node of another number.
 */
VXBLADE_API int nodeExists(const char* path, dev_t device);

/*
 * Makes a node match its driver: leaves a right one, replaces a wrong one, makes a missing one
 * (mode 0644).
 *   driverName   as /proc/devices has it
 *   type         DEVICE_CHARACTER or DEVICE_BLOCK
 *   nodePath     the node, for example "/dev/mtd0"
 *   minorNumber  the node's minor number
 * Returns 0; -1 for a driver that is not listed (nothing is changed then), a wrong node that cannot
 * be removed, or, with errno set, one that cannot be made.
 */
VXBLADE_API int map_driver(const char* driverName, int type, const char* nodePath, int minorNumber);

/* Descriptor of the general-purpose device; -1 until it is open, then open for the process's
 * life. */
VXBLADE_API extern int32_t gpDevHandle;

/* Maps and opens /dev/vxgpdev, also where it cannot be mapped. Returns 0, or -1 where it did not
 * open. Waits up to two minutes for the driver. */
VXBLADE_API int initGpDevice(void);

/*
 * Opens the general-purpose device into gpDevHandle, unless that is open: it tries 122 times, a
 * second apart.
 *   driverName  the node's name in /dev
 * Returns gpDevHandle, with close-on-exec; 0 where it did not open.
 */
VXBLADE_API int XBMGT_OpenGeneralPurposeDev(const char* driverName);

/* Closes the descriptor `fd`; gpDevHandle keeps its value. Returns 0, or -1 with errno set. */
VXBLADE_API int XBMGT_CloseGeneralPurposeDev(int fd);

VXBLADE_END

#endif
