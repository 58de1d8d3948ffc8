// The text of a defaults file: its properties with their places, and where a blade stops to read.
#pragma once

#include "props/property_parser.h"
#include "tools/base/finding.h"

#include <vxblade/settings.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

inline constexpr std::string_view sealKey = "properties.file.crc32";

struct CloseDefaults {
    void operator()(PropertiesHandle handle) const { propClosePropertiesFile(handle); }
};
using Defaults = std::unique_ptr<PropertiesHandleRecord, CloseDefaults>;

// A defaults file's text, open. Throws std::runtime_error where it is too large for a blade.
Defaults openDefaults(const std::string& text);

// The version and the product that a blade reads.
VersionBlock versionOf(PropertiesHandle handle);

// Every view and every pointer is into the text that the object holds.
class DefaultsText {
  public:
    explicit DefaultsText(const std::string& text);

    // The properties in their order. A blade reads those before the first fault; the others are
    // what it would read if each line with a fault were not there.
    [[nodiscard]] const std::vector<vx::Property>& properties() const { return properties_; }
    [[nodiscard]] std::size_t propertiesRead() const { return read_; }
    // The first property of a key, the one that counts; null where there is none.
    [[nodiscard]] const vx::Property* find(std::string_view key) const;

    // Where the grammar is broken, and why.
    [[nodiscard]] const Findings& faults() const { return faults_; }
    // True for a key that is not missing but not read: a line with a fault names it, or the file is
    // no text or cut short, so that nobody knows.
    [[nodiscard]] bool isLost(std::string_view key) const {
        return !isText_ || isCutShort() || lost_.contains(key);
    }
    // False for what only looks like lines of properties: UTF-16, NULs, lines that end with CR.
    [[nodiscard]] bool isText() const { return isText_; }

    // True where the last line has a fault and no end: what should follow is lost.
    [[nodiscard]] bool isCutShort() const {
        return !faults_.empty() && faults_.back().place.line == lines() && !text().ends_with('\n');
    }

    [[nodiscard]] std::string_view text() const { return {begin_, size_}; }
    [[nodiscard]] Position positionOf(const char* place) const;
    [[nodiscard]] std::size_t lines() const { return lineStarts_.size(); }
    // The beginning of the last line.
    [[nodiscard]] const char* lastLine() const { return begin_ + lineStarts_.back(); }

    // The version that a blade reads, and the seal: both values as propGetCrc gives them.
    [[nodiscard]] PropertiesHandle handle() const { return handle_.get(); }

  private:
    void findLines();
    void scan();
    const char* addProperty(const vx::Property& property);
    const char* addFault(const char* begin, const vx::Property& property);
    void report(const char* what, const char* hint, const char* place);
    [[nodiscard]] bool isCut() const { return end_ != begin_ + size_; }
    [[nodiscard]] const char* endOfLine(const char* place) const;
    void loseKeysOf(std::string_view line);

    Defaults handle_;
    const char* begin_;
    std::size_t size_;
    const char* end_; // the first NUL
    std::vector<std::size_t> lineStarts_;
    std::vector<vx::Property> properties_;
    std::map<std::string_view, std::size_t> index_; // of the first property of a key
    std::size_t read_ = 0;
    Findings faults_;
    std::set<std::string_view> lost_;
    bool isText_ = true;
};

} // namespace tools
