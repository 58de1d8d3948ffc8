// Archives: compressed tar files whose members leave their zeros out, which plain `tar` opens.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct archive;

namespace tools {

struct ArchiveMember {
    std::string name; // relative, such as "mnt/nand1/x"
    uint64_t size = 0;
    uint32_t mode = 0;
};

// Both ends the archive without a word where it was not ended before.
struct EndArchive {
    void operator()(archive* handle) const;
};
using ArchiveHandle = std::unique_ptr<archive, EndArchive>;

// Everything throws std::runtime_error where the file cannot be written.
class ArchiveWriter {
  public:
    explicit ArchiveWriter(const std::filesystem::path& path);
    void add(const ArchiveMember& member, std::string_view content);
    // The archive is whole and durable.
    void finish();

  private:
    std::filesystem::path path_;
    ArchiveHandle handle_;
};

// Everything throws std::runtime_error where the file cannot be read or is no such archive.
class ArchiveReader {
  public:
    explicit ArchiveReader(const std::filesystem::path& path);
    // The next member; nothing at the end.
    [[nodiscard]] std::optional<ArchiveMember> next();
    // The first `size` bytes of that member, once.
    [[nodiscard]] std::string read(std::size_t size);

  private:
    [[noreturn]] void fail();

    std::filesystem::path path_;
    ArchiveHandle handle_;
};

// SHA-256 in hexadecimal digits.
[[nodiscard]] std::string sha256(std::string_view content);

} // namespace tools
