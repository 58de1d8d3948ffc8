#include "sim/blade/blade.h"

#include "common/files.h"
#include "sim/blade/device_hub.h"
#include "sim/blade/device_server.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace sim {

namespace {

using vx::Descriptor;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void writeFile(const fs::path& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        fail("cannot write " + path.string());
    }
}

// Makes the mounts private where "/" is no mount point: in a chroot to a plain folder. The mount
// that holds the folder is above it, where ".." leads once the root is below.
void makePrivateFromAbove() {
    int const root = ::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    int const here = ::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (root < 0 || here < 0 || ::chroot("/proc") != 0 || ::fchdir(root) != 0) {
        fail("cannot leave the chroot (needs its /proc, and CAP_SYS_CHROOT)");
    }
    while (!fs::equivalent(".", "..")) {
        if (::chdir("..") != 0) {
            fail("cannot leave the chroot");
        }
    }
    if (::mount("none", ".", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("cannot make the mounts above the chroot private");
    }
    if (::fchdir(root) != 0 || ::chroot(".") != 0 || ::fchdir(here) != 0) {
        fail("cannot enter the chroot again");
    }
    ::close(root);
    ::close(here);
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
                "cannot make a user namespace (run as root, or allow unprivileged user namespaces; "
                "there are none in a chroot)");
        }
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    // Nothing that is mounted from here on may show outside.
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) {
        return;
    }
    if (errno != EINVAL) {
        fail("cannot make the mounts private");
    }
    makePrivateFromAbove();
}

