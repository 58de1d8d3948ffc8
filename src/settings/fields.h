// The fields of records that personality files name: one description for readers, for the
// upgrade merge and for tools that show or set a live value.
#pragma once

#include <vxblade/props.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace vx {

// How a value's text becomes a field's bytes.
enum class Conversion : uint8_t {
    number8,  // "%hhu"
    number16, // "%hu"
    number32, // "%u"
    text,     // cut to size - 1 characters, the rest of the field zero
    hex,      // pairs of hexadecimal digits, without separators
    dotted,   // IPv4 address
};

// What an upgrade does with a changed default.
enum class Rule : uint8_t {
    conditional, // carried over where the live value still equals the old default
    forced,      // carried over whatever the live value is
};

struct Field {
    const char* key; // without the section's prefix
    Conversion conversion;
    Rule rule;
    uint16_t offset; // in the record
    uint16_t size;   // in bytes
};

// A section's fields: a choice among shared arrays.
using FieldGroup = std::span<const Field>;
using FieldGroups = std::span<const FieldGroup>;

template <class Member>
constexpr Conversion conversionOf() {
    if constexpr (std::is_same_v<Member, uint8_t>) {
        return Conversion::number8;
    } else if constexpr (std::is_same_v<Member, uint16_t>) {
        return Conversion::number16;
    } else if constexpr (std::is_same_v<Member, uint32_t>) {
        return Conversion::number32;
    } else if constexpr (std::is_same_v<Member, Ipv4Address>) {
        return Conversion::dotted;
    } else if constexpr (std::is_same_v<std::remove_extent_t<Member>, char>) {
        return Conversion::text;
    } else {
        static_assert(std::is_same_v<std::remove_extent_t<Member>, uint8_t>);
        return Conversion::hex;
    }
}

// A field named as its record member; conversion and size come from the member's type.
#define VX_FIELD_WITH_RULE(Record, member, rule)                                                   \
    vx::Field {                                                                                    \
#member, vx::conversionOf < decltype(Record::member)>(), rule, offsetof(Record, member),   \
            sizeof(Record::member)                                                                 \
    }
#define VX_FIELD(Record, member) VX_FIELD_WITH_RULE(Record, member, vx::Rule::conditional)
#define VX_FORCED(Record, member) VX_FIELD_WITH_RULE(Record, member, vx::Rule::forced)

// Converts `value`, a text in a buffer of propertyBufferSize bytes that holds zeros behind it,
// into the field of `record`. Conversions are sscanf's: "12abc" is 12, 300 in eight bits is 44;
// a number that does not convert leaves the field as it is.
void convertText(const Field& field, const char* value, void* record);

// True when the field is the same in both records. A text ends at its NUL or with its field.
[[nodiscard]] bool fieldsEqual(const Field& field, const void* a, const void* b);

// Copies the whole field.
void copyField(const Field& field, void* to, const void* from);

// The prefix of one of several sections: "config.passwd." and 2 give "config.passwd.2.". The final
// point keeps port 1 apart from port 10.
class NumberedPrefix {
  public:
    NumberedPrefix(const char* section, int number);
    [[nodiscard]] const char* text() const { return text_.data(); }

  private:
    std::array<char, 64> text_{};
};

// Fills `record` from the properties whose key is `prefix` followed by the key of a field. The
// first occurrence of a key counts, even where its value does not convert.
void loadFields(PropertiesHandle handle, const char* prefix, FieldGroups groups, void* record);

} // namespace vx
