#include "tests/reliability/volumes.h"

#include <filesystem>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr uintmax_t largeSize = 200000;

Volumes::File read(const fs::directory_entry& entry) {
    if (entry.file_size() < largeSize) {
        return {readBytes(entry.path()), {}};
    }
    struct stat status {};
    ::stat(entry.path().c_str(), &status);
    return {{},
            {static_cast<int64_t>(status.st_ino), status.st_size, status.st_mtim.tv_sec,
             status.st_mtim.tv_nsec}};
}

} // namespace

Volumes Volumes::now() {
    Volumes volumes;
    for (const char* const volume : {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"}) {
        for (fs::directory_entry const& entry : fs::recursive_directory_iterator(volume)) {
            if (entry.is_regular_file()) {
                volumes.files_[entry.path()] = read(entry);
            }
        }
    }
    return volumes;
}

void Volumes::restore() const {
    for (auto const& [path, file] : now().files_) {
        if (find(path) == nullptr) {
            fs::remove(path);
        } else if (file != *find(path)) {
            ASSERT_EQ(file.identity, find(path)->identity) << path << " is kept by identity only";
            writeBytes(path, find(path)->bytes);
        }
    }
    for (auto const& [path, file] : files_) {
        if (!fs::exists(path)) {
            writeBytes(path, file.bytes);
        }
    }
}

Volumes Volumes::with(const std::map<std::string, std::shared_ptr<const Bytes>>& files) const {
    Volumes volumes = *this;
    std::erase_if(volumes.files_, [](auto const& file) { return !file.second.isLarge(); });
    for (auto const& [path, bytes] : files) {
        volumes.files_[path].bytes = *bytes;
    }
    return volumes;
}

const Volumes::File* Volumes::find(const std::string& path) const {
    auto const found = files_.find(path);
    return found == files_.end() ? nullptr : &found->second;
}
