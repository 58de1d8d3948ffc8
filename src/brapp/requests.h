// The requests as constants, and what issues them.
#pragma once

#include <vxblade/brapp.h>

#include <cstddef>
#include <cstdint>

namespace vx {

enum class Device : uint8_t { bridgeApp, generalPurpose, led };

constexpr char groupOf(Device device) {
    return device == Device::bridgeApp ? 'b' : device == Device::generalPurpose ? 'h' : 'l';
}

struct Request {
    Device device;
    char group;
    unsigned number;
    unsigned size; // of the record, exactly
};

// A value inside a record that tells the operations on one request apart.
struct Selector {
    std::size_t offset;
    std::size_t width; // in bytes: 1 or 4
    uint32_t value;
};

constexpr bool isSound(const Request& request) {
    constexpr unsigned sizeLimit = 1U << 14U; // bits of the size in a request code
    return request.group == groupOf(request.device) && request.number <= UINT8_MAX &&
           request.size > 0 && request.size < sizeLimit;
}

constexpr bool fits(const Selector& selector, const Request& request) {
    return selector.offset + selector.width <= request.size &&
           (selector.width == 4 || (selector.width == 1 && selector.value <= UINT8_MAX));
}

// vx::requests::<operation> for every row.
namespace requests {
#define VX_ROW(operation, device, group, number, size, ...)                                        \
    inline constexpr Request operation = {Device::device, group, number, size};                    \
    static_assert(isSound(operation), #operation);
VXBLADE_REQUESTS(VX_ROW, VX_ROW, VX_ROW, VX_ROW, VX_ROW)
#undef VX_ROW
} // namespace requests

// Issues a request on its device's descriptor (the LED device's is the caller's affair). The
// request's result.
int issue(const Request& request, void* record);
int issueOn(int fd, const Request& request, void* record);

// Puts the selector into the record first; -1 for a null record.
int issueWith(const Request& request, const Selector& selector, void* record);

// -1 for a null record or one that does not hold the selector.
int issueIf(const Request& request, const Selector& selector, void* record);

// Issues a request with a record of this layer's own making.
template <const Request& request, class Record>
int issueOwn(Record& record) {
    static_assert(sizeof(Record) == request.size);
    return issue(request, &record);
}

} // namespace vx
