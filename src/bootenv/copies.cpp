// A load reads the copies alone. What else their blocks hold is looked at where it matters: before
// a block is erased, and after a save that was cut.
#include "bootenv/copies.h"

#include "common/crc32.h"
#include "common/files.h"
#include "hw/nor_region.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace vx::bootenv {

namespace {

#define CONFIG_PATH "/etc/fw_env.config"

constexpr uint32_t defaultSize = 16 * 1024;
constexpr uint32_t largestSize = 1024 * 1024;

// The erase block that holds an offset. False outside the flash.
bool blockOf(uint32_t offset, uint32_t& start, uint32_t& size) {
    int const index = regionOf(offset);
    if (index < 0) {
        return false;
    }
    const region_info_user& region = nor_region[index];
    start = offset - (offset - region.offset) % region.erasesize;
    size = region.erasesize;
    return true;
}

// An erase begins at a multiple of its block's size, where a block after a region of smaller ones
// need not be: there it would reach blocks that are not the environment's.
bool placeAt(uint64_t offset, uint32_t size, Place& place) {
    uint32_t firstSize = 0;
    uint32_t lastStart = 0;
    uint32_t lastSize = 0;
    place.offset = static_cast<uint32_t>(offset);
    if (offset + size > nor_info.size || !blockOf(place.offset, place.blocksStart, firstSize) ||
        !blockOf(place.offset + size - 1, lastStart, lastSize)) {
        return false;
    }
    place.blocksEnd = lastStart + lastSize;
    return place.blocksStart % firstSize == 0;
}

bool isUsable(const Layout& layout) {
    auto const& [a, b] = layout.places;
    return layout.size > stringsOffset + 1 &&
           (a.blocksEnd <= b.blocksStart || b.blocksEnd <= a.blocksStart);
}

} // namespace

// From lines "device offset size [sector size [sectors]]"; those of one device count, and there
// must be two. The numbers are read as the standard tools do: an offset in any base that its prefix
// names, a size in hexadecimal with or without one. How large its blocks are the flash says itself.
bool readLayout(FILE* config, const char* device, Layout& layout) {
    std::array<char, 256> line{};
    std::size_t count = 0;
    while (std::fgets(line.data(), static_cast<int>(line.size()), config) != nullptr) {
        std::array<char, 64> name{};
        int64_t offset = 0;
        uint64_t size = 0;
        if (std::sscanf(line.data(), "%63s %" SCNi64 " %" SCNx64, name.data(), &offset, &size) !=
                3 ||
            std::strcmp(name.data(), device) != 0) {
            continue;
        }
        if (count == layout.places.size() || offset < 0 || size < 1 || size > largestSize ||
            (count > 0 && size != layout.size) ||
            !placeAt(static_cast<uint64_t>(offset), static_cast<uint32_t>(size),
                     layout.places[count])) {
            return false;
        }
        layout.size = static_cast<uint32_t>(size);
        ++count;
    }
    return count == layout.places.size() && isUsable(layout);
}

// At the start of the last two erase blocks, or of as many as a copy needs.
bool defaultLayout(Layout& layout) {
    layout.size = defaultSize;
    uint64_t end = nor_info.size;
    for (std::size_t i = layout.places.size(); i-- > 0;) {
        Place& place = layout.places[i];
        if (end < defaultSize || !placeAt(end - defaultSize, defaultSize, place)) {
            return false;
        }
        place.offset = place.blocksStart;
        end = place.blocksStart;
    }
    return isUsable(layout);
}

uint32_t crcOf(const Buffer& image) {
    return crc32Of(0, image.data() + stringsOffset, static_cast<int>(image.size() - stringsOffset));
}

uint32_t storedCrc(const Buffer& image) {
    uint32_t crc = 0;
    for (std::size_t i = flagOffset; i-- > 0;) {
        crc = crc << 8 | image.data()[i];
    }
    return crc;
}

bool isBlank(const Buffer& bytes) {
    return isFilled(bytes.data(), bytes.size(), blank);
}

