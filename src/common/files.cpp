#include "common/files.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>

namespace vx {

namespace {

constexpr int firstOwnDescriptor = STDERR_FILENO + 1;

// Copies what is left of one file to the end of another; false where either fails.
bool copyRest(int from, int to) {
    std::array<char, 4096> bytes{};
    for (;;) {
        ssize_t const got = ::read(from, bytes.data(), bytes.size());
        if (got <= 0) {
            return got == 0;
        }
        if (::write(to, bytes.data(), static_cast<std::size_t>(got)) != got) {
            return false;
        }
    }
}

using Path = std::array<char, PATH_MAX>;

// The name under which a new content is written; false where it does not fit.
bool temporaryOf(const char* path, Path& temporary, const char* suffix = "new") {
    int const length = std::snprintf(temporary.data(), temporary.size(), "%s.%s", path, suffix);
    if (length < static_cast<int>(temporary.size())) {
        return true;
    }
    errno = ENAMETOOLONG;
    return false;
}

// Replaces a file by what `fill` writes to a descriptor.
template <class Fill>
int replaceFileBy(const char* path, mode_t mode, Fill fill, const char* suffix = "new") {
    Path temporary{};
    if (!temporaryOf(path, temporary, suffix)) {
        return -1;
    }
    // After a cut within a rename both names may be one file: it is removed, not written to.
    ::unlink(temporary.data());
    Descriptor const file(
        openFile(temporary.data(), O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK, mode));
    // Synced before it gets the name, or a cut could leave an empty file of that name.
    if (!file.ok() || !fill(file.get()) || ::fsync(file.get()) != 0 ||
        ::rename(temporary.data(), path) != 0) {
        int const error = errno;
        ::unlink(temporary.data());
        errno = error;
        return -1;
    }
    return syncFolderOf(path);
}

bool writeAll(int fd, const void* data, std::size_t size) {
    ssize_t const written = ::write(fd, data, size);
    if (written >= 0 && static_cast<std::size_t>(written) < size) {
        errno = ENOSPC; // a write that comes up short sets none
    }
    return written == static_cast<ssize_t>(size);
}

} // namespace

int aboveStandardStreams(int fd) {
    if (fd < 0 || fd >= firstOwnDescriptor) {
        return fd;
    }
    int const moved = ::fcntl(fd, F_DUPFD_CLOEXEC, firstOwnDescriptor);
    int const error = errno;
    ::close(fd);
    errno = error;
    return moved;
}

int openFile(const char* path, int flags, mode_t mode) {
    return aboveStandardStreams(::open(path, flags | O_CLOEXEC, mode));
}

Stream openStream(const char* path) {
    Descriptor file(openFile(path, O_RDONLY));
    FILE* const stream = file.ok() ? ::fdopen(file.get(), "r") : nullptr;
    if (stream != nullptr) {
        (void)file.release();
    }
    return Stream(stream);
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

bool isRegularFile(const char* path) {
    struct stat status {};
    return ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

int replaceFile(const char* path, const void* data, std::size_t size, mode_t mode) {
    return replaceFileBy(path, mode, [=](int fd) { return writeAll(fd, data, size); });
}

int replaceContent(const char* path, const void* data, std::size_t size) {
    struct stat old {};
    if (::stat(path, &old) != 0) {
        return -1;
    }
    // The owner first: a change of owner clears bits of the mode.
    auto const fill = [&](int fd) {
        return ::fchown(fd, old.st_uid, old.st_gid) == 0 &&
               ::fchmod(fd, old.st_mode & 07777) == 0 && writeAll(fd, data, size);
    };
    return replaceFileBy(path, S_IRUSR | S_IWUSR, fill, "replacing");
}

int replaceFileByCopy(const char* path, const char* from) {
    Descriptor const source(openFile(from, O_RDONLY | O_NONBLOCK));
    if (!source.ok() || !isRegularFile(from)) {
        return -1;
    }
    return replaceFileBy(path, plainFileMode,
                         [&source](int fd) { return copyRest(source.get(), fd); });
}

int overwriteStart(const char* path, const void* data, std::size_t size) {
    Descriptor const file(openFile(path, O_WRONLY | O_CREAT | O_NONBLOCK, plainFileMode));
    bool const good = file.ok() && writeAll(file.get(), data, size) && ::fsync(file.get()) == 0;
    return good ? syncFolderOf(path) : -1;
}

int readFile(const char* path, void* data, std::size_t size) {
    Descriptor const file(openFile(path, O_RDONLY | O_NONBLOCK));
    return file.ok() ? static_cast<int>(::read(file.get(), data, size)) : -1;
}

void removeTemporary(const char* path) {
    Path temporary{};
    if (temporaryOf(path, temporary) && ::unlink(temporary.data()) == 0) {
        (void)syncFolderOf(path);
    }
}

int removeFile(const char* path) {
    return ::unlink(path) == 0 ? syncFolderOf(path) : -1;
}

} // namespace vx
