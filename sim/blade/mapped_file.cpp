#include "sim/blade/mapped_file.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace sim {

MappedFile::MappedFile(const fs::path& path, std::size_t size, uint8_t blank) {
    uintmax_t const present = fs::exists(path) ? fs::file_size(path) : 0;
    if (present != 0 && present != size) {
        throw std::runtime_error(path.filename().string() + " has " + std::to_string(present) +
                                 " bytes, the chip " + std::to_string(size));
    }
    if (present == 0) {
        std::ofstream(path, std::ios::binary)
            << std::string(size, static_cast<char>(blank)) << std::flush;
    }
    int const fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    void* const start =
        fd < 0 ? MAP_FAILED : ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    int const error = errno;
    ::close(fd);
    if (start == MAP_FAILED) {
        throw std::system_error(error, std::generic_category(), "cannot map " + path.string());
    }
    bytes_ = {static_cast<uint8_t*>(start), size};
}

MappedFile::MappedFile(MappedFile&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    std::swap(bytes_, other.bytes_);
    return *this;
}

MappedFile::~MappedFile() {
    if (!bytes_.empty()) {
        ::munmap(bytes_.data(), bytes_.size());
    }
}

} // namespace sim
