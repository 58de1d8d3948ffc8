// For builds without the libraries of archives and sums.
#include "tools/blade/backup.h"

#include <stdexcept>

namespace tools {

namespace {

[[noreturn]] void refuse() {
    throw std::runtime_error("this vxcfg was built without backups (VXBLADE_BACKUPS)");
}

} // namespace

BackupReport writeBackup(const Place& /*place*/, bool /*isBlade*/,
                         const std::filesystem::path& /*file*/) {
    refuse();
}

std::unique_ptr<Place> openBackup(const std::filesystem::path& /*file*/) {
    refuse();
}

} // namespace tools
