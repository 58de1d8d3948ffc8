#include "tools/defaults/text.h"

#include "props/property_pass.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <span>
#include <stdexcept>

namespace tools {

namespace {

using Texts = std::span<const std::string_view>;

// What the grammar wants where it is broken.
enum class Expected : uint8_t {
    key,
    equalsSign,
    openingQuote,
    closingQuote, // the texts are looked for in the rest of the line
    endOfLine,
};

// Where reading goes on after a fault.
enum class Resume : uint8_t { nextLine, afterText };

constexpr std::string_view byteOrderMark[] = {"\xEF\xBB\xBF"};
constexpr std::string_view utf16[] = {"\xFF\xFE", "\xFE\xFF"};
constexpr std::string_view mergeMarkers[] = {"<<<<<<<", "=======", ">>>>>>>", "|||||||"};
constexpr std::string_view foreignComments[] = {";", "//", "/*", "*", "!", "%", "REM "};
constexpr std::string_view typographicQuotes[] = {
    "\xE2\x80\x9C", "\xE2\x80\x9D", "\xE2\x80\x9E", "\xE2\x80\x9F", "\xE2\x80\x98", "\xE2\x80\x99",
    "\xE2\x80\x9A", "\xC2\xAB",     "\xC2\xBB",     "\xE2\x80\xB3", "\x93",         "\x94"};
constexpr std::string_view noBreakSpace[] = {"\xC2\xA0", "\xA0"};
constexpr std::string_view carriageReturn[] = {"\r"};
constexpr std::string_view singleQuote[] = {"'", "`"};
constexpr std::string_view doubleQuote[] = {"\""};
constexpr std::string_view colon[] = {":"};
constexpr std::string_view equalsSign[] = {"="};
constexpr std::string_view bracket[] = {"["};
constexpr std::string_view nothing[] = {"\n", "#"};
constexpr std::string_view separators[] = {";", ","};

constexpr const char* form = "write key = \"value\"";
constexpr const char* plainQuotes = "put the value between plain double quotes (\")";
constexpr const char* unixEnds = "end lines with LF";
constexpr const char* commentSign = "comments begin with #";

struct Cause {
    Texts texts; // what is there; empty: anything
    const char* message;
    const char* hint;
    Expected expected;
    Resume resume = Resume::nextLine;
};

// Where the parser stops, and the line from there on: "\n" where it ends there.
struct Stop {
    Expected expected;
    const char* place;
    std::string_view rest;
};

constexpr Cause causes[] = {
    // clang-format off
    {byteOrderMark, "a byte order mark at the beginning", "save the file without it", Expected::key, Resume::afterText},
    {mergeMarkers, "a marker of a merge", "a merge was not completed: keep what counts, delete the markers", Expected::key},
    {doubleQuote, "the key is in quotes", form, Expected::key},
    {typographicQuotes, "the key is in quotes", form, Expected::key},
    {equalsSign, "no key before the equals sign", form, Expected::key},
    {foreignComments, "neither a key nor a comment", commentSign, Expected::key},
    {bracket, "neither a key nor a comment", "sections are the first parts of keys", Expected::key},
    {noBreakSpace, "a no-break space in place of a blank", "", Expected::key},
    {{}, "no key begins so", "keys are letters, digits and the characters . _ -", Expected::key},
    {colon, "a colon in place of the equals sign", form, Expected::equalsSign},
    {nothing, "a key without equals sign and value", form, Expected::equalsSign},
    {doubleQuote, "no equals sign between key and value", form, Expected::equalsSign},
    {noBreakSpace, "a no-break space in place of a blank", "", Expected::equalsSign},
    {{}, "no equals sign after the key", "keys are letters, digits and the characters . _ -", Expected::equalsSign},
    {typographicQuotes, "a typographic quote", plainQuotes, Expected::openingQuote},
    {singleQuote, "a single quote", plainQuotes, Expected::openingQuote},
    {equalsSign, "a second equals sign", form, Expected::openingQuote},
    {nothing, "a key without a value", form, Expected::openingQuote},
    {noBreakSpace, "a no-break space in place of a blank", "", Expected::openingQuote},
    {{}, "no quote opens the value", plainQuotes, Expected::openingQuote},
    {typographicQuotes, "a typographic quote closes no value", plainQuotes, Expected::closingQuote},
    {{}, "no quote closes the value on its line", plainQuotes, Expected::closingQuote},
    {carriageReturn, "lines end with CR alone", unixEnds, Expected::endOfLine, Resume::afterText},
    {separators, "text after the value", "nothing ends a property but its line", Expected::endOfLine},
    {foreignComments, "text after the value", commentSign, Expected::endOfLine},
    {doubleQuote, "text after the value", "a value cannot hold quotes", Expected::endOfLine},
    {{}, "text after the value", "comments begin with #, and a value cannot hold quotes", Expected::endOfLine},
    // clang-format on
};

constexpr Cause hiddenLine = {{}, "CR alone does not end a comment", unixEnds, Expected::key};
constexpr Cause wide = {utf16, "the file is in UTF-16", "save it as ASCII or UTF-8", Expected::key};
constexpr Cause nul = {{}, "a NUL byte", "is the file in UTF-16?", Expected::key};
constexpr Cause longKey = {{}, "a key of 256 characters or more", "", Expected::key};

// Where a cause shows after a stop, from its place on; npos where it is not the cause.
std::size_t findCause(const Cause& cause, const Stop& stop) {
    if (cause.expected != stop.expected) {
        return std::string_view::npos;
    }
    std::size_t first = cause.texts.empty() ? 0 : std::string_view::npos;
    for (std::string_view const text : cause.texts) {
        first = std::min(first, stop.rest.find(text));
    }
    return first == 0 || stop.expected == Expected::closingQuote ? first : std::string_view::npos;
}

// Where the parser stops on the line from `begin` to `end`. A stop at the line's end is told at its
// beginning.
Stop stopAt(Expected expected, const char* begin, const char* place, const char* end) {
    return place == end ? Stop{expected, begin, "\n"}
                        : Stop{expected, place, {place, static_cast<std::size_t>(end - place)}};
}

Stop stopOf(const char* begin, const char* end, std::size_t keyLength) {
    const auto skipBlanks = [](const char* at) { return at + std::strspn(at, " \t\r"); };
    if (keyLength == 0) {
        return stopAt(Expected::key, begin, begin, end);
    }
    const char* place = skipBlanks(begin + keyLength);
    if (*place != '=') {
        return stopAt(Expected::equalsSign, begin, place, end);
    }
    place = skipBlanks(place + 1);
    if (*place != '"') {
        return stopAt(Expected::openingQuote, begin, place, end);
    }
    const char* const value = place + 1;
    const char* const closing = std::find(value, end, '"');
    if (closing == end) {
        return {Expected::closingQuote, value, {value, static_cast<std::size_t>(end - value)}};
    }
    place = skipBlanks(closing + 1);
    return stopAt(Expected::endOfLine, begin, std::find(closing, place, '\r'), end);
}

// A CR inside a comment that is no part of a line's end: who wrote it means the line to end there.
const char* findHiddenLine(const char* from, const char* to) {
    bool isInComment = false;
    for (const char* at = from; at != to; ++at) {
        isInComment = *at != '\n' && (isInComment || *at == '#');
        if (isInComment && *at == '\r' && at[1] != '\n' && at[1] != '\r' && at[1] != '\0') {
            return at;
        }
    }
    return nullptr;
}

std::string linesUnread(std::size_t count) {
    return count == 0   ? "; the line is not read"
           : count == 1 ? "; nothing after this is read (1 line)"
                        : "; nothing after this is read (" + std::to_string(count) + " lines)";
}

} // namespace

Defaults openDefaults(const std::string& text) {
    if (text.size() >= INT_MAX) {
        throw std::runtime_error("a file of 2 GiB or more is none that a blade reads");
    }
    return Defaults(propReadPropertiesBuffer(text.data(), static_cast<int>(text.size())));
}

VersionBlock versionOf(PropertiesHandle handle) {
    VersionBlock version{};
    (void)readDefaultConfigurationVersion(handle, &version);
    return version;
}

DefaultsText::DefaultsText(const std::string& text)
    : handle_(openDefaults(text)), begin_(handle_ != nullptr ? handle_->parser->text() : nullptr),
      size_(text.size()) {
    if (begin_ == nullptr) {
        throw std::bad_alloc();
    }
    end_ = begin_ + std::strlen(begin_);
    findLines();
    scan();
}

void DefaultsText::findLines() {
    lineStarts_.push_back(0);
    for (std::size_t at = 0; (at = text().find('\n', at)) != std::string_view::npos;) {
        if (++at < size_) {
            lineStarts_.push_back(at);
        }
    }
}

Position DefaultsText::positionOf(const char* place) const {
    auto const offset = static_cast<std::size_t>(place - begin_);
    auto const line = std::ranges::upper_bound(lineStarts_, offset) - lineStarts_.begin();
    return {static_cast<std::size_t>(line),
            offset - lineStarts_[static_cast<std::size_t>(line) - 1] + 1};
}

const vx::Property* DefaultsText::find(std::string_view key) const {
    auto const found = index_.find(key);
    return found != index_.end() ? &properties_[found->second] : nullptr;
}

void DefaultsText::scan() {
    if (std::ranges::find(utf16, text().substr(0, 2)) != std::end(utf16)) {
        report(wide.message, wide.hint, begin_);
        isText_ = false;
        return;
    }
    const vx::PropertyParser& parser = *handle_->parser;
    for (const char* at = begin_; at != end_;) {
        const char* const start = parser.skipBlank(at);
        if (const char* const hidden = findHiddenLine(at, start); hidden != nullptr) {
            if (isText_) {
                report(hiddenLine.message, hiddenLine.hint, hidden);
            }
            isText_ = false;
            at = hidden + 1;
            continue;
        }
        vx::Property property;
        bool const isRead = start != end_ && parser.parse(start, property) != nullptr &&
                            property.key.size() < vx::propertyBufferSize;
        at = start == end_ ? end_ : isRead ? addProperty(property) : addFault(start, property);
    }
    if (isCut() && isText_) {
        report(nul.message, nul.hint, end_);
        isText_ = false;
    }
}

// Notes a property and says where to go on: its line may end with a comment.
const char* DefaultsText::addProperty(const vx::Property& property) {
    index_.emplace(property.key, properties_.size());
    properties_.push_back(property);
    read_ += faults_.empty() ? 1 : 0;
    if (property.value.find('\n') != std::string_view::npos) {
        loseKeysOf(property.value);
    }
    return property.value.data() + property.value.size() + 1;
}

const char* DefaultsText::endOfLine(const char* place) const {
    return std::find(place, end_, '\n');
}

// Reports why the line at `begin` is not read, and says where to go on.
const char* DefaultsText::addFault(const char* begin, const vx::Property& property) {
    const char* const lineEnd = endOfLine(begin);
    loseKeysOf({begin, static_cast<std::size_t>(lineEnd - begin)});
    if (lineEnd == end_ && isCut()) {
        return end_; // by a NUL, which is the fault then
    }
    if (property.key.size() >= vx::propertyBufferSize) {
        report(longKey.message, longKey.hint, begin);
        return lineEnd;
    }
    Stop const stop = stopOf(begin, lineEnd, property.key.size());
    const Cause& cause = *std::ranges::find_if(causes, [&](const Cause& candidate) {
        return findCause(candidate, stop) != std::string_view::npos;
    });
    const char* const place = stop.place + findCause(cause, stop);
    bool const isReturn = cause.texts.data() == carriageReturn;
    if (isText_ || !isReturn) { // where each line ends so, once is enough
        report(cause.message, cause.hint, place);
    }
    isText_ = isText_ && !isReturn;
    return cause.resume == Resume::nextLine ? lineEnd : place + cause.texts.front().size();
}

void DefaultsText::report(const char* what, const char* hint, const char* place) {
    Position const position = positionOf(place);
    std::string message = what;
    if (faults_.empty()) {
        message += linesUnread(lines() - position.line);
    }
    faults_.push_back({&checks::grammar, position, message, hint});
}

void DefaultsText::loseKeysOf(std::string_view line) {
    while (!line.empty()) {
        auto const end = std::ranges::find_if_not(line, vx::PropertyParser::isOfKey);
        auto const size = static_cast<std::size_t>(end - line.begin());
        lost_.insert(line.substr(0, size));
        line.remove_prefix(std::min(size + 1, line.size()));
    }
}

} // namespace tools
