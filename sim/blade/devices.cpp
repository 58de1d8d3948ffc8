#include "sim/blade/devices.h"

#include "sim/blade/faults.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include <linux/i2c-dev.h>
#include <sys/ioctl.h>

namespace fs = std::filesystem;

namespace sim {

namespace {

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
    std::array<char, 64> text{};
    va_list values;
    va_start(values, format);
    std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return text.data();
}

std::string hex(std::span<const uint8_t> bytes) {
    std::string text;
    for (uint8_t const byte : bytes) {
        text += formatted("%02x", byte);
    }
    return text;
}

Operation refusal(std::string name, int error) {
    return {std::move(name), "", 0, [error](std::size_t) { return -error; }};
}

std::string requestName(unsigned code) {
    return std::string(1, static_cast<char>(_IOC_TYPE(code))) + std::to_string(_IOC_NR(code));
}

template <class Record>
int answer(std::span<uint8_t> record, const Record& value) {
    std::memcpy(record.data(), &value, std::min(record.size(), sizeof value));
    return 0;
}

// What is left of a memory from an offset on, which may be beyond its end.
std::span<uint8_t> rest(std::span<uint8_t> memory, uint64_t offset) {
    return memory.subspan(static_cast<std::size_t>(std::min<uint64_t>(offset, memory.size())));
}

} // namespace

bool Device::knows(std::string_view operation) const {
    return operation == "open";
}

Operation Device::read(OpenNode& /*node*/, std::span<uint8_t> /*to*/, uint64_t /*offset*/) {
    return refusal("read", EINVAL);
}

Operation Device::write(OpenNode& /*node*/, std::span<const uint8_t> /*from*/,
                        uint64_t /*offset*/) {
    return refusal("write", EINVAL);
}

Operation Device::request(OpenNode& /*node*/, unsigned code, uintptr_t /*argument*/,
                          std::span<uint8_t> /*record*/) {
    return refusal(requestName(code), ENOTTY);
}

bool Device::command(const std::vector<std::string>& /*words*/) {
    return false;
}

NorFlash::NorFlash(fs::path state) : state_(std::move(state)) {
    load();
}

bool NorFlash::knows(std::string_view operation) const {
    static constexpr std::string_view names[] = {"read",    "program", "erase",
                                                 "regions", "region",  "info"};
    return Device::knows(operation) || std::ranges::find(names, operation) != std::end(names);
}

void NorFlash::load() {
    constexpr uint32_t defaultBlock = 65536;
    constexpr uint32_t defaultBlocks = 64;
    groups_.clear();
    uint32_t offset = 0;
    auto const add = [&](uint32_t blockSize, uint32_t blocks) {
        auto const index = static_cast<uint32_t>(groups_.size());
        groups_.push_back({offset, blockSize, blocks, index});
        offset += blockSize * blocks;
    };
    std::ifstream geometry(state_ / "nor.geometry");
    char x = 0;
    for (uint32_t size = 0, count = 0; geometry >> size >> x >> count;) {
        add(size, count);
    }
    geometry.clear();
    std::string last;
    hasRegions_ = groups_.size() > 1 || (geometry >> last && last == "regions");
    if (groups_.empty()) { // as large as an image that is there: a blade's dump, perhaps
        fs::path const image = state_ / "nor.bin";
        auto const blocks = fs::exists(image) ? fs::file_size(image) / defaultBlock : 0;
        add(defaultBlock, blocks > 0 ? static_cast<uint32_t>(blocks) : defaultBlocks);
    }
    image_ = std::make_unique<MappedFile>(state_ / "nor.bin", offset, 0xFF);
}

bool NorFlash::command(const std::vector<std::string>& words) {
    if (words[0] != "flash") {
        return false;
    }
    constexpr long largest = 1L << 28;
    std::string geometry;
    long total = 0;
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (i > 1 && i + 1 == words.size() && words[i] == "regions") {
            geometry += "regions\n";
            break;
        }
        auto const x = words[i].find('x');
        long const size = numberFrom(words[i].substr(0, x), 16);
        long const count = numberFrom(x == std::string::npos ? "" : words[i].substr(x + 1), 1);
        total += size <= largest && count <= largest ? size * count : largest + 1;
        geometry += words[i] + "\n";
    }
    if (total < 1 || total > largest) {
        throw std::invalid_argument("a flash has 1 to 268435456 bytes");
    }
    image_.reset();
    fs::remove(state_ / "nor.bin");
    std::ofstream(state_ / "nor.geometry") << geometry << std::flush;
    load();
    return true;
}

