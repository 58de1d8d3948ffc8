// Where a blade's files are read from: its own volumes, a folder with copies of them, or a backup.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace tools {

// A copy of a blade's files that is not what was copied: nothing can be said of the blade itself.
class DamagedCopy : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class FileKind : uint8_t { missing, regular, other };

struct FileStatus {
    FileKind kind = FileKind::missing;
    uint64_t size = 0;    // bytes
    uint32_t mode = 0;    // permissions
    int64_t modified = 0; // in nanoseconds, of an own epoch; 0 in a backup

    bool operator==(const FileStatus&) const = default;
};

// Paths are a blade's own, such as "/mnt/nand1/brapp_config.bin", wherever the files really are.
class Place {
  public:
    Place() = default;
    virtual ~Place() = default;
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    [[nodiscard]] virtual FileStatus statusOf(const std::string& path) const = 0;

    // Up to `limit` bytes from the start of a regular file. Throws std::runtime_error where there
    // is none or it cannot be read, DamagedCopy where that says nothing of the blade.
    [[nodiscard]] virtual std::string read(const std::string& path, std::size_t limit) const = 0;
    // All of it.
    [[nodiscard]] std::string read(const std::string& path) const { return read(path, SIZE_MAX); }

    // Throws DamagedCopy where a file is not as it was on the blade; where files are the blade's
    // own they always are.
    virtual void verify(const std::string& /*path*/) const {}

    // The paths of all files of the three volumes, folders below them left out, in order. Throws
    // std::runtime_error where a volume cannot be listed.
    [[nodiscard]] virtual std::vector<std::string> files() const = 0;

    // False where the volume of a path is not there or, on a blade, not mounted.
    [[nodiscard]] virtual bool hasVolume(const std::string& volume) const = 0;

    // A path as messages name it.
    [[nodiscard]] virtual std::string nameOf(const std::string& path) const = 0;
};

// The volumes of a blade, in the order in which they are shown.
inline constexpr const char* volumes[] = {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"};

// A path of a blade in a folder of volumes.
[[nodiscard]] std::filesystem::path onVolumes(const std::filesystem::path& folder,
                                              const std::string& path);

// A folder of nand0, nand1 and nand2, such as /mnt, as a place. Throws std::runtime_error where it
// is none.
[[nodiscard]] std::unique_ptr<Place> openFolder(const std::filesystem::path& path);

} // namespace tools
