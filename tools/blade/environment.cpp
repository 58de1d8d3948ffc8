#include "tools/blade/environment.h"

#include "bootenv/copies.h"
#include "common/files.h"
#include "tools/base/forms.h"
#include "tools/base/silence.h"

#include <vxblade/bootenv.h>
#include <vxblade/hw.h>
#include <vxblade/nor.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tools {

namespace {

namespace bootenv = vx::bootenv;

constexpr const char* stateNames[] = {"good", "blank", "damaged", "unreadable"};

[[noreturn]] void failOn(const std::string& path) {
    throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
}

vx::Descriptor openFlash(const std::string& path) {
    vx::Descriptor flash(vx::openFile(path.c_str(), O_RDONLY | O_NONBLOCK));
    if (!flash.ok()) {
        failOn(path);
    }
    return flash;
}

// --- The geometry, where the layer looks for it. It learns it by an open for writing, which may
// also make the node.

void setRegions(std::vector<region_info_user> regions, uint64_t size) {
    static std::vector<region_info_user> kept;
    kept = std::move(regions);
    nor_num_regions = static_cast<int32_t>(kept.size());
    kept.push_back({static_cast<uint32_t>(size), 0, 0, static_cast<uint32_t>(kept.size())});
    nor_region = kept.data();
}

void setUniform(uint64_t size, uint32_t blockSize) {
    nor_info.size = static_cast<uint32_t>(size);
    nor_info.erasesize = blockSize;
    setRegions({{0, blockSize, nor_info.size / blockSize, 0}}, size);
}

void learnGeometry(int flash) {
    int count = 0;
    if (::ioctl(flash, MEMGETINFO, &nor_info) != 0 || nor_info.erasesize == 0) {
        failOn(bootenv::flashNode);
    }
    if (::ioctl(flash, MEMGETREGIONCOUNT, &count) != 0 || count < 1 || count > NOR_REGION_LIMIT) {
        setUniform(nor_info.size, nor_info.erasesize);
        return;
    }
    std::vector<region_info_user> regions(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < regions.size(); ++i) {
        regions[i].regionindex = static_cast<uint32_t>(i);
        if (::ioctl(flash, MEMGETREGIONINFO, &regions[i]) != 0) {
            failOn(bootenv::flashNode);
        }
    }
    setRegions(std::move(regions), nor_info.size);
}

bool isPowerOfTwo(uint32_t number) {
    return number != 0 && (number & (number - 1)) == 0;
}

void measureImage(int image, const EnvironmentSource& source) {
    struct stat status {};
    if (::fstat(image, &status) != 0) {
        failOn(source.image);
    }
    if (!S_ISREG(status.st_mode) || status.st_size > UINT32_MAX ||
        !isPowerOfTwo(source.blockSize) || status.st_size % source.blockSize != 0) {
        throw std::runtime_error(source.image + " is no image of a flash with blocks of " +
                                 std::to_string(source.blockSize) + " bytes");
    }
    setUniform(static_cast<uint64_t>(status.st_size), source.blockSize);
}

// --- The places.

// The lines of a configuration name the image, or still the flash that it is of.
bool readImageLayout(const EnvironmentSource& source, bootenv::Layout& layout) {
    if (source.config.empty()) {
        return bootenv::defaultLayout(layout);
    }
    vx::Stream const config = vx::openStream(source.config.c_str());
    if (config == nullptr) {
        failOn(source.config);
    }
    if (bootenv::readLayout(config.get(), source.image.c_str(), layout)) {
        return true;
    }
    std::rewind(config.get());
    return bootenv::readLayout(config.get(), bootenv::flashNode, layout);
}

bootenv::Layout layoutOf(const EnvironmentSource& source) {
    bootenv::Layout layout{};
    const char* wrong = nullptr;
    if (source.image.empty()) {
        wrong = bootenv::findLayout(layout);
    } else if (!readImageLayout(source, layout)) {
        wrong = "no two places for copies in this image";
    }
    if (wrong != nullptr) {
        throw std::runtime_error(wrong);
    }
    return layout;
}

// --- The copies.

bool readAt(int flash, uint32_t offset, vx::Buffer& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t const count = ::pread(flash, bytes.data() + done, bytes.size() - done,
                                      static_cast<off_t>(offset + done));
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

EnvironmentCopy readCopy(int flash, uint32_t offset, vx::Buffer& image) {
    EnvironmentCopy copy{offset, CopyState::unreadable, 0, 0, 0};
    if (!readAt(flash, offset, image)) {
        return copy;
    }
    copy.storedCrc = bootenv::storedCrc(image);
    copy.computedCrc = bootenv::crcOf(image);
    copy.flag = image.data()[bootenv::flagOffset];
    copy.state = copy.storedCrc == copy.computedCrc ? CopyState::good
                 : bootenv::isBlank(image)          ? CopyState::blank
                                                    : CopyState::damaged;
    return copy;
}

int activeOf(const std::array<EnvironmentCopy, 2>& copies) {
    bootenv::Copies known;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        known[i].isValid = copies[i].state == CopyState::good;
        known[i].flag = copies[i].flag;
    }
    return bootenv::activeOf(known);
}

VariableValues variablesOf(const vx::Buffer& image) {
    bootenv::Variables const variables(image.view().substr(bootenv::stringsOffset));
    VariableValues all;
    std::string_view rest = variables.bytes().view();
    while (!rest.empty()) {
        std::string_view const text = rest.substr(0, rest.find('\0'));
        std::size_t const equals = text.find('=');
        all.emplace_back(text.substr(0, equals), text.substr(equals + 1));
        rest.remove_prefix(text.size() + 1);
    }
    return all;
}

std::string remarkOn(const Environment& environment, bool isBlade) {
    if (isBlade && vx::fileExists(bootenv::notePath)) {
        return std::string(bootenv::notePath) +
               " says that a save is under way or was cut; the next save finishes it";
    }
    auto const isBlank = [](const EnvironmentCopy& copy) { return copy.state == CopyState::blank; };
    return environment.active >= 0                            ? ""
           : std::ranges::all_of(environment.copies, isBlank) ? "no environment was ever saved"
                                                              : "no copy counts";
}

// --- A change, by the layer.

void requireWritableFlash() {
    if (!vx::Descriptor(vx::openFile(bootenv::flashNode, O_RDWR | O_NONBLOCK)).ok()) {
        std::string const why = std::strerror(errno);
        throw std::runtime_error(
            errno == EACCES ? std::string("permission denied: ") + bootenv::flashNode
                            : std::string("cannot open ") + bootenv::flashNode + ": " + why);
    }
}

void load() {
    if (vornhal_init_env(vhnor_init()) != 0) {
        throw std::runtime_error("the environment cannot be read, or is damaged");
    }
}

void saveWith(const VariableValues& variables) {
    for (auto const& [name, value] : variables) {
        if (vornhal_setenv(name.c_str(), value.c_str()) != 0) {
            throw std::runtime_error("the value does not fit into the environment");
        }
    }
    if (vornhal_saveenv() != 0) {
        throw std::runtime_error("the environment could not be saved (--verbose says more)");
    }
}

} // namespace