Operation NorFlash::read(OpenNode& /*node*/, std::span<uint8_t> to, uint64_t offset) {
    auto const flash = rest(image_->bytes(), offset);
    std::size_t const size = std::min(to.size(), flash.size());
    return {"read", formatted("%08llx+%zu", static_cast<unsigned long long>(offset), to.size()),
            size, [=](std::size_t count) {
                std::ranges::copy(flash.first(count), to.begin());
                return static_cast<int>(count);
            }};
}

Operation NorFlash::write(OpenNode& /*node*/, std::span<const uint8_t> from, uint64_t offset) {
    auto const flash = rest(image_->bytes(), offset);
    std::size_t const size = std::min(from.size(), flash.size());
    return {"program",
            formatted("%08llx+%zu", static_cast<unsigned long long>(offset), from.size()), size,
            [=](std::size_t count) {
                if (size == 0) {
                    return -ENOSPC;
                }
                for (std::size_t i = 0; i < count; ++i) {
                    flash[i] &= from[i];
                }
                return static_cast<int>(count);
            }};
}

int NorFlash::erase(const erase_info_user& range, std::size_t count) {
    uint64_t const end = uint64_t{range.start} + range.length;
    // Both ends must be ends of blocks.
    auto const isBoundary = [&](uint64_t at) {
        return std::ranges::any_of(groups_, [&](const region_info_user& group) {
            uint64_t const size = uint64_t{group.erasesize} * group.numblocks;
            return at >= group.offset && at <= group.offset + size &&
                   (at - group.offset) % group.erasesize == 0;
        });
    };
    if (range.length == 0 || end > image_->bytes().size() || !isBoundary(range.start) ||
        !isBoundary(end)) {
        return -EINVAL;
    }
    std::ranges::fill(image_->bytes().subspan(range.start, count), uint8_t{0xFF});
    return 0;
}

Operation NorFlash::request(OpenNode& /*node*/, unsigned code, uintptr_t /*argument*/,
                            std::span<uint8_t> record) {
    switch (code) {
    case MEMGETINFO:
        return {"info", "", 0, [=, this](std::size_t) {
                    mtd_info_user info{};
                    info.type = MTD_NORFLASH;
                    info.flags = MTD_CAP_NORFLASH;
                    info.size = static_cast<uint32_t>(image_->bytes().size());
                    info.erasesize =
                        std::ranges::max(groups_, {}, &region_info_user::erasesize).erasesize;
                    info.writesize = 1;
                    return answer(record, info);
                }};
    case MEMGETREGIONCOUNT:
        return {"regions", "", 0, [=, this](std::size_t) {
                    auto const count = static_cast<int>(groups_.size());
                    return answer(record, hasRegions_ ? count : 0);
                }};
    case MEMGETREGIONINFO: {
        region_info_user region{};
        std::memcpy(&region, record.data(), sizeof region);
        uint32_t const index = region.regionindex;
        return {"region", std::to_string(index), 0, [=, this](std::size_t) {
                    return index < groups_.size() ? answer(record, groups_[index]) : -EINVAL;
                }};
    }
    case MEMERASE: {
        erase_info_user range{};
        std::memcpy(&range, record.data(), sizeof range);
        return {"erase", formatted("%08x+%u", range.start, range.length), range.length,
                [=, this](std::size_t count) { return erase(range, count); }};
    }
    default:
        return refusal("request", ENOTTY);
    }
}

I2cBus::I2cBus(const fs::path& state, unsigned bus) {
    struct {
        unsigned bus, address;
        std::size_t size, addressBytes, page;
    } static constexpr fitted[] = {
        {0, 0x50, 65536, 2, 2}, // the blade's records
        {0, 0x56, 256, 1, 16},  // the memory module's identification
        {0, 0x58, 256, 1, 16},  // its register map's second place
        {0, 0x5E, 256, 1, 16},  // its register map
        {1, 0x50, 65536, 2, 2}, // the second bus's
    };
    for (auto const& part : fitted) {
        if (part.bus == bus) {
            fs::path const image = state / formatted("i2c-%u-%02x.bin", bus, part.address);
            parts_.emplace(part.address, Eeprom{MappedFile(image, part.size, 0xFF),
                                                part.addressBytes, part.page});
        }
    }
}

