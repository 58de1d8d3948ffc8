/*
 * Read-only queries of the blade's network interfaces: properties through the kernel's socket
 * requests, gateways and IPv6 addresses from the tables under /proc/net.
 *
 * `ifname` is the name of an interface everywhere; a null one, and an empty one, names none.
 * Reports and diagnostics go to standard output. No function keeps state, so threads may call them
 * at the same time, each with a handle, descriptor and buffers of its own.
 */
#ifndef VXBLADE_NET_H
#define VXBLADE_NET_H

#include <stddef.h>
#include <stdlib.h>

#include <vxblade/export.h>

struct ifreq; /* of <net/if.h> */

#ifdef __cplusplus
/*
 * A socket for interface requests. C++ programs use the class itself or derive from it; C programs
 * hold it by the handle below.
 *
 * The library has no run-time type information. A program that has it makes its own for the class,
 * which is why the one virtual function is inline; ask typeid and dynamic_cast for objects that the
 * program made, not for those of VXNetIoctlGetHnd.
 */
class VXBLADE_API VXNetIoctl {
  public:
    /* Makes an IPv4 stream socket, which the object owns. Prints "Started" and "Opened socked %d"
     * with the descriptor, -1 when none could be made. */
    VXNetIoctl();
    /* Closes the socket. */
    VXBLADE_API virtual ~VXNetIoctl() { closeSocket(); }
    VXNetIoctl(const VXNetIoctl&) = delete;
    /* On the C library's heap; null where there is no memory. */
    static void* operator new(size_t size) noexcept { return malloc(size); }
    static void operator delete(void* memory) { free(memory); }
    VXNetIoctl& operator=(const VXNetIoctl&) = delete;

    /*
     * Issues a request for the interface.
     *
     *   ifname   at most 16 characters of it fill the name field of `ifreq`
     *   request  SIOCGIFMTU and the like
     *   ifreq    the caller's; the kernel stores the answer in it
     *
     * Returns ioctl's result: 0, or -1 with errno set. -1 without a request, errno as it was, when
     * there is no socket, name or `ifreq`.
     */
    int getNetProperty(const char* ifname, unsigned long request, struct ifreq* ifreq) const;

  private:
    void closeSocket();

    int32_t socket_;
};
#else
typedef struct VXNetIoctl VXNetIoctl;
#endif

VXBLADE_BEGIN

/* Makes a VXNetIoctl, which the caller owns and destroys by VXNetIoctlDestroyHnd. Null only when
 * memory is exhausted: without a socket there is a handle too. */
VXBLADE_API VXNetIoctl* VXNetIoctlGetHnd(void);
/* Destroys it and closes its socket; null is ignored. */
VXBLADE_API void VXNetIoctlDestroyHnd(VXNetIoctl* handle);
/* VXNetIoctl::getNetProperty of the handle, with its parameters and results; -1 for a null one. */
VXBLADE_API int VXNetIoctlGetNetProperty(const VXNetIoctl* handle, const char* ifname,
                                         unsigned long request, struct ifreq* ifreq);

/* Prints what the kernel reports for the interface: index, flags, MTU in bytes, hardware and IPv4
 * addresses, gateway. What it does not report is left out; there is no result. */
VXBLADE_API void printInterfaceInfo(const char* ifname);

/*
 * The gateway of the interface's first usable gateway route in /proc/net/route, whether that is
 * the default route or not: an IPv4 address in host byte order. 0 when there is none or the table
 * cannot be opened.
 */
VXBLADE_API uint32_t VXNetGetGateway(const char* ifname);

/* A line of /proc/net/if_inet6. */
typedef struct VXNetInterfaceParams {
    uint8_t address[16];
    uint32_t index;
    uint32_t prefixLength; /* in bits */
    uint32_t scope;
    uint32_t flags;
    char name[12]; /* at most 8 characters, NUL-padded */
} VXNetInterfaceParams;
VXBLADE_STATIC_ASSERT(sizeof(VXNetInterfaceParams) == 44, "interface address record");
VXBLADE_STATIC_ASSERT(offsetof(VXNetInterfaceParams, address) == 0, "interface address");
VXBLADE_STATIC_ASSERT(offsetof(VXNetInterfaceParams, index) == 16, "interface index");
VXBLADE_STATIC_ASSERT(offsetof(VXNetInterfaceParams, prefixLength) == 20,
                      "interface prefix length");