Environment readEnvironment(const EnvironmentSource& source) {
    bool const isBlade = source.image.empty();
    std::string const device = isBlade ? bootenv::flashNode : source.image;
    vx::Descriptor const flash = openFlash(device);
    isBlade ? learnGeometry(flash.get()) : measureImage(flash.get(), source);
    bootenv::Layout const layout = layoutOf(source);
    Environment environment{.device = device,
                            .size = layout.size,
                            .copies = {},
                            .active = -1,
                            .variables = {},
                            .remark = {}};
    std::array<vx::Buffer, 2> images{vx::Buffer(layout.size), vx::Buffer(layout.size)};
    for (std::size_t i = 0; i < images.size(); ++i) {
        environment.copies[i] = readCopy(flash.get(), layout.places[i].offset, images[i]);
    }
    environment.active = activeOf(environment.copies);
    if (environment.active >= 0) {
        environment.variables = variablesOf(images[static_cast<std::size_t>(environment.active)]);
    }
    environment.remark = remarkOn(environment, isBlade);
    return environment;
}

const std::string* findVariable(const Environment& environment, const std::string& name) {
    for (auto const& [known, value] : environment.variables) {
        if (known == name) {
            return &value;
        }
    }
    return nullptr;
}

VariableChange setVariable(const std::string& name, const std::string& value, bool isVerbose) {
    if (name.empty() || name.find('=') != std::string::npos || name != printable(name)) {
        throw std::runtime_error(inQuotes(name) + " cannot name a variable");
    }
    if (value != printable(value)) {
        throw std::runtime_error("a value holds no control character");
    }
    requireWritableFlash();
    Silence const silence(isVerbose);
    load();
    std::string before(nor_info.size, '\0'); // more than any value has
    before.resize(static_cast<std::size_t>(
        vornhal_getenv(name.c_str(), before.data(), static_cast<int>(before.size()))));
    saveWith({{name, value}});
    return {before, value};
}

void setVariables(const VariableValues& variables, bool isVerbose) {
    requireWritableFlash();
    Silence const silence(isVerbose);
    load();
    saveWith(variables);
}

void printText(const Environment& environment) {
    for (std::size_t i = 0; i < environment.copies.size(); ++i) {
        const EnvironmentCopy& copy = environment.copies[i];
        std::printf("copy %zu: %s at 0x%x, 0x%x bytes: %s, CRC stored %08x, computed %08x, flag "
                    "%u%s\n",
                    i + 1, environment.device.c_str(), copy.offset, environment.size,
                    stateNames[static_cast<std::size_t>(copy.state)], copy.storedCrc,
                    copy.computedCrc, unsigned{copy.flag},
                    static_cast<int>(i) == environment.active ? ": this one counts" : "");
    }
    if (!environment.remark.empty()) {
        std::printf("%s\n", environment.remark.c_str());
    }
    for (auto const& [name, value] : environment.variables) {
        std::printf("%s=%s\n", printable(name).c_str(), printable(value).c_str());
    }
}

Json toJson(const Environment& environment) {
    Json copies = Json::array();
    for (const EnvironmentCopy& copy : environment.copies) {
        std::array<char, 9> stored{};
        std::array<char, 9> computed{};
        std::snprintf(stored.data(), stored.size(), "%08x", copy.storedCrc);
        std::snprintf(computed.data(), computed.size(), "%08x", copy.computedCrc);
        copies.push_back({{"offset", copy.offset},
                          {"state", stateNames[static_cast<std::size_t>(copy.state)]},
                          {"crc", {{"stored", stored.data()}, {"computed", computed.data()}}},
                          {"flag", copy.flag},
                          {"counts", &copy - environment.copies.data() == environment.active}});
    }
    Json variables = Json::array();
    for (auto const& [name, value] : environment.variables) {
        variables.push_back({{"name", name}, {"value", value}});
    }
    return {{"device", environment.device},
            {"size", environment.size},
            {"copies", copies},
            {"variables", variables},
            {"remark", environment.remark.empty() ? Json(nullptr) : Json(environment.remark)}};
}

} // namespace tools
