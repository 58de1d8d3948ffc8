#include <vxblade/net.h>

#include <array>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

namespace vx {
namespace {

struct FlagName {
    const char* name;
    unsigned bit;
};

constexpr FlagName flagNames[] = {
    {"IFF_UP", IFF_UP},
    {"IFF_BROADCAST", IFF_BROADCAST},
    {"IFF_DEBUG", IFF_DEBUG},
    {"IFF_LOOPBACK", IFF_LOOPBACK},
    {"IFF_POINTOPOINT", IFF_POINTOPOINT},
    {"IFF_RUNNING", IFF_RUNNING},
    {"IFF_NOARP", IFF_NOARP},
    {"IFF_PROMISC", IFF_PROMISC},
    {"IFF_NOTRAILERS", IFF_NOTRAILERS},
    {"IFF_ALLMULTI", IFF_ALLMULTI},
    {"IFF_MASTER", IFF_MASTER},
    {"IFF_SLAVE", IFF_SLAVE},
    {"IFF_MULTICAST", IFF_MULTICAST},
    {"IFF_PORTSEL", IFF_PORTSEL},
    {"IFF_AUTOMEDIA", IFF_AUTOMEDIA},
};

struct AddressRequest {
    unsigned long request;
    const char* what;
};

constexpr AddressRequest addressRequests[] = {
    {SIOCGIFADDR, "Ip Addr"},
    {SIOCGIFNETMASK, "Netmask"},
    {SIOCGIFDSTADDR, "Dest"},
};

using DottedText = std::array<char, INET_ADDRSTRLEN>;

DottedText dotted(in_addr address) {
    DottedText text{};
    (void)::inet_ntop(AF_INET, &address, text.data(), text.size());
    return text;
}

DottedText dotted(const sockaddr& address) {
    sockaddr_in inet{};
    static_assert(sizeof inet == sizeof address);
    std::memcpy(&inet, &address, sizeof inet);
    return dotted(inet.sin_addr);
}

void printFlags(unsigned flags) {
    std::printf("Flags for iface:");
    for (FlagName const& flag : flagNames) {
        std::printf("%s: %d\n", flag.name, (flags & flag.bit) != 0 ? 1 : 0);
    }
}

void printHardwareAddress(const char* ifname, const sockaddr& address) {
    constexpr std::size_t size = 6;
    std::printf("HW Addr for %s is:\n", ifname);
    for (std::size_t i = 0; i < size; ++i) {
        std::printf("%02x ", static_cast<uint8_t>(address.sa_data[i]));
    }
    std::printf("\n");
}

} // namespace
} // namespace vx

void printInterfaceInfo(const char* ifname) {
    VXNetIoctl const interfaces;
    struct ifreq answer {};
    auto const ask = [&](unsigned long request) {
        answer = {};
        return interfaces.getNetProperty(ifname, request, &answer) == 0;
    };
    if (ask(SIOCGIFINDEX)) {
        std::printf("Index for %s is %d\n", ifname, answer.ifr_ifindex);
    }
    if (ask(SIOCGIFFLAGS)) {
        vx::printFlags(static_cast<uint16_t>(answer.ifr_flags));
    }
    if (ask(SIOCGIFMTU)) {
        std::printf("MTU for %s is %d\n", ifname, answer.ifr_mtu);
    }
    if (ask(SIOCGIFHWADDR)) {
        vx::printHardwareAddress(ifname, answer.ifr_hwaddr);
    }
    // The answers to all of these lie in the same place of the request block.
    for (auto const& [request, what] : vx::addressRequests) {
        if (ask(request)) {
            std::printf("%s for %s is: %s\n", what, ifname, vx::dotted(answer.ifr_addr).data());
        }
    }
    uint32_t const gateway = VXNetGetGateway(ifname);
    if (gateway != 0) {
        std::printf("Found default gw: %s\n", vx::dotted(in_addr{htonl(gateway)}).data());
    }
}
