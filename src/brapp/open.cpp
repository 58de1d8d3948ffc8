#include <vxblade/brapp.h>

#include "device/device_nodes.h"

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
