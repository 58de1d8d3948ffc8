#include "net/proc_net.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace vx {

namespace {

constexpr std::string_view blanks = " \t\n\r";

// All of `text` is one number: no sign, no prefix, no blanks, and no more digits than fit.
std::optional<uint32_t> parseHex(std::string_view text, std::size_t maxDigits = 8) {
    if (text.empty() || text.size() > maxDigits) {
        return std::nullopt;
    }
    uint32_t value = 0;
    for (char const c : text) {
        uint32_t digit = 0;
        if (c >= '0' && c <= '9') {
            digit = static_cast<uint32_t>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            digit = static_cast<uint32_t>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            digit = static_cast<uint32_t>(c - 'A' + 10);
        } else {
            return std::nullopt;
        }
        value = value << 4 | digit;
    }
    return value;
}

// The kernel prints metrics from 2^31 on as negative numbers.
bool isDecimal(std::string_view text) {
    if (text.starts_with('-')) {
        text.remove_prefix(1);
    }
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string_view from(std::string_view text, std::size_t position) {
    return text.substr(std::min(position, text.size()));
}

// Takes the next field off `rest`; empty when there is none.
std::string_view takeField(std::string_view& rest) {
    rest = from(rest, rest.find_first_not_of(blanks));
    std::string_view const field = rest.substr(0, rest.find_first_of(blanks));
    rest.remove_prefix(field.size());
    return field;
}

std::optional<uint32_t> parseHexAt(std::string_view line, std::size_t column) {
    std::string_view const text = from(line, column);
    return parseHex(text.substr(0, text.find_first_of(blanks)));
}

// Fills the whole field; its last byte is always a NUL.
template <std::size_t size>
void copyName(char (&field)[size], std::string_view name) {
    std::size_t const length = ::strnlen(name.data(), std::min(name.size(), size - 1));
    std::memcpy(field, name.data(), length);
    std::memset(field + length, 0, size - length);
}

enum class FieldKind { text, hexadecimal, decimal };

// Interface, destination, gateway, flags, reference count, use, metric, mask, MTU, window, IRTT.
using enum FieldKind;
constexpr FieldKind route4Fields[] = {text,    text, hexadecimal, hexadecimal, decimal, decimal,
                                      decimal, text, decimal,     decimal,     decimal};
constexpr std::size_t route4FieldSize = 16;

} // namespace

std::optional<Route4> parseRoute4(std::string_view line) {
    std::array<std::string_view, std::size(route4Fields)> fields;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        std::string_view const field = takeField(line);
        if (field.empty() || field.size() > route4FieldSize ||
            (route4Fields[i] == hexadecimal && !parseHex(field)) ||
            (route4Fields[i] == decimal && !isDecimal(field))) {
            return std::nullopt;
        }
        fields[i] = field;
    }
    return Route4{fields[0], *parseHex(fields[2]), *parseHex(fields[3])};
}

std::optional<Inet6Address> parseInet6Address(std::string_view text) {
    if (text.size() < inet6Digits) {
        return std::nullopt;
    }
    Inet6Address address{};
    for (std::size_t i = 0; i < address.size(); ++i) {
        auto const byte = parseHex(from(text, 2 * i).substr(0, 2));
        if (!byte) {
            return std::nullopt;
        }
        address[i] = static_cast<uint8_t>(*byte);
    }
    return address;
}

bool parseInterfaceFields(std::string_view text, VXNetInterfaceParams& record) {
    constexpr std::size_t maxDigits = 2;
    constexpr std::size_t maxName = 8;
    if (text.empty() || blanks.find(text.front()) == std::string_view::npos) {
        return false; // the address goes on
    }
    std::array<uint32_t, 4> numbers{};
    for (uint32_t& number : numbers) {
        auto const value = parseHex(takeField(text), maxDigits);
        if (!value) {
            return false;
        }
        number = *value;
    }
    std::string_view const name = takeField(text).substr(0, maxName);
    if (name.empty() || !takeField(text).empty()) {
        return false;
    }
    record.index = numbers[0];
    record.prefixLength = numbers[1];
    record.scope = numbers[2];
    record.flags = numbers[3];
    copyName(record.name, name);
    return true;
}

Route6Fault parseRoute6(std::string_view line, VXNetRouteEntry6& record) {
    constexpr std::size_t prefixLengthColumn = 33;
    constexpr std::size_t nextHopColumn = 72;
    constexpr std::size_t flagsColumn = 132;
    constexpr std::size_t nameColumn = 141;
    auto const destination = parseInet6Address(line);
    if (!destination) {
        return Route6Fault::destination;
    }
    auto const prefixLength = parseHexAt(line, prefixLengthColumn);
    if (!prefixLength) {
        return Route6Fault::prefixLength;
    }
    auto const nextHop = parseInet6Address(from(line, nextHopColumn));
    if (!nextHop) {
        return Route6Fault::nextHop;
    }
    auto const flags = parseHexAt(line, flagsColumn);
    if (!flags) {
        return Route6Fault::flags;
    }
    std::memcpy(record.destination, destination->data(), destination->size());
    record.prefixLength = *prefixLength;
    std::memcpy(record.nextHop, nextHop->data(), nextHop->size());
    record.flags = *flags;
    std::string_view const name = from(line, nameColumn);
    copyName(record.name, from(name, name.find_first_not_of(blanks)));
    return Route6Fault::none;
}

std::string_view trimmed(std::string_view text) {
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

bool isInterface(std::string_view name, const char* ifname) {
    return ifname != nullptr && !name.empty() && name == ifname;
}

} // namespace vx
