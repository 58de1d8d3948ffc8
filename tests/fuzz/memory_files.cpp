#include "tests/fuzz/memory_files.h"

#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view bladePaths[] = {"/mnt/nand",     "/var/lock/", "/etc/fw_env.config",
                                           "/proc/devices", "/proc/net/", "/dev/mtd0"};

std::map<std::string, int, std::less<>> files; // descriptors by path

bool isOnBlade(std::string_view path) {
    return std::ranges::any_of(bladePaths, [&](auto begin) { return path.starts_with(begin); });
}

int missing() {
    errno = ENOENT;
    return -1;
}

// Its descriptor is out of the way of those that the layer opens.
int makeFile() {
    constexpr int firstDescriptor = 500;
    int const made = ::memfd_create("blade", MFD_CLOEXEC);
    int const fd = ::fcntl(made, F_DUPFD_CLOEXEC, firstDescriptor);
    ::close(made);
    return fd;
}

} // namespace

void fuzz::removeBladeFiles() {
    for (auto const& [path, fd] : files) {
        ::close(fd);
    }
    files.clear();
}

void fuzz::writeFile(const char* path, std::string_view content) {
    int const fd = ::open(path, O_RDWR | O_CREAT | O_TRUNC, 0644);
    require(::write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
            "a file can be made");
    ::close(fd);
}

extern "C" {

int __real_open64(const char* path, int flags, ...);
int __real_stat64(const char* path, struct stat* status);
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);
int __real_system(const char* command);

int __wrap_open64(const char* path, int flags, ...) {
    if (!isOnBlade(path)) {
        va_list values;
        va_start(values, flags);
        auto const mode = (flags & O_CREAT) != 0 ? va_arg(values, mode_t) : mode_t{0};
        va_end(values);
        return __real_open64(path, flags, mode);
    }
    if (std::string_view(path).ends_with('/') || (flags & O_DIRECTORY) != 0) {
        return __real_open64("/dev", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    auto file = files.find(path);
    if (file == files.end()) {
        if ((flags & O_CREAT) == 0) {
            return missing();
        }
        file = files.emplace(path, makeFile()).first;
    }
    // A description of its own, with its own position.
    return __real_open64(("/proc/self/fd/" + std::to_string(file->second)).c_str(),
                         flags & ~(O_CREAT | O_EXCL));
}

int __wrap_stat64(const char* path, struct stat* status) {
    if (!isOnBlade(path)) {
        return __real_stat64(path, status);
    }
    auto const file = files.find(path);
    return file == files.end() ? missing() : ::fstat(file->second, status);
}

int __wrap_unlink(const char* path) {
    if (!isOnBlade(path)) {
        return __real_unlink(path);
    }
    auto const file = files.find(path);
    if (file == files.end()) {
        return missing();
    }
    ::close(file->second);
    files.erase(file);
    return 0;
}

int __wrap_rename(const char* from, const char* to) {
    if (!isOnBlade(from)) {
        return __real_rename(from, to);
    }
    auto const file = files.find(from);
    if (file == files.end()) {
        return missing();
    }
    int const fd = file->second;
    files.erase(file);
    (void)__wrap_unlink(to);
    files.emplace(to, fd);
    return 0;
}

// Commands that do not speak of the blade's volumes are libFuzzer's own.
int __wrap_system(const char* command) {
    if (std::strstr(command, "/mnt/nand") == nullptr) {
        return __real_system(command);
    }
    char from[128];
    char to[128];
    if (std::sscanf(command, "mv -f %127s %127s", from, to) == 2) {
        return __wrap_rename(from, to);
    }
    return 0;
}

void __wrap_openlog(const char* /*ident*/, int /*option*/, int /*facility*/) {}
void __wrap_syslog(int /*priority*/, const char* /*format*/, ...) {}
void __wrap_closelog() {}
}
