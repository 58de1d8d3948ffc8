/*
 * The control interface of the bridge application, of the general-purpose device and of the LED
 * device: one function per operation, each a single request to a driver.
 */
#ifndef VXBLADE_BRAPP_H
#define VXBLADE_BRAPP_H

#include <vxblade/brapp_requests.h>
#include <vxblade/export.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/* Descriptor of the bridge application's node, -1 until it is open. */
VXBLADE_API extern int32_t BrAppHandle;
/* Opens /dev/<driverName> once per process, trying 122 times a second apart. Returns the
 * descriptor, close-on-exec, or 0; reports on standard output. */
VXBLADE_API int XBMGT_OpenBridgeApp(const char* driverName);
/* Closes a descriptor; `BrAppHandle` keeps its value. close's result. */
VXBLADE_API int XBMGT_CloseBridgeApp(int fd);

/*
 * XBMGT_<operation>, one for each row of <vxblade/brapp_requests.h>. The driver reads the record
 * and overwrites it, so the caller's record must be as large as XBMGT_<operation>_SIZE says; all
 * but the selectors in it is the driver's affair. No function checks that its device is open.
 *
 * Returns the request's result as it is: 0, or -1 with errno set. Also -1, with nothing issued and
 * errno as it was, for a null record where a selector is put or required and for a record without
 * the required selector.
 *
 * Functions with parameters of their own, or that do more than the request:
 *
 *   SetPortParams            prints the record first, as XBMGT_LogPortParams does
 *   SetNvRam                 prints `BrAppHandle` first
 *   SetLed                   opens the LED node (2-byte record) for this request alone
 *   SetDriveConfig           sends a record of zeros but for its selector, 1
 *   WcSetBootupMode          sends a record of zeros but for the mode, its first word
 *   SendAppReqResp           `operation` is put into the record; other than 1 or 3 it is -1 with
 *                            EINVAL
 *   AddDriveToConfiguredStoragePool  puts 2 into the record's first word and 0 into its second
 *   ReqOrNotifyPeer          sends a record of zeros but for its first two 16-bit numbers
 *   SetAdapterId, PersistenceBootComplete, TestScsiComm  send their arguments, 32-bit words
 *   SelectPrimaryEEPROM      takes 1 or 2, SelectSecondaryEEPROM 3 or 4, else -1
 *   SelectEEPROMMux          takes 0 or 1, else -1 and a report on standard output
 *   getTwoBladesActive       stores the driver's answer, or 0; -1 for a null pointer
 *   GetBladeSlotPostition    the driver stores the slot's number
 *   GetInterfaceLinkStatus   the driver stores the status of the link to the peer blade
 */
#define VXBLADE_DECLARE(operation, ...) VXBLADE_API int XBMGT_##operation(void* record);
/* NOLINTBEGIN(bugprone-macro-parentheses): the arguments name types */
#define VXBLADE_DECLARE_TYPED(operation, device, group, number, size, type)                        \
    static_assert(sizeof(type) >= (size), "the driver writes past the record");                    \
    VXBLADE_API int XBMGT_##operation(type* record);
/* NOLINTEND(bugprone-macro-parentheses) */
#define VXBLADE_DECLARE_OWN(operation, device, group, number, size, parameters)                    \
    VXBLADE_API int XBMGT_##operation parameters;
VXBLADE_REQUESTS(VXBLADE_DECLARE, VXBLADE_DECLARE_TYPED, VXBLADE_DECLARE, VXBLADE_DECLARE,
                 VXBLADE_DECLARE_OWN)
#undef VXBLADE_DECLARE
#undef VXBLADE_DECLARE_TYPED
#undef VXBLADE_DECLARE_OWN

/* Bytes of each operation's record. */
enum XbmgtRecordSize {
/* Some rows end behind their size, and C wants an argument for every "...". */
#define VXBLADE_FIRST(first, ...) first
#define VXBLADE_SIZE(operation, device, group, number, ...)                                        \
    XBMGT_##operation##_SIZE = VXBLADE_FIRST(__VA_ARGS__, 0),
    VXBLADE_REQUESTS(VXBLADE_SIZE, VXBLADE_SIZE, VXBLADE_SIZE, VXBLADE_SIZE, VXBLADE_SIZE)
#undef VXBLADE_SIZE
#undef VXBLADE_FIRST
};
static_assert(sizeof(PortParams) >= XBMGT_SetPortParams_SIZE, "the driver writes past the record");

/* Prints a port's parameters to standard output: type and number, and for an iSCSI port a line
 * per field in the record's order. Nothing for a null record. */
VXBLADE_API void XBMGT_LogPortParams(const PortParams* record);

/*
 * Log records for the bridge application. The top four bits of `code` give way to the payload's
 * kind; the driver reads the payload from the caller's memory during the call. XBMGT_WriteLog's
 * result; a payload of more than 4 GiB is -1 with EMSGSIZE.
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
/* `count` words. */
VXBLADE_API int XBRPC_LOGn(uint32_t code, const uint32_t* words, uint32_t count);
/* A text, without its NUL. */
VXBLADE_API int XBRPC_LogString(uint32_t code, const char* text);
/* `length` bytes. */
VXBLADE_API int XBRPC_LogData(uint32_t code, const void* data, uint32_t length);

VXBLADE_END

#endif
