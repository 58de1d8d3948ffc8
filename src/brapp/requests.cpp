// The bridge application's node, and the requests to the drivers.
#include "brapp/requests.h"

#include "device/device_nodes.h"

#include <vxblade/hw.h>

#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

int32_t BrAppHandle = -1;

int XBMGT_OpenBridgeApp(const char* driverName) {
    static constexpr vx::DeviceWords words = {
        .alreadyOpen = "Brapp handle already initialized! %d \n",
        .notYet = "Brapp handle not available yet: %d , %d \n",
        .timeOut = "Time out waiting for Brapp handle: %d , %d \n",
        .failed = "MGMT_OpenBridgeApp: Open failed bridgeapphandle = %d\n",
        .fcntlFailed = "Fcntl failed for %d.\n", // leaves the errno that it is given unprinted
    };
    return vx::openDevice(driverName, BrAppHandle, words);
}

int XBMGT_CloseBridgeApp(int fd) {
    return ::close(fd);
}

namespace vx {

int issueOn(int fd, Request request, void* record) {
    static constexpr char groups[] = {'b', 'h', 'l'}; // of the devices
    // Codes carry the record's exact size, whatever C type a caller has for it.
    unsigned long const code = _IOC(_IOC_READ | _IOC_WRITE,
                                    static_cast<unsigned>(groups[static_cast<int>(request.device)]),
                                    request.number, request.size);
    return ::ioctl(fd, code, record);
}

int issue(Request request, void* record) {
    return issueOn(request.device == Device::bridgeApp ? BrAppHandle : gpDevHandle, request,
                   record);
}

int issueWith(Request request, const Selector& selector, void* record) {
    if (record == nullptr) {
        return -1;
    }
    // Records are little-endian, as the blade is: the first bytes are the lowest.
    std::memcpy(static_cast<std::byte*>(record) + selector.offset, &selector.value, selector.width);
    return issue(request, record);
}

int issueIf(Request request, const Selector& selector, void* record) {
    if (record == nullptr) {
        return -1;
    }
    uint32_t held = 0;
    std::memcpy(&held, static_cast<const std::byte*>(record) + selector.offset, selector.width);
    return held == selector.value ? issue(request, record) : -1;
}

} // namespace vx

// The functions of all rows but the OWN ones.
#define VX_FUNCTION(operation, issued)                                                             \
    int XBMGT_##operation(vx::RecordOf<decltype(XBMGT_##operation)>::Type* record) {               \
        return issued;                                                                             \
    }
#define VX_PASS(operation, device, number)                                                         \
    VX_FUNCTION(operation, vx::issue(vx::requests::operation, record))
#define VX_SELECTED(issue, operation, ...)                                                         \
    static_assert(vx::fits({__VA_ARGS__}, vx::requests::operation), #operation);                   \
    VX_FUNCTION(operation, vx::issue(vx::requests::operation, {__VA_ARGS__}, record))
#define VX_PUT(operation, device, number, ...) VX_SELECTED(issueWith, operation, __VA_ARGS__)
#define VX_REQUIRE(operation, device, number, ...) VX_SELECTED(issueIf, operation, __VA_ARGS__)
#define VX_OWN(...)
VX_REQUESTS(VX_PASS, VX_PUT, VX_REQUIRE, VX_OWN)
