#include "sim/blade/device_server.h"

#include "sim/blade/device_hub.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
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

// --- The hub's requests.

OpenNode& nodeOf(const DeviceRequest& request) {
    return *reinterpret_cast<OpenNode*>(request.file); // NOLINT(performance-no-int-to-ptr)
}

int carryOutOnControl(DeviceBench& devices, const DeviceRequest& request,
                      std::span<const uint8_t> data) {
    switch (request.kind) {
    case DeviceRequest::write: {
        int const result =
            devices.control({reinterpret_cast<const char*>(data.data()), data.size()});
        return result < 0 ? result : static_cast<int>(data.size());
    }
    case DeviceRequest::control:
        return -ENOTTY;
    default:
        return 0;
    }
}

int carryOutOnDevice(DeviceBench& devices, const DeviceRequest& request, std::span<uint8_t> data) {
    Device& device = devices.device(request.name);
    auto const carryOut = [&](const Operation& operation, std::size_t whole) {
        return devices.carryOut(request.name, operation, whole, request.caller);
    };
    switch (request.kind) {
    case DeviceRequest::open:
        return carryOut({"open", "", 0, [](std::size_t) { return 0; }}, 0);
    case DeviceRequest::read:
        return carryOut(device.read(nodeOf(request), data, request.offset), data.size());
    case DeviceRequest::write:
        return carryOut(device.write(nodeOf(request), data, request.offset), data.size());
    case DeviceRequest::control:
        return carryOut(device.request(nodeOf(request), request.code,
                                       static_cast<uintptr_t>(request.offset), data),
                        0);
    default:
        return 0;
    }
}

// Takes a request and answers it. False: the hub is gone.
bool answerRequest(DeviceBench& devices, int hub) {
    DeviceRequest request{};
    static std::array<uint8_t, longestData> buffer;
    if (!receiveAll(hub, &request, sizeof request) || request.size > buffer.size()) {
        return false;
    }
    std::span<uint8_t> const data(buffer.data(), request.size);
    bool const isRead = request.kind == DeviceRequest::read;
    if (!isRead && !receiveAll(hub, data.data(), data.size())) {
        return false;
    }
    bool const isControl = request.name == controlName;
    DeviceAnswer answer{isControl ? carryOutOnControl(devices, request, data)
                                  : carryOutOnDevice(devices, request, data),
                        0, 0};
    if (isRead) {
        answer.size = static_cast<uint32_t>(std::max(answer.result, 0));
    } else if (request.kind == DeviceRequest::control) {
        answer.size = request.size;
    } else if (request.kind == DeviceRequest::open && answer.result >= 0) {
        answer.file = reinterpret_cast<uintptr_t>(new OpenNode);
    } else if (request.kind == DeviceRequest::release) {
        delete &nodeOf(request);
    }
    return sendAll(hub, &answer, sizeof answer) && sendAll(hub, data.data(), answer.size);
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

} // namespace

void serveDevices(DeviceBench& devices, const fs::path& state,
                  const ServerDescriptors& descriptors) {
    int const logFile = openForAppending(state / "syslog");
    pollfd waits[] = {{descriptors.hub, POLLIN, 0},
                      {descriptors.log, POLLIN, 0},
                      {descriptors.lifetime, POLLIN, 0}};
    while (waits[2].revents == 0) {
        if (::poll(waits, std::size(waits), -1) < 0 && errno != EINTR) {
            break;
        }
        if ((waits[1].revents & POLLIN) != 0) {
            collectLog(descriptors.log, logFile);
        }
        if (waits[0].revents != 0 && !answerRequest(devices, descriptors.hub)) {
            break;
        }
    }
    collectLog(descriptors.log, logFile);
    ::close(logFile);
}

} // namespace sim
