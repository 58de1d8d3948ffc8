// Files and descriptors: all opens, durable replacement and the sync of folders. Every open gives a
// number above 2: what is written to a standard stream can never land in a file or a device that
// took its number.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <utility>

#include <sys/types.h>
#include <unistd.h>

namespace vx {

// Owns a descriptor and closes it; -1 holds none.
class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool ok() const { return fd_ >= 0; }
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

  private:
    int fd_;
};

struct CloseStream {
    void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

// Modes of files that an open makes.
inline constexpr mode_t storeFileMode = 0755;
inline constexpr mode_t plainFileMode = 0644;
inline constexpr mode_t lockFileMode = 0666;

// Opens `path` with close-on-exec; -1 with errno set on failure.
[[nodiscard]] int openFile(const char* path, int flags, mode_t mode = storeFileMode);
// The same, as a stream for reading; null with errno set on failure.
[[nodiscard]] Stream openStream(const char* path);
// Moves a descriptor that is 2 or below to a number above; -1 (passed in or on failure) keeps
// errno.
[[nodiscard]] int aboveStandardStreams(int fd);

// Makes `path`'s content durable, and its directory entry where the file was new: a file that is
// synced but not named survives no power cut. -1 where either cannot be opened or synced.
int syncFile(const char* path);
int syncFolderOf(const char* path);

// True when `path` can be stat'ed.
[[nodiscard]] bool fileExists(const char* path);
// True when `path` is a regular file, or a link to one.
[[nodiscard]] bool isRegularFile(const char* path);

// Replaces the file at `path` by `size` bytes, so that a power cut leaves the old or the new
// content: written beside it as <path>.new, synced, renamed, the folder synced. 0, or -1 with errno
// set.
[[nodiscard]] int replaceFile(const char* path, const void* data, std::size_t size,
                              mode_t mode = plainFileMode);
// The same for a file that is there: it keeps mode and owner, and what is written beside it is
// named <path>.replacing, which nobody may read that may not read the file.
[[nodiscard]] int replaceContent(const char* path, const void* data, std::size_t size);
// replaceFile, by the content of the file at `from`. -1 also where that is no regular file.
[[nodiscard]] int replaceFileByCopy(const char* path, const char* from);

// Writes `size` bytes at the start of the file, made where it is missing, and keeps the rest. 0 or
// -1.
[[nodiscard]] int overwriteStart(const char* path, const void* data, std::size_t size);

// Reads up to `size` bytes of the start of a file; the count, or -1 with errno set where it cannot
// be read.
[[nodiscard]] int readFile(const char* path, void* data, std::size_t size);

// Removes what a cut in a replacement of `path` left beside it. Not all file systems rename in one
// step: both names may be there.
void removeTemporary(const char* path);

// Removes the file, durably. 0 or -1.
int removeFile(const char* path);

} // namespace vx
