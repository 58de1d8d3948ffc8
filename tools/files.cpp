#include "tools/files.h"

#include "common/files.h"

#include <cerrno>
#include <system_error>

namespace tools {

void installText(std::string_view text, const std::filesystem::path& to) {
    if (vx::replaceFile(to.c_str(), text.data(), text.size(), vx::storeFileMode) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + to.string());
    }
}

} // namespace tools
