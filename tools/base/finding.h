// What is found in a defaults file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tools {

enum class Severity : uint8_t { warning, error };

// One thing that is looked for. Scripts know it by its name, which stays.
struct Check {
    const char* name;
    Severity severity;
};

// A place in a text: both count from 1, columns in bytes.
struct Position {
    std::size_t line = 1;
    std::size_t column = 1;

    friend auto operator<=>(const Position&, const Position&) = default;
};

struct Finding {
    const Check* check;
    Position place;
    std::string message; // what is wrong, and what a blade makes of it
    std::string hint;    // what to do; may be empty
};
using Findings = std::vector<Finding>;

namespace checks {

// clang-format off
// A text that no blade reads as it is written.
inline constexpr Check grammar        {"grammar", Severity::error};
inline constexpr Check empty          {"empty", Severity::error};
inline constexpr Check repeatedKey    {"repeated-key", Severity::error};
inline constexpr Check longValue      {"long-value", Severity::error};
// Keys.
inline constexpr Check unknownKey     {"unknown-key", Severity::error};
inline constexpr Check unknownNumber  {"unknown-number", Severity::error};
inline constexpr Check unknownSection {"unknown-section", Severity::error};
inline constexpr Check otherSection   {"other-section", Severity::error};
inline constexpr Check otherCase      {"other-case", Severity::error};
inline constexpr Check missingKey     {"missing-key", Severity::error};
inline constexpr Check missingSection {"missing-section", Severity::error};
// Values.
inline constexpr Check control        {"control-character", Severity::error};
inline constexpr Check longText       {"long-text", Severity::error};
inline constexpr Check number         {"number", Severity::error};
inline constexpr Check toggle         {"switch", Severity::error};
inline constexpr Check ipv4           {"ipv4", Severity::error};
inline constexpr Check hex            {"hexadecimal", Severity::error};
inline constexpr Check noVersion      {"version", Severity::error};
// The seal.
inline constexpr Check sealMissing    {"seal-missing", Severity::error};
inline constexpr Check sealWrong      {"seal-wrong", Severity::error};
inline constexpr Check sealMalformed  {"seal-malformed", Severity::error};
inline constexpr Check sealRepeated   {"seal-repeated", Severity::error};
// What fits together.
inline constexpr Check mask           {"mask", Severity::warning};
inline constexpr Check gateway        {"gateway", Severity::warning};
inline constexpr Check sameIdentity   {"same-identity", Severity::warning};
inline constexpr Check ownNumber      {"own-number", Severity::warning};
inline constexpr Check multicast      {"multicast", Severity::warning};
inline constexpr Check iscsiName      {"iscsi-name", Severity::warning};
inline constexpr Check otherVersion   {"software-version", Severity::warning};
// Style.
inline constexpr Check lineEnds       {"line-ends", Severity::warning};
inline constexpr Check lastLine       {"last-line", Severity::warning};
inline constexpr Check blanksAtEnd    {"blanks-at-line-end", Severity::warning};
inline constexpr Check blanksInQuotes {"blanks-in-quotes", Severity::warning};
inline constexpr Check leadingZeros   {"leading-zeros", Severity::warning};
inline constexpr Check nonAscii       {"non-ascii", Severity::warning};
// What a release does to the field.
inline constexpr Check versionKept    {"version-not-raised", Severity::error};
inline constexpr Check olderVersion   {"older-version", Severity::error};
inline constexpr Check otherProduct   {"product-changed", Severity::error};
inline constexpr Check dropped        {"key-dropped", Severity::error};
inline constexpr Check forcedChanged  {"forced-changed", Severity::warning};
inline constexpr Check neverMerged    {"never-merged", Severity::warning};
inline constexpr Check gigeIntoIscsi  {"gige-into-iscsi", Severity::warning};
inline constexpr Check guardChanged   {"management-address", Severity::warning};
// clang-format on

} // namespace checks

} // namespace tools
