/*
 * The version: of the headers that a program was compiled with, by macro, and of the library that
 * it runs with, by function. The build takes its version from here.
 *
 * Shared libraries that a program can take in each other's place have one soname, libvxblade.so.0,
 * and their names one version, VXBLADE_0: both change only with what programs rely on. A later
 * version of one soname has every name and every record of an earlier one.
 */
#ifndef VXBLADE_VERSION_H
#define VXBLADE_VERSION_H

#include <vxblade/export.h>

#define VXBLADE_VERSION_MAJOR 0
#define VXBLADE_VERSION_MINOR 2
#define VXBLADE_VERSION_PATCH 0

#define VXBLADE_QUOTE(text) #text
#define VXBLADE_DOTTED(a, b, c) VXBLADE_QUOTE(a) "." VXBLADE_QUOTE(b) "." VXBLADE_QUOTE(c)
/* The same as a string, such as "1.2.3". */
#define VXBLADE_VERSION                                                                            \
    VXBLADE_DOTTED(VXBLADE_VERSION_MAJOR, VXBLADE_VERSION_MINOR, VXBLADE_VERSION_PATCH)

VXBLADE_BEGIN

/* VXBLADE_VERSION of the library. The string lasts as long as the process. Threads may call it at
 * any time. */
VXBLADE_API const char* vxblade_version(void);

VXBLADE_END

#endif