// A folder by its descriptor: reachable whatever covers it.
fs::path heldFolder(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
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

// Puts a tmpfs over a folder, with every entry of the folder mounted from the original but those
// in `hidden`. What is added to it afterwards shows to nobody else.
void overlay(const fs::path& folder, const std::set<std::string>& hidden) {
    // The originals are reached through a descriptor once the folder is covered.
    int const original = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (original < 0) {
        fail("cannot open " + folder.string());
    }
    if (::mount("tmpfs", folder.c_str(), "tmpfs", MS_NOSUID, "mode=0755") != 0) {
        fail("cannot mount a tmpfs on " + folder.string());
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(heldFolder(original))) {
        fs::path const to = folder / entry.path().filename();
        if (hidden.contains(to.filename())) {
            continue;
        }
        if (entry.is_symlink()) {
            fs::create_symlink(fs::read_symlink(entry.path()), to);
            continue;
        }
        if (entry.is_directory()) {
            fs::create_directory(to);
        } else {
            touch(to);
        }
        bind(entry.path(), to);
    }
    ::close(original);
}

// Where a path leads when its last part is a link, even to something that does not exist.
fs::path followed(fs::path path) {
    while (fs::is_symlink(path)) {
        path = path.parent_path() / fs::read_symlink(path);
    }
    return path.lexically_normal();
}

constexpr const char* deviceFolder = "devices"; // of the state: where the device files are served
constexpr const char* environmentConfig = "fw_env.config";

// One thing of the blade: a folder or a file of the state folder that shows at a path.
struct Mount {
    fs::path from; // below the state folder
    fs::path at;
    bool isFolder;
    bool isMounted = true;
};

std::vector<Mount> mountsOf(const BladeOptions& options, const fs::path& state) {
    std::vector<Mount> mounts;
    for (std::string_view const name : volumeNames) {
        mounts.push_back(
            {name, fs::path("/mnt") / name, true, !options.unmounted.contains(std::string(name))});
    }
    mounts.push_back({"lock", followed("/var/lock"), true});
    mounts.push_back({"sys", "/sys", true});
    mounts.push_back({"proc-devices", "/proc/devices", false});
    if (fs::exists(state / environmentConfig)) {
        mounts.push_back({environmentConfig, fs::path("/etc") / environmentConfig, false});
    }
    for (std::string_view const name : deviceNames) {
        mounts.push_back({fs::path(deviceFolder) / name, fs::path("/dev") / name, false});
    }
    mounts.push_back({".", "/dev/blade", true});
    return mounts;
}

// The temperature sensors, in thousandths of a degree.
void makeSensors(const fs::path& sys) {
    static constexpr std::pair<const char*, const char*> sensors[] = {
        {"class/hwmon/hwmon0/device/temp1_input", "38000\n"},
        {"class/i2c-dev/i2c-1/device/1-004c/temp1_input", "31500\n"},
        {"class/i2c-dev/i2c-1/device/1-004c/temp2_input", "35200\n"},
        {"class/i2c-dev/i2c-0/device/0-001e/temp1_input", "40100\n"},
    };
    if (fs::exists(sys / "class")) {
        return; // kept as they were left
    }
    for (auto const& [path, text] : sensors) {
        fs::create_directories((sys / path).parent_path());
        writeFile(sys / path, text);
    }
}

void makeSources(const std::vector<Mount>& mounts, const fs::path& state) {
    for (const Mount& mount : mounts) {
        if (mount.isFolder) {
            fs::create_directories(state / mount.from);
        } else if (mount.from.parent_path() != deviceFolder) {
            touch(state / mount.from);
        }
    }
    fs::create_directories(state / deviceFolder);
    makeSensors(state / "sys");
}

// Makes the places of the mounts. A folder that has no such entry, or one of the machine's own
// that must not show, is overlaid: the machine's own stays as it is.
void makePlaces(const std::vector<Mount>& mounts) {
    std::set<std::string> hidden(std::begin(deviceNames), std::end(deviceNames));
    hidden.insert({"log", "blade"});
    overlay("/dev", hidden);
    std::set<fs::path> ours = {"/dev"};
    if (fs::exists(fs::path("/etc") / environmentConfig)) {
        overlay("/etc", {environmentConfig});
        ours.insert("/etc");
    }
    for (const Mount& mount : mounts) {
        if (fs::exists(mount.at)) {
            continue;
        }
        fs::path const folder = mount.at.parent_path();
        if (ours.insert(folder).second) {
            overlay(folder, {});
        }
        if (mount.isFolder) {
            fs::create_directory(mount.at);
        } else {
            touch(mount.at);
        }
    }
}

// --- The device files.

constexpr unsigned numberedMajor = 7; // of /dev/loop0

Descriptor openLog() {
    constexpr const char* path = "/dev/log";
    Descriptor log(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{AF_UNIX, {}};
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    if (!log.ok() ||
        ::bind(log.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(path, 0666) != 0) {
        fail("cannot make /dev/log");
    }
    return log;
}

Descriptor openFuse() {
    Descriptor fuse(::open("/dev/fuse", O_RDWR | O_CLOEXEC));
    if (!fuse.ok()) {
        fail("cannot open /dev/fuse");
    }
    return fuse;
}

// False where it cannot be mounted.
bool mountFuse(const char* device, const char* type, const fs::path& at, const Descriptor& fuse,
               const char* moreOptions) {
    std::string const options = "fd=" + std::to_string(fuse.get()) +
                                ",rootmode=40000,user_id=0,group_id=0,allow_other" + moreOptions;
    return ::mount(device, at.c_str(), type, MS_NOSUID | MS_NODEV, options.c_str()) == 0;
}

// True when the file system that was just mounted is the one behind `fuse`: its first request is
// there. A mount of a block device that is still mounted elsewhere gives the old file system.
bool isOurs(const Descriptor& fuse) {
    pollfd wait = {fuse.get(), POLLIN, 0};
    return ::poll(&wait, 1, 0) == 1 && (wait.revents & POLLIN) != 0;
}

// Mounts the file system of the machine's device files on a block device, whose number all its
// files then have. The first blade's is new and needs a hub, the others join that hub. Returns
// this blade's folder in it, or none where there is no such number.
std::string mountNumbered(const fs::path& at, const ServerProcess& server, const Descriptor& log) {
    constexpr const char* blockDevice = "/dev/loop0";
    constexpr unsigned pause = 10'000; // in microseconds
    if (!fs::exists(blockDevice) &&
        ::mknod(blockDevice, S_IFBLK | 0600, makedev(numberedMajor, 0)) != 0) {
        return "";
    }
    for (int attempt = 1;; ++attempt) {
        Descriptor const fuse = openFuse();
        if (!mountFuse(blockDevice, "fuseblk", at, fuse, ",blksize=512")) {
            return "";
        }
        if (isOurs(fuse)) {
            return server.startHub(fuse.get(), log.get());
        }
        std::error_code none;
        std::string const hub = fs::read_symlink(at / hubLink, none);
        std::string folder = hub.empty() ? "" : server.joinHub(hub, log.get());
        if (!folder.empty()) {
            return folder;
        }
        ::umount2(at.c_str(), MNT_DETACH); // the last blade's is not quite gone, or not of our kind
        if (attempt == 50) {
            std::fprintf(stderr, "bladesim: waiting for what uses %s to end\n", blockDevice);
        }
        ::usleep(pause);
    }
}

// Mounts the device files and has them served. True when they have a number.
bool mountDevices(const fs::path& at, const ServerProcess& server) {
    Descriptor const log = openLog();
    std::string folder = mountNumbered(at, server, log);
    bool const isNumbered = !folder.empty();
    if (!isNumbered) {
        Descriptor const fuse = openFuse();
        if (!mountFuse("bladesim", "fuse", at, fuse, "")) {
            fail("cannot mount a FUSE file system");
        }
        folder = server.startHub(fuse.get(), log.get());
    }
    bind(at / folder, at);
    return isNumbered;
}

// A driver whose node cannot have its number is not listed: mapping it would then be reported as
// a mismatch, and its node be removed.
std::string driverList(bool isNumbered) {
    std::string list = "Character devices:\n  1 mem\n";
    for (const char* const driver : {"mtd", "vxgpdev", "vxbrapp", "vxllednode"}) {
        list += isNumbered ? "  " + std::to_string(numberedMajor) + " " + driver + "\n" : "";
    }
    return list + "\nBlock devices:\n  7 loop\n";
}

} // namespace

Blade::Blade(ServerProcess server, int state)
    : owner_(::getpid()), server_(std::move(server)), state_(state) {}

Blade::Blade(Blade&& other) noexcept
    : owner_(std::exchange(other.owner_, -1)), server_(std::move(other.server_)),
      state_(other.state_) {}

Blade::~Blade() {
    if (::getpid() != owner_) {
        return;
    }
    // While the server still answers.
    for (std::string_view const name : deviceNames) {
        ::umount2((fs::path("/dev") / name).c_str(), MNT_DETACH);
    }
    ::umount2("/dev/blade", MNT_DETACH);
    while (::umount2((heldFolder(state_) / deviceFolder).c_str(), MNT_DETACH) == 0) {
    }
    ::close(state_);
}

Blade enterBlade(const BladeOptions& options) {
    for (const std::string& name : options.unmounted) {
        if (std::ranges::find(volumeNames, std::string_view(name)) == std::end(volumeNames)) {
            throw std::runtime_error("no such volume: " + name + " (nand0, nand1 or nand2)");
        }
    }
    if (fs::exists("/dev/blade")) {
        throw std::runtime_error("this is a simulated blade already");
    }
    fs::create_directories(options.state);
    fs::path const state = fs::canonical(options.state);
    fs::path const workingDirectory = fs::current_path();
    std::vector<Mount> const mounts = mountsOf(options, state);
    makeSources(mounts, state);
    ServerProcess server(state);
    enterNamespace();
    // The state folder may lie below a folder that is about to be covered: hold on to it.
    int const stateFd = ::open(state.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (stateFd < 0) {
        fail("cannot open " + state.string());
    }
    makePlaces(mounts);
    bool const isNumbered = mountDevices(heldFolder(stateFd) / deviceFolder, server);
    Blade blade(std::move(server), stateFd);
    writeFile(heldFolder(stateFd) / "proc-devices", driverList(isNumbered));
    for (const Mount& mount : mounts) {
        if (mount.isMounted) {
            bind(heldFolder(stateFd) / mount.from, mount.at);
        }
    }
    fs::current_path(workingDirectory);
    return blade;
}

} // namespace sim
