#include "common/files.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>

namespace vx {

namespace {
constexpr mode_t newFileMode = 0755;
constexpr int firstOwnDescriptor = 3;
} // namespace

int openFile(const char* path, int flags) {
    int const fd = ::open(path, flags | O_CLOEXEC, newFileMode);
    if (fd < 0 || fd >= firstOwnDescriptor) {
        return fd;
    }
    int const moved = ::fcntl(fd, F_DUPFD_CLOEXEC, firstOwnDescriptor);
    int const error = errno;
    ::close(fd);
    errno = error;
    return moved;
}

int syncFile(const char* path) {
    Descriptor const file(openFile(path, O_RDONLY | O_NONBLOCK));
    return file.ok() ? ::fsync(file.get()) : -1;
}

int syncFolderOf(const char* path) {
    char folder[PATH_MAX] = ".";
    if (char const* slash = std::strrchr(path, '/'); slash != nullptr) {
        auto const length = static_cast<std::size_t>(slash - path) + 1;
        if (length >= sizeof folder) {
            errno = ENAMETOOLONG;
            return -1;
        }
        std::memcpy(folder, path, length);
        folder[length] = '\0';
    }
    return syncFile(folder);
}

bool fileExists(const char* path) {
    struct stat status {};
    return ::stat(path, &status) == 0;
}

} // namespace vx
