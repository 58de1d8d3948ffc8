#include "tools/store_create.h"

#include "pmgr/creators.h"
#include "pmgr/psst_header.h"
#include "pmgr/psst_table.h"
#include "tools/files.h"
#include "tools/personality.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace tools {

namespace {

// The files that initialisation opens or makes, besides the configuration file, the VPD pair and
// the sequence-number file.
constexpr uint32_t initialisedTypes[] = {
    PSST_PASSWD,          PSST_HOST_GROUP,         PSST_DEVICE,         PSST_FCIP,
    PSST_MIGRATION_PARAM, PSST_EVENT_NOTIFY,       PSST_MIGRATION,      PSST_LOGICAL_LUN,
    PSST_EXT_MIGRATION,   PSST_REGISTERED_CLIENTS, PSST_CLUSTER_MEMBER, PSST_CACHE_STORE_DRIVES,
    PSST_STRIPE_TABLE,    PSST_CLUSTER_METADATA,   PSST_CACHED_LUN,
};

constexpr int configIndex = 1;

[[noreturn]] void failOn(const char* path) {
    throw std::runtime_error(std::string("cannot make ") + path + ": " + std::strerror(errno));
}

void requireMounted(const char* volume) {
    std::ifstream mounts("/proc/self/mounts");
    for (std::string line; std::getline(mounts, line);) {
        auto const begin = line.find(' ') + 1;
        if (line.substr(begin, line.find(' ', begin) - begin) == volume) {
            return;
        }
    }
    throw std::runtime_error(std::string(volume) +
                             " is not mounted (run this on a blade, or under bladesim)");
}

PersonalityReport requireGood(const fs::path& defaults) {
    PersonalityReport report = examinePersonality(readText(defaults));
    if (!report.problems.empty()) {
        throw std::runtime_error(defaults.string() + ": " + report.problems.front());
    }
    return report;
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

std::vector<int> storeIndices(bool full) {
    std::vector<int> indices;
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        uint32_t const type = vx::fileTypeOf(index);
        bool const wanted =
            full || std::ranges::find(initialisedTypes, type) != std::end(initialisedTypes);
        bool const hasOwnMaker =
            index == configIndex || type == PSST_VPD || type == PSST_VPD_BACKUP;
        if (wanted && !hasOwnMaker && vx::placeOf(type)) {
            indices.push_back(index);
        }
    }
    return indices;
}

// Clears the way: files that are not valid go, and with --force all of them do. The configuration
// file goes first, since a store without it counts as no store.
void removeOldFiles(bool force) {
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        if (vx::psstFile(index).layout != vx::Layout::reserved && (force || !isValidFile(index))) {
            fs::remove(psstFilePrimaryPaths[index]);
        }
    }
}

// The configuration file's initial records are the personality file's defaults: the file becomes
// valid only when it holds them.
PropertiesHandle defaultsToLoad = nullptr;

int loadDefaults() {
    int const bridge = readDefaultBridgeConfigInfo(defaultsToLoad);
    int const cli = readDefaultCliConfigInfo(defaultsToLoad);
    return bridge == 0 ? cli : bridge;
}

void makeConfiguration(const fs::path& defaults) {
    defaultsToLoad = propOpenPropertiesFile(defaults.c_str());
    int const result = vx::makePsstFile(configIndex, loadDefaults);
    propClosePropertiesFile(defaultsToLoad);
    defaultsToLoad = nullptr;
    if (result != 0) {
        failOn(psstFilePrimaryPaths[configIndex]);
    }
}

void mirrorFile(int index) {
    installText(readText(psstFilePrimaryPaths[index]), psstFileMirrorPaths[index]);
}

} // namespace

void createStore(const CreateOptions& options) {
    for (const char* const volume : {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"}) {
        requireMounted(volume);
    }
    PersonalityReport const personality = requireGood(options.defaults);
    if (isValidFile(configIndex) && !options.force) {
        throw std::runtime_error("/mnt/nand1 holds a store with a valid configuration; "
                                 "--force replaces it, settings included");
    }
    removeOldFiles(options.force);
    InitDatabaseLite();
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
    if (ReadSequenceNumber() != 0) {
        failOn(psstFilePrimaryPaths[PSST_SEQUENCE_INDEX]);
    }
    if (vxpmgr_create_vpd_psst() != 0) {
        failOn(psstFilePrimaryPaths[vx::fileIndexOf(PSST_VPD)]);
    }
    std::vector<int> const indices = storeIndices(options.full);
    for (int const index : indices) {
        if (CreatePsstFile(index) != 0) {
            failOn(psstFilePrimaryPaths[index]);
        }
    }
    std::string const defaults = readText(options.defaults);
    for (const char* const copy :
         {"/mnt/nand0/default_bridge_config.cfg.0", "/mnt/nand0/default_bridge_config.cfg.1"}) {
        installText(defaults, copy);
    }
    makeConfiguration(options.defaults);
    for (int const index : indices) {
        mirrorFile(index);
    }
    // The sequence number goes last: a mirror that claims a state must hold it.
    for (uint32_t const type :
         {PSST_BRIDGE_CONFIG, PSST_VPD, PSST_VPD_BACKUP, PSST_SEQUENCE_NUMBER}) {
        mirrorFile(vx::fileIndexOf(type));
    }
    close_all_files();
    std::printf("Store of %zu files made with the defaults of version %s (%zu properties).\n",
                indices.size() + 4, personality.version.c_str(), personality.properties);
}

} // namespace tools
