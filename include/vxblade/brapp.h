/* Requests to the bridge application's and the general-purpose driver. */
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

VXBLADE_END

#endif
