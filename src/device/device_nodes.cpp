#include <vxblade/hw.h>

#include "common/files.h"
#include "device/device_nodes.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

int32_t gpDevHandle = -1;

namespace vx {
namespace {

constexpr const char* devicesPath = "/proc/devices";
constexpr int lineSize = 100;
constexpr std::size_t majorDigits = 4;
constexpr const char* blanks = "\t \n\r";

bool isBlank(char c) {
    return c != '\0' && std::strchr(blanks, c) != nullptr;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool beginsWith(const char* text, const char* prefix) {
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

uint32_t parseMajor(const std::array<char, majorDigits>& digits) {
    std::array<char, majorDigits + 1> text{}; // four digits leave no room for a terminator
    std::memcpy(text.data(), digits.data(), digits.size());
    unsigned long number = 0;
    return std::sscanf(text.data(), "%lu", &number) == 1 ? static_cast<uint32_t>(number) : 0;
}

// Words come from constant tables; each has the conversions that its comment names.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <class... Values>
void say(const char* words, Values... values) {
    std::printf(words, values...);
}
#pragma GCC diagnostic pop

} // namespace

int openDevice(const char* driverName, int& handle, const DeviceWords& words) {
    if (handle >= 0) {
        say(words.alreadyOpen, handle);
        return handle;
    }
    std::array<char, PATH_MAX> path{};
    if (std::snprintf(path.data(), path.size(), "/dev/%s", driverName) >=
        static_cast<int>(path.size())) {
        errno = ENAMETOOLONG;
        return 0;
    }
    int error = 0;
    for (int retries = 120;; --retries) {
        handle = openFile(path.data(), O_RDWR);
        if (handle >= 0) {
            break;
        }
        error = errno; // before the report can change it
        say(words.notYet, handle, error);
        if (retries < 0) {
            say(words.timeOut, handle, error);
            break;
        }
        ::sleep(1);
    }
    if (handle < 0) {
        say(words.failed, handle);
        say("ErrorNumber is %s\n", std::strerror(error));
        return 0;
    }
    if (::fcntl(handle, F_SETFD, FD_CLOEXEC) < 0) {
        error = errno;
        say(words.fcntlFailed, handle, error);
    }
    return handle;
}

} // namespace vx

uint32_t getMajor(const char* name, int type) {
    vx::Stream const file = vx::openStream(vx::devicesPath);
    if (file == nullptr) {
        int const error = errno;
        std::printf("%s Failed to open %s: %d \n", "getMajor", vx::devicesPath, error);
        return 0;
    }
    constexpr int beforeFirstSection = 2;
    int section = beforeFirstSection;
    uint32_t number = 0;
    std::array<char, vx::lineSize> line{};
    while (readLine(file.get(), line.data(), vx::lineSize) >= 1) {
        trim(line.data());
        if (vx::beginsWith(line.data(), "Character devices:")) {
            section = DEVICE_CHARACTER;
        } else if (vx::beginsWith(line.data(), "Block devices:")) {
            section = DEVICE_BLOCK;
        } else if (section == type) {
            std::array<char, vx::majorDigits> digits{};
            const char* const listed = walkToName(line.data(), digits.data());
            if (listed != nullptr && std::strcmp(listed, name) == 0) {
                number = vx::parseMajor(digits);
                break;
            }
        }
    }
    return number;
}

int readLine(FILE* file, char* buffer, int size) {
    if (size > 0) {
        std::memset(buffer, 0, static_cast<size_t>(size));
    }
    int count = 0;
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
        if (count < size - 1) {
            buffer[count] = static_cast<char>(c);
        }
        ++count;
        if (c == '\n') {
            break;
        }
    }
    return count;
}

void trim(char* line) {
    std::size_t length = std::strlen(line);
    while (length > 0 && vx::isBlank(line[length - 1])) {
        line[--length] = '\0';
    }
}

char* walkToName(char* line, char* digits) {
    std::memset(digits, 0, vx::majorDigits);
    while (*line != '\0' && !vx::isDigit(*line)) {
        ++line;
    }
    for (std::size_t count = 0; vx::isDigit(*line); ++count, ++line) {
        if (count == vx::majorDigits) {
            return nullptr;
        }
        digits[count] = *line;
    }
    while (vx::isBlank(*line)) {
        ++line;
    }
    return line;
}

int nodeExists(const char* path, dev_t device) {
    struct stat status {};
    if (::stat(path, &status) != 0) {
        return 0;
    }
    return status.st_dev == device || status.st_rdev == device ? 1 : -1;
}

int map_driver(const char* driverName, int type, const char* nodePath, int minorNumber) {
    uint32_t const majorNumber = getMajor(driverName, type);
    if (majorNumber == 0) {
        std::printf("%s Failed to find driver %s \n", "map_driver", driverName);
        return -1;
    }
    dev_t const device = makedev(majorNumber, static_cast<unsigned>(minorNumber));
    int node = nodeExists(nodePath, device);
    if (node == -1) {
        std::printf("Mismatch on %s, trying to remove node: %s\n", "map_driver", nodePath);
        (void)::unlink(nodePath);
        node = nodeExists(nodePath, device);
    }
    switch (node) {
    case 1:
        return 0;
    case -1:
        return -1;
    default:
        return ::mknod(nodePath, (type != DEVICE_CHARACTER ? S_IFBLK : S_IFCHR) | 0644, device);
    }
}

int initGpDevice(void) {
    if (map_driver("vxgpdev", DEVICE_CHARACTER, "/dev/vxgpdev", 0) != 0) {
        std::printf("initGpDevice:%d Failed to map_driver %s\n", 1024, "vxgpdev");
    }
    int const fd = XBMGT_OpenGeneralPurposeDev("vxgpdev");
    if (fd > 0) {
        return 0;
    }
    std::printf("initGpDevice: Open failed %d = %s\n", fd, "vxgpdev");
    return -1;
}

int XBMGT_OpenGeneralPurposeDev(const char* driverName) {
    static constexpr vx::DeviceWords words = {
        .alreadyOpen = "General Purpose device handle already initialized! %d \n",
        .notYet = "General Purpose device handle not available yet: %d , %d \n",
        .timeOut =
            "Time out waiting for Brapp handle: %d , %d \n", // the bridge application's words
        .failed = "XBMGT_OpenGeneralPurposeDev: Open failed gpDevHandle = %d\n",
        .fcntlFailed = "Fcntl failed for %d.errno: %d\n",
    };
    return vx::openDevice(driverName, gpDevHandle, words);
}

int XBMGT_CloseGeneralPurposeDev(int fd) {
    return ::close(fd);
}
