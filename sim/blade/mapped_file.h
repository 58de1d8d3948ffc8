// A chip's contents, kept in a file that outlives the simulation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace sim {

// Maps a file of `size` bytes, made with every byte `blank` where it is missing or empty. Every
// change is in the file at once. Throws std::runtime_error, also for a file of another size, which
// may be somebody's dump.
class MappedFile {
  public:
    MappedFile(const std::filesystem::path& path, std::size_t size, uint8_t blank);
    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    [[nodiscard]] std::span<uint8_t> bytes() const { return bytes_; }

  private:
    std::span<uint8_t> bytes_;
};

} // namespace sim
