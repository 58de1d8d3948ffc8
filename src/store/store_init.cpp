#include <vxblade/config_api.h>
#include <vxblade/creators.h>
#include <vxblade/platform.h>
#include <vxblade/record_files.h>
#include <vxblade/store_init.h>
#include <vxblade/vpd.h>

#include "common/files.h"
#include "common/shell.h"
#include "store/control_block.h"
#include "store/creators.h"
#include "store/psst_table.h"
#include "store/record_io.h"

#include <array>
#include <ctime>
#include <iterator>
#include <span>

#include <fcntl.h>

namespace vx {
namespace {

const char* pathOf(uint32_t type) {
    return psstFilePrimaryPaths[fileIndexOf(type)];
}

void closeType(uint32_t type) {
    closeDescriptor(fileIndexOf(type));
}

// Moves a file to its path, a dot and the time. The two blanks are the command's own.
void moveAside(const char* path) {
    constexpr std::size_t commandSize = 128;
    (void)runShellFormatted(commandSize, "mv -f %s  %s.%ld", path, path,
                            static_cast<long>(std::time(nullptr)));
}

void fillMirrorPaths() {
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
}

void restoreVpdFiles() {
    bool touched = false;
    if (isUnfinished(pathOf(PSST_VPD))) {
        touched = true;
        (void)(isUnfinished(pathOf(PSST_VPD_BACKUP)) ? vxpmgr_create_vpd_psst()
                                                     : copy_backup_vpd_psst(1));
    }
    if (isUnfinished(pathOf(PSST_VPD_BACKUP))) {
        touched = true;
        (void)copy_vpd_psst(1);
    }
    if (touched) {
        closeType(PSST_VPD);
        closeType(PSST_VPD_BACKUP);
    }
}

// Opens the configuration file, refuses one of another version, and loads it.
int loadConfiguration() {
    constexpr uint32_t type = PSST_BRIDGE_CONFIG;
    int const index = fileIndexOf(type);
    if (isUnfinished(pathOf(type)) || openIntoSlot(index, O_RDWR) != 0) {
        return -1;
    }
    PsstHeader header{};
    if (ReadHeader(&header, type) != 0 || !isValidHeader(header, type)) {
        closeDescriptor(index);
        return -1;
    }
    pmgr_cb->headerVersion = header.version;
    if (pmgr_cb->headerVersion != pmgr_cb->expectedHeaderVersion) {
        vxpmgr_deleteSelectiveCfgPsstFiles();
        closeDescriptor(index);
        return -1;
    }
    return ReadBridgeConfigFile();
}

// The files that a configuration needs besides its own, in the order in which they are opened. They
// are there, or were made before; an empty file in place of one that could not be made would be one
// more broken file on the blade. VPD alone may be empty: the store works without it, and an empty
// file counts as missing, so the next start makes it.
struct NeededFile {
    uint32_t type;
    int flags;
};
constexpr NeededFile neededFiles[] = {
    {PSST_VPD, O_RDWR | O_CREAT},        {PSST_PASSWD, O_RDWR},
    {PSST_VPD_BACKUP, O_RDWR | O_CREAT}, {PSST_FCIP, O_RDWR},
    {PSST_HOST_GROUP, O_RDWR},           {PSST_DEVICE, O_RDWR},
    {PSST_MIGRATION_PARAM, O_RDWR},
};

// Opens all needed files: their slots are filled only once everything is open.
int openNeededFiles() {
    for (uint32_t const type : {PSST_PASSWD, PSST_HOST_GROUP, PSST_DEVICE}) {
        if (isUnfinished(pathOf(type))) {
            return -1;
        }
    }
    if (isUnfinished(pathOf(PSST_MIGRATION_PARAM))) {
        (void)create_migration_param_file();
    }
    std::array<Descriptor, std::size(neededFiles)> opened;
    bool allOpen = true;
    for (std::size_t i = 0; i < opened.size(); ++i) {
        const NeededFile& file = neededFiles[i];
        opened[i] = Descriptor(openPsstFile(fileIndexOf(file.type), file.flags));
        allOpen = allOpen && opened[i].ok();
    }
    if (!allOpen) { // what did open closes itself
        closeType(PSST_BRIDGE_CONFIG);
        return -1;
    }
    // A missing or half-made one is made, a good one opened as it is.
    if (CreateEventNotifyPsst() != 0) {
        return -1;
    }
    for (std::size_t i = 0; i < opened.size(); ++i) {
        int const index = fileIndexOf(neededFiles[i].type);
        keepDescriptor(index, opened[i].release());
        finishMirror(index);
    }
    return 0;
}

int checkHeaders() {
    for (uint32_t const type : {PSST_PASSWD, PSST_HOST_GROUP, PSST_FCIP, PSST_DEVICE,
                                PSST_EVENT_NOTIFY, PSST_MIGRATION_PARAM}) {
        if (checkHeader(type) == 0) {
            continue;
        }
        if (type == PSST_MIGRATION_PARAM) {
            // Its content can be made anew: the next run finds a fresh file.
            closeType(type);
            moveAside(pathOf(type));
            (void)create_migration_param_file();
        }
        close_all_files();
        return -1;
    }
    return 0;
}

// The large tables, which were cleared before: ReadTargetDeviceFile and ReadEventNotifyFile would
// look at all their pages.
void loadTargetDevices() {
    (void)readFileInto(std::span(TargetDevices), PSST_DEVICE, Content::zeros);
}
void loadEventNotify() {
    (void)readFileInto(single(eventnotify_info), PSST_EVENT_NOTIFY, Content::zeros);
}

void loadTables() {
    (void)ReadPasswdFile();
    (void)ReadHostGroupFile();
    loadTargetDevices();
    loadEventNotify();
    (void)vxpmgr_readVpdFile();
}

// The store's memory as it is before the first use of the store, and no file open for writing.
void resetReadOnly() {
    InitDatabaseLite();
    pmgr_cb->flags |= PMGR_FLAG_READ_ONLY;
}

// Opens all files that are there, for whoever reads more than the tables.
void openForReading() {
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        if (placeOf(fileTypeOf(index)) && descriptorOf(index) == 0 &&
            !isUnfinished(psstFilePrimaryPaths[index])) {
            (void)openIntoSlot(index, O_RDONLY);
        }
    }
}

// Files of newer firmware, made where they are missing.
void createNewerFiles() {
    (void)CreateRegisteredClientPsstFile();
    (void)CreateExtMigrationFile();
    (void)CreateClusterMemberInfoPsstFile(1);
    (void)CreateCacheStorePhysLunInfoPsstFile(1);
    (void)CreatePhysLunStripeTableFile(1);
    (void)CreateClusterMetaDataPsstFile(1);
    (void)CreateClusterCachedLunPsstFile(1);
}

} // namespace
} // namespace vx

