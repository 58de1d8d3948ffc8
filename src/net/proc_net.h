// Lines of the kernel's tables under /proc/net. Nothing here reads files: a parser looks at the
// string that it is given and at nothing after it.
#pragma once

#include <vxblade/net.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vx {

using Inet6Address = std::array<uint8_t, 16>;

inline constexpr std::size_t inet6Digits = 32;
inline constexpr std::size_t interfaceLineSize = 54; // of if_inet6
inline constexpr std::size_t route6LineSize = 150;   // of ipv6_route

// Bits of a route's flags.
inline constexpr uint32_t routeUp = 0x1;
inline constexpr uint32_t routeGateway = 0x2;

// What is of use in a line of /proc/net/route. The name is part of that line.
struct Route4 {
    std::string_view name;
    uint32_t gateway; // as the kernel holds it: in network byte order
    uint32_t flags;
};

// Eleven fields of at most 16 characters each; whatever follows them is ignored. Nothing for any
// other line, such as the table's heading.
[[nodiscard]] std::optional<Route4> parseRoute4(std::string_view line);

// The 32 hexadecimal digits at the start of `text`.
[[nodiscard]] std::optional<Inet6Address> parseInet6Address(std::string_view text);

// What follows the address in a line of if_inet6: index, prefix length, scope and flags of one or
// two digits each, and the name, cut to 8 characters, which ends the line. False, with nothing
// changed, for anything else.
[[nodiscard]] bool parseInterfaceFields(std::string_view text, VXNetInterfaceParams& record);

enum class Route6Fault { none, destination, prefixLength, nextHop, flags };

// A trimmed line of ipv6_route, by columns. The record changes only where there is no fault.
[[nodiscard]] Route6Fault parseRoute6(std::string_view line, VXNetRouteEntry6& record);

// `text` without trailing blanks, tabs and line ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

// True when `name` is the name that a caller asks for; a null or empty one names no interface.
[[nodiscard]] bool isInterface(std::string_view name, const char* ifname);

} // namespace vx
