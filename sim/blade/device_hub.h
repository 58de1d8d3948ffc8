// The file system of the device files. The nodes of a driver have its number with minor 0, and the
// one such number that a FUSE file system can have is that of the block device /dev/loop0, once on
// a machine. So all blades of a machine share one file system with a folder for each; a process of
// its own, the hub, passes every operation on to the server of the blade whose file it is for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/types.h>

namespace sim {

// The longest piece of a device file that is read or written at once.
inline constexpr std::size_t longestData = std::size_t{1} << 20;

// An operation on a file, as the hub sends it to a blade's server; what is written follows.
struct DeviceRequest {
    enum Kind : uint32_t { open, release, read, write, control } kind; // control: ioctl
    uint32_t size;                                                     // bytes to read or to write
    pid_t caller;
    uint32_t code;   // of a control request
    uint64_t offset; // or the control request's argument
    uint64_t file;   // what opening it returned
    char name[16];
};

// What the server answers; `size` bytes follow, those read or those of a control request.
struct DeviceAnswer {
    int32_t result; // or minus the errno
    uint32_t size;
    uint64_t file; // of an open
};

// The link in the file system's root that names its hub's socket; it changes with the messages.
inline constexpr const char* hubLink = "hub-1";

// Starts a hub for a mounted FUSE connection; it ends when nothing has the file system mounted.
// Returns what joinHub needs. Throws std::system_error.
[[nodiscard]] std::string startHub(int fuse);

struct Joined {
    int link;           // takes the requests, or -1: that hub is gone
    std::string folder; // of the file system, with this blade's device files
};
[[nodiscard]] Joined joinHub(const std::string& hub);

// All bytes, over a stream socket. False: it ended.
[[nodiscard]] bool sendAll(int socket, const void* data, std::size_t size);
[[nodiscard]] bool receiveAll(int socket, void* data, std::size_t size);

} // namespace sim
