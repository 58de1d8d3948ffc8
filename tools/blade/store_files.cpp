#include "tools/blade/store_files.h"

#include "settings/saved_files.h"
#include "store/psst_table.h"

#include <vxblade/platform.h>

#include <algorithm>

namespace tools {

namespace {

// What a plan reads: who the blade is and what it holds, then whether its store can be used.
const char* const readByPlans[] = {
    vx::savedPersonalityFiles[0],
    vx::upgradeJournal,
    vx::upgradeReport,
    psstFilePrimaryPaths[PSST_CONFIG_INDEX],
    psstFilePrimaryPaths[vx::fileIndexOf(PSST_HOST_GROUP)],
    psstFilePrimaryPaths[vx::fileIndexOf(PSST_PASSWD)],
    psstFilePrimaryPaths[vx::fileIndexOf(PSST_FCIP)],
    psstFilePrimaryPaths[vx::fileIndexOf(PSST_MIGRATION_PARAM)],
    psstFilePrimaryPaths[vx::fileIndexOf(PSST_EVENT_NOTIFY)],
    psstFilePrimaryPaths[vx::fileIndexOf(PSST_DEVICE)],
};

// Without a header, an index and a mirror.
const char* const others[] = {
    VX_TELNET_CONFIG_PATH,       VX_SSH_CONFIG_PATH, vx::savedPersonalityFiles[1],
    vx::unmergedPersonalityFile, vx::backupMarks,
};

std::vector<std::string> listed() {
    std::vector<std::string> paths(std::begin(readByPlans), std::end(readByPlans));
    std::vector<std::string> mirrors;
    auto const add = [&](const std::string& path) {
        if (std::ranges::find(paths, path) == paths.end()) {
            paths.push_back(path);
        }
    };
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        if (vx::psstFile(index).layout != vx::Layout::reserved) {
            add(psstFilePrimaryPaths[index]);
            mirrors.push_back(mirrorOf(psstFilePrimaryPaths[index]));
        }
    }
    std::ranges::for_each(psstAdditionalFilePrimaryPaths, add);
    std::ranges::for_each(others, add);
    paths.insert(paths.end(), mirrors.begin(), mirrors.end());
    return paths;
}

} // namespace

std::string mirrorOf(const std::string& path) {
    return "/mnt/nand2" + path.substr(path.rfind('/'));
}

const std::vector<std::string>& storeFiles() {
    static const std::vector<std::string> paths = listed();
    return paths;
}

} // namespace tools
