/*
 * Conventions of every vxblade header:
 *
 * 1. Headers are C99 and C++11, and what is later, without a warning. Functions have C linkage and
 *    unmangled names; no C++ library type crosses the border.
 * 2. Status results: 0 is success, -1 (or another negative value) failure, unless a function's
 *    comment says otherwise. Nothing throws or ends the process.
 * 3. Lengths and offsets are in bytes. Strings end in a NUL. Numbers on a medium are
 *    little-endian, IP and MAC addresses are bytes in network order.
 * 4. Pointers are not null unless the comment says what a null one does.
 * 5. The caller owns every buffer that it passes; nothing is kept after the call returns unless
 *    the comment says so.
 * 6. Descriptors are close-on-exec and above 2, so that a closed standard stream is never a device.
 * 7. One thread at a time: the layer's tables and descriptors are process-wide and unlocked. A
 *    header or comment that allows more says so.
 *
 * Programs find headers and libraries by pkg-config (vxblade) or by CMake's find_package(vxblade),
 * whose targets are vxblade::vxblade, the shared library, and vxblade::vxblade_static; each brings
 * what it imports along.
 */
#ifndef VXBLADE_EXPORT_H
#define VXBLADE_EXPORT_H

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

/* Pins the layout of what goes to a medium or a driver. C99, which has no such assertion, takes the
 * declaration of an array that has no negative size; nothing defines or uses it. */
#ifdef __cplusplus
#define VXBLADE_STATIC_ASSERT(condition, text) static_assert(condition, text)
#elif __STDC_VERSION__ >= 201112L
#define VXBLADE_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#else
#define VXBLADE_STATIC_ASSERT(condition, text) extern char vxblade_assertion[(condition) ? 1 : -1]
#endif

#endif
