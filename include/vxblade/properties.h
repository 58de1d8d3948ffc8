/*
 * Properties: text files of `key = "value"` lines, access by key and enumeration.
 *
 * A handle is used by one thread at a time; different handles are independent.
 */
#ifndef VXBLADE_PROPERTIES_H
#define VXBLADE_PROPERTIES_H

#include <vxblade/export.h>

VXBLADE_BEGIN

/* An open file or buffer. Every prop operation accepts a null handle and returns 0; to
 * the readers a null handle is an empty file. */
typedef struct PropertiesHandleRecord* PropertiesHandle;

/*
 * Reads the whole file at `path`. Prints what it read or why it could not (standard output); a
 * file that cannot be read gives a handle that finds nothing. The caller closes the handle. Null
 * only when memory is exhausted.
 */
VXBLADE_API PropertiesHandle propOpenPropertiesFile(const char* path);

/* The same over a copy of `length` bytes at `buffer`; a NUL among them ends the text. */
VXBLADE_API PropertiesHandle propReadPropertiesBuffer(const char* buffer, int length);

/* Releases a handle. */
VXBLADE_API void propClosePropertiesFile(PropertiesHandle handle);

/*
 * Enumerates keys in file order. The calling pattern: one buffer of 256 bytes; null as `prevKey`
 * in the first call, the buffer itself as both `prevKey` and `keyBuf` afterwards (the next key is
 * written into `prevKey`); stop when the result is below 1.
 *
 * Returns the key's length + 1; more than `keyBufLen` when the key was cut; 0 at the end, at a
 * malformed line, and when `prevKey` is not found. Each call scans from the start, and a repeated
 * key is always found at its first place: on a file that repeats keys the pattern never ends.
 */
VXBLADE_API int propGetNext(PropertiesHandle handle, char* prevKey, char* keyBuf, int keyBufLen);

/*
 * Copies the value of the first property named `key` to `valBuf`, cut to `valBufLen` - 1 bytes.
 * Returns the value's length + 1 (so 1 for an empty value, more than `valBufLen` when it was
 * cut), or 0 when there is no such key before the end or the first malformed line.
 */
VXBLADE_API int propGetValue(PropertiesHandle handle, const char* key, char* valBuf, int valBufLen);

/*
 * The CRC-32 that the file's "properties.file.crc32" line holds (0 without one), and the CRC-32
 * over all other keys and values in file order. Either pointer may be null. The result says
 * nothing: it is -1 for every handle and 0 for null; compare the two values.
 */
VXBLADE_API int propGetCrc(PropertiesHandle handle, unsigned long* storedCrc,
                           unsigned long* computedCrc);

VXBLADE_END

#endif
