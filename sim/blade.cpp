#include "sim/blade.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <map>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace sim {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void writeFile(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        fail(std::string("cannot write ") + path);
    }
}

// Root enters a mount namespace; anybody else needs a user namespace in which to be root.
void enterNamespace() {
    uid_t const user = ::geteuid();
    gid_t const group = ::getegid();
    if (user == 0) {
        if (::unshare(CLONE_NEWNS) != 0) {
            fail("cannot make a mount namespace (needs CAP_SYS_ADMIN)");
        }
    } else {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            fail(
                "cannot make a user namespace (run as root, or allow unprivileged user namespaces)");
        }
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    // Nothing that is mounted from here on may show outside.
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("cannot make the mounts private");
    }
}

void bind(const fs::path& from, const fs::path& to) {
    if (::mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        fail("cannot mount " + from.string() + " on " + to.string());
    }
}

void touch(const fs::path& path) {
    int const fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) {
        fail("cannot make " + path.string());
    }
    ::close(fd);
}

// Builds, in a new tmpfs, a folder with every entry of `folder`, each mounted from the original;
// then puts it in the folder's place. What is added to it afterwards shows to nobody else.
class Overlay {
  public:
    explicit Overlay(const fs::path& folder) {
        // The originals are reached through a descriptor once the folder is covered.
        int const original = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (original < 0) {
            fail("cannot open " + folder.string());
        }
        if (::mount("tmpfs", folder.c_str(), "tmpfs", MS_NOSUID, "mode=0755") != 0) {
            fail("cannot mount a tmpfs on " + folder.string());
        }
        fs::path const originals = "/proc/self/fd/" + std::to_string(original);
        for (const fs::directory_entry& entry : fs::directory_iterator(originals)) {
            mirror(entry, folder / entry.path().filename());
        }
        ::close(original);
    }

  private:
    static void mirror(const fs::directory_entry& entry, const fs::path& to) {
        if (entry.is_symlink()) {
            fs::create_symlink(fs::read_symlink(entry.path()), to);
            return;
        }
        if (entry.is_directory()) {
            fs::create_directory(to);
        } else {
            touch(to);
        }
        bind(entry.path(), to);
    }
};

// Where a path leads when its last part is a link, even to something that does not exist.
fs::path followed(fs::path path) {
    while (fs::is_symlink(path)) {
        path = path.parent_path() / fs::read_symlink(path);
    }
    return path.lexically_normal();
}

// One thing of the blade: a folder or a file of the state folder that shows at a path.
struct Mount {
    fs::path from;
    fs::path at;
    bool isFolder;
    bool isMounted = true;
};

std::vector<Mount> mountsOf(const BladeOptions& options, const fs::path& state) {
    std::vector<Mount> mounts;
    for (std::string_view const name : volumeNames) {
        mounts.push_back({state / name, fs::path("/mnt") / name, true,
                          !options.unmounted.contains(std::string(name))});
    }
    mounts.push_back({state / "lock", followed("/var/lock"), true});
    for (const char* const name : {"vxgpdev", "mtd0"}) {
        mounts.push_back({state / "dev" / name, fs::path("/dev") / name, false});
    }
    return mounts;
}

void makeSource(const Mount& mount) {
    if (mount.isFolder) {
        fs::create_directories(mount.from);
    } else {
        fs::create_directories(mount.from.parent_path());
        touch(mount.from);
    }
}

// Makes the place of a mount. Where its folder has no such entry the folder is overlaid, so that
// the machine's own /mnt and /dev stay as they are.
void makePlace(const Mount& mount, std::map<fs::path, Overlay>& overlays) {
    if (fs::exists(mount.at)) {
        return;
    }
    fs::path const folder = mount.at.parent_path();
    overlays.try_emplace(folder, folder);
    if (mount.isFolder) {
        fs::create_directory(mount.at);
    } else {
        touch(mount.at);
    }
}

} // namespace

void enterBlade(const BladeOptions& options) {
    for (const std::string& name : options.unmounted) {
        if (std::ranges::find(volumeNames, std::string_view(name)) == std::end(volumeNames)) {
            throw std::runtime_error("no such volume: " + name + " (nand0, nand1 or nand2)");
        }
    }
    fs::create_directories(options.state);
    fs::path const state = fs::canonical(options.state);
    fs::path const workingDirectory = fs::current_path();
    std::vector<Mount> const mounts = mountsOf(options, state);
    for (const Mount& mount : mounts) {
        makeSource(mount);
    }
    enterNamespace();
    // The state folder may lie below a folder that is about to be covered: hold on to it.
    int const stateFd = ::open(state.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (stateFd < 0) {
        fail("cannot open " + state.string());
    }
    fs::path const reachable = "/proc/self/fd/" + std::to_string(stateFd);
    std::map<fs::path, Overlay> overlays;
    for (const Mount& mount : mounts) {
        makePlace(mount, overlays);
        if (mount.isMounted) {
            bind(reachable / fs::relative(mount.from, state), mount.at);
        }
    }
    ::close(stateFd);
    fs::current_path(workingDirectory);
}

} // namespace sim
