#include "tools/defaults/seal.h"

#include "common/files.h"
#include "tools/base/files.h"
#include "tools/defaults/lint.h"
#include "tools/defaults/text.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

namespace tools {

namespace {

// A part of a text and what takes its place.
struct Edit {
    std::size_t begin;
    std::size_t size;
    std::string text;
};

std::size_t offsetOf(const DefaultsText& text, const char* place) {
    return static_cast<std::size_t>(place - text.text().data());
}

// The first seal gets its value, the others go with their lines.
std::vector<Edit> editsOf(const DefaultsText& text, const std::string& seal) {
    std::vector<Edit> edits;
    for (const vx::Property& property : text.properties()) {
        if (property.key != sealKey) {
            continue;
        }
        std::size_t const value = offsetOf(text, property.value.data());
        if (edits.empty()) {
            edits.push_back({value, property.value.size(), seal});
            continue;
        }
        std::size_t const begin = offsetOf(text, property.key.data());
        std::size_t const end = text.text().find('\n', value + property.value.size());
        edits.push_back({begin, std::min(end, text.text().size() - 1) + 1 - begin, ""});
    }
    return edits;
}

std::string lineOf(const DefaultsText& text, const std::string& seal) {
    bool const isCrLf = text.text().find("\r\n") != std::string_view::npos;
    bool const isOpen = !text.text().ends_with('\n');
    std::string const end = isCrLf ? "\r\n" : "\n";
    return (isOpen ? end : "") + std::string(sealKey) + " = \"" + seal + '"' + end;
}

} // namespace

std::string sealText(const std::string& unsealed) {
    DefaultsText const text(unsealed);
    std::string const seal = sealDigits(lint(text).computedSeal);
    std::string sealed = unsealed;
    std::vector<Edit> edits = editsOf(text, seal);
    if (edits.empty()) {
        return sealed + lineOf(text, seal);
    }
    for (auto edit = edits.rbegin(); edit != edits.rend(); ++edit) { // the last first: places stay
        sealed.replace(edit->begin, edit->size, edit->text);
    }
    return sealed;
}

Sealing sealFile(const std::filesystem::path& path) {
    std::string const text = readText(path);
    Lint const before = lint(DefaultsText(text));
    Sealing sealing{{}, false, before.computedSeal};
    bool isSealed = true;
    for (const Finding& finding : before.findings) {
        if (isOfSeal(finding)) {
            isSealed = false;
        } else if (finding.check->severity == Severity::error) {
            sealing.errors.push_back(finding);
        }
    }
    if (isSealed || !sealing.errors.empty()) {
        return sealing;
    }
    std::string const sealed = sealText(text);
    std::filesystem::path const file = std::filesystem::canonical(path);
    if (vx::replaceContent(file.c_str(), sealed.data(), sealed.size()) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + file.string());
    }
    sealing.isNew = true;
    return sealing;
}

} // namespace tools
