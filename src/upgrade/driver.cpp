#include "upgrade/driver.h"

#include "common/files.h"
#include "common/shell.h"
#include "props/property_index.h"
#include "settings/loading.h"
#include "settings/saved_files.h"
#include "store/mirror_refresh.h"
#include "store/record_io.h"
#include "upgrade/change_report.h"
#include "upgrade/journal.h"
#include "upgrade/merge.h"
#include "upgrade/remote_access.h"
#include "upgrade/report.h"

#include <vxblade/hw.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <cstdio>

#include <fcntl.h>

namespace vx {

namespace {

constexpr const char* newPersonalityFile = "default_bridge_config.cfg";
constexpr const char* reference = savedPersonalityFiles[0];

// Nothing else uses this lock. The kernel releases it when its holder ends, however it ends.
constexpr const char* lockPath = "/var/lock/vxpvh.lock";

constexpr const char* comparison = "compareDefaultConfiguration";

// Both personality files, open. Not closed by a destructor: the early ends of an upgrade leave
// them to the process's own end.
struct PersonalityFiles {
    PropertiesHandle oldFile;
    PropertiesHandle newFile;
    VersionBlock oldVersion;
    VersionBlock newVersion;
};

PersonalityFiles openPersonalityFiles(const char* oldFile, const char* newFile) {
    PersonalityFiles files{};
    files.newFile = propOpenPropertiesFile(newFile);
    files.oldFile = propOpenPropertiesFile(oldFile);
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
    constexpr const char* command = "mount | grep /mnt/nand1";
    std::printf("%s: Verify that /mnt/nand1 is mounted\n", comparison);
    int const status = runShellPassingOn(command);
    std::printf("cmdstr: %s\nstatus 0x%x\n", command, static_cast<unsigned>(status));
    if (!isMounted(status)) {
        std::printf("%s: /mnt/nand1 not mounted\n", comparison);
    }
    return status;
}

bool openStore() {
    (void)initGpDevice();
    (void)vornhal_init_env(vhnor_init());
    if (int const result = vxpmgr_init_lite(); result != 0) {
        report(comparison, 1532, "The store could not be opened: %d\n", result);
        return false;
    }
    return true;
}

// --- The sections.

// A record that a cut may have left unmirrored.
void refreshRecord(const RecordAccess& record, uint32_t number) {
    refreshMirror(record.type, record.firstSlot + number, record.slotSize);
}

// Merges the sections of a kind; a failure is reported, because the line that announced the update
// would else tell of one that was not made, and does not stop the others. True when none failed.
bool mergeKind(const Section& section, const PersonalityFiles& files, ChangeReport& changes) {
    bool good = true;
    for (uint32_t number = 0; number < section.merge.count; ++number) {
        (void)takeMirrorFailure(); // of others' records
        if (int const result =
                mergeSection(section, files.oldFile, files.newFile, number, &changes);
            result != 0) {
            changes.addFailure(section, number, result);
            report(comparison, 1540, "The update could not be stored: %d\n", result);
            good = false;
        } else if (takeMirrorFailure()) { // which fails no write
            refreshRecord(*section.merge.into, number);
        }
    }
    for (uint32_t number = section.merge.count; number < section.count; ++number) {
        tellOfUnmerged(section, files.oldFile, files.newFile, number, changes);
    }
    return good;
}

// True when no section failed. GigE defaults go into the records of the iSCSI ports, where they may
// leave what the iSCSI defaults would move once more. So the iSCSI sections, once stored, are not
// run again when a cut makes the upgrade start over.
bool mergeSections(const PersonalityFiles& files, Phase phase) {
    bool good = true;
    ChangeReport changes(files.oldVersion, files.newVersion, phase != Phase::none);
    uint64_t const sequence = pmgr_cb->sequenceNumber;
    for (const Section* const section : mergeOrder) {
        bool const isIscsi = section == &iscsiSection;
        if (isIscsi && phase == Phase::portsDone) {
            continue;
        }
        if (section == &mgmtSection) {
            (void)VerifyTelnetandSshConfigFiles();
        }
        bool const kindIsGood = mergeKind(*section, files, changes);
        if (isIscsi && kindIsGood) {
            (void)noteProgress(files.newVersion, Phase::portsDone);
        }
        good = good && kindIsGood;
    }
    if (sequence != pmgr_cb->sequenceNumber) {
        refreshSequenceMirror();
    }
    changes.install();
    return good;
}

void refreshMirrors() {
    for (const Section* const section : mergeOrder) {
        for (uint32_t number = 0; number < section->merge.count; ++number) {
            refreshRecord(*section->merge.into, number);
        }
    }
}

// The phase at which this upgrade goes on, of the journal that an earlier run left.
Phase phaseOf(const JournalRecord& journal, const PersonalityFiles& files) {
    return sameVersion(journal.version, files.newVersion) ? journal.phase : Phase::none;
}

// An earlier run may have written records that it could not mirror. Without such a run, or where
// the mirrors are ahead, they may hold the only whole copy.
bool mayRefreshMirrors(const JournalRecord& journal) {
    return (journal.phase == Phase::merging || journal.phase == Phase::portsDone) &&
           !mirrorIsAhead();
}

// Merges and leaves a report. True when no section failed.
bool mergeFiles(const PersonalityFiles& files, Phase phase, bool refresh) {
    indexProperties(files.oldFile);
    indexProperties(files.newFile);
    bool const good = mergeSections(files, phase);
    if (good && refresh) {
        refreshMirrors();
        refreshSequenceMirror();
    }
    return good;
}

// Keeps the old defaults of changes that could not be merged, so that an engineer can merge them.
// Of several the first ones are kept: these are the defaults that the live settings still hold.
void keepReference() {
    if (!fileExists(reference)) {
        return;
    }
    if (fileExists(unmergedPersonalityFile)) {
        report(comparison, 1550, "Not merged; %s is kept from an earlier upgrade\n",
               unmergedPersonalityFile);
    } else if (replaceFileByCopy(unmergedPersonalityFile, reference) == 0) {
        report(comparison, 1552, "Not merged; the old defaults are kept as %s\n",
               unmergedPersonalityFile);
    } else {
        report(comparison, 1554, "Not merged; the old defaults could not be kept as %s\n",
               unmergedPersonalityFile);
    }
}

// --- The saved copies.

// A command that opens anything else could wait for ever, or fill a device.
bool isFileOrMissing(const char* path) {
    return isRegularFile(path) || !fileExists(path);
}

// Copies the new file over a saved one; true when that is complete and durable.
bool saveTo(const char* saved) {
    constexpr std::size_t commandSize = 256;
    for (const char* const path : {newPersonalityFile, saved}) {
        if (!isFileOrMissing(path)) {
            report("main", 1640, "%s is no regular file: not copied\n", path);
            return false;
        }
    }
    return runShellFormatted(commandSize, "cp %s %s", newPersonalityFile, saved) == 0 &&
           syncFile(saved) == 0;
}

void savePersonalityFile() {
    report("main", 1634, "Copying new personality file into /mnt/nand0\n");
    // Without a new file there is nothing that a later start could make the reference of.
    bool isDone = !isRegularFile(newPersonalityFile);
    for (const char* const& saved : savedPersonalityFiles) {
        bool const isSaved = saveTo(saved);
        // The place in the table: the same text may lie at two addresses.
        isDone = isDone || (isSaved && &saved == &savedPersonalityFiles[0]);
    }
    // A reference that a failed copy left torn is made again at the next start.
    if (syncFolderOf(reference) == 0 && isDone) {
        removeJournal();
    }
}

// A cut inside a copy leaves a reference that no upgrade may begin with.
int copyingFrom(const VersionBlock& version, int result) {
    (void)noteProgress(version, Phase::copying);
    return result;
}

// True where these old defaults are those that an upgrade kept for a merge by hand.
bool isKeptReference(const VersionBlock& version) {
    auto* const kept = propOpenPropertiesFile(unmergedPersonalityFile);
    VersionBlock keptVersion{};
    (void)readDefaultConfigurationVersion(kept, &keptVersion);
    propClosePropertiesFile(kept);
    return sameVersion(keptVersion, version);
}

HandMerge mergeOpenedByHand(const PersonalityFiles& files) {
    JournalRecord const journal = readJournal();
    Phase const phase = phaseOf(journal, files);
    if (phase == Phase::byHand) {
        (void)removeFile(unmergedPersonalityFile);
        removeJournal();
        return HandMerge::done;
    }
    if (journal.phase != Phase::none && (phase == Phase::none || phase == Phase::copying)) {
        return HandMerge::unfinished;
    }
    if (sameVersion(files.oldVersion, files.newVersion)) {
        return HandMerge::sameVersion;
    }
    if (!openStore()) {
        return HandMerge::unusable;
    }
    if (phase == Phase::none) {
        (void)noteProgress(files.newVersion, Phase::merging);
    }
    if (!mergeFiles(files, phase, mayRefreshMirrors(journal))) {
        return HandMerge::notStored;
    }
    if (isKeptReference(files.oldVersion)) {
        (void)noteProgress(files.newVersion, Phase::byHand);
        (void)removeFile(unmergedPersonalityFile);
    }
    removeJournal();
    return HandMerge::done;
}

} // namespace

Descriptor waitForTurn() {
    Descriptor lock(openFile(lockPath, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK));
    if (lock.ok()) {
        (void)VX_PosixFileLockUnLock(lock.get(), FILE_LOCK);
    }
    return lock;
}

HandMerge mergeByHand(const char* oldFile, const char* newFile) {
    Descriptor const turn = waitForTurn();
    if (!isMounted(checkMount())) {
        return HandMerge::notMounted;
    }
    PersonalityFiles const files = openPersonalityFiles(oldFile, newFile);
    HandMerge const result = mergeOpenedByHand(files);
    closePersonalityFiles(files);
    return result;
}

int compareDefaultConfiguration() {
    int const mountStatus = checkMount();
    bool const mounted = isMounted(mountStatus);
    PersonalityFiles const files = openPersonalityFiles(reference, newPersonalityFile);
    JournalRecord const journal = readJournal();
    Phase const phase = phaseOf(journal, files);
    if (phase == Phase::byHand) { // merged once more, GigE defaults might move values on
        (void)removeFile(unmergedPersonalityFile);
    }
    if (phase == Phase::copying || phase == Phase::byHand) {
        closePersonalityFiles(files);
        return 1;
    }
    if (sameVersion(files.oldVersion, files.newVersion)) {
        if (mounted) {
            vxpmgr_create_files_on_upgrade();
        }
        closePersonalityFiles(files);
        return mountStatus == 0 ? 0 : copyingFrom(files.newVersion, mountStatus);
    }
    report(comparison, 1524, "Personality File version difference detected old=%s new=%s\n",
           files.oldVersion.version, files.newVersion.version);
    bool const refresh = mounted && mayRefreshMirrors(journal);
    if (mounted && phase == Phase::none) {
        (void)noteProgress(files.newVersion, Phase::merging);
    }
    // Without its volume or its store nothing can be merged, and the new file becomes the
    // reference all the same. The property files stay open on these paths.
    if (!mounted || !openStore()) {
        keepReference();
        return copyingFrom(files.newVersion, 1);
    }
    if (!mergeFiles(files, phase, refresh)) {
        keepReference();
    }
    closePersonalityFiles(files);
    return copyingFrom(files.newVersion, 1);
}

int runUpgrade() {
    Descriptor const turn = waitForTurn();
    if (compareDefaultConfiguration() != 0) {
        savePersonalityFile();
    }
    return 0;
}

} // namespace vx
