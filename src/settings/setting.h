// A setting: a key of defaults files that fills one member of a record.
#pragma once

#include <vxblade/records.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace vx {

// How a value's string becomes a member's bytes.
enum class Type : uint8_t {
    number8,  // "%hhu"
    number16, // "%hu"
    number32, // "%u"
    string,   // cut to size - 1 characters, the rest of the member zero
    hex,      // pairs of hexadecimal digits, without separators
    ipv4,     // dotted
};

// What an upgrade does with a default that changed.
enum class Rule : uint8_t {
    conditional, // carries it over where the live value still equals the old default
    forced,      // carries it over whatever the live value is
    loadedOnly,  // leaves the live value: a blade's own, it gets the default when it is made
    mergedOnly,  // conditional, but a blade that is made does not get the default
};

// What a value means to who writes or checks one; the blade takes whatever converts.
enum class Meaning : uint8_t {
    plain,         // as its type says
    toggle,        // 0 or 1
    version,       // the firmware's, the same throughout a file
    ownNumber,     // the section's number
    address,       // IPv4, of the port itself
    serverAddress, // IPv4, of a server that ports may share
    gateway,       // IPv4
    mask,          // IPv4
    mac,           // six bytes
    worldWideName, // eight bytes, of the port itself
    nodeName,      // eight bytes, of a node, whose ports may share it
    ipv6,          // sixteen bytes, of the port itself
    serverIpv6,    // sixteen bytes, of a router or server that ports may share
    iscsiName,     // "iqn.", "eui." or "naa."
};

// What else a setting is for.
enum Role : uint8_t {
    noRole = 0,
    ipv6Reader = 1, // read by the reader of its section's IPv6 settings too
    modeReader = 2, // read by the reader of the data-migration mode
    guard = 4,      // nothing of its section moves unless it still equals the old default
};

struct Setting {
    const char* key; // without the section's prefix
    Type type;
    Rule rule;
    Meaning meaning;
    uint8_t roles;   // Role
    uint16_t offset; // in the record
    uint16_t size;   // in bytes
};

// A section's settings: a choice among shared arrays.
using SettingGroup = std::span<const Setting>;
using SettingGroups = std::span<const SettingGroup>;

template <class Member>
constexpr Type typeOf() {
    if constexpr (std::is_same_v<Member, uint8_t>) {
        return Type::number8;
    } else if constexpr (std::is_same_v<Member, uint16_t>) {
        return Type::number16;
    } else if constexpr (std::is_same_v<Member, uint32_t>) {
        return Type::number32;
    } else if constexpr (std::is_same_v<Member, Ipv4Address>) {
        return Type::ipv4;
    } else if constexpr (std::is_same_v<std::remove_extent_t<Member>, char>) {
        return Type::string;
    } else {
        static_assert(std::is_same_v<std::remove_extent_t<Member>, uint8_t>);
        return Type::hex;
    }
}

constexpr bool isLoaded(const Setting& setting) {
    return setting.rule != Rule::mergedOnly;
}

// What a merge looks at.
constexpr bool isMerged(const Setting& setting) {
    return setting.rule != Rule::loadedOnly || (setting.roles & guard) != 0;
}

// Converts `value`, a string in a buffer of propertyBufferSize bytes that holds zeros after it,
// into the setting's member of `record`. Conversions are as sscanf's: "12abc" is 12, 300 in eight
// bits is 44; a number that does not convert leaves the member as it is.
void convertValue(const Setting& setting, const char* value, void* record);

// Writes the setting's value in `record` as a defaults file has it, NUL-terminated and cut to the
// size of `out`; formattedSize holds any.
void formatValue(const Setting& setting, const void* record, std::span<char> out);
constexpr std::size_t formattedSize(const Setting& setting) {
    return setting.type == Type::string ? setting.size + 1U
           : setting.type == Type::hex  ? 2U * setting.size + 1
                                        : sizeof "255.255.255.255";
}

// True when the setting is the same in both records. A string ends at its NUL or with its member.
[[nodiscard]] bool valuesEqual(const Setting& setting, const void* a, const void* b);

// Copies the whole member.
void copyValue(const Setting& setting, void* to, const void* from);

} // namespace vx
