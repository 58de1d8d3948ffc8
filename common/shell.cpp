#include "common/shell.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace vx {

int runShell(const char* command) {
    std::fflush(stdout);
    return std::system(command); // NOLINT(bugprone-command-processor): fixed templates only
}

int runShellFormatted(std::size_t capacity, const char* format, ...) {
    std::array<char, 256> command{};
    if (capacity > command.size()) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    int const length = std::vsnprintf(command.data(), capacity, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= capacity) {
        return -1;
    }
    return runShell(command.data());
}

} // namespace vx
