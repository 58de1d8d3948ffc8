// The boot environment in a plain file: lines of name=value.
#include <vxblade/platform.h>

#include "platform/files.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr const char* environmentPath = "/mnt/nand0/boot_env.txt";

// The whole environment as it stands in the file, NUL-terminated.
char environment[16 * 1024];

// The start of a name's line, or null.
char* findLine(const char* name) {
    std::size_t const length = std::strlen(name);
    for (char* line = environment; *line != '\0';) {
        if (std::strncmp(line, name, length) == 0 && line[length] == '=') {
            return line;
        }
        char* const end = std::strchr(line, '\n');
        if (end == nullptr) {
            break;
        }
        line = end + 1;
    }
    return nullptr;
}

void removeLine(char* line) {
    char* const end = std::strchr(line, '\n');
    const char* const next = end != nullptr ? end + 1 : line + std::strlen(line);
    std::memmove(line, next, std::strlen(next) + 1);
}

bool isValid(const char* name, const char* value) {
    return *name != '\0' && std::strpbrk(name, "=\n") == nullptr &&
           std::strchr(value, '\n') == nullptr;
}

} // namespace

int vornhal_init_env(int /*norStatus*/) {
    std::memset(environment, 0, sizeof environment);
    return vxplatform::readFile(environmentPath, environment, sizeof environment - 1) < 0 ? -1 : 0;
}

int vornhal_getenv(const char* name, char* value, int size) {
    if (size < 1) {
        return 0;
    }
    *value = '\0';
    const char* const line = findLine(name);
    if (line == nullptr) {
        return 0;
    }
    const char* const text = line + std::strlen(name) + 1;
    std::size_t const length = std::strcspn(text, "\n");
    std::size_t const copied = std::min(length, static_cast<std::size_t>(size) - 1);
    std::memcpy(value, text, copied);
    value[copied] = '\0';
    return static_cast<int>(length);
}

int vornhal_setenv(const char* name, const char* value) {
    if (!isValid(name, value)) {
        return -1;
    }
    std::size_t const used = std::strlen(environment);
    std::size_t const added = std::strlen(name) + std::strlen(value) + 2;
    if (used + added >= sizeof environment) {
        return -1; // also where the old value's room would do: the old value is not given up
    }
    if (char* const line = findLine(name); line != nullptr) {
        removeLine(line);
    }
    std::size_t const end = std::strlen(environment);
    std::snprintf(environment + end, sizeof environment - end, "%s=%s\n", name, value);
    return 0;
}

int vornhal_saveenv(void) {
    return vxplatform::replaceFile(environmentPath, environment, std::strlen(environment));
}
