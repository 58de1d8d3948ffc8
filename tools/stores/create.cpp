#include "tools/stores/create.h"

#include "common/files.h"
#include "settings/saved_files.h"
#include "store/control_block.h"
#include "store/creators.h"
#include "store/psst_table.h"
#include "store/record_io.h"
#include "tools/base/files.h"
#include "tools/base/silence.h"
#include "tools/defaults/lint.h"

#include <vxblade/nor.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace tools {

namespace {

// The files that initialisation opens or makes and those that the defaults go to, besides the
// configuration file, the VPD pair and the sequence-number file.
constexpr uint32_t initialisedTypes[] = {
    PSST_PASSWD,          PSST_HOST_GROUP,         PSST_DEVICE,         PSST_FCIP,
    PSST_MIGRATION_PARAM, PSST_EVENT_NOTIFY,       PSST_MIGRATION,      PSST_LOGICAL_LUN,
    PSST_EXT_MIGRATION,   PSST_REGISTERED_CLIENTS, PSST_CLUSTER_MEMBER, PSST_CACHE_STORE_DRIVES,
    PSST_STRIPE_TABLE,    PSST_CLUSTER_METADATA,   PSST_CACHED_LUN,     PSST_SNMP,
    PSST_DM_GLOBALS,      PSST_STORAGE_POOL,
};

[[noreturn]] void failOn(const char* path) {
    throw std::runtime_error(std::string("cannot make ") + path + ": " + std::strerror(errno));
}

void requireMounted(const char* volume) {
    if (!isVolume(volume)) {
        throw std::runtime_error(std::string(volume) +
                                 " is not mounted (run this on a blade, or under bladesim)");
    }
}

// What else is wrong with the defaults a store can be made with: tests and demonstrations do.
Lint requireReadable(const fs::path& defaults) {
    DefaultsText const text(readText(defaults));
    Lint found = lint(text);
    auto const finding = std::ranges::find_if(found.findings, isOfText);
    if (finding != found.findings.end()) {
        throw std::runtime_error(defaults.string() + ": line " +
                                 std::to_string(finding->place.line) + ": " + finding->message);
    }
    if (found.version.empty()) {
        throw std::runtime_error(defaults.string() + ": no properties.file.version");
    }
    return found;
}

bool isValidFile(int index) {
    PsstHeader header{};
    std::ifstream file(psstFilePrimaryPaths[index], std::ios::binary);
    file.read(reinterpret_cast<char*>(&header), sizeof header);
    if (!file) {
        return false;
    }
    // The sequence-number file's header carries no size.
    return index == PSST_SEQUENCE_INDEX ? header.magic == PSST_MAGIC
                                        : vx::isValidHeader(header, vx::fileTypeOf(index));
}

// What a call makes besides the configuration file: record files through the store's own makers,
// the VPD pair and the sequence number through theirs, files without records as a bare header.
struct Plan {
    std::vector<int> recordFiles;
    std::vector<int> bareFiles;
};

// A file whose content, past a header that may not be there, is another program's.
bool isBare(int index) {
    return vx::psstFile(index).layout == vx::Layout::headerOnly && index != PSST_SEQUENCE_INDEX;
}

Plan planOf(bool full) {
    Plan plan;
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        uint32_t const type = vx::fileTypeOf(index);
        bool const wanted =
            full || std::ranges::find(initialisedTypes, type) != std::end(initialisedTypes);
        if (!wanted || index == PSST_CONFIG_INDEX || index == PSST_SEQUENCE_INDEX ||
            type == PSST_VPD || type == PSST_VPD_BACKUP ||
            vx::psstFile(index).layout == vx::Layout::reserved) {
            continue;
        }
        (isBare(index) ? plan.bareFiles : plan.recordFiles).push_back(index);
    }
    return plan;
}

// Every index of a plan, the configuration file first: a store without it counts as no store, so
// it goes first when files are removed, and the next try is not refused.
std::vector<int> indicesOf(const Plan& plan) {
    std::vector<int> indices = {PSST_CONFIG_INDEX, PSST_SEQUENCE_INDEX, vx::fileIndexOf(PSST_VPD),
                                vx::fileIndexOf(PSST_VPD_BACKUP)};
    indices.insert(indices.end(), plan.recordFiles.begin(), plan.recordFiles.end());
    indices.insert(indices.end(), plan.bareFiles.begin(), plan.bareFiles.end());
    return indices;
}

void removeDurably(const char* path) {
    if (vx::removeFile(path) != 0 && errno != ENOENT) {
        throw std::runtime_error(std::string("cannot remove ") + path + ": " +
                                 std::strerror(errno));
    }
}

