#include "props/property_parser.h"

#include "common/crc32.h"
#include "common/files.h"

#include <array>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <sys/stat.h>

namespace vx {

namespace {

enum CharacterClass : uint8_t { blank = 1, ofKey = 2 };

constexpr std::array<uint8_t, 256> classes = [] {
    std::array<uint8_t, 256> table{};
    for (char const c : std::string_view(" \t\r")) {
        table[static_cast<unsigned char>(c)] = blank;
    }
    for (char const c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "abcdefghijklmnopqrstuvwxyz0123456789._-")) {
        table[static_cast<unsigned char>(c)] = ofKey;
    }
    return table;
}();

bool isOf(CharacterClass wanted, char c) {
    return classes[static_cast<unsigned char>(c)] == wanted;
}

// Gives a part of a property, key or value, to the caller: in `*length` the buffer's capacity,
// which becomes the size needed where the part is cut. True where it is.
bool deliver(std::string_view part, char* buffer, int* length) {
    if (length == nullptr) {
        return false;
    }
    auto const size = static_cast<int>(part.size());
    bool const cut = *length <= size;
    int const copied = cut ? *length - 1 : size;
    if (buffer != nullptr && copied >= 0) {
        std::memcpy(buffer, part.data(), static_cast<std::size_t>(copied));
        buffer[copied] = '\0';
    }
    if (cut) {
        *length = size + 1;
    }
    return cut;
}

void clear(char* buffer, const int* length) {
    if (buffer != nullptr && length != nullptr && *length > 0) {
        buffer[0] = '\0';
    }
}

const char* skipBlanks(const char* pos) {
    while (isOf(blank, *pos)) {
        ++pos;
    }
    return pos;
}

// Skips blank lines and comments; stops at what must be a key, or at the NUL.
const char* advance(const char* pos) {
    for (;;) {
        while (isOf(blank, *pos) || *pos == '\n') {
            ++pos;
        }
        if (*pos != '#') {
            return pos;
        }
        pos = ::strchrnul(pos, '\n');
    }
}

std::string_view between(const char* begin, const char* end) {
    return {begin, static_cast<std::size_t>(end - begin)};
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
    text_ = allocate<char>(size + 1);
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
        got = std::fread(text_.get() + total, 1, size - total, file.get());
    }
    std::printf("PropertyParser: read %d bytes from %s\n", static_cast<int>(total), path);
}

PropertyParser::PropertyParser(const char* buffer, int length) {
    std::size_t const size = buffer != nullptr && length > 0 ? static_cast<std::size_t>(length) : 0;
    text_ = allocate<char>(size + 1);
    if (text_ != nullptr && size > 0) {
        std::memcpy(text_.get(), buffer, size);
    }
}

PropertyParser::~PropertyParser() = default;

const char* PropertyParser::parse(const char* pos, Property& property) const {
    property = {};
    if (text_ == nullptr) {
        return nullptr;
    }
    const char* const key = advance(pos == nullptr ? text_.get() : pos);
    const char* end = key;
    while (isOf(ofKey, *end)) {
        ++end;
    }
    if (end == key) {
        return nullptr;
    }
    property.key = between(key, end);
    return parseValue(end, property.value);
}

const char* PropertyParser::parseValue(const char* pos, std::string_view& value) {
    const char* end = skipBlanks(pos);
    if (*end != '=') {
        return nullptr;
    }
    end = skipBlanks(end + 1);
    if (*end != '"') {
        return nullptr;
    }
    // There is no escape: the first quote closes the value, which may run over several lines.
    const char* const begin = end + 1;
    end = std::strchr(begin, '"');
    if (end == nullptr) {
        return nullptr;
    }
    value = between(begin, end);
    // Only a comment may follow on the line.
    end = skipBlanks(end + 1);
    return *end == '\0' || *end == '\n' || *end == '#' ? advance(end) : nullptr;
}

int PropertyParser::parseLine(const char* pos, char* keyBuf, int* keyLen, char* valBuf, int* valLen,
                              const char** next) const {
    if (text_ == nullptr) {
        return -1;
    }
    clear(keyBuf, keyLen);
    clear(valBuf, valLen);
    Property property;
    const char* const following = parse(pos, property);
    bool cut = property.key.data() != nullptr && deliver(property.key, keyBuf, keyLen);
    cut = (property.value.data() != nullptr && deliver(property.value, valBuf, valLen)) || cut;
    if (following == nullptr) {
        return -1;
    }
    if (next != nullptr) {
        *next = following;
    }
    return cut ? -2 : 0;
}

bool PropertyParser::isOfKey(char c) {
    return isOf(ofKey, c);
}

const char* PropertyParser::skipBlank(const char* pos) const {
    if (text_ == nullptr) {
        return "";
    }
    return advance(pos == nullptr ? text_.get() : pos);
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
            crc = crc32Of(crc, key.data(), static_cast<int>(std::strlen(key.data())));
            crc = crc32Of(crc, value.data(), static_cast<int>(std::strlen(value.data())));
        }
    }
    if (computedCrc != nullptr) {
        *computedCrc = crc;
    }
    return -1;
}

} // namespace vx
