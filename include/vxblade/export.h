/*
 * Conventions of every vxblade header:
 *
 * 1. Headers are C11 and C++20. Functions have C linkage and unmangled names; no C++ library
 *    type crosses the border.
 * 2. Status results: 0 is success, -1 (or another negative value) failure, unless a function's
 *    comment says otherwise. Nothing throws.
 * 3. Lengths are in bytes. Texts end in a NUL. Numbers on a medium are little-endian.
 * 4. The caller owns every buffer that it passes; nothing is kept after the call returns unless
 *    the comment says so.
 * 5. One thread at a time: the layer's tables and descriptors are process-wide and unlocked.
 */
#ifndef VXBLADE_EXPORT_H
#define VXBLADE_EXPORT_H

#include <assert.h>
#include <stdint.h>

/* Marks what the shared library exports; all else is hidden. */
#define VXBLADE_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define VXBLADE_BEGIN extern "C" {
#define VXBLADE_END }
#else
#define VXBLADE_BEGIN
#define VXBLADE_END
#endif

#endif
