#include "platform/files.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <libgen.h>
#include <linux/limits.h>
#include <unistd.h>

namespace vxplatform {

namespace {

bool writeSynced(const char* path, int flags, const void* data, std::size_t size) {
    int const fd = ::open(path, O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
    if (fd < 0) {
        return false;
    }
    bool const written = ::write(fd, data, size) == static_cast<ssize_t>(size) && ::fsync(fd) == 0;
    return ::close(fd) == 0 && written;
}

int syncFolderOf(const char* path) {
    std::array<char, PATH_MAX> folder{};
    std::snprintf(folder.data(), folder.size(), "%s", path);
    int const fd = ::open(::dirname(folder.data()), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    int const result = ::fsync(fd);
    ::close(fd);
    return result;
}

} // namespace

int replaceFile(const char* path, const void* data, std::size_t size) {
    std::array<char, PATH_MAX> temporary{};
    if (std::snprintf(temporary.data(), temporary.size(), "%s.new", path) >=
        static_cast<int>(temporary.size())) {
        return -1;
    }
    if (!writeSynced(temporary.data(), O_TRUNC, data, size) ||
        ::rename(temporary.data(), path) != 0) {
        ::unlink(temporary.data());
        return -1;
    }
    return syncFolderOf(path);
}

int overwriteStart(const char* path, const void* data, std::size_t size) {
    return writeSynced(path, 0, data, size) ? syncFolderOf(path) : -1;
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

int removeFile(const char* path) {
    return ::unlink(path) == 0 ? syncFolderOf(path) : -1;
}

} // namespace vxplatform
