#include "settings/fields.h"

#include "props/property_pass.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdio>
#include <cstring>

namespace vx {

namespace {

unsigned char* fieldOf(const Field& field, void* record) {
    return static_cast<unsigned char*>(record) + field.offset;
}

const unsigned char* fieldOf(const Field& field, const void* record) {
    return static_cast<const unsigned char*>(record) + field.offset;
}

// sscanf is the definition of these conversions: wrap-around and leading text included.
template <class Number>
void convertNumber(const char* value, const char* format, unsigned char* field) {
    Number number = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (std::sscanf(value, format, &number) == 1) {
#pragma GCC diagnostic pop
        std::memcpy(field, &number, sizeof number);
    }
}

// Four octets are stored whatever was converted: "10.0" is 10.0.0.0.
void convertDotted(const char* value, unsigned char* field) {
    std::array<signed char, 4> octets{};
    (void)std::sscanf(value, "%hhd.%hhd.%hhd.%hhd", &octets[0], &octets[1], &octets[2], &octets[3]);
    std::memcpy(field, octets.data(), octets.size());
}

// The byte index is held against the length of the text, not half of it: pairs past a short
// value are read from the zeros behind it, convert to nothing and repeat the byte before.
void convertHex(const char* value, std::span<unsigned char> field) {
    std::size_t const bytes = std::min(field.size(), std::strlen(value));
    unsigned char byte = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        std::array<char, 3> const pair{value[2 * i], value[2 * i + 1], '\0'};
        (void)std::sscanf(pair.data(), "%hhx", &byte);
        field[i] = byte;
    }
}

} // namespace

void convertText(const Field& field, const char* value, void* record) {
    unsigned char* const bytes = fieldOf(field, record);
    switch (field.conversion) {
    case Conversion::number8:
        convertNumber<uint8_t>(value, "%hhu", bytes);
        break;
    case Conversion::number16:
        convertNumber<uint16_t>(value, "%hu", bytes);
        break;
    case Conversion::number32:
        convertNumber<uint32_t>(value, "%u", bytes);
        break;
    case Conversion::text:
        std::memset(bytes, 0, field.size);
        std::memcpy(bytes, value, ::strnlen(value, field.size - 1U));
        break;
    case Conversion::hex:
        convertHex(value, {bytes, field.size});
        break;
    case Conversion::dotted:
        convertDotted(value, bytes);
        break;
    }
}

bool fieldsEqual(const Field& field, const void* a, const void* b) {
    if (field.conversion == Conversion::text) {
        return std::strncmp(reinterpret_cast<const char*>(fieldOf(field, a)),
                            reinterpret_cast<const char*>(fieldOf(field, b)), field.size) == 0;
    }
    return std::memcmp(fieldOf(field, a), fieldOf(field, b), field.size) == 0;
}

void copyField(const Field& field, void* to, const void* from) {
    std::memcpy(fieldOf(field, to), fieldOf(field, from), field.size);
}

NumberedPrefix::NumberedPrefix(const char* section, int number) {
    std::snprintf(text_.data(), text_.size(), "%s%d.", section, number);
}

void loadFields(PropertiesHandle handle, const char* prefix, FieldGroups groups, void* record) {
    std::bitset<128> met; // by position in the selection; the largest section has some 70 fields
    std::size_t const prefixLength = std::strlen(prefix);
    for (PropertyPass pass(handle); pass.next();) {
        if (std::strncmp(pass.key(), prefix, prefixLength) != 0) {
            continue;
        }
        const char* const suffix = pass.key() + prefixLength;
        std::size_t position = 0;
        for (FieldGroup const group : groups) {
            for (const Field& field : group) {
                if (std::strcmp(suffix, field.key) == 0 && !met.test(position)) {
                    met.set(position);
                    convertText(field, pass.value(), record);
                }
                ++position;
            }
        }
    }
}

} // namespace vx
