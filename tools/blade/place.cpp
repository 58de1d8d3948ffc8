#include "tools/blade/place.h"

#include "tools/base/files.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace tools {

namespace {

namespace fs = std::filesystem;

class VolumeFolder : public Place {
  public:
    explicit VolumeFolder(fs::path folder) : folder_(std::move(folder)) {}

    [[nodiscard]] FileStatus statusOf(const std::string& path) const override {
        std::error_code error;
        fs::path const file = at(path);
        if (fs::is_regular_file(file, error)) {
            auto const size = fs::file_size(file, error);
            auto const modified = fs::last_write_time(file, error).time_since_epoch();
            auto const mode = fs::status(file, error).permissions() & fs::perms::all;
            return {FileKind::regular, error ? 0 : size, static_cast<uint32_t>(mode),
                    std::chrono::nanoseconds(modified).count()};
        }
        return {.kind = fs::exists(file, error) ? FileKind::other : FileKind::missing};
    }

    [[nodiscard]] std::string read(const std::string& path, std::size_t limit) const override {
        return readText(at(path), limit);
    }

    [[nodiscard]] std::vector<std::string> files() const override {
        std::vector<std::string> paths;
        for (const std::string volume : volumes) {
            std::error_code error;
            fs::directory_iterator entries(at(volume), error);
            for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
                if (!entries->is_directory(error)) {
                    paths.push_back(volume + "/" + entries->path().filename().string());
                }
            }
            if (error && error != std::errc::no_such_file_or_directory) {
                throw std::runtime_error("cannot list " + nameOf(volume) + ": " + error.message());
            }
        }
        std::ranges::sort(paths);
        return paths;
    }

    [[nodiscard]] bool hasVolume(const std::string& volume) const override {
        return isVolume(at(volume));
    }

    [[nodiscard]] std::string nameOf(const std::string& path) const override {
        return at(path).string();
    }

  private:
    [[nodiscard]] fs::path at(const std::string& path) const { return onVolumes(folder_, path); }

    fs::path folder_;
};

} // namespace

fs::path onVolumes(const fs::path& folder, const std::string& path) {
    return folder / fs::path(path).lexically_relative("/mnt");
}

std::unique_ptr<Place> openFolder(const fs::path& path) {
    if (!fs::is_directory(path)) {
        throw std::runtime_error(path.string() + " is no folder of volumes");
    }
    return std::make_unique<VolumeFolder>(path);
}

} // namespace tools
