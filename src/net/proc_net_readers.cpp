#include "common/files.h"
#include "net/proc_net.h"

#include <vxblade/records.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

namespace vx {
namespace {

constexpr const char* route4Path = "/proc/net/route";
constexpr const char* interfacePath = "/proc/net/if_inet6";
constexpr const char* route6Path = "/proc/net/ipv6_route";
constexpr std::size_t route4LineSize = 1024;

// Where the addresses lie in a port record, which is untyped here.
constexpr std::size_t globalAddressOffsets[] = {26, 42};
constexpr std::size_t linkLocalAddressOffset = 58;
static_assert(globalAddressOffsets[0] == offsetof(PortParams, IpAddr_ipv60));
static_assert(globalAddressOffsets[1] == offsetof(PortParams, IpAddr_ipv61));
static_assert(linkLocalAddressOffset == offsetof(PortParams, Ipv6LinkLocalAddr));

// The next line of a fixed width, and a terminator after whatever was read.
template <std::size_t width>
struct FixedLine {
    char text[width + 1] = {};
    int count;

    explicit FixedLine(int fd) : count(read_line_from_file(fd, text, width)) {}
    [[nodiscard]] bool whole() const { return count == static_cast<int>(width); }
    [[nodiscard]] std::string_view view() const { return {text, width}; }
};

bool isLinkLocal(const uint8_t* address) {
    return address[0] == 0xFE && (address[1] & 0xC0) == 0x80; // fe80::/10
}

bool isLoopback(const uint8_t* address) {
    return address[15] == 1 && std::all_of(address, address + 15, [](uint8_t b) { return b == 0; });
}

bool isUsableGateway(uint32_t flags) {
    constexpr uint32_t wanted = routeUp | routeGateway;
    return (flags & wanted) == wanted;
}

} // namespace
} // namespace vx

// Any route through a gateway is taken for the default one: the destination is not looked at.
uint32_t VXNetGetGateway(const char* ifname) {
    vx::Stream const file = vx::openStream(vx::route4Path);
    if (file == nullptr) {
        return 0;
    }
    uint32_t gateway = 0;
    char line[vx::route4LineSize];
    while (std::fgets(line, sizeof line, file.get()) != nullptr) {
        auto const route = vx::parseRoute4(line);
        if (route && vx::isUsableGateway(route->flags) && vx::isInterface(route->name, ifname)) {
            gateway = ntohl(route->gateway);
            break;
        }
    }
    return gateway;
}

int read_inet6_addr_string(uint8_t* address, const char* text) {
    auto const parsed = vx::parseInet6Address({text, ::strnlen(text, vx::inet6Digits)});
    if (!parsed) {
        std::printf("%s Problem parsing ipv6 address\n", __func__);
        return -1;
    }
    std::memcpy(address, parsed->data(), parsed->size());
    return 0;
}

int read_line_from_file(int fd, char* buffer, int count) {
    int done = 0;
    while (done < count) {
        ssize_t const got = ::read(fd, buffer + done, static_cast<std::size_t>(count - done));
        if (got < 1) {
            break;
        }
        done += static_cast<int>(got);
    }
    return done;
}

int open_ipv6_interface_file(void) {
    return vx::openFile(vx::interfacePath, O_RDONLY);
}

int close_ipv6_interface_file(int fd) {
    return ::close(fd);
}

// Lines longer than the fixed width, of interfaces with a longer name or an index above 255, put
// all later ones out of step: these are then malformed, and the rest is a partial line.
int read_next_interface_params(int fd, const char* ifname, VXNetInterfaceParams* record) {
    *record = {};
    for (;;) {
        vx::FixedLine<vx::interfaceLineSize> const line(fd);
        if (!line.whole()) {
            if (line.count > 0) {
                std::printf("%s Read odd number of chars from proc file %d\n", __func__,
                            line.count);
            }
            return -1;
        }
        VXNetInterfaceParams params{};
        auto const address = vx::parseInet6Address(line.view());
        if (!address) {
            std::printf("%s Problem parsing ipv6 address: %s\n", __func__, line.text);
        } else if (!vx::parseInterfaceFields(line.view().substr(vx::inet6Digits), params)) {
            std::printf("%s Problem parsing ipv6 params: %s\n", __func__, line.text);
        } else if (vx::isInterface(params.name, ifname)) {
            *record = params;
            std::memcpy(record->address, address->data(), address->size());
            return 0;
        }
    }
}

int VXNetGetActualIpv6Data(void* record) {
    vx::Descriptor const file(open_ipv6_interface_file());
    if (!file.ok()) {
        std::printf("%s: Could not open %s\n", __func__, vx::interfacePath);
        return -1;
    }
    auto* const bytes = static_cast<uint8_t*>(record);
    std::size_t globals = 0;
    VXNetInterfaceParams params;
    while (read_next_interface_params(file.get(), "eth0", &params) == 0) {
        std::size_t offset = vx::linkLocalAddressOffset;
        if (!vx::isLinkLocal(params.address)) {
            if (vx::isLoopback(params.address)) {
                continue;
            }
            if (globals == std::size(vx::globalAddressOffsets)) {
                std::printf("%s: Too many ipv6 addresses!\n", __func__);
                continue;
            }
            offset = vx::globalAddressOffsets[globals++];
        }
        std::memcpy(bytes + offset, params.address, sizeof params.address);
    }
    return 0;
}

// Lines longer than the fixed width, of interfaces with a longer name, put all later ones out of
// step: reading the table ends at the next one, which is malformed.
int VXNetGetRouteEntry6(int fd, VXNetRouteEntry6* record) {
    static constexpr const char* faults[] = {nullptr, "dst", "plen", "next hop", "flags"};
    *record = {};
    vx::FixedLine<vx::route6LineSize> const line(fd);
    if (!line.whole()) {
        return -1;
    }
    std::string_view const text = vx::trimmed(line.view());
    auto const fault = vx::parseRoute6(text, *record);
    if (fault == vx::Route6Fault::none) {
        return 0;
    }
    std::printf("%s: failed to parse %s:\n%.*s\n", __func__, faults[static_cast<int>(fault)],
                static_cast<int>(text.size()), text.data());
    return -1;
}

// Any route through a gateway is taken for the default one: the destination is not looked at.
// Negative flags mark an address of the blade's own.
int VXNetGetGateway6(const char* ifname, uint8_t* address) {
    vx::Descriptor const file(vx::openFile(vx::route6Path, O_RDONLY));
    if (!file.ok()) {
        std::printf("%s Failed to open procfs file: %s\n", __func__, vx::route6Path);
        return -1;
    }
    VXNetRouteEntry6 route;
    while (VXNetGetRouteEntry6(file.get(), &route) == 0) {
        if (vx::isInterface(route.name, ifname) && vx::isUsableGateway(route.flags) &&
            static_cast<int32_t>(route.flags) >= 0) {
            std::memcpy(address, route.nextHop, sizeof route.nextHop);
            return 0;
        }
    }
    std::memset(address, 0, sizeof route.nextHop);
    return 0;
}
