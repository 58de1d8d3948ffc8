#include "upgrade/change_report.h"

#include "common/files.h"
#include "settings/loading.h"
#include "settings/saved_files.h"
#include "upgrade/report.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace vx {

namespace {

// Three values whose every character is escaped, two keys, and the last lines.
constexpr std::size_t mostOfALine = std::size_t{3} * 4 * anyValueSize + 512;

// Also of a string's end.
bool needsEscape(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\\' || c == '\x7F';
}

} // namespace

ChangeReport::ChangeReport(const VersionBlock& oldVersion, const VersionBlock& newVersion,
                           bool isResumed)
    : stream_(::open_memstream(&text_, &size_)) {
    if (stream_ == nullptr) {
        return;
    }
    std::fprintf(stream_, "%s\nold", firstLine);
    putField(oldVersion.version);
    putField(oldVersion.product);
    std::fputs("\nnew", stream_);
    putField(newVersion.version);
    putField(newVersion.product);
    std::fprintf(stream_, "\ntime\t%lld\n%s", static_cast<long long>(std::time(nullptr)),
                 isResumed ? "resumed\n" : "");
}

ChangeReport::~ChangeReport() {
    if (stream_ != nullptr) {
        std::fclose(stream_);
    }
    std::free(text_);
}

void ChangeReport::add(const Change& change) {
    if (!hasRoom()) {
        return;
    }
    const char* const key = change.setting.key;
    auto const number = static_cast<int>(change.number);
    std::fprintf(stream_, "%s\t%s%s\t%s%s", actionNames[static_cast<int>(change.action)],
                 Prefix(change.section, number).string(), key,
                 Prefix(sectionOf(change.record), number).string(), key);
    for (const void* const record : {change.live, change.oldDefaults, change.newDefaults}) {
        ValueString value{};
        formatValue(change.setting, record, value);
        putField(value.data());
    }
    std::fputc('\n', stream_);
}

void ChangeReport::addFailure(const Section& section, uint32_t number, int result) {
    if (hasRoom()) {
        std::fprintf(stream_, "FAILED\t%s\t%d\n",
                     Prefix(section, static_cast<int>(number)).string(), result);
    }
}

void ChangeReport::install() {
    if (stream_ == nullptr) {
        return;
    }
    if (omitted_ > 0) {
        std::fprintf(stream_, "omitted\t%u\n", omitted_);
    }
    std::fputs("end\n", stream_);
    bool const isWhole = std::fclose(stream_) == 0;
    stream_ = nullptr;
    if (!isWhole || replaceFile(upgradeReport, text_, size_) != 0) {
        report("ChangeReport", 1562, "What was done could not be noted in %s: %s\n", upgradeReport,
               std::strerror(errno));
    }
}

// A line for which there is no room is left out, whole.
bool ChangeReport::hasRoom() {
    if (stream_ == nullptr) {
        return false;
    }
    bool const fits = static_cast<std::size_t>(std::ftell(stream_)) + mostOfALine <= largest;
    omitted_ += fits ? 0 : 1;
    return fits;
}

void ChangeReport::putField(const char* field) {
    std::fputc('\t', stream_);
    for (;; ++field) {
        const char* const begin = field;
        while (!needsEscape(*field)) {
            ++field;
        }
        (void)std::fwrite(begin, 1, static_cast<std::size_t>(field - begin), stream_);
        if (*field == '\0') {
            return;
        }
        std::fprintf(stream_, "\\x%02X", static_cast<unsigned char>(*field));
    }
}

} // namespace vx
