#include "tools/files.h"

#include "common/files.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace tools {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path) {
    throw std::system_error(errno, std::generic_category(), "cannot write " + path.string());
}

void writeSynced(std::string_view text, const std::filesystem::path& path) {
    vx::Descriptor const file(vx::openFile(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC));
    if (!file.ok()) {
        fail(path);
    }
    while (!text.empty()) {
        ssize_t const written = ::write(file.get(), text.data(), text.size());
        if (written < 0) {
            fail(path);
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    if (::fsync(file.get()) != 0) {
        fail(path);
    }
}

} // namespace

void installText(std::string_view text, const std::filesystem::path& to) {
    std::filesystem::path temporary = to;
    temporary += ".new";
    try {
        writeSynced(text, temporary);
        if (::rename(temporary.c_str(), to.c_str()) != 0) {
            fail(to);
        }
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    (void)vx::syncFolderOf(to.c_str());
}

} // namespace tools
