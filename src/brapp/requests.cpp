#include "brapp/requests.h"

#include <vxblade/hw.h>

#include <cstring>

#include <sys/ioctl.h>

namespace vx {

int issueOn(int fd, const Request& request, void* record) {
    // Codes carry the record's exact size, whatever C type a caller has for it.
    unsigned long const code = _IOC(_IOC_READ | _IOC_WRITE, static_cast<unsigned>(request.group),
                                    request.number, request.size);
    return ::ioctl(fd, code, record);
}

int issue(const Request& request, void* record) {
    return issueOn(request.device == Device::bridgeApp ? BrAppHandle : gpDevHandle, request,
                   record);
}

int issueWith(const Request& request, const Selector& selector, void* record) {
    if (record == nullptr) {
        return -1;
    }
    auto const byte = static_cast<uint8_t>(selector.value);
    std::memcpy(static_cast<std::byte*>(record) + selector.offset,
                selector.width == sizeof byte ? static_cast<const void*>(&byte) : &selector.value,
                selector.width);
    return issue(request, record);
}

int issueIf(const Request& request, const Selector& selector, void* record) {
    if (record == nullptr) {
        return -1;
    }
    uint32_t held = 0;
    std::memcpy(&held, static_cast<const std::byte*>(record) + selector.offset, selector.width);
    return held == selector.value ? issue(request, record) : -1;
}

} // namespace vx

// The functions of all rows but the OWN ones.
#define VX_PASS(operation, device, group, number, size)                                            \
    int XBMGT_##operation(void* record) {                                                          \
        return vx::issue(vx::requests::operation, record);                                         \
    }
// NOLINTBEGIN(bugprone-macro-parentheses): the arguments name types
#define VX_TYPED(operation, device, group, number, size, type)                                     \
    int XBMGT_##operation(type* record) {                                                          \
        return vx::issue(vx::requests::operation, record);                                         \
    }
// NOLINTEND(bugprone-macro-parentheses)
#define VX_SELECTED(issued, operation, offset, width, value)                                       \
    static_assert(vx::fits({offset, width, value}, vx::requests::operation), #operation);          \
    int XBMGT_##operation(void* record) {                                                          \
        return vx::issued(vx::requests::operation, {offset, width, value}, record);                \
    }
#define VX_PUT(operation, device, group, number, size, ...)                                        \
    VX_SELECTED(issueWith, operation, __VA_ARGS__)
#define VX_REQUIRE(operation, device, group, number, size, ...)                                    \
    VX_SELECTED(issueIf, operation, __VA_ARGS__)
#define VX_OWN(...)
VXBLADE_REQUESTS(VX_PASS, VX_TYPED, VX_PUT, VX_REQUIRE, VX_OWN)
