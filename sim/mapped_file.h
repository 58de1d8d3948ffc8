// A chip's contents, kept in a file that outlives the simulation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace sim {

// Maps a file of `size` bytes; one that is missing or of another size is made anew with every
// byte `blank`. Every change is in the file at once. Throws std::system_error.
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
