#include "tools/files.h"

#include "common/files.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace tools {

std::string readText(const std::filesystem::path& path) {
    std::error_code error;
    auto const size = std::filesystem::file_size(path, error); // fails for what is no regular file
    if (error) {
        throw std::runtime_error("cannot read " + path.string() + ": " + error.message());
    }
    std::string text(size, '\0');
    if (!std::ifstream(path, std::ios::binary).read(text.data(), std::ssize(text))) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return text;
}

void installText(std::string_view text, const std::filesystem::path& to) {
    if (vx::replaceFile(to.c_str(), text.data(), text.size(), vx::storeFileMode) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + to.string());
    }
}

} // namespace tools