namespace {

Copy readCopy(uint32_t size, const Place& place, Extent extent) {
    Copy copy;
    bool const isWhole = extent == Extent::blocks;
    uint32_t const from = isWhole ? place.blocksStart : place.offset;
    Buffer bytes((isWhole ? place.blocksEnd : place.offset + size) - from);
    Buffer image(size);
    if (image.isBad() || !readFlash(from, bytes)) {
        return copy;
    }
    copy.isReadable = true;
    copy.isBlank = isBlank(bytes);
    uint8_t* const start = bytes.data() + (place.offset - from);
    std::memcpy(image.data(), start, size);
    std::memset(start, blank, size); // which leaves the rest to look at
    copy.isValid = !copy.isBlank && crcOf(image) == storedCrc(image);
    copy.isErasable = copy.isBlank || (copy.isValid && isBlank(bytes));
    if (copy.isValid) {
        copy.flag = image.data()[flagOffset];
        const char* const strings = reinterpret_cast<const char*>(image.data()) + stringsOffset;
        copy.variables = Variables({strings, image.size() - stringsOffset});
    }
    return copy;
}

bool isNoted(const Place& place) {
    std::array<char, 16> text{};
    unsigned start = 0;
    return readFile(notePath, text.data(), text.size() - 1) > 0 &&
           std::sscanf(text.data(), "%x", &start) == 1 && start == place.blocksStart;
}

} // namespace

const char* findLayout(Layout& layout) {
    Stream const config = openStream(CONFIG_PATH);
    if (config == nullptr) {
        if (errno != ENOENT) { // the copies may be elsewhere
            return "cannot read " CONFIG_PATH;
        }
        return defaultLayout(layout) ? nullptr : "no place for two copies in this flash";
    }
    return readLayout(config.get(), flashNode, layout) ? nullptr
                                                       : CONFIG_PATH
               " gives no two places for copies in the flash";
}

Buffer imageOf(const Variables& variables, uint32_t size) {
    Buffer image(size);
    if (image.isBad()) {
        return image;
    }
    std::copy_n(variables.bytes().data(), variables.bytes().size(), image.data() + stringsOffset);
    uint32_t const crc = crcOf(image);
    for (std::size_t i = 0; i < flagOffset; ++i) {
        image.data()[i] = static_cast<uint8_t>(crc >> (8 * i));
    }
    image.data()[flagOffset] = activeFlag;
    return image;
}

bool fits(const Variables& variables, const Layout& layout) {
    const Buffer& strings = variables.bytes();
    return !strings.isBad() && strings.size() + 1 <= layout.size - stringsOffset;
}

bool readFlash(uint32_t offset, Buffer& bytes) {
    return !bytes.isBad() &&
           vhnor_read(offset, bytes.data(), static_cast<uint32_t>(bytes.size())) ==
               static_cast<int>(bytes.size());
}

Copies readCopies(const Layout& layout, Extent extent, bool mayRemoveNote) {
    Copies copies;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        bool const noted = isNoted(layout.places[i]);
        copies[i] = readCopy(layout.size, layout.places[i], noted ? Extent::blocks : extent);
        if (!noted) {
            continue;
        }
        if (!copies[i].isErasable) {
            copies[i].wasCut = copies[i].isReadable;
        } else if (mayRemoveNote) {
            (void)removeFile(notePath);
        }
    }
    return copies;
}

// The choice of the standard tools on a NOR flash. The flag is 1 for the active and 0 for the
// obsolete copy, and both are 1 where a save was cut before its last step; other values, which only
// others write, are taken as these tools take them.
int activeOf(const Copies& copies) {
    if (!copies[0].isValid || !copies[1].isValid) {
        return copies[0].isValid ? 0 : copies[1].isValid ? 1 : -1;
    }
    return copies[1].flag > copies[0].flag || (copies[0].flag == blank && copies[1].flag == blank)
               ? 1
               : 0;
}

int writeNote(const Place& place) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%08x\n", place.blocksStart);
    return replaceFile(notePath, text.data(), std::strlen(text.data()));
}

} // namespace vx::bootenv
