// Opening a driver's device node, which may come up after the program that wants it.
#pragma once

namespace vx {

// The reports of one device's open, all on standard output: each device has its own words.
struct DeviceWords {
    const char* alreadyOpen; // %d: handle
    const char* notYet;      // %d, %d: handle, errno
    const char* timeOut;     // %d, %d: handle, errno
    const char* failed;      // %d: handle
    const char* fcntlFailed; // %d, %d: handle, errno
};

// Opens /dev/<driverName> into `handle` unless that is open, trying once a second for about two
// minutes. Returns the descriptor, or 0 when the device never opened.
int openDevice(const char* driverName, int& handle, const DeviceWords& words);

} // namespace vx
