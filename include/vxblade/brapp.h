/*
 * The control interface of the bridge application, of the general-purpose device and of the LED
 * device: the bridge application's node, the requests (<vxblade/brapp_requests.h>) and its log.
 */
#ifndef VXBLADE_BRAPP_H
#define VXBLADE_BRAPP_H

#include <vxblade/brapp_requests.h>
#include <vxblade/export.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/* Descriptor of the bridge application's node, -1 until it is open. */
VXBLADE_API extern int32_t BrAppHandle;

/*
 * Opens /dev/<driverName> for reading and writing, into `BrAppHandle`, trying 122 times a second
 * apart. Returns the descriptor, close-on-exec, or 0 where it never opened. Where
 * `BrAppHandle` is open already, that is returned and nothing opened. Reports on standard output.
 * The descriptor is the process's: opened by one thread, before others issue requests.
 */
VXBLADE_API int XBMGT_OpenBridgeApp(const char* driverName);

/* Closes the descriptor `fd`; `BrAppHandle` keeps its value, and the next open returns it. close's
 * result: 0, or -1 with errno set. */
VXBLADE_API int XBMGT_CloseBridgeApp(int fd);

/*
 * Prints a port's parameters on standard output: type and number, and for an iSCSI port a line for
 * each field in the record's order. `record` is only read; nothing is printed for a null one.
 */
VXBLADE_API void XBMGT_LogPortParams(const PortParams* record);

/*
 * Log records for the bridge application, each sent by one XBMGT_WriteLog: XBRPC_LOG<k> with k
 * words of 32 bits, the others with what their comments say.
 *
 *   code     the caller's; its top four bits give way to the payload's kind
 *   payload  stays the caller's; the driver reads it from the caller's memory during the call
 *
 * Results: XBMGT_WriteLog's, 0 or -1 with errno set; a payload of 4 GiB or more is -1 with EMSGSIZE
 * and nothing sent. Threads: as the requests.
 */
VXBLADE_API int XBRPC_LOG0(uint32_t code);
VXBLADE_API int XBRPC_LOG1(uint32_t code, uint32_t a1);
VXBLADE_API int XBRPC_LOG2(uint32_t code, uint32_t a1, uint32_t a2);
VXBLADE_API int XBRPC_LOG3(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3);
VXBLADE_API int XBRPC_LOG4(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4);
VXBLADE_API int XBRPC_LOG5(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4,
                           uint32_t a5);
VXBLADE_API int XBRPC_LOG8(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4,
                           uint32_t a5, uint32_t a6, uint32_t a7, uint32_t a8);
VXBLADE_API int XBRPC_LOG9(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4,
                           uint32_t a5, uint32_t a6, uint32_t a7, uint32_t a8, uint32_t a9);
/* The `count` words (not bytes) at `words`, which may be null where there are none. */
VXBLADE_API int XBRPC_LOGn(uint32_t code, const uint32_t* words, uint32_t count);
/* The string `text`, sent without its NUL. */
VXBLADE_API int XBRPC_LogString(uint32_t code, const char* text);
/* The `length` bytes at `data`. */
VXBLADE_API int XBRPC_LogData(uint32_t code, const void* data, uint32_t length);

VXBLADE_END

#endif