VXBLADE_STATIC_ASSERT(offsetof(VXNetInterfaceParams, scope) == 24, "interface scope");
VXBLADE_STATIC_ASSERT(offsetof(VXNetInterfaceParams, flags) == 28, "interface flags");
VXBLADE_STATIC_ASSERT(offsetof(VXNetInterfaceParams, name) == 32, "interface name");

/* A line of /proc/net/ipv6_route. */
typedef struct VXNetRouteEntry6 {
    uint8_t destination[16];
    uint32_t prefixLength; /* of the destination, in bits */
    uint8_t nextHop[16];
    uint32_t flags; /* RTF_ bits of <net/route.h> */
    char name[12];  /* NUL-padded */
} VXNetRouteEntry6;
VXBLADE_STATIC_ASSERT(sizeof(VXNetRouteEntry6) == 52, "IPv6 route record");
VXBLADE_STATIC_ASSERT(offsetof(VXNetRouteEntry6, destination) == 0, "route destination");
VXBLADE_STATIC_ASSERT(offsetof(VXNetRouteEntry6, prefixLength) == 16, "route prefix length");
VXBLADE_STATIC_ASSERT(offsetof(VXNetRouteEntry6, nextHop) == 20, "route next hop");
VXBLADE_STATIC_ASSERT(offsetof(VXNetRouteEntry6, flags) == 36, "route flags");
VXBLADE_STATIC_ASSERT(offsetof(VXNetRouteEntry6, name) == 40, "route device name");

/*
 * Both IPv6 tables are read by fixed widths, 54 and 150 bytes a line. An interface whose name is
 * longer than 8 characters or (in the first) whose index is above 255 has longer lines: what
 * follows its first line is out of step and is reported as malformed.
 */

/*
 * Fills the IPv6 addresses of a port record with those of interface "eth0" in the table's order.
 *
 *   record  the caller's, a PortParams or at least its first 74 bytes: the first two global
 *           addresses go to offsets 26 and 42, the last link-local one to 58, 16 bytes each. What
 *           is not found stays as it is; ::1 is ignored, further global ones reported and dropped
 *
 * 0, or -1 with `record` as it was when the table cannot be opened.
 */
VXBLADE_API int VXNetGetActualIpv6Data(void* record);

/*
 * Copies the next hop of the interface's first usable IPv6 gateway route, whether that is the
 * default route or not.
 *
 *   address  the caller's 16 bytes, in network order; zeros when there is no such route
 *
 * 0, or -1 with `address` as it was when the table cannot be opened.
 */
VXBLADE_API int VXNetGetGateway6(const char* ifname, uint8_t* address);

/* Reads the next line of `fd`, an open /proc/net/ipv6_route that stays the caller's, into the
 * caller's `record`. 0, or -1 with a zeroed record at the end and, reported, at a malformed line.
 */
VXBLADE_API int VXNetGetRouteEntry6(int fd, VXNetRouteEntry6* record);

/* Converts 32 hexadecimal digits, the start of the string `text`, into the 16 bytes at `address`.
 * 0, or -1, reported, with `address` unchanged. */
VXBLADE_API int read_inet6_addr_string(uint8_t* address, const char* text);

/* Reads from `fd` until `count` bytes are in `buffer` or read returns less than 1. Returns the
 * number of bytes, 0 at the end, on an error and for a `count` of 0 or less; no NUL is added. */
VXBLADE_API int read_line_from_file(int fd, char* buffer, int count);

/* Opens /proc/net/if_inet6: a descriptor, which the caller owns, or -1 with errno set. */
VXBLADE_API int open_ipv6_interface_file(void);
/* Closes the descriptor. close's result: 0, or -1 with errno set. */
VXBLADE_API int close_ipv6_interface_file(int fd);
/* Reads `fd`, an open /proc/net/if_inet6, on to the next address of the interface, into the
 * caller's `record`; malformed lines are reported and skipped. 0, or -1 with a zeroed record at the
 * end and, reported, at a partial line. */
VXBLADE_API int read_next_interface_params(int fd, const char* ifname,
                                           VXNetInterfaceParams* record);

VXBLADE_END

#endif
