#include "tools/base/forms.h"

#include "props/property_pass.h"
#include "tools/base/values.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>

namespace tools {

namespace {

using vx::Meaning;
using vx::Setting;
using vx::Type;
using Wrong = std::optional<ValueFinding>;

constexpr std::size_t longestValue = vx::propertyBufferSize - 1;
constexpr std::size_t notFound = std::string_view::npos;
constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";

std::string_view trimmed(std::string_view value) {
    std::size_t const begin = std::min(value.find_first_not_of(' '), value.size());
    return value.substr(begin, value.find_last_not_of(' ') + 1 - begin);
}

// The number that decimal digits give, at most the largest of 32 bits plus one.
uint64_t numberOf(std::string_view decimal) {
    constexpr uint64_t tooLarge = uint64_t{std::numeric_limits<uint32_t>::max()} + 1;
    uint64_t number = 0;
    for (char const c : decimal) {
        number = std::min(10 * number + static_cast<uint64_t>(c - '0'), tooLarge);
    }
    return number;
}

// A blade's long has 32 bits: a number beyond them converts to the largest, which a machine with
// longer ones is told here.
std::string_view forBlade(const Setting& setting, std::string_view value) {
    std::string_view decimal = trimmed(value);
    bool const isSigned = decimal.starts_with('-') || decimal.starts_with('+');
    decimal.remove_prefix(isSigned ? 1 : 0);
    decimal = decimal.substr(0, decimal.find_first_not_of(digits));
    bool const isTooLong = numberOf(decimal) > std::numeric_limits<uint32_t>::max();
    return setting.type <= Type::number32 && isTooLong ? "4294967295" : value;
}

// How much a blade reads of an octet beyond 31 bits is its C library's.
bool isHuge(const Setting& setting, std::string_view value) {
    return setting.type == Type::ipv4 && value.size() > std::string_view("255.255.255.255").size();
}

std::string readText(const Setting& setting, std::string_view value) {
    return isHuge(setting, value)
               ? ""
               : "; a blade reads " + valueOf(setting, readAs(setting, value).data());
}

// --- Forms by type, of a value without blanks around it. The offset is in that.

Wrong wrongNumber(const Setting& setting, std::string_view value) {
    if (std::size_t const other = value.find_first_not_of(digits);
        other != notFound || value.empty()) {
        return {{&checks::number, value.empty() ? 0 : other,
                 inQuotes(value) + " is no decimal number", "write digits alone"}};
    }
    uint64_t const largest = (uint64_t{1} << (8 * setting.size)) - 1;
    if (numberOf(value) > largest) {
        return {{&checks::number, 0,
                 std::string(value.substr(0, 40)) + " does not fit " +
                     std::to_string(8 * setting.size) + " bits (0.." + std::to_string(largest) +
                     ")",
                 ""}};
    }
    bool const isToggle = setting.meaning == Meaning::toggle;
    return isToggle && numberOf(value) > 1
               ? Wrong{{&checks::toggle, 0, inQuotes(value) + " is neither 0 nor 1", ""}}
               : std::nullopt;
}

Wrong wrongAddress(const Setting& setting, std::string_view value) {
    const char* const name = setting.meaning == Meaning::mask ? "mask" : "address";
    std::size_t at = 0;
    for (int octet = 0; octet < 4; ++octet) {
        std::string_view const number = value.substr(at, value.find_first_not_of(digits, at) - at);
        if (number.empty()) {
            break;
        }
        if (numberOf(number) > 255) {
            return {{&checks::ipv4, at, inQuotes(number) + " does not fit 0..255", ""}};
        }
        at += number.size();
        if (octet == 3 && at == value.size()) {
            return std::nullopt;
        }
        if (octet == 3 || at == value.size() || value[at] != '.') {
            break;
        }
        ++at;
    }
    return {{&checks::ipv4, at < value.size() ? at : 0, inQuotes(value) + " is no IPv4 " + name,
             "write four numbers of 0 to 255 with points"}};
}

Wrong wrongHex(const Setting& setting, std::string_view value) {
    std::size_t const wanted = std::size_t{2} * setting.size;
    std::string const hint = "write " + std::to_string(wanted) + " digits without separators";
    if (std::size_t const other = value.find_first_not_of(hexDigits); other != notFound) {
        return {
            {&checks::hex, other, inQuotes(value) + " holds what is no hexadecimal digit", hint}};
    }
    return value.size() != wanted ? Wrong{{&checks::hex, 0,
                                           std::to_string(value.size()) + " digits in place of " +
                                               std::to_string(wanted),
                                           hint}}
                                  : std::nullopt;
}

Wrong wrongForm(const Setting& setting, std::string_view value) {
    switch (setting.type) {
    case Type::number8:
    case Type::number16:
    case Type::number32:
        return wrongNumber(setting, value);
    case Type::ipv4:
        return wrongAddress(setting, value);
    case Type::hex:
        return wrongHex(setting, value);
    case Type::string:
        break;
    }
    return std::nullopt;
}

// --- What a value means. The form is right.

bool isContiguous(std::string_view value) {
    uint32_t mask = 0;
    for (std::size_t at = 0; at < value.size();) {
        std::size_t const end = std::min(value.find('.', at), value.size());
        mask = (mask << 8) | static_cast<uint32_t>(numberOf(value.substr(at, end - at)));
        at = end + 1;
    }
    uint32_t const hosts = ~mask;
    return (hosts & (hosts + 1)) == 0;
}

bool isMulticast(std::string_view mac) {
    return std::string_view("13579bdfBDF").find(mac[1]) != notFound;
}

// "iqn.", year and month, the domain backwards and what its owner adds after a colon; "eui." and
// "naa." and their digits.
bool isIscsiName(std::string_view name) {
    constexpr std::string_view pattern = "iqn.####-##.";
    if (name.starts_with("eui.") || name.starts_with("naa.")) {
        std::size_t const count = name.size() - 4;
        bool const isLong = name.starts_with("naa.") && count == 32;
        return name.find_first_not_of(hexDigits, 4) == notFound && (count == 16 || isLong);
    }
    bool good = name.size() > pattern.size();
    for (std::size_t i = 0; good && i < pattern.size(); ++i) {
        good = pattern[i] == '#' ? digits.find(name[i]) != notFound : name[i] == pattern[i];
    }
    std::string_view const month = good ? name.substr(9, 2) : "00";
    return good && month >= "01" && month <= "12" &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-.:") == notFound &&
           name[pattern.size()] != '.' && name[pattern.size()] != ':';
}

std::optional<ValueFinding> oddMeaning(const Setting& setting, uint32_t number,
                                       std::string_view value) {
    std::string const shown = inQuotes(value);
    switch (setting.meaning) {
    case Meaning::ownNumber:
        return numberOf(value) == number
                   ? Wrong{}
                   : Wrong{{&checks::ownNumber, 0,
                            shown + " is not the number of its section, " + std::to_string(number),
                            ""}};
    case Meaning::mask:
        return isContiguous(value) ? Wrong{}
                                   : Wrong{{&checks::mask, 0, shown + " is not contiguous", ""}};
    case Meaning::mac:
        return isMulticast(value)
                   ? Wrong{{&checks::multicast, 0, shown + " is a multicast address", ""}}
                   : Wrong{};
    case Meaning::iscsiName:
        return isIscsiName(value)
                   ? Wrong{}
                   : Wrong{{&checks::iscsiName, 0, shown + " is no iSCSI name",
                            "iqn.YYYY-MM.domain:name, eui. or naa. and digits, in lower case"}};
    case Meaning::version:
        return value.empty() ? Wrong{{&checks::noVersion, 0, "an empty version",
                                      "an upgrade is known by its version"}}
                             : Wrong{};
    default:
        return {};
    }
}

bool hasLeadingZero(std::string_view value, std::size_t& offset) {
    for (offset = 0; offset + 1 < value.size(); ++offset) {
        bool const isFirst = offset == 0 || value[offset - 1] == '.';
        if (isFirst && value[offset] == '0' && value[offset + 1] != '.') {
            return true;
        }
    }
    return false;
}

bool isControl(char c) {
    auto const byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

bool isNonAscii(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}

// What no value may hold, whatever its setting.
Wrong wrongText(const Setting& setting, std::string_view value) {
    auto const control = std::ranges::find_if(value, isControl);
    if (control != value.end()) {
        return {
            {&checks::control, static_cast<std::size_t>(control - value.begin()),
             *control == '\n' ? "a line break in the value" : "a control character in the value",
             ""}};
    }
    std::size_t const room = setting.type == Type::string
                                 ? std::min<std::size_t>(setting.size - 1U, longestValue)
                                 : longestValue;
    if (value.size() > room) {
        return {{value.size() > longestValue ? &checks::longValue : &checks::longText, 0,
                 std::to_string(value.size()) + " characters do not fit " + std::to_string(room) +
                     "; a blade reads the first " + std::to_string(room),
                 ""}};
    }
    return std::nullopt;
}

void addStyle(const Setting& setting, std::string_view value, std::string_view core,
              std::vector<ValueFinding>& findings) {
    std::size_t offset = 0;
    if (core.size() != value.size()) {
        bool const isBefore = value.front() == ' ';
        findings.push_back(
            {&checks::blanksInQuotes, isBefore ? 0 : core.size(),
             isBefore ? "blanks after the opening quote" : "blanks before the closing quote", ""});
    }
    bool const isDecimal = setting.type <= Type::number32 || setting.type == Type::ipv4;
    if (isDecimal && hasLeadingZero(core, offset)) {
        findings.push_back({&checks::leadingZeros,
                            offset + static_cast<std::size_t>(core.data() - value.data()),
                            "leading zeros; a blade reads decimal numbers", ""});
    }
    if (auto const other = std::ranges::find_if(value, isNonAscii); other != value.end()) {
        findings.push_back({&checks::nonAscii, static_cast<std::size_t>(other - value.begin()),
                            "a character that is not ASCII", ""});
    }
}

} // namespace

std::vector<std::byte> readAs(const Setting& setting, std::string_view value) {
    std::vector<std::byte> record(std::size_t{setting.offset} + setting.size);
    std::array<char, vx::propertyBufferSize> text{};
    forBlade(setting, value).copy(text.data(), longestValue);
    vx::convertValue(setting, text.data(), record.data());
    return record;
}

std::vector<ValueFinding> examineValue(const Setting& setting, uint32_t number,
                                       std::string_view value) {
    if (Wrong const text = wrongText(setting, value); text.has_value()) {
        return {*text};
    }
    std::string_view const core = setting.type == Type::string ? value : trimmed(value);
    Wrong wrong = wrongForm(setting, core);
    auto const before = static_cast<std::size_t>(core.data() - value.data());
    if (!wrong.has_value() && readAs(setting, value) != readAs(setting, core)) {
        wrong = {{&checks::hex, 0, "blanks before the digits", ""}};
    } else if (wrong.has_value()) {
        wrong->offset += before;
    }
    if (wrong.has_value()) {
        wrong->message += readText(setting, value);
        return {*wrong};
    }
    std::vector<ValueFinding> findings;
    if (Wrong const odd = oddMeaning(setting, number, trimmed(value)); odd.has_value()) {
        findings.push_back(*odd);
    }
    addStyle(setting, value, trimmed(value), findings);
    return findings;
}

std::string printable(std::string_view text) {
    std::string shown(text);
    std::ranges::replace_if(shown, isControl, '?');
    return shown;
}

std::string inQuotes(std::string_view text) {
    constexpr std::size_t longest = 48;
    return '"' + printable(text.substr(0, longest)) + (text.size() > longest ? "...\"" : "\"");
}

} // namespace tools
