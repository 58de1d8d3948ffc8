#include "tools/personality.h"

#include "props/property_pass.h"
#include "tools/files.h"

#include <vxblade/props.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <stdexcept>

namespace tools {

namespace {

constexpr const char* crcKey = "properties.file.crc32";

std::size_t lineNumber(const std::string& text, std::size_t position) {
    auto const end = text.begin() + static_cast<std::ptrdiff_t>(position);
    return static_cast<std::size_t>(std::count(text.begin(), end, '\n')) + 1;
}

bool isCrcLine(const std::string& text, std::size_t begin) {
    std::size_t const length = std::strlen(crcKey);
    return text.compare(begin, length, crcKey) == 0 && begin + length < text.size() &&
           std::strchr(" \t\r=", text[begin + length]) != nullptr;
}

} // namespace

Defaults openDefaults(const std::string& text) {
    return Defaults(propReadPropertiesBuffer(text.data(), static_cast<int>(text.size())));
}

PersonalityReport examinePersonality(const std::string& text) {
    PersonalityReport report;
    Defaults const handle = openDefaults(text);
    std::set<std::string> keys;
    vx::PropertyPass pass(handle.get());
    while (pass.next()) {
        ++report.properties;
        if (!keys.emplace(pass.key()).second) {
            report.problems.push_back("repeated key " + std::string(pass.key()) +
                                      ": only its first value counts");
        }
        if (pass.value().size() == vx::propertyBufferSize - 1) {
            report.problems.push_back("value of " + std::string(pass.key()) +
                                      " has 255 characters or more and is cut");
        }
    }
    if (auto const nul = text.find('\0'); nul != std::string::npos) {
        report.problems.push_back("line " + std::to_string(lineNumber(text, nul)) +
                                  ": a NUL byte; nothing from here on is read");
    }
    if (std::size_t const unread = std::strlen(pass.rest()); unread > 0) {
        std::size_t const line = lineNumber(text, std::strlen(text.c_str()) - unread);
        report.problems.push_back("line " + std::to_string(line) +
                                  ": not a property; nothing from here on is read");
    }
    VersionBlock version{};
    (void)readDefaultConfigurationVersion(handle.get(), &version);
    report.version = version.version;
    report.product = version.product;
    if (report.version.empty()) {
        report.problems.emplace_back("no properties.file.version");
    }
    unsigned long stored = 0;
    unsigned long computed = 0;
    (void)propGetCrc(handle.get(), &stored, &computed);
    report.storedCrc = static_cast<uint32_t>(stored);
    report.computedCrc = static_cast<uint32_t>(computed);
    report.sealed = keys.contains(crcKey);
    if (report.sealed && stored != computed) {
        report.problems.emplace_back("the file's CRC does not match its content");
    }
    return report;
}

void sealPersonality(const std::filesystem::path& path) {
    std::string text = readText(path);
    std::string sealed;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        if (!isCrcLine(text, begin)) {
            sealed.append(text, begin, end - begin);
        }
        begin = end;
    }
    PersonalityReport const report = examinePersonality(sealed);
    if (!report.problems.empty()) {
        throw std::runtime_error(path.string() + ": " + report.problems.front());
    }
    if (!sealed.empty() && sealed.back() != '\n') {
        sealed += '\n';
    }
    std::array<char, 64> line{};
    std::snprintf(line.data(), line.size(), "%s = \"%08x\"\n", crcKey, report.computedCrc);
    installText(sealed + line.data(), path);
}

} // namespace tools
