#include "tools/blade/open_place.h"

#include "tools/blade/backup.h"

namespace tools {

namespace fs = std::filesystem;

std::unique_ptr<Place> openPlace(const fs::path& path) {
    if (!fs::is_directory(path) && !fs::is_regular_file(path)) {
        throw std::runtime_error(path.string() + " is neither a folder of volumes nor a backup");
    }
    return fs::is_directory(path) ? openFolder(path) : openBackup(path);
}

} // namespace tools
