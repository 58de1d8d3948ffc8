#include "sim/blade/device_server.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <system_error>

#define FUSE_USE_VERSION 35
#include <fuse3/fuse.h>
#include <fuse3/fuse_lowlevel.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace sim {

namespace {

int openForAppending(const fs::path& path) {
    int const fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + path.string());
    }
    return fd;
}

void appendLine(int fd, std::string line) {
    line += '\n';
    (void)!::write(fd, line.data(), line.size());
}

} // namespace

DeviceBench::DeviceBench(const fs::path& state) : trace_(openForAppending(state / "trace")) {
    devices_["mtd0"] = std::make_unique<NorFlash>(state);
    devices_["i2c-0"] = std::make_unique<I2cBus>(state, 0);
    devices_["i2c-1"] = std::make_unique<I2cBus>(state, 1);
    devices_["vxgpdev"] = std::make_unique<RequestDriver>(state, "h");
    devices_["vxbrapp"] = std::make_unique<RequestDriver>(state, "b");
    devices_["vxllednode"] = std::make_unique<RequestDriver>(state, "l");
}

int DeviceBench::carryOut(std::string_view device, const Operation& operation, std::size_t whole,
                          pid_t caller) {
    std::string line = std::string(device) + " " + operation.name;
    line += operation.detail.empty() ? "" : " " + operation.detail;
    Verdict const verdict = faults_.next(device, operation.name);
    int result = -verdict.error;
    std::size_t const size = operation.size;
    switch (verdict.kind) {
    case Verdict::proceed:
        result = operation.perform(size);
        break;
    case Verdict::comeShort:
        result = operation.perform(size > 0 ? size - 1 : 0);
        break;
    case Verdict::skip:
        result = static_cast<int>(whole);
        break;
    case Verdict::tear:
        operation.perform(size / 2);
        [[fallthrough]];
    case Verdict::stop:
        appendLine(trace_, line + " = cut");
        ::kill(caller, SIGKILL);
        return -EIO;
    case Verdict::fail:
        break;
    }
    const char* const error = result < 0 ? ::strerrorname_np(-result) : nullptr;
    line += " = " + (error != nullptr ? "-" + std::string(error) : std::to_string(result));
    appendLine(trace_, line);
    return result;
}

void DeviceBench::commandLine(const std::string& line) {
    std::istringstream text(line);
    std::vector<std::string> words;
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    if (words.empty()) {
        return;
    }
    if ((words[0] == "fail" || words[0] == "short" || words[0] == "skip") && words.size() > 2) {
        auto const device = devices_.find(words[1]);
        if (device == devices_.end() || !device->second->knows(words[2])) {
            throw std::invalid_argument("no such device or operation");
        }
    }
    bool taken = faults_.command(words);
    for (auto const& [name, device] : devices_) {
        taken = device->command(words) || taken;
    }
    if (!taken) {
        throw std::invalid_argument("no such command");
    }
}

int DeviceBench::control(std::string_view commands) {
    std::istringstream text{std::string(commands)};
    for (std::string line; std::getline(text, line);) {
        try {
            commandLine(line);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "bladesim: control: \"%s\": %s\n", line.c_str(), error.what());
            return -EINVAL;
        }
    }
    return 0;
}

