#include "sim/blade/device_hub.h"

#include "sim/blade/device_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <span>
#include <system_error>
#include <vector>

#define FUSE_USE_VERSION 35
#include <fuse3/fuse.h>
#include <fuse3/fuse_lowlevel.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

bool sendAll(int socket, const void* data, std::size_t size) {
    for (const char* at = static_cast<const char*>(data); size > 0;) {
        ssize_t const sent = ::send(socket, at, size, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        at += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool receiveAll(int socket, void* data, std::size_t size) {
    return size == 0 || ::recv(socket, data, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

namespace {

// A name in the abstract name space: it goes with its socket.
struct HubAddress {
    sockaddr_un socket{AF_UNIX, {}};
    socklen_t size;

    explicit HubAddress(const std::string& name)
        : size(static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 +
                                      name.copy(socket.sun_path + 1, sizeof socket.sun_path - 1))) {
    }
    [[nodiscard]] const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&socket); }
};

struct Hub {
    std::string name;
    std::map<std::string, int> links; // of the blades, by their folders
    unsigned joined = 0;
};

Hub& hub() {
    return *static_cast<Hub*>(::fuse_get_context()->private_data);
}

// --- The file system: a link in its root, and a folder of device files for each blade.

struct Place {
    std::string folder, name;
    int link; // -1: no such folder
    explicit Place(const std::string& path)
        : folder(path.substr(1, path.find('/', 1) - 1)),
          name(path.substr(std::min(path.size(), folder.size() + 2))) {
        auto const found = hub().links.find(folder);
        link = found != hub().links.end() ? found->second : -1;
    }
    [[nodiscard]] bool isFolder() const { return folder.empty() || (link >= 0 && name.empty()); }
    [[nodiscard]] bool isFile() const {
        return link >= 0 && (name == controlName ||
                             std::ranges::find(deviceNames, name) != std::end(deviceNames));
    }
};

// Has the blade's server carry it out on `data`; its result.
int passOn(const char* path, DeviceRequest request, fuse_file_info* file, std::span<char> data) {
    Place const place(path);
    if (!place.isFile()) {
        return -ENOENT;
    }
    place.name.copy(request.name, sizeof request.name - 1);
    request.caller = ::fuse_get_context()->pid;
    request.file = file->fh;
    request.size = static_cast<uint32_t>(data.size());
    bool const sendsData = request.kind != DeviceRequest::read;
    DeviceAnswer answer{};
    if (!sendAll(place.link, &request, sizeof request) ||
        (sendsData && !sendAll(place.link, data.data(), data.size())) ||
        !receiveAll(place.link, &answer, sizeof answer) || answer.size > data.size() ||
        !receiveAll(place.link, data.data(), answer.size)) {
        return -EIO;
    }
    file->fh = request.kind == DeviceRequest::open ? answer.file : file->fh;
    return answer.result;
}

DeviceRequest requestOf(DeviceRequest::Kind kind, uint64_t offset = 0, unsigned code = 0) {
    return {kind, 0, 0, code, offset, 0, {}};
}

void* initialise(fuse_conn_info* connection, fuse_config* config) {
    connection->max_write = longestData;
    config->entry_timeout = config->attr_timeout = config->negative_timeout = 0;
    config->direct_io = 1;
    return ::fuse_get_context()->private_data;
}

int getAttributes(const char* path, struct stat* status, fuse_file_info* /*file*/) {
    Place const place(path);
    *status = {};
    status->st_nlink = 1;
    if (place.isFolder()) {
        status->st_mode = S_IFDIR | 0755;
    } else if (place.isFile()) {
        status->st_mode = S_IFREG | 0666;
    } else if (place.folder == hubLink) {
        status->st_mode = S_IFLNK | 0777;
    } else {
        return -ENOENT;
    }
    return 0;
}

int readLink(const char* /*path*/, char* to, size_t size) {
    std::snprintf(to, size, "%s", hub().name.c_str());
    return 0;
}

int listFolder(const char* path, void* buffer, fuse_fill_dir_t fill, off_t /*offset*/,
               fuse_file_info* /*file*/, fuse_readdir_flags /*flags*/) {
    if (Place(path).link >= 0) {
        for (std::string_view const name : deviceNames) {
            fill(buffer, std::string(name).c_str(), nullptr, 0, fuse_fill_dir_flags{});
        }
        fill(buffer, std::string(controlName).c_str(), nullptr, 0, fuse_fill_dir_flags{});
    }
    return 0;
}

int openFile(const char* path, fuse_file_info* file) {
    return passOn(path, requestOf(DeviceRequest::open), file, {});
}

int releaseFile(const char* path, fuse_file_info* file) {
    return passOn(path, requestOf(DeviceRequest::release), file, {});
}

int readFile(const char* path, char* to, size_t size, off_t offset, fuse_file_info* file) {
    return passOn(path, requestOf(DeviceRequest::read, static_cast<uint64_t>(offset)), file,
                  {to, size});
}

int writeFile(const char* path, const char* from, size_t size, off_t offset, fuse_file_info* file) {
    // Nothing comes back into it.
    return passOn(path, requestOf(DeviceRequest::write, static_cast<uint64_t>(offset)), file,
                  {const_cast<char*>(from), size});
}

int controlFile(const char* path, unsigned code, void* argument, fuse_file_info* file,
                unsigned /*flags*/, void* data) {
    std::size_t const size = data != nullptr ? _IOC_SIZE(code) : 0;
    return passOn(path,
                  requestOf(DeviceRequest::control, reinterpret_cast<uintptr_t>(argument), code),
                  file, {static_cast<char*>(data), size});
}

int truncateFile(const char* /*path*/, off_t /*size*/, fuse_file_info* /*file*/) {
    return 0; // what a shell's ">" asks for first
}

fuse_operations operationTable() {
    fuse_operations table{};
    table.init = initialise;
    table.getattr = getAttributes;
    table.readlink = readLink;
    table.readdir = listFolder;
    table.open = openFile;
    table.release = releaseFile;
    table.read = readFile;
    table.write = writeFile;
    table.ioctl = controlFile;
    table.truncate = truncateFile;
    return table;
}

// --- The hub.

// A folder for a new blade, whose name it is told.
void takeIn(Hub& hub, int listening) {
    int const link = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    std::string const folder = std::to_string(++hub.joined);
    if (link >= 0 && sendAll(link, folder.c_str(), folder.size() + 1)) {
        hub.links[folder] = link;
    } else {
        ::close(link);
    }
}

void forget(Hub& hub, int link) {
    std::erase_if(hub.links, [link](const auto& blade) { return blade.second == link; });
    ::close(link);
}

void serveUntilUnmounted(fuse_session* session, Hub& hub, int fuse, int listening) {
    fuse_buf buffer{};
    for (bool isMounted = true; isMounted && ::fuse_session_exited(session) == 0;) {
        std::vector<pollfd> waits = {{fuse, POLLIN, 0}, {listening, POLLIN, 0}};
        for (auto const& [folder, link] : hub.links) {
            waits.push_back({link, 0, 0}); // speaks only when it is spoken to
        }
        if (::poll(waits.data(), waits.size(), -1) < 0) {
            continue;
        }
        if ((waits[1].revents & POLLIN) != 0) {
            takeIn(hub, listening);
        }
        for (auto wait = waits.begin() + 2; wait != waits.end(); ++wait) {
            if (wait->revents != 0) {
                forget(hub, wait->fd);
            }
        }
        if ((waits[0].revents & POLLIN) != 0 && ::fuse_session_receive_buf(session, &buffer) > 0) {
            ::fuse_session_process_buf(session, &buffer);
        } else {
            isMounted = waits[0].revents == 0;
        }
    }
}

void runHub(Hub& hub, int fuse, int listening) {
    static fuse_operations const operations = operationTable();
    char name[] = "bladesim";
    char* arguments[] = {name, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    ::fuse* const server = ::fuse_new(&args, &operations, sizeof operations, &hub);
    std::string const mounted = "/dev/fd/" + std::to_string(fuse);
    if (server != nullptr && ::fuse_mount(server, mounted.c_str()) == 0) {
        serveUntilUnmounted(::fuse_get_session(server), hub, fuse, listening);
    }
}

// Keeps nothing of the process that it comes from: no lock, no stream that somebody reads to its
// end, no terminal.
void detach(int& fuse, int& listening) {
    constexpr int firstKept = 1000;
    int const nothing = ::open("/dev/null", O_RDWR);
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(nothing, stream);
    }
    fuse = ::fcntl(fuse, F_DUPFD_CLOEXEC, firstKept);
    listening = ::fcntl(listening, F_DUPFD_CLOEXEC, firstKept);
    ::close_range(STDERR_FILENO + 1, firstKept - 1, 0);
    (void)!::chdir("/");
    ::setsid();
}

} // namespace

std::string startHub(int fuse) {
    Hub hub{"bladesim-" + std::to_string(::getpid()) + "-" + std::to_string(fuse), {}};
    int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    HubAddress const address(hub.name);
    if (listening < 0 || ::bind(listening, address.get(), address.size) != 0 ||
        ::listen(listening, SOMAXCONN) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make the hub's socket");
    }
    // A grandchild: it outlives the blade, which waits for its children.
    pid_t const child = ::fork();
    if (child == 0) {
        if (::fork() == 0) {
            detach(fuse, listening);
            runHub(hub, fuse, listening);
        }
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    ::close(listening);
    return hub.name;
}

Joined joinHub(const std::string& hub) {
    std::array<char, 16> folder{};
    HubAddress const address(hub);
    int const link = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (link >= 0 && ::connect(link, address.get(), address.size) == 0 &&
        ::recv(link, folder.data(), folder.size() - 1, 0) > 0) {
        return {link, folder.data()};
    }
    ::close(link);
    return {-1, ""};
}

} // namespace sim
