#include "tools/blade/archive.h"

#include "common/files.h"

#include <archive.h>
#include <archive_entry.h>
#include <nettle/sha2.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

namespace tools {

namespace {

constexpr std::size_t blockSize = 4096; // of zeros that are left out
constexpr std::size_t readSize = 65536;

struct FreeEntry {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

[[noreturn]] void failOn(const std::filesystem::path& path, archive* handle) {
    const char* const why = archive_error_string(handle);
    throw std::runtime_error(path.string() + ": " + (why != nullptr ? why : "no archive"));
}

bool isZero(std::string_view block) {
    return std::ranges::all_of(block, [](char byte) { return byte == '\0'; });
}

// Tells the archive where data are. A member of zeros alone has one empty region at its end.
void addRegions(archive_entry* entry, std::string_view content) {
    bool hasData = false;
    for (std::size_t begin = 0; begin < content.size();) {
        std::size_t end = begin;
        while (end < content.size() && !isZero(content.substr(end, blockSize))) {
            end = std::min(end + blockSize, content.size());
        }
        if (end > begin) {
            archive_entry_sparse_add_entry(entry, static_cast<la_int64_t>(begin),
                                           static_cast<la_int64_t>(end - begin));
            hasData = true;
        }
        begin = std::max(end, begin + blockSize);
    }
    if (!hasData && !content.empty()) {
        archive_entry_sparse_add_entry(entry, static_cast<la_int64_t>(content.size()), 0);
    }
}

} // namespace

void EndArchive::operator()(archive* handle) const {
    archive_free(handle);
}

ArchiveWriter::ArchiveWriter(const std::filesystem::path& path)
    : path_(path), handle_(archive_write_new()) {
    archive* const handle = handle_.get();
    // Without a time of its own the same content is the same archive.
    if (archive_write_set_format_pax_restricted(handle) != ARCHIVE_OK ||
        archive_write_add_filter_gzip(handle) != ARCHIVE_OK ||
        archive_write_set_filter_option(handle, "gzip", "timestamp", nullptr) != ARCHIVE_OK ||
        archive_write_open_filename(handle, path_.c_str()) != ARCHIVE_OK) {
        failOn(path_, handle);
    }
}

void ArchiveWriter::add(const ArchiveMember& member, std::string_view content) {
    std::unique_ptr<archive_entry, FreeEntry> const entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), member.name.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), member.mode);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
    archive_entry_set_mtime(entry.get(), 0, 0);
    addRegions(entry.get(), content);
    if (archive_write_header(handle_.get(), entry.get()) != ARCHIVE_OK ||
        archive_write_data(handle_.get(), content.data(), content.size()) !=
            static_cast<la_ssize_t>(content.size())) {
        failOn(path_, handle_.get());
    }
}

void ArchiveWriter::finish() {
    if (archive_write_close(handle_.get()) != ARCHIVE_OK) {
        failOn(path_, handle_.get());
    }
    if (vx::syncFile(path_.c_str()) != 0) {
        throw std::runtime_error(path_.string() + ": " + std::strerror(errno));
    }
}

ArchiveReader::ArchiveReader(const std::filesystem::path& path)
    : path_(path), handle_(archive_read_new()) {
    archive* const handle = handle_.get();
    if (archive_read_support_filter_gzip(handle) != ARCHIVE_OK ||
        archive_read_support_format_tar(handle) != ARCHIVE_OK ||
        archive_read_open_filename(handle, path_.c_str(), readSize) != ARCHIVE_OK) {
        fail();
    }
}

void ArchiveReader::fail() {
    failOn(path_, handle_.get());
}

std::optional<ArchiveMember> ArchiveReader::next() {
    archive_entry* entry = nullptr;
    int const result = archive_read_next_header(handle_.get(), &entry);
    if (result == ARCHIVE_EOF) {
        return {};
    }
    const char* const name = result == ARCHIVE_OK ? archive_entry_pathname(entry) : nullptr;
    if (name == nullptr || archive_entry_filetype(entry) != AE_IFREG ||
        archive_entry_size(entry) < 0) {
        fail();
    }
    return ArchiveMember{name, static_cast<uint64_t>(archive_entry_size(entry)),
                         archive_entry_perm(entry) & 0777};
}

std::string ArchiveReader::read(std::size_t size) {
    std::string content(size, '\0');
    for (std::size_t end = 0; end < size;) {
        const void* data = nullptr;
        std::size_t length = 0;
        la_int64_t offset = 0;
        int const result = archive_read_data_block(handle_.get(), &data, &length, &offset);
        if (result == ARCHIVE_EOF) { // zeros follow
            break;
        }
        if (result != ARCHIVE_OK || offset < 0) {
            fail();
        }
        auto const begin = static_cast<std::size_t>(offset);
        if (begin < size) {
            std::memcpy(content.data() + begin, data, std::min(length, size - begin));
        }
        end = begin + length;
    }
    return content;
}

std::string sha256(std::string_view content) {
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, content.size(), reinterpret_cast<const uint8_t*>(content.data()));
    std::array<uint8_t, SHA256_DIGEST_SIZE> digest{};
    sha256_digest(&context, digest.size(), digest.data());
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (uint8_t const byte : digest) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

} // namespace tools
