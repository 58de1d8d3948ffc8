// The requests as constants, and what issues them.
#pragma once

#include "brapp/request_table.h"

#include <vxblade/brapp.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vx {

enum class Device : uint8_t { bridgeApp, generalPurpose, led };

struct Request {
    Device device;
    uint8_t number;
    uint16_t size; // of the record, exactly
};

// A value inside a record that tells the operations on one request apart.
struct Selector {
    std::size_t offset;
    std::size_t width; // in bytes: 1 or 4
    uint32_t value;
};

constexpr bool fits(const Selector& selector, Request request) {
    return selector.offset + selector.width <= request.size &&
           (selector.width == 4 || (selector.width == 1 && selector.value <= UINT8_MAX));
}

// The record of a prototype that takes nothing else.
template <class Prototype>
struct RecordOf;
template <class Record>
struct RecordOf<int(Record*)> {
    using Type = Record;
};

// Whether the driver stays within the record of such a prototype, as far as its type tells.
template <class... Parameters>
constexpr bool isWithin(int (*)(Parameters...), Request) {
    return true;
}
template <class Record>
constexpr bool isWithin(int (*)(Record*), Request request) {
    if constexpr (!std::is_void_v<Record>) {
        return sizeof(Record) >= request.size;
    }
    return true;
}

// vx::requests::<operation> for every row, each of which has its prototype.
namespace requests {
inline constexpr unsigned sizeLimit = 1U << 14U; // bits of the size in a request code
#define VX_ROW(operation, device, number, ...)                                                     \
    inline constexpr Request operation = {Device::device, number, XBMGT_##operation##_SIZE};       \
    static_assert(operation.size > 0 && operation.size < sizeLimit, #operation);                   \
    static_assert(isWithin(XBMGT_##operation, operation), #operation);
VX_REQUESTS(VX_ROW, VX_ROW, VX_ROW, VX_ROW)
#undef VX_ROW
} // namespace requests

// Issues a request on its device's descriptor, or on one that the caller opened. The request's
// result.
int issue(Request request, void* record);
int issueOn(int fd, Request request, void* record);

// Puts the selector into the record first; -1 for a null record.
int issueWith(Request request, const Selector& selector, void* record);

// -1 for a null record or one that does not hold the selector.
int issueIf(Request request, const Selector& selector, void* record);

// Issues a request with a record of this layer's own making.
template <const Request& request, class Record>
int issueOwn(Record& record) {
    static_assert(sizeof(Record) == request.size);
    return issue(request, &record);
}

} // namespace vx