// Clears the way for what will be made, mirrors included: files that are not valid, and with
// --force all, each gone for good before the next goes. Other files of the store are left alone.
void removeOldFiles(const std::vector<int>& indices, bool force) {
    for (int const index : indices) {
        if (force || (!isBare(index) && !isValidFile(index))) {
            removeDurably(psstFilePrimaryPaths[index]);
            removeDurably(psstFileMirrorPaths[index]);
        }
    }
}

void makeFiles(const Plan& plan) {
    if (ReadSequenceNumber() != 0) {
        failOn(psstFilePrimaryPaths[PSST_SEQUENCE_INDEX]);
    }
    if (vxpmgr_create_vpd_psst() != 0) {
        failOn(psstFilePrimaryPaths[vx::fileIndexOf(PSST_VPD)]);
    }
    for (int const index : plan.recordFiles) {
        if (CreatePsstFile(index) != 0) {
            failOn(psstFilePrimaryPaths[index]);
        }
    }
    for (int const index : plan.bareFiles) {
        if (!fs::exists(psstFilePrimaryPaths[index])) {
            PsstHeader header;
            CreateHeader(&header, vx::fileTypeOf(index));
            installText({reinterpret_cast<const char*>(&header), sizeof header},
                        psstFilePrimaryPaths[index]);
        }
    }
}

// What writeInitialRecords has to tell, which can neither return nor throw it.
bool isNamed;
std::string trouble;

// Loads the saved personality file's defaults into the store. What the full load leaves out has
// readers of its own.
int loadDefaults() {
    (void)readDefaultConfiguration();
    PropertiesHandle handle = propOpenPropertiesFile(vx::savedPersonalityFiles[0]);
    BridgeConfig bridge;
    (void)vxpmgr_GetBridgeConfigInfo(&bridge);
    (void)readDefaultBridgeDataMigrationInfo(handle, &bridge);
    (void)readDefaultSnmpConfigInfo(handle);
    (void)vornhal_init_env(vhnor_init());
    isNamed =
        readDefaultChassisName(handle) == 0; // no setting of the store: it is made all the same
    propClosePropertiesFile(handle);
    // The full load ignores its readers' results; a write that failed marks its file.
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        if (vx::descriptorOf(index) < 0) {
            return -1;
        }
    }
    return 0;
}

void mirrorFile(int index) {
    installText(readText(psstFilePrimaryPaths[index]), psstFileMirrorPaths[index]);
}

// Makes the configuration file's mirror, with the header that the file itself gets next.
void mirrorConfiguration() {
    PsstHeader header;
    CreateHeader(&header, PSST_BRIDGE_CONFIG);
    std::string content = readText(psstFilePrimaryPaths[PSST_CONFIG_INDEX]);
    content.replace(0, sizeof header, reinterpret_cast<const char*>(&header), sizeof header);
    installText(content, psstFileMirrorPaths[PSST_CONFIG_INDEX]);
}

// What the configuration file holds when it becomes valid, and with it the store: the defaults.
// Both mirrors are whole before that, or a power cut would leave a valid store without them, which
// the next try refuses. The sequence number's is last: a mirror that claims a state must hold it.
int writeInitialRecords(uint32_t /*type*/) {
    if (loadDefaults() != 0) {
        return -1;
    }
    try { // the caller has no way to pass an exception on
        mirrorConfiguration();
        mirrorFile(PSST_SEQUENCE_INDEX);
    } catch (const std::exception& failure) {
        trouble = failure.what();
        return -1;
    }
    return 0;
}

void makeConfiguration() {
    trouble.clear();
    if (vx::makePsstFile(PSST_CONFIG_INDEX, writeInitialRecords) != 0) {
        trouble.empty() ? failOn(psstFilePrimaryPaths[PSST_CONFIG_INDEX])
                        : throw std::runtime_error(trouble);
    }
}

} // namespace

CreateReport createStore(const CreateOptions& options) {
    for (const char* const volume : {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"}) {
        requireMounted(volume);
    }
    Lint const found = requireReadable(options.defaults);
    if (isValidFile(PSST_CONFIG_INDEX) && !options.force) {
        throw std::runtime_error("/mnt/nand1 holds a store with a valid configuration; "
                                 "--force replaces it, settings included");
    }
    Silence const silence(options.isVerbose);
    InitDatabaseLite();
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
    Plan const plan = planOf(options.full);
    std::vector<int> const indices = indicesOf(plan);
    removeOldFiles(indices, options.force);
    (void)vx::removeFile(vx::upgradeJournal); // of an upgrade of the store before
    makeFiles(plan);
    for (int const index : indices) {
        if (index != PSST_CONFIG_INDEX && index != PSST_SEQUENCE_INDEX) {
            mirrorFile(index);
        }
    }
    std::string const defaults = readText(options.defaults);
    for (const char* const copy : vx::savedPersonalityFiles) {
        installText(defaults, copy);
    }
    makeConfiguration();
    close_all_files();
    return {indices.size(), found.version, found.properties, isNamed};
}

} // namespace tools
