/*
 * Read-only queries of the blade's network interfaces: properties through the kernel's socket
 * requests, gateways and IPv6 addresses from the tables under /proc/net. Reports and diagnostics
 * go to standard output. `ifname` is a NUL-terminated interface name everywhere; a null one names
 * no interface.
 */
#ifndef VXBLADE_NET_H
#define VXBLADE_NET_H

#include <stddef.h>

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
    /* Makes an IPv4 stream socket, close-on-exec. Prints "Started" and "Opened socked %d" with the
     * descriptor, -1 when none could be made. */
    VXNetIoctl();
    VXBLADE_API virtual ~VXNetIoctl() { closeSocket(); }
    VXNetIoctl(const VXNetIoctl&) = delete;
    VXNetIoctl& operator=(const VXNetIoctl&) = delete;

    /*
     * Issues `request` (SIOCGIFMTU and the like) for the interface. The name field of `ifreq` is
     * filled with at most 16 characters of the name, and the kernel fills in the answer. Returns
     * ioctl's result; -1 without a request when there is no socket, name or `ifreq`.
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

/* Makes a VXNetIoctl, which the caller destroys. Null only when memory is exhausted. */
VXBLADE_API VXNetIoctl* VXNetIoctlGetHnd(void);
/* Destroys it and closes its socket; null is ignored. */
VXBLADE_API void VXNetIoctlDestroyHnd(VXNetIoctl* handle);
/* getNetProperty of the handle; -1 for a null one. */
VXBLADE_API int VXNetIoctlGetNetProperty(const VXNetIoctl* handle, const char* ifname,
                                         unsigned long request, struct ifreq* ifreq);

/* Prints what the kernel reports for the interface: index, flags, MTU, hardware and IPv4
 * addresses, gateway. What it does not report is left out. */
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
static_assert(sizeof(VXNetInterfaceParams) == 44, "interface address record");
static_assert(offsetof(VXNetInterfaceParams, address) == 0, "interface address");
static_assert(offsetof(VXNetInterfaceParams, index) == 16, "interface index");
static_assert(offsetof(VXNetInterfaceParams, prefixLength) == 20, "interface prefix length");
static_assert(offsetof(VXNetInterfaceParams, scope) == 24, "interface scope");
static_assert(offsetof(VXNetInterfaceParams, flags) == 28, "interface flags");
static_assert(offsetof(VXNetInterfaceParams, name) == 32, "interface name");

/* A line of /proc/net/ipv6_route. */
typedef struct VXNetRouteEntry6 {
    uint8_t destination[16];
    uint32_t prefixLength; /* of the destination, in bits */
    uint8_t nextHop[16];
    uint32_t flags; /* RTF_ bits of <net/route.h> */
    char name[12];  /* NUL-padded */
} VXNetRouteEntry6;
static_assert(sizeof(VXNetRouteEntry6) == 52, "IPv6 route record");
static_assert(offsetof(VXNetRouteEntry6, destination) == 0, "route destination");
static_assert(offsetof(VXNetRouteEntry6, prefixLength) == 16, "route prefix length");
static_assert(offsetof(VXNetRouteEntry6, nextHop) == 20, "route next hop");
static_assert(offsetof(VXNetRouteEntry6, flags) == 36, "route flags");
static_assert(offsetof(VXNetRouteEntry6, name) == 40, "route device name");

/*
 * Both IPv6 tables are read by fixed widths, 54 and 150 bytes a line. An interface whose name is
 * longer than 8 characters or (in the first) whose index is above 255 has longer lines: what
 * follows its first line is out of step and is reported as malformed.
 */

/*
 * Fills the IPv6 addresses of a port record (at least 74 bytes, see PortParams) with those of
 * interface "eth0" in the table's order: the first two global ones, 16 bytes each at offsets 26 and
 * 42, and the last link-local one at 58. What is not found stays as it is; ::1 is ignored, further
 * global addresses are reported and dropped. 0, or -1 when the table cannot be opened.
 */
VXBLADE_API int VXNetGetActualIpv6Data(void* record);

/*
 * Copies the next hop of the interface's first usable IPv6 gateway route, whether that is the
 * default route or not, to the 16 bytes at `address`; zeros when there is none. 0, or -1 when the
 * table cannot be opened (`address` then stays).
 */
VXBLADE_API int VXNetGetGateway6(const char* ifname, uint8_t* address);

/* Reads the next line of an open /proc/net/ipv6_route. 0, or -1 with a zeroed record at the end
 * and, reported, at a malformed line. */
VXBLADE_API int VXNetGetRouteEntry6(int fd, VXNetRouteEntry6* record);

/* Converts 32 hexadecimal digits, the start of a NUL-terminated text, into 16 bytes. 0, or -1,
 * reported, with `address` unchanged. */
VXBLADE_API int read_inet6_addr_string(uint8_t* address, const char* text);

/* Reads until `count` bytes are there or read returns less than 1. Returns the number of bytes;
 * no NUL is added. */
VXBLADE_API int read_line_from_file(int fd, char* buffer, int count);

/* Opens /proc/net/if_inet6: a descriptor, close-on-exec, or -1. */
VXBLADE_API int open_ipv6_interface_file(void);
/* Closes it. close's result. */
VXBLADE_API int close_ipv6_interface_file(int fd);
/* Reads on to the next address of the interface; malformed lines are reported and skipped. 0, or
 * -1 with a zeroed record at the end and, reported, at a partial line. */
VXBLADE_API int read_next_interface_params(int fd, const char* ifname,
                                           VXNetInterfaceParams* record);

VXBLADE_END

#endif