using namespace vx;

void vxpmgr_deleteSelectiveCfgPsstFiles(void) {
    if (refusesWrites()) {
        return;
    }
    for (const char* const* path = psstCfgFilesToDelete; *path != nullptr; ++path) {
        if (fileExists(*path)) {
            moveAside(*path);
        }
    }
}

int vxpmgr_init_lite(void) {
    InitDatabaseLite();
    fillMirrorPaths();
    (void)runShell("chmod 755 /mnt/nand1/*.bin");
    (void)runShell("chmod 755 /mnt/nand1/*.cfg");
    (void)ReadSequenceNumber();
    restoreVpdFiles();
    if (loadConfiguration() != 0 || openNeededFiles() != 0 || checkHeaders() != 0) {
        return -1;
    }
    loadTables();
    if (CreateMigrationPsst() != 0) {
        return 1;
    }
    (void)updateLogicalLunWwuln();
    (void)CreateLogicalLunPsst();
    createNewerFiles();
    return 0;
}

int vxpmgr_open_readonly(void) {
    resetReadOnly();
    fillMirrorPaths();
    (void)ReadSequenceNumber();
    if (loadConfiguration() != 0) {
        resetReadOnly();
        return -1;
    }
    openForReading();
    int result = 0;
    for (auto const read : {ReadPasswdFile, ReadHostGroupFile, ReadTargetDeviceFile,
                            ReadEventNotifyFile, vxpmgr_readVpdFile}) {
        result = read() == 0 ? result : 1;
    }
    (void)ReadSnmpFile();
    return result;
}

void vxpmgr_create_files_on_upgrade(void) {
    InitDatabaseLite();
    (void)ReadSequenceNumber();
    (void)updateLogicalLunWwuln();
    (void)CreateLogicalLunPsst();
    int const device = fileIndexOf(PSST_DEVICE);
    if (openIntoSlot(device, O_RDWR) == 0) {
        loadTargetDevices();
        closeDescriptor(device);
    }
    (void)CreateEventNotifyPsst();
    createNewerFiles();
    if (isUnfinished(pathOf(PSST_MIGRATION_PARAM))) {
        (void)create_migration_param_file();
    }
}
