// The kernel's tables under /proc/net: single lines, whose bytes end where the input ends, and
// whole tables.
#include "net/proc_net.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/memory_files.h"

#include <vxblade/net.h>
#include <vxblade/records.h>

#include <array>
#include <cstring>

using fuzz::require;

namespace {

template <class Record>
bool equal(const Record& a, const Record& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// A record that no parser has touched.
template <class Record>
Record untouched() {
    Record record;
    std::memset(&record, 0xA5, sizeof record);
    return record;
}

template <std::size_t size>
void checkName(const char (&name)[size]) {
    require(::strnlen(name, size) < size, "a name is terminated");
}

std::string hexOf(const uint8_t* address) {
    std::array<char, vx::inet6Digits + 1> text{};
    for (std::size_t i = 0; i < vx::inet6Digits / 2; ++i) {
        std::snprintf(text.data() + 2 * i, 3, "%02x", address[i]);
    }
    return text.data();
}

void checkRoute4(std::string_view line) {
    auto const route = vx::parseRoute4(line);
    if (!route) {
        return;
    }
    require(line.data() <= route->name.data() &&
                route->name.data() + route->name.size() <= line.data() + line.size() &&
                !route->name.empty(),
            "a route's name is part of its line");
    // As the kernel prints it.
    std::array<char, 100> fields{};
    std::snprintf(fields.data(), fields.size(), "\t0\t%08X\t%04X\t0\t0\t0\t0\t0\t0\t0",
                  route->gateway, route->flags);
    std::string const printed = std::string(route->name) + fields.data();
    auto const again = vx::parseRoute4(printed);
    require(again && again->name == route->name && again->gateway == route->gateway &&
                again->flags == route->flags,
            "a printed route is parsed alike");
}

void checkInterfaceFields(std::string_view text) {
    auto record = untouched<VXNetInterfaceParams>();
    if (!vx::parseInterfaceFields(text, record)) {
        require(equal(record, untouched<VXNetInterfaceParams>()), "other text changes nothing");
        return;
    }
    checkName(record.name);
    std::array<char, 100> printed{};
    std::snprintf(printed.data(), printed.size(), " %02x %02x %02x %02x %8s\n", record.index,
                  record.prefixLength, record.scope, record.flags, record.name);
    auto again = untouched<VXNetInterfaceParams>();
    require(record.name[0] == '\0' ||
                (vx::parseInterfaceFields(printed.data(), again) && equal(again, record)),
            "printed interface fields are parsed alike");
}

void checkRoute6(std::string_view text) {
    auto record = untouched<VXNetRouteEntry6>();
    if (vx::parseRoute6(text, record) != vx::Route6Fault::none) {
        require(equal(record, untouched<VXNetRouteEntry6>()), "a faulty line changes nothing");
        return;
    }
    checkName(record.name);
    std::array<char, vx::route6LineSize + 1> printed{};
    std::snprintf(printed.data(), printed.size(), "%s %02x %032x 00 %s %08x %08x %08x %08x %8s",
                  hexOf(record.destination).c_str(), record.prefixLength & 0xFF, 0,
                  hexOf(record.nextHop).c_str(), 0, 0, 0, record.flags, record.name);
    auto again = untouched<VXNetRouteEntry6>();
    require(vx::parseRoute6(printed.data(), again) == vx::Route6Fault::none &&
                again.flags == record.flags &&
                std::memcmp(again.destination, record.destination, 16) == 0 &&
                std::memcmp(again.nextHop, record.nextHop, 16) == 0,
            "a printed route is parsed alike");
}

void checkAddress(std::string_view text) {
    auto const address = vx::parseInet6Address(text);
    std::size_t const digits =
        std::min(text.find_first_not_of("0123456789abcdefABCDEF"), text.size());
    require(address.has_value() == (digits >= vx::inet6Digits), "an address has its digits");
    if (address) {
        auto const again = vx::parseInet6Address(hexOf(address->data()));
        require(again == address, "a printed address is parsed alike");
    }
}

// Whole tables, through the readers of fixed lines.
void readTables(std::string_view text) {
    for (const char* const path :
         {"/proc/net/route", "/proc/net/if_inet6", "/proc/net/ipv6_route"}) {
        fuzz::writeFile(path, text);
    }
    PortParams port{};
    uint8_t gateway[16];
    (void)VXNetGetGateway("eth0");
    require(VXNetGetGateway6("eth0", gateway) == 0 && VXNetGetActualIpv6Data(&port) == 0,
            "a table of any content can be read");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view const text = fuzz::Input(data, size).rest();
    std::string_view const trimmed = vx::trimmed(text);
    require(text.starts_with(trimmed) && vx::trimmed(trimmed) == trimmed, "trimming is done once");
    checkRoute4(text);
    checkInterfaceFields(text);
    checkRoute6(trimmed);
    checkAddress(text);
    readTables(text);
    return 0;
}
