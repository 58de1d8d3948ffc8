// Files and descriptors.
#pragma once

#include <utility>

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

// Opens `path` (mode 0755 when `flags` create it) with close-on-exec. The descriptor is 3 or
// more, so that a record can never land on a standard stream that the caller had closed.
// -1 with errno set on failure.
[[nodiscard]] int openFile(const char* path, int flags);

// Makes `path`'s content durable, and its directory entry where the file was new: a file that is
// synced but not named survives no power cut. -1 where either cannot be opened or synced.
int syncFile(const char* path);
int syncFolderOf(const char* path);

// True when `path` can be stat'ed.
[[nodiscard]] bool fileExists(const char* path);

} // namespace vx
