#include "props/property_parser.h"

#include "common/files.h"

#include <vxblade/common.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include <sys/stat.h>

namespace vx {

namespace {

bool isWhiteSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

bool isValidKeyChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
}

// One part of a property, key or value, on its way to the caller.
struct Part {
    char* buffer;
    int* length; // in: capacity; out: size needed, where the part was cut

    void reset() const {
        if (buffer != nullptr && length != nullptr && *length > 0) {
            buffer[0] = '\0';
        }
    }

    // Copies what fits of [begin, end); true when the part was cut.
    [[nodiscard]] bool deliver(const char* begin, const char* end) const {
        if (length == nullptr) {
            return false;
        }
        auto const size = static_cast<int>(end - begin);
        bool const cut = *length <= size;
        int const copied = cut ? *length - 1 : size;
        if (buffer != nullptr && copied >= 0) {
            std::memcpy(buffer, begin, static_cast<std::size_t>(copied));
            buffer[copied] = '\0';
        }
        if (cut) {
            *length = size + 1;
        }
        return cut;
    }
};

void skipWhiteSpace(const char*& pos) {
    while (isWhiteSpace(*pos)) {
        ++pos;
    }
}

// Skips blank lines and comments; stops at what must be a key, or at the NUL.
void advance(const char*& pos) {
    bool inComment = false;
    for (; *pos != '\0'; ++pos) {
        if (*pos == '\n') {
            inComment = false;
        } else if (*pos == '#') {
            inComment = true;
        } else if (!inComment && !isWhiteSpace(*pos)) {
            return;
        }
    }
}

int findKeyInLine(const char*& pos, const Part& key) {
    const char* const begin = pos;
    while (isValidKeyChar(*pos)) {
        ++pos;
    }
    if (pos == begin) {
        return -1;
    }
    return key.deliver(begin, pos) ? -2 : 0;
}

int findValueInLine(const char*& pos, const Part& value) {
    skipWhiteSpace(pos);
    if (*pos != '=') {
        return -1;
    }
    ++pos;
    skipWhiteSpace(pos);
    if (*pos != '"') {
        return -1;
    }
    const char* const begin = pos + 1;
    // There is no escape: the first quote closes the value, which may run over several lines.
    const char* const end = std::strchr(begin, '"');
    if (end == nullptr) {
        return -1;
    }
    pos = end + 1;
    return value.deliver(begin, end) ? -2 : 0;
}

// Requires that only a comment follows on the line, then moves to the next property.
int lineEnd(const char*& pos) {
    skipWhiteSpace(pos);
    if (*pos != '\0' && *pos != '\n' && *pos != '#') {
        return -1;
    }
    advance(pos);
    return 0;
}

} // namespace

PropertyParser::PropertyParser(const char* path) {
    struct stat status {};
    // Sizes are ints throughout this interface; a text that no int can count is as good as none.
    if (::stat(path, &status) != 0 || status.st_size < 0 || status.st_size >= INT_MAX) {
        std::printf("PropertyParser: Failed to query file size init %s\n", path);
        return;
    }
    auto const size = static_cast<std::size_t>(status.st_size);
    text_ = new (std::nothrow) char[size + 1]();
    if (text_ == nullptr) {
        std::printf("PropertyParser: Failed to query file size init %s\n", path);
        return;
    }
    // Anything but a regular file could keep its reader waiting for ever.
    Stream const file = S_ISREG(status.st_mode) ? openStream(path) : nullptr;
    if (file == nullptr) {
        std::printf("PropertyParser: Failed to open file for reading %s\n", path);
        return;
    }
    std::size_t total = 0;
    for (std::size_t got = 1; got > 0; total += got) {
        got = std::fread(text_ + total, 1, size - total, file.get());
    }
    std::printf("PropertyParser: read %d bytes from %s\n", static_cast<int>(total), path);
}

PropertyParser::PropertyParser(const char* buffer, int length) {
    std::size_t const size = buffer != nullptr && length > 0 ? static_cast<std::size_t>(length) : 0;
    text_ = new (std::nothrow) char[size + 1];
    if (text_ != nullptr) {
        if (size > 0) {
            std::memcpy(text_, buffer, size);
        }
        text_[size] = '\0';
    }
}

PropertyParser::~PropertyParser() {
    delete[] text_;
}

int PropertyParser::parseLine(const char* pos, char* keyBuf, int* keyLen, char* valBuf, int* valLen,
                              const char** next) const {
    if (text_ == nullptr) {
        return -1;
    }
    Part const key{keyBuf, keyLen};
    Part const value{valBuf, valLen};
    key.reset();
    value.reset();
    if (pos == nullptr) {
        pos = text_;
    }
    advance(pos);
    int const keyResult = findKeyInLine(pos, key);
    if (keyResult == -1) {
        return -1;
    }
    int const valueResult = findValueInLine(pos, value);
    if (valueResult == -1 || lineEnd(pos) != 0) {
        return -1;
    }
    if (next != nullptr) {
        *next = pos;
    }
    return keyResult == 0 ? valueResult : keyResult;
}

const char* PropertyParser::skipBlank(const char* pos) const {
    if (text_ == nullptr) {
        return "";
    }
    if (pos == nullptr) {
        pos = text_;
    }
    advance(pos);
    return pos;
}

int PropertyParser::getCrc(unsigned long* storedCrc, unsigned long* computedCrc) const {
    if (storedCrc != nullptr) {
        *storedCrc = 0;
    }
    uint32_t crc = 0;
    std::array<char, 256> key{};
    std::array<char, 256> value{};
    const char* pos = nullptr;
    for (;;) {
        int keyLength = key.size();
        int valueLength = value.size();
        if (parseLine(pos, key.data(), &keyLength, value.data(), &valueLength, &pos) != 0) {
            break;
        }
        if (std::strcmp(key.data(), "properties.file.crc32") == 0) {
            unsigned long stored = 0;
            if (storedCrc != nullptr && std::sscanf(value.data(), "%lx", &stored) == 1) {
                *storedCrc = static_cast<uint32_t>(stored);
            }
        } else {
            crc = crc32(crc, key.data(), static_cast<int>(std::strlen(key.data())));
            crc = crc32(crc, value.data(), static_cast<int>(std::strlen(value.data())));
        }
    }
    if (computedCrc != nullptr) {
        *computedCrc = crc;
    }
    return -1;
}

} // namespace vx
