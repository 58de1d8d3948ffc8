/* Hardware access: device nodes and the general-purpose device. */
#ifndef VXBLADE_HW_H
#define VXBLADE_HW_H

#include <stdio.h>
#include <sys/types.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Kinds of device, the sections of /proc/devices. */
enum { DEVICE_CHARACTER = 0, DEVICE_BLOCK = 1 };

/* The driver's major number from /proc/devices, or 0 when it is not listed or cannot be read. */
VXBLADE_API uint32_t getMajor(const char* name, int type);
/* Reads a line byte by byte, newline kept, into a zero-filled buffer of `size` bytes. Returns the
 * number of bytes read, those that did not fit included; 0 at the end. */
VXBLADE_API int readLine(FILE* file, char* buffer, int size);
/* Removes trailing blanks, tabs, newlines and carriage returns in place. */
VXBLADE_API void trim(char* line);
/* Splits a line of /proc/devices: up to four digits into `digits` (four bytes, no terminator
 * after four), the rest of the line as the result; null for a number of more digits. */
VXBLADE_API char* walkToName(char* line, char* digits);
/* 0: no such path; 1: the node, or the file system that holds it, has this number; -1: a node of
 * another number. */
VXBLADE_API int nodeExists(const char* path, dev_t device);
/* Makes the node at `nodePath` match the driver's number: removes a wrong one, makes a missing
 * one (mode 0644). 0, -1 or mknod's result; reports on standard output. */
VXBLADE_API int map_driver(const char* driverName, int type, const char* nodePath, int minorNumber);

/* Descriptor of the general-purpose device, -1 until it is open. */
VXBLADE_API extern int32_t gpDevHandle;
/* Maps and opens /dev/vxgpdev. 0, or -1 when it is not open. Waits up to two minutes. */
VXBLADE_API int initGpDevice(void);
/* Opens /dev/<driverName> once per process, trying 122 times a second apart. Returns the
 * descriptor, close-on-exec, or 0; reports on standard output. */
VXBLADE_API int XBMGT_OpenGeneralPurposeDev(const char* driverName);
/* Closes a descriptor; `gpDevHandle` keeps its value. close's result. */
VXBLADE_API int XBMGT_CloseGeneralPurposeDev(int fd);

VXBLADE_END

#endif
