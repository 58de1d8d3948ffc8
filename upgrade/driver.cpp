#include "upgrade/driver.h"

#include "common/files.h"
#include "common/shell.h"
#include "pmgr/mirror_refresh.h"
#include "props/saved_files.h"
#include "upgrade/report.h"
#include "upgrade/sections.h"

#include <vxblade/hw.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <cstdio>
#include <cstring>

#include <fcntl.h>

namespace vx {

namespace {

constexpr const char* newPersonalityFile = "default_bridge_config.cfg";

// Nothing else uses this lock. The kernel releases it when its holder ends, however it ends.
constexpr const char* lockPath = "/var/lock/vxpvh.lock";

// How many of each an upgrade merges.
constexpr uint32_t iscsiPorts = 4;
constexpr uint32_t fcPorts = 6;
constexpr uint32_t gigePorts = 2;
constexpr int32_t hostGroups = 4;

// Both personality files, open. Not closed by a destructor: the early ends of an upgrade leave
// them to the process's own end.
struct PersonalityFiles {
    PropertiesHandle oldFile;
    PropertiesHandle newFile;
    VersionBlock oldVersion;
    VersionBlock newVersion;
};

PersonalityFiles openPersonalityFiles() {
    PersonalityFiles files{};
    files.newFile = propOpenPropertiesFile(newPersonalityFile);
    files.oldFile = propOpenPropertiesFile(savedPersonalityFiles[0]);
    (void)readDefaultConfigurationVersion(files.oldFile, &files.oldVersion);
    (void)readDefaultConfigurationVersion(files.newFile, &files.newVersion);
    return files;
}

void closePersonalityFiles(const PersonalityFiles& files) {
    propClosePropertiesFile(files.oldFile);
    propClosePropertiesFile(files.newFile);
}

// The mount check's raw status. The volume counts as mounted unless the shell could not be run
// (-1) or grep found no line (positive).
bool isMounted(int status) {
    return status != -1 && status <= 0;
}

int checkMount() {
    constexpr const char* operation = "compareDefaultConfiguration";
    constexpr const char* command = "mount | grep /mnt/nand1";
    std::printf("%s: Verify that /mnt/nand1 is mounted\n", operation);
    int const status = runShell(command);
    std::printf("cmdstr: %s\nstatus 0x%x\n", command, static_cast<unsigned>(status));
    if (!isMounted(status)) {
        std::printf("%s: /mnt/nand1 not mounted\n", operation);
    }
    return status;
}

bool openStore() {
    (void)initGpDevice();
    (void)vornhal_init_env(vhnor_init());
    if (int const result = vxpmgr_init_lite(); result != 0) {
        report("compareDefaultConfiguration", 1532, "The store could not be opened: %d\n", result);
        return false;
    }
    return true;
}

// Passes on whether a section went well. The line that announced its update would else stand as if
// it had been made.
bool check(int result) {
    if (result != 0) {
        report("compareDefaultConfiguration", 1540, "The update could not be stored: %d\n", result);
    }
    return result == 0;
}

// The sections in their fixed order; a failure in one is reported and does not stop the others.
// True when none failed.
bool mergeSections(PropertiesHandle oldFile, PropertiesHandle newFile) {
    bool good = check(compareDefaultBridgeConfigInfo(oldFile, newFile));
    good &= check(compareDefaultCliConfigInfo(oldFile, newFile));
    for (uint32_t port = 0; port < iscsiPorts; ++port) {
        good &= check(compareDefaultIsConfigInfo(oldFile, newFile, port));
    }
    for (uint32_t port = 0; port < fcPorts; ++port) {
        good &= check(compareDefaultFcConfigInfo(oldFile, newFile, port));
    }
    for (uint32_t port = 0; port < gigePorts; ++port) {
        good &= check(compareDefaultGigeConfigInfo(oldFile, newFile, port));
    }
    for (int32_t group = 0; group < hostGroups; ++group) {
        good &= check(compareDefaultHostGroupInfo(oldFile, newFile, group));
    }
    (void)VerifyTelnetandSshConfigFiles();
    good &= check(compareDefaultMgmtInfo(oldFile, newFile));
    return good;
}

// One upgrade at a time: a second one waits here and then finds the work done. Where there can be
// no lock file, the upgrade is not held up.
Descriptor waitForTurn() {
    Descriptor lock(openFile(lockPath, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK));
    if (lock.ok()) {
        (void)VX_PosixFileLockUnLock(lock.get(), FILE_LOCK);
    }
    return lock;
}

void savePersonalityFile() {
    constexpr std::size_t commandSize = 256;
    for (const char* const saved : savedPersonalityFiles) {
        (void)runShellFormatted(commandSize, "cp %s %s", newPersonalityFile, saved);
    }
    for (const char* const saved : savedPersonalityFiles) {
        (void)syncFile(saved);
    }
    (void)syncFolderOf(savedPersonalityFiles[0]);
}

} // namespace

int compareDefaultConfiguration() {
    int const mountStatus = checkMount();
    bool const mounted = isMounted(mountStatus);
    PersonalityFiles const files = openPersonalityFiles();
    if (std::memcmp(&files.oldVersion, &files.newVersion, sizeof(VersionBlock)) == 0) {
        if (mounted) {
            vxpmgr_create_files_on_upgrade();
        }
        closePersonalityFiles(files);
        return mountStatus;
    }
    report("compareDefaultConfiguration", 1524,
           "Personality File version difference detected old=%s new=%s\n", files.oldVersion.version,
           files.newVersion.version);
    // Without its volume or its store nothing can be merged, and the new file becomes the
    // reference all the same. The property files stay open on these paths.
    if (!mounted || !openStore()) {
        return 1;
    }
    // A run before this one may have written records that it could not mirror. After a failed write
    // a mirror may hold the only whole copy.
    if (mergeSections(files.oldFile, files.newFile)) {
        refreshMirrors();
    }
    closePersonalityFiles(files);
    return 1;
}

int runUpgrade() {
    Descriptor const turn = waitForTurn();
    if (compareDefaultConfiguration() != 0) {
        report("main", 1634, "Copying new personality file into /mnt/nand0\n");
        savePersonalityFile();
    }
    return 0;
}

} // namespace vx
