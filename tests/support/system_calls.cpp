#include "tests/support/system_calls.h"

#include <vxblade/i2c.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <optional>

#include <fcntl.h>
#include <linux/limits.h>
#include <semaphore.h>
#include <unistd.h>

SystemCalls systemCalls;

// A call that the linker passes to us, and the one that it is otherwise.
#define WRAPPED(RESULT, NAME, ...)                                                                 \
    RESULT __real_##NAME(__VA_ARGS__);                                                             \
    RESULT __wrap_##NAME(__VA_ARGS__)

extern "C" ssize_t __real_write(int fd, const void* data, size_t size);
extern "C" off64_t __real_lseek64(int fd, off64_t offset, int whence);

namespace {

std::string pathOf(int fd) {
    std::array<char, PATH_MAX> path{};
    std::string const link = "/proc/self/fd/" + std::to_string(fd);
    return ::readlink(link.c_str(), path.data(), path.size() - 1) < 0 ? "?" : path.data();
}

// Files of the volumes by volume and name.
std::string nameOf(int fd) {
    std::string const full = pathOf(fd);
    auto const volume = full.find("nand");
    return volume == std::string::npos ? full : full.substr(volume);
}

// A call that is about to be made, on a path or a descriptor.
struct Call {
    Operation operation;
    const char* path;
    int fd = -1;
    std::size_t size = 0;       // of a transfer
    const void* data = nullptr; // of a write
    const char* from = "";      // of a rename

    [[nodiscard]] int64_t offset() const {
        return operation == Operation::write ? __real_lseek64(fd, 0, SEEK_CUR) : 0;
    }
};

void log(const Call& call, OperationLog& log) {
    ASSERT_LT(static_cast<std::size_t>(log.count), std::size(log.entries));
    auto& entry = log.entries[log.count++];
    entry = {call.operation, static_cast<uint32_t>(call.size), call.offset(), {}};
    std::string const name = call.path != nullptr ? call.path : nameOf(call.fd);
    name.copy(entry.name, sizeof entry.name - 1);
}

// What changes a volume; whether an open does is seen only when it is made.
void trace(const Call& call) {
    std::string const path = call.path != nullptr ? call.path : pathOf(call.fd);
    if (isDurable(call.operation) && path.starts_with("/mnt/nand")) {
        bool const isWrite = call.operation == Operation::write;
        auto const* const data = static_cast<const unsigned char*>(call.data);
        systemCalls.trace->push_back({call.operation,
                                      isWrite && (::fcntl(call.fd, F_GETFL) & O_SYNC) == O_SYNC,
                                      call.offset(),
                                      path,
                                      call.from,
                                      {data, data + call.size}});
    }
}

// How many bytes the call may move; nothing where it is to fail, with errno set. At a power cut
// this moves what still reaches the medium and does not return.
std::optional<std::size_t> allowed(const Call& call) {
    if (systemCalls.operationLog != nullptr) {
        log(call, *systemCalls.operationLog);
    }
    if (systemCalls.trace != nullptr && call.operation != Operation::create) {
        trace(call);
    }
    const Fault& fault = systemCalls.fault;
    if (++systemCalls.operations != fault.at || fault.kind == Fault::Kind::none) {
        return call.size;
    }
    std::size_t const moved = std::min(call.size, fault.bytes);
    if (fault.kind == Fault::Kind::powerCut) {
        if (call.data != nullptr) {
            (void)!__real_write(call.fd, call.data, moved);
        }
        ::_exit(powerCutStatus);
    }
    errno = fault.error;
    return fault.kind == Fault::Kind::error ? std::nullopt : std::optional(moved);
}

void record(const std::string& what) {
    if (systemCalls.recording) {
        systemCalls.log.push_back(what);
    }
}

} // namespace

