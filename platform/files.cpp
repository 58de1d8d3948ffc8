#include "platform/files.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <linux/limits.h>
#include <unistd.h>

namespace vxplatform {

namespace {

bool writeSynced(const char* path, const void* data, std::size_t size) {
    int const fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return false;
    }
    bool const written = ::write(fd, data, size) == static_cast<ssize_t>(size) && ::fsync(fd) == 0;
    return ::close(fd) == 0 && written;
}

} // namespace

int replaceFile(const char* path, const void* data, std::size_t size) {
    std::array<char, PATH_MAX> temporary{};
    if (std::snprintf(temporary.data(), temporary.size(), "%s.new", path) >=
        static_cast<int>(temporary.size())) {
        return -1;
    }
    if (!writeSynced(temporary.data(), data, size) || ::rename(temporary.data(), path) != 0) {
        ::unlink(temporary.data());
        return -1;
    }
    return 0;
}

int readFile(const char* path, void* data, std::size_t size) {
    int const fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    ssize_t const count = ::read(fd, data, size);
    ::close(fd);
    return static_cast<int>(count);
}

} // namespace vxplatform
