#include "tests/system_calls.h"

#include <vxblade/i2c.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <linux/limits.h>
#include <semaphore.h>
#include <unistd.h>

SystemCalls systemCalls;

namespace {

std::string nameOf(int fd) {
    std::array<char, PATH_MAX> path{};
    std::string const link = "/proc/self/fd/" + std::to_string(fd);
    if (::readlink(link.c_str(), path.data(), path.size() - 1) < 0) {
        return "?";
    }
    // Files of the second and third volume by volume and name, the primaries by name.
    std::string const full = path.data();
    auto const volume = full.find("nand");
    return volume == std::string::npos ? full : full.substr(volume);
}

// True when this call is the one at which the power goes.
bool isLast() {
    return systemCalls.cutAt > 0 && --systemCalls.cutAt == 0;
}

void record(const std::string& what) {
    if (systemCalls.recording) {
        systemCalls.log.push_back(what);
    }
}

} // namespace

extern "C" {

ssize_t __real_write(int fd, const void* data, size_t size);
int __real_fsync(int fd);
int __real_rename(const char* from, const char* to);
int __real_unlink(const char* path);
int __real_usleep(useconds_t microseconds);
int __real_VX_PosixFileLockUnLock(int fd, int operation);
int __real_sem_wait(sem_t* semaphore);
int __real_system(const char* command);
int __real_vxpmgr_create_mirror_paths(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
int __real_XBMGT_SetClusterCachedLun(void* lun);
int __real_VX_systemWrapper(const char* command);
int __real_vxbackup_SetBackupBitmap(uint32_t fileIndex);

ssize_t __wrap_write(int fd, const void* data, size_t size) {
    record("write " + nameOf(fd));
    if (isLast()) {
        if (systemCalls.cutHalf) {
            (void)!__real_write(fd, data, size / 2);
        }
        ::_exit(0);
    }
    ssize_t const written = __real_write(fd, data, size);
    if (systemCalls.recording && systemCalls.afterWrite) {
        systemCalls.afterWrite();
    }
    return written;
}

int __wrap_fsync(int fd) {
    record("sync " + nameOf(fd));
    return __real_fsync(fd);
}

int __wrap_rename(const char* from, const char* to) {
    if (isLast()) {
        ::_exit(0);
    }
    return __real_rename(from, to);
}

int __wrap_unlink(const char* path) {
    if (isLast()) {
        ::_exit(0);
    }
    return __real_unlink(path);
}

int __wrap_system(const char* command) {
    record(std::string("run ") + command);
    if (isLast()) {
        ::_exit(0);
    }
    return __real_system(command);
}

int __wrap_sem_wait(sem_t* semaphore) {
    if (systemCalls.semaphoreFailures > 0) {
        --systemCalls.semaphoreFailures;
        errno = EINTR;
        return -1;
    }
    return __real_sem_wait(semaphore);
}

int __wrap_usleep(useconds_t microseconds) {
    record("pause " + std::to_string(microseconds));
    return __real_usleep(microseconds);
}

int __wrap_VX_PosixFileLockUnLock(int fd, int operation) {
    int semaphore = -1;
    ::sem_getvalue(&vxI2CSema, &semaphore);
    record("lock " + std::to_string(operation) + ", semaphore " + std::to_string(semaphore));
    return __real_VX_PosixFileLockUnLock(fd, operation);
}

unsigned __wrap_sleep(unsigned seconds) {
    systemCalls.sleeps += static_cast<int>(seconds);
    return systemCalls.slept;
}

int __wrap_VX_systemWrapper(const char* command) {
    return systemCalls.runner ? systemCalls.runner(command) : __real_VX_systemWrapper(command);
}

int __wrap_vxpmgr_create_mirror_paths(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    record("paths " + std::to_string(a) + std::to_string(b) + std::to_string(c) +
           std::to_string(d));
    return __real_vxpmgr_create_mirror_paths(a, b, c, d);
}

int __wrap_XBMGT_SetClusterCachedLun(void* lun) {
    auto const* bytes = static_cast<const unsigned char*>(lun);
    systemCalls.pushed.emplace_back(bytes, bytes + 304);
    return __real_XBMGT_SetClusterCachedLun(lun);
}

int __wrap_vxbackup_SetBackupBitmap(uint32_t fileIndex) {
    bool const recording = systemCalls.recording;
    record("mark " + std::to_string(fileIndex));
    systemCalls.recording = false; // how the stand-in keeps its bitmap is its own affair
    int const result = __real_vxbackup_SetBackupBitmap(fileIndex);
    systemCalls.recording = recording;
    return result;
}
}