extern "C" {

WRAPPED(int, open64, const char* path, int flags, ...) {
    bool const creates = (flags & O_CREAT) != 0;
    mode_t mode = 0;
    if (creates) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    if (!allowed({creates ? Operation::create : Operation::open, path})) {
        return -1;
    }
    bool const isNew = creates && ::access(path, F_OK) != 0;
    int const fd = __real_open64(path, flags, mode);
    if (systemCalls.trace != nullptr && fd >= 0 && (isNew || (flags & O_TRUNC) != 0)) {
        trace({Operation::create, path});
    }
    return fd;
}

WRAPPED(ssize_t, read, int fd, void* data, size_t size) {
    auto const bytes = allowed({Operation::read, nullptr, fd, size});
    return bytes ? __real_read(fd, data, *bytes) : -1;
}

WRAPPED(ssize_t, pread64, int fd, void* data, size_t size, off64_t offset) {
    auto const bytes = allowed({Operation::read, nullptr, fd, size});
    return bytes ? __real_pread64(fd, data, *bytes, offset) : -1;
}

WRAPPED(size_t, fread, void* data, size_t size, size_t count, FILE* file) {
    auto const bytes = allowed({Operation::read, nullptr, ::fileno(file), size * count});
    return bytes ? __real_fread(data, size, *bytes / size, file) : 0;
}

WRAPPED(off64_t, lseek64, int fd, off64_t offset, int whence) {
    return allowed({Operation::seek, nullptr, fd}) ? __real_lseek64(fd, offset, whence) : -1;
}

WRAPPED(ssize_t, write, int fd, const void* data, size_t size) {
    record("write " + nameOf(fd));
    auto const bytes = allowed({Operation::write, nullptr, fd, size, data});
    return bytes ? __real_write(fd, data, *bytes) : -1;
}

WRAPPED(int, fsync, int fd) {
    record("sync " + nameOf(fd));
    return allowed({Operation::sync, nullptr, fd}) ? __real_fsync(fd) : -1;
}

WRAPPED(int, rename, const char* from, const char* to) {
    return allowed({Operation::rename, to, -1, 0, nullptr, from}) ? __real_rename(from, to) : -1;
}

WRAPPED(int, unlink, const char* path) {
    return allowed({Operation::unlink, path}) ? __real_unlink(path) : -1;
}

WRAPPED(int, system, const char* command) {
    record(std::string("run ") + command);
    if (!allowed({Operation::shell, command})) {
        return -1;
    }
    return systemCalls.shell ? systemCalls.shell(command) : __real_system(command);
}

WRAPPED(int, sem_wait, sem_t* semaphore) {
    if (systemCalls.semaphoreFailures > 0) {
        --systemCalls.semaphoreFailures;
        errno = EINTR;
        return -1;
    }
    return __real_sem_wait(semaphore);
}

WRAPPED(int, usleep, useconds_t microseconds) {
    record("pause " + std::to_string(microseconds));
    return systemCalls.pause ? (systemCalls.pause(microseconds), 0) : __real_usleep(microseconds);
}

WRAPPED(int, VX_PosixFileLockUnLock, int fd, int operation) {
    int semaphore = -1;
    ::sem_getvalue(&vxI2CSema, &semaphore);
    record("lock " + std::to_string(operation) + ", semaphore " + std::to_string(semaphore));
    return __real_VX_PosixFileLockUnLock(fd, operation);
}

unsigned __wrap_sleep(unsigned seconds) {
    systemCalls.sleeps += static_cast<int>(seconds);
    return systemCalls.slept;
}

WRAPPED(int, VX_systemWrapper, const char* command) {
    return systemCalls.runner ? systemCalls.runner(command) : __real_VX_systemWrapper(command);
}

WRAPPED(int, vxpmgr_create_mirror_paths, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    record("paths " + std::to_string(a) + std::to_string(b) + std::to_string(c) +
           std::to_string(d));
    return __real_vxpmgr_create_mirror_paths(a, b, c, d);
}

WRAPPED(int, XBMGT_SetClusterCachedLun, void* lun) {
    auto const* bytes = static_cast<const unsigned char*>(lun);
    systemCalls.pushed.emplace_back(bytes, bytes + 304);
    return __real_XBMGT_SetClusterCachedLun(lun);
}

WRAPPED(int, vxbackup_SetBackupBitmap, uint32_t fileIndex) {
    bool const recording = systemCalls.recording;
    record("mark " + std::to_string(fileIndex));
    systemCalls.recording = false; // how the stand-in keeps its bitmap is its own affair
    int const result = __real_vxbackup_SetBackupBitmap(fileIndex);
    systemCalls.recording = recording;
    return result;
}
}
