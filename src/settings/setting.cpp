#include "settings/setting.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vx {

namespace {

unsigned char* memberOf(const Setting& setting, void* record) {
    return static_cast<unsigned char*>(record) + setting.offset;
}

const unsigned char* memberOf(const Setting& setting, const void* record) {
    return static_cast<const unsigned char*>(record) + setting.offset;
}

// As sscanf converts: wrap-around and leading characters included.
template <class Number>
void convertNumber(const char* value, unsigned char* member) {
    char* end = nullptr;
    auto const number = static_cast<Number>(std::strtoul(value, &end, 10));
    if (end != value) {
        std::memcpy(member, &number, sizeof number);
    }
}

// Four octets are stored whatever was converted: "10.0" is 10.0.0.0. Each is converted as a number
// of the host, so that 300 is 44.
void convertDotted(const char* value, unsigned char* member) {
    std::array<unsigned char, 4> octets{};
    for (unsigned char& octet : octets) {
        char* end = nullptr;
        long const number = std::strtol(value, &end, 10);
        if (end == value) {
            break;
        }
        octet = static_cast<unsigned char>(number);
        if (*end != '.') {
            break;
        }
        value = end + 1;
    }
    std::memcpy(member, octets.data(), octets.size());
}

constexpr std::string_view digits = "0123456789ABCDEF";

// The value of a hexadecimal digit; 16 of none.
constexpr std::array<unsigned char, 256> digitValues = [] {
    std::array<unsigned char, 256> values{};
    values.fill(16);
    for (unsigned char i = 0; i < 16; ++i) {
        values[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
        values[static_cast<unsigned char>(digits[i])] = i;
    }
    return values;
}();

// As sscanf converts two characters, which may be blanks and signs too; what does not convert
// leaves the byte as it is.
void convertPair(const char* pair, unsigned char& byte) {
    unsigned const high = digitValues[static_cast<unsigned char>(pair[0])];
    unsigned const low = digitValues[static_cast<unsigned char>(pair[1])];
    if (high < 16 && low < 16) { // nearly always, and a hundred times as fast
        byte = static_cast<unsigned char>(high << 4 | low);
        return;
    }
    std::array<char, 3> const string{pair[0], pair[1], '\0'};
    (void)std::sscanf(string.data(), "%hhx", &byte);
}

// The byte index is compared with the length of the string, not half of it: pairs past a short
// value are read from the zeros after it, convert to nothing and repeat the byte before.
void convertHex(const char* value, std::span<unsigned char> member) {
    std::size_t const bytes = std::min(member.size(), std::strlen(value));
    unsigned char byte = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        convertPair(value + 2 * i, byte);
        member[i] = byte;
    }
}

} // namespace

void convertValue(const Setting& setting, const char* value, void* record) {
    unsigned char* const bytes = memberOf(setting, record);
    switch (setting.type) {
    case Type::number8:
        convertNumber<uint8_t>(value, bytes);
        break;
    case Type::number16:
        convertNumber<uint16_t>(value, bytes);
        break;
    case Type::number32:
        convertNumber<uint32_t>(value, bytes);
        break;
    case Type::string:
        std::memset(bytes, 0, setting.size);
        std::memcpy(bytes, value, ::strnlen(value, setting.size - 1U));
        break;
    case Type::hex:
        convertHex(value, {bytes, setting.size});
        break;
    case Type::ipv4:
        convertDotted(value, bytes);
        break;
    }
}

void formatValue(const Setting& setting, const void* record, std::span<char> out) {
    const unsigned char* const bytes = memberOf(setting, record);
    uint32_t number = 0;
    switch (setting.type) {
    case Type::number8:
    case Type::number16:
    case Type::number32:
        std::memcpy(&number, bytes, setting.size); // the target is little-endian
        std::snprintf(out.data(), out.size(), "%u", number);
        break;
    case Type::string:
        std::snprintf(out.data(), out.size(), "%.*s", static_cast<int>(setting.size),
                      reinterpret_cast<const char*>(bytes));
        break;
    case Type::ipv4:
        std::snprintf(out.data(), out.size(), "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2],
                      bytes[3]);
        break;
    case Type::hex:
        for (std::size_t i = 0; i < setting.size && 2 * i + 2 < out.size(); ++i) {
            out[2 * i] = digits[bytes[i] >> 4];
            out[2 * i + 1] = digits[bytes[i] & 15];
            out[2 * i + 2] = '\0';
        }
        break;
    }
}

bool valuesEqual(const Setting& setting, const void* a, const void* b) {
    if (setting.type == Type::string) {
        return std::strncmp(reinterpret_cast<const char*>(memberOf(setting, a)),
                            reinterpret_cast<const char*>(memberOf(setting, b)), setting.size) == 0;
    }
    return std::memcmp(memberOf(setting, a), memberOf(setting, b), setting.size) == 0;
}

void copyValue(const Setting& setting, void* to, const void* from) {
    std::memcpy(memberOf(setting, to), memberOf(setting, from), setting.size);
}

} // namespace vx
