#include "tools/base/files.h"

#include "common/files.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace tools {

bool isVolume(const std::filesystem::path& path) {
    if (path.parent_path() != "/mnt") {
        return std::filesystem::is_directory(path);
    }
    std::ifstream mounts("/proc/self/mounts");
    for (std::string line; std::getline(mounts, line);) {
        auto const begin = line.find(' ') + 1;
        if (line.substr(begin, line.find(' ', begin) - begin) == path) {
            return true;
        }
    }
    return false;
}

std::string readText(const std::filesystem::path& path, std::size_t limit) {
    std::error_code error;
    auto const size = std::filesystem::file_size(path, error); // fails for what is no regular file
    if (error) {
        throw std::runtime_error("cannot read " + path.string() + ": " + error.message());
    }
    auto const wanted = static_cast<std::size_t>(std::min<uintmax_t>(size, limit));
    if (wanted >= INT_MAX) { // as in the blade's own interfaces
        throw std::runtime_error("cannot read " + path.string() + ": it is too large");
    }
    std::string text(wanted, '\0');
    errno = 0;
    if (!std::ifstream(path, std::ios::binary).read(text.data(), std::ssize(text))) {
        throw std::runtime_error("cannot read " + path.string() + ": " +
                                 (errno != 0 ? std::strerror(errno) : "it became shorter"));
    }
    return text;
}

void installText(std::string_view text, const std::filesystem::path& to) {
    if (vx::replaceFile(to.c_str(), text.data(), text.size(), vx::storeFileMode) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + to.string());
    }
}

} // namespace tools
