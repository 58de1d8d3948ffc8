/* Requests to the drivers of the bridge application and of the general-purpose device. */
#ifndef VXBLADE_BRAPP_H
#define VXBLADE_BRAPP_H

#include <vxblade/export.h>

VXBLADE_BEGIN

/*
 * Status byte of the link to the peer blade, from the general-purpose device (group 'h', number
 * 7, one byte read and written). The request's result: 0, or -1 with errno set, also while the
 * device is not open.
 */
VXBLADE_API int XBMGT_GetInterfaceLinkStatus(uint8_t* status);

/* The slot that the blade sits in (group 'h', number 27, eight bytes). The request's result. */
VXBLADE_API int XBMGT_GetBladeSlotPostition(uint64_t* slot);

/* Descriptor of the bridge application's node, -1 until a program opens it. */
VXBLADE_API extern int32_t BrAppHandle;

/*
 * Hands a cached LUN of the cluster, a record of 304 bytes, to the bridge application (group 'b',
 * number 128). The request's result: 0, or -1 with errno set.
 */
VXBLADE_API int XBMGT_SetClusterCachedLun(void* record);

VXBLADE_END

#endif
