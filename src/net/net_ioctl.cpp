#include <vxblade/net.h>

#include "common/files.h"

#include <cstdio>
#include <cstring>

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

// The descriptor comes after the pointer to the virtual functions.
static_assert(sizeof(VXNetIoctl) == 2 * sizeof(void*));

VXNetIoctl::VXNetIoctl() : socket_(-1) {
    std::printf("Started");
    socket_ = vx::aboveStandardStreams(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    std::printf("Opened socked %d", socket_);
}

void VXNetIoctl::closeSocket() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

int VXNetIoctl::getNetProperty(const char* ifname, unsigned long request,
                               struct ifreq* ifreq) const {
    if (socket_ < 0 || ifname == nullptr || ifreq == nullptr) {
        return -1;
    }
    // A name of 16 characters fills the field; the kernel puts its own terminator.
    std::memset(ifreq->ifr_name, 0, sizeof ifreq->ifr_name);
    std::memcpy(ifreq->ifr_name, ifname, ::strnlen(ifname, sizeof ifreq->ifr_name));
    return ::ioctl(socket_, request, ifreq);
}

VXNetIoctl* VXNetIoctlGetHnd(void) {
    return new VXNetIoctl;
}

void VXNetIoctlDestroyHnd(VXNetIoctl* handle) {
    delete handle;
}

int VXNetIoctlGetNetProperty(const VXNetIoctl* handle, const char* ifname, unsigned long request,
                             struct ifreq* ifreq) {
    return handle == nullptr ? -1 : handle->getNetProperty(ifname, request, ifreq);
}
