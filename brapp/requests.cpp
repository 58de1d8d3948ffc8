#include <vxblade/brapp.h>
#include <vxblade/hw.h>

#include <sys/ioctl.h>

namespace {

// Request codes carry the record's exact size, whatever C type a caller has for it.
constexpr unsigned long request(char group, unsigned number, unsigned size) {
    return _IOC(_IOC_READ | _IOC_WRITE, static_cast<unsigned>(group), number, size);
}

} // namespace

int32_t BrAppHandle = -1;

int XBMGT_SetClusterCachedLun(void* record) {
    return ::ioctl(BrAppHandle, request('b', 128, 304), record);
}

int XBMGT_GetInterfaceLinkStatus(uint8_t* status) {
    return ::ioctl(gpDevHandle, request('h', 7, 1), status);
}

int XBMGT_GetBladeSlotPostition(uint64_t* slot) {
    return ::ioctl(gpDevHandle, request('h', 27, 8), slot);
}
