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
int __real_open64(const char* path, int flags, ...);
ssize_t __real_read(int fd, void* data, size_t size);
ssize_t __real_pread64(int fd, void* data, size_t size, off64_t offset);
size_t __real_fread(void* data, size_t size, size_t count, FILE* file);
off64_t __real_lseek64(int fd, off64_t offset, int whence);
}

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
};

void log(const Call& call, OperationLog& log) {
    ASSERT_LT(static_cast<std::size_t>(log.count), std::size(log.entries));
    auto& entry = log.entries[log.count++];
    bool const isWrite = call.operation == Operation::write;
    entry = {call.operation,
             static_cast<uint32_t>(call.size),
             isWrite ? __real_lseek64(call.fd, 0, SEEK_CUR) : 0,
             {}};
    std::string const name = call.path != nullptr ? call.path : nameOf(call.fd);
    name.copy(entry.name, sizeof entry.name - 1);
}

// How many bytes the call may move; nothing where it is to fail, with errno set. At a power cut
// this moves what still reaches the medium and does not return.
std::optional<std::size_t> allowed(const Call& call) {
    if (systemCalls.operationLog != nullptr) {
        log(call, *systemCalls.operationLog);
    }
    const Fault& fault = systemCalls.fault;
    if (++systemCalls.operations != fault.at) {
        return call.size;
    }
    std::size_t const moved = std::min(call.size, fault.bytes);
    switch (fault.kind) {
    case Fault::Kind::powerCut:
        if (call.data != nullptr) {
            (void)!__real_write(call.fd, call.data, moved);
        }
        ::_exit(powerCutStatus);
    case Fault::Kind::error:
        errno = fault.error;
        return std::nullopt;
    case Fault::Kind::shortTransfer:
        return moved;
    case Fault::Kind::none:
        break;
    }
    return call.size;
}

void trace(const Change& change) {
    if (systemCalls.trace == nullptr || !change.path.starts_with("/mnt/nand")) {
        return;
    }
    std::fprintf(systemCalls.trace, "%d %d %lld %zu %s %s\n", static_cast<int>(change.kind),
                 change.isSynced ? 1 : 0, static_cast<long long>(change.offset), change.data.size(),
                 change.path.c_str(), change.from.empty() ? "-" : change.from.c_str());
    if (!change.data.empty()) {
        std::fwrite(change.data.data(), 1, change.data.size(), systemCalls.trace);
    }
}

void record(const std::string& what) {
    if (systemCalls.recording) {
        systemCalls.log.push_back(what);
    }
}

void recordFile(const char* what, int fd) {
    if (systemCalls.recording) { // the name costs a system call
        record(what + nameOf(fd));
    }
}

} // namespace

Trace readTrace(FILE* file) {
    Trace trace;
    int kind = 0;
    int isSynced = 0;
    long long offset = 0;
    std::size_t size = 0;
    std::array<char, PATH_MAX> path{};
    std::array<char, PATH_MAX> from{};
    while (std::fscanf(file, "%d %d %lld %zu %4095s %4095s", &kind, &isSynced, &offset, &size,
                       path.data(), from.data()) == 6) {
        std::fgetc(file);
        std::vector<unsigned char> data(size);
        EXPECT_TRUE(size == 0 || __real_fread(data.data(), 1, size, file) == size);
        trace.push_back({static_cast<Change::Kind>(kind), isSynced != 0, offset, path.data(),
                         from.data(), std::move(data)});
    }
    return trace;
}

extern "C" {

int __wrap_open64(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    bool const creates = (flags & O_CREAT) != 0;
    if (!allowed({creates ? Operation::create : Operation::open, path})) {
        return -1;
    }
    bool const isNew = creates && ::access(path, F_OK) != 0;
    int const fd = __real_open64(path, flags, mode);
    if (fd >= 0 && (isNew || (flags & O_TRUNC) != 0)) {
        trace({isNew ? Change::Kind::create : Change::Kind::truncate, false, 0, path, {}, {}});
    }
    return fd;
}

ssize_t __wrap_read(int fd, void* data, size_t size) {
    auto const bytes = allowed({Operation::read, nullptr, fd, size});
    return bytes ? __real_read(fd, data, *bytes) : -1;
}

ssize_t __wrap_pread64(int fd, void* data, size_t size, off64_t offset) {
    auto const bytes = allowed({Operation::read, nullptr, fd, size});
    return bytes ? __real_pread64(fd, data, *bytes, offset) : -1;
}

size_t __wrap_fread(void* data, size_t size, size_t count, FILE* file) {
    auto const bytes = allowed({Operation::read, nullptr, ::fileno(file), size * count});
    return bytes ? __real_fread(data, size, *bytes / size, file) : 0;
}

off64_t __wrap_lseek64(int fd, off64_t offset, int whence) {
    return allowed({Operation::seek, nullptr, fd}) ? __real_lseek64(fd, offset, whence) : -1;
}

ssize_t __wrap_write(int fd, const void* data, size_t size) {
    recordFile("write ", fd);
    auto const bytes = allowed({Operation::write, nullptr, fd, size, data});
    if (bytes && systemCalls.trace != nullptr) {
        auto const* begin = static_cast<const unsigned char*>(data);
        trace({Change::Kind::write,
               (::fcntl(fd, F_GETFL) & O_SYNC) == O_SYNC,
               __real_lseek64(fd, 0, SEEK_CUR),
               pathOf(fd),
               {},
               {begin, begin + *bytes}});
    }
    return bytes ? __real_write(fd, data, *bytes) : -1;
}

int __wrap_fsync(int fd) {
    recordFile("sync ", fd);
    if (!allowed({Operation::sync, nullptr, fd})) {
        return -1;
    }
    trace({Change::Kind::sync, false, 0, pathOf(fd), {}, {}});
    return __real_fsync(fd);
}

int __wrap_rename(const char* from, const char* to) {
    if (!allowed({Operation::rename, to})) {
        return -1;
    }
    trace({Change::Kind::rename, false, 0, to, from, {}});
    return __real_rename(from, to);
}

int __wrap_unlink(const char* path) {
    if (!allowed({Operation::unlink, path})) {
        return -1;
    }
    trace({Change::Kind::unlink, false, 0, path, {}, {}});
    return __real_unlink(path);
}

int __wrap_system(const char* command) {
    record(std::string("run ") + command);
    if (!allowed({Operation::shell, command})) {
        return -1;
    }
    return systemCalls.shell ? systemCalls.shell(command) : __real_system(command);
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
    return systemCalls.pause ? (systemCalls.pause(microseconds), 0) : __real_usleep(microseconds);
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