bool I2cBus::knows(std::string_view operation) const {
    return Device::knows(operation) || operation == "read" || operation == "write" ||
           operation == "address";
}

Operation I2cBus::read(OpenNode& node, std::span<uint8_t> to, uint64_t /*offset*/) {
    auto const part = parts_.find(node.slave);
    if (part == parts_.end()) {
        return refusal("read", ENXIO);
    }
    return {"read", std::to_string(to.size()), to.size(), [=](std::size_t count) {
                auto const memory = part->second.image.bytes();
                for (std::size_t i = 0; i < count; ++i) {
                    to[i] = memory[part->second.at];
                    part->second.at = (part->second.at + 1) % memory.size();
                }
                return static_cast<int>(count);
            }};
}

int I2cBus::store(Eeprom& part, std::span<const uint8_t> from) {
    auto const memory = part.image.bytes();
    if (from.size() < part.addressBytes) {
        return static_cast<int>(from.size());
    }
    std::size_t at = 0;
    for (uint8_t const byte : from.first(part.addressBytes)) {
        at = at << 8 | byte;
    }
    at %= memory.size();
    std::size_t const page = at / part.page * part.page;
    for (uint8_t const byte : from.subspan(part.addressBytes)) {
        memory[at] = byte;
        at = page + (at + 1) % part.page;
    }
    part.at = at;
    return static_cast<int>(from.size());
}

Operation I2cBus::write(OpenNode& node, std::span<const uint8_t> from, uint64_t /*offset*/) {
    auto const part = parts_.find(node.slave);
    if (part == parts_.end()) {
        return refusal("write", ENXIO);
    }
    return {"write", hex(from), from.size(),
            [=, this](std::size_t count) { return store(part->second, from.first(count)); }};
}

Operation I2cBus::request(OpenNode& node, unsigned code, uintptr_t argument,
                          std::span<uint8_t> /*record*/) {
    if (code != I2C_SLAVE) {
        return refusal("request", ENOTTY);
    }
    return {"address", formatted("%02x", static_cast<unsigned>(argument)), 0,
            [&node, argument](std::size_t) {
                node.slave = static_cast<unsigned>(argument);
                return 0;
            }};
}

RequestDriver::RequestDriver(const fs::path& state, std::string groups)
    : records_(state / "requests"), groups_(std::move(groups)) {
    fs::create_directories(records_);
    (void)RequestDriver::command({"reset"});
}

Operation RequestDriver::request(OpenNode& node, unsigned code, uintptr_t argument,
                                 std::span<uint8_t> record) {
    std::string const name = requestName(code);
    if (groups_.find(name[0]) == std::string::npos) {
        return Device::request(node, code, argument, record);
    }
    return {name, std::to_string(record.size()), record.size(), [=, this](std::size_t) {
                std::ofstream(records_ / (name + ".bin"), std::ios::binary)
                    .write(reinterpret_cast<const char*>(record.data()),
                           static_cast<std::streamsize>(record.size()));
                if (auto const set = answers_.find(name); set != answers_.end()) {
                    std::copy_n(set->second.begin(), std::min(set->second.size(), record.size()),
                                record.begin());
                }
                auto const result = results_.find(name);
                return result == results_.end() ? 0 : result->second;
            }};
}

bool RequestDriver::knows(std::string_view operation) const {
    return Device::knows(operation) ||
           (operation.size() > 1 && groups_.find(operation[0]) != std::string::npos &&
            operation.find_first_not_of("0123456789", 1) == std::string_view::npos);
}

bool RequestDriver::command(const std::vector<std::string>& words) {
    if (words[0] == "reset") {
        results_.clear();
        answers_ = {{"h27", {2}}}; // the blade sits in slot 2
        return false;              // and everybody else's command too
    }
    if ((words[0] != "answer" && words[0] != "return") || words.size() != 3 ||
        groups_.find(words[1][0]) == std::string::npos) {
        return false;
    }
    if (words[0] == "return") {
        results_[words[1]] = static_cast<int>(numberFrom(words[2], 0));
        return true;
    }
    std::vector<uint8_t> bytes;
    for (std::size_t i = 0; i < words[2].size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(numberFrom("0x" + words[2].substr(i, 2), 0)));
    }
    answers_[words[1]] = bytes;
    return true;
}

} // namespace sim