namespace {

// --- The FUSE file system: one folder of device files.

DeviceBench& bench() {
    return *static_cast<DeviceBench*>(::fuse_get_context()->private_data);
}

bool isControl(const char* path) {
    return path + 1 == controlName;
}

bool isKnown(const char* path) {
    return isControl(path) || std::ranges::find(deviceNames, path + 1) != std::end(deviceNames);
}

OpenNode& nodeOf(fuse_file_info* file) {
    return *reinterpret_cast<OpenNode*>(file->fh); // NOLINT(performance-no-int-to-ptr)
}

int carryOut(const char* path, const Operation& operation, std::size_t whole) {
    return bench().carryOut(path + 1, operation, whole, ::fuse_get_context()->pid);
}

void* initialise(fuse_conn_info* /*connection*/, fuse_config* config) {
    config->entry_timeout = config->attr_timeout = config->negative_timeout = 0;
    config->direct_io = 1;
    return ::fuse_get_context()->private_data;
}

int getAttributes(const char* path, struct stat* status, fuse_file_info* /*file*/) {
    *status = {};
    bool const isRoot = std::strcmp(path, "/") == 0;
    if (!isRoot && !isKnown(path)) {
        return -ENOENT;
    }
    status->st_mode = isRoot ? S_IFDIR | 0755 : S_IFREG | 0666;
    status->st_nlink = 1;
    return 0;
}

int listFolder(const char* /*path*/, void* buffer, fuse_fill_dir_t fill, off_t /*offset*/,
               fuse_file_info* /*file*/, fuse_readdir_flags /*flags*/) {
    for (std::string_view const name : deviceNames) {
        fill(buffer, std::string(name).c_str(), nullptr, 0, fuse_fill_dir_flags{});
    }
    fill(buffer, std::string(controlName).c_str(), nullptr, 0, fuse_fill_dir_flags{});
    return 0;
}

int openFile(const char* path, fuse_file_info* file) {
    if (!isKnown(path)) {
        return -ENOENT;
    }
    if (!isControl(path)) {
        int const result = carryOut(path, {"open", "", 0, [](std::size_t) { return 0; }}, 0);
        if (result < 0) {
            return result;
        }
    }
    file->fh = reinterpret_cast<uintptr_t>(new OpenNode);
    return 0;
}

int releaseFile(const char* /*path*/, fuse_file_info* file) {
    delete &nodeOf(file);
    return 0;
}

int readFile(const char* path, char* to, size_t size, off_t offset, fuse_file_info* file) {
    if (isControl(path)) {
        return 0;
    }
    return carryOut(path,
                    bench().device(path + 1).read(nodeOf(file),
                                                  {reinterpret_cast<uint8_t*>(to), size},
                                                  static_cast<uint64_t>(offset)),
                    size);
}

int writeFile(const char* path, const char* from, size_t size, off_t offset, fuse_file_info* file) {
    if (isControl(path)) {
        int const result = bench().control({from, size});
        return result < 0 ? result : static_cast<int>(size);
    }
    return carryOut(path,
                    bench().device(path + 1).write(nodeOf(file),
                                                   {reinterpret_cast<const uint8_t*>(from), size},
                                                   static_cast<uint64_t>(offset)),
                    size);
}

int requestOn(const char* path, unsigned code, void* argument, fuse_file_info* file,
              unsigned /*flags*/, void* data) {
    if (isControl(path)) {
        return -ENOTTY;
    }
    std::size_t const size = data != nullptr ? _IOC_SIZE(code) : 0;
    return carryOut(path,
                    bench().device(path + 1).request(nodeOf(file), code,
                                                     reinterpret_cast<uintptr_t>(argument),
                                                     {static_cast<uint8_t*>(data), size}),
                    0);
}

int truncateFile(const char* /*path*/, off_t /*size*/, fuse_file_info* /*file*/) {
    return 0; // what a shell's ">" asks for first
}

fuse_operations operationTable() {
    fuse_operations table{};
    table.init = initialise;
    table.getattr = getAttributes;
    table.readdir = listFolder;
    table.open = openFile;
    table.release = releaseFile;
    table.read = readFile;
    table.write = writeFile;
    table.ioctl = requestOn;
    table.truncate = truncateFile;
    return table;
}

// --- The loop.

// Takes every record that waits on the socket. False: none did.
bool collectLog(int socket, int file) {
    constexpr std::size_t longest = 8192;
    bool any = false;
    std::string record(longest, '\0');
    for (;;) {
        ssize_t const size = ::recv(socket, record.data(), record.size(), MSG_DONTWAIT);
        if (size < 0) {
            return any;
        }
        any = true;
        std::string line = record.substr(0, static_cast<std::size_t>(size));
        while (!line.empty() && (line.back() == '\n' || line.back() == '\0')) {
            line.pop_back();
        }
        appendLine(file, line);
    }
}

void serveUntilTheEnd(fuse_session* session, const ServerDescriptors& descriptors, int logFile) {
    pollfd waits[] = {{descriptors.fuse, POLLIN, 0},
                      {descriptors.log, POLLIN, 0},
                      {descriptors.lifetime, POLLIN, 0}};
    fuse_buf buffer{};
    while (::fuse_session_exited(session) == 0) {
        if (::poll(waits, std::size(waits), -1) < 0 && errno != EINTR) {
            break;
        }
        if ((waits[1].revents & POLLIN) != 0) {
            collectLog(descriptors.log, logFile);
        }
        if ((waits[0].revents & POLLIN) != 0 && ::fuse_session_receive_buf(session, &buffer) > 0) {
            ::fuse_session_process_buf(session, &buffer);
        } else if (waits[0].revents != 0 || waits[2].revents != 0) {
            break;
        }
    }
    std::free(buffer.mem);
    collectLog(descriptors.log, logFile);
}

} // namespace

void serveDevices(DeviceBench& devices, const fs::path& state,
                  const ServerDescriptors& descriptors) {
    int const logFile = openForAppending(state / "syslog");
    static fuse_operations const operations = operationTable();
    char name[] = "bladesim";
    char* arguments[] = {name, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    fuse* const server = ::fuse_new(&args, &operations, sizeof operations, &devices);
    std::string const mounted = "/dev/fd/" + std::to_string(descriptors.fuse);
    if (server == nullptr || ::fuse_mount(server, mounted.c_str()) != 0) {
        throw std::runtime_error("cannot serve the device files");
    }
    serveUntilTheEnd(::fuse_get_session(server), descriptors, logFile);
    ::fuse_destroy(server);
    ::close(logFile);
}

} // namespace sim
