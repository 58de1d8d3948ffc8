// The boot environment over a flash of any content: what is set and saved is read back, what is
// not saved leaves the flash as it was, and nothing else in the flash changes.
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/memory_files.h"

#include <vxblade/common.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>

#include <cstdarg>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using fuzz::require;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint32_t flashSize = 0x10000;
constexpr uint32_t smallBlock = 0x800;
constexpr uint32_t largeBlock = 0x4000; // a copy of the default size
constexpr region_info_user regions[] = {{0, smallBlock, 8, 0}, {0x4000, largeBlock, 3, 1}};
constexpr uint32_t defaultPlaces = flashSize - 2 * largeBlock;
constexpr std::size_t textsOffset = 5;

Bytes flash() {
    Bytes bytes(flashSize);
    require(::pread(vhnor_drv, bytes.data(), bytes.size(), 0) == flashSize, "the flash is there");
    return bytes;
}

void setFlash(const Bytes& bytes) {
    require(::pwrite(vhnor_drv, bytes.data(), bytes.size(), 0) == flashSize, "the flash is there");
}

// Gives the texts from `start` on the CRC of a copy of `size` bytes.
void seal(Bytes& bytes, std::size_t start, std::size_t size) {
    size = std::clamp(size, textsOffset, flashSize - start);
    uint32_t const crc =
        crc32(0, bytes.data() + start + textsOffset, static_cast<int>(size - textsOffset));
    std::memcpy(bytes.data() + start, &crc, sizeof crc);
}

// Edits of a blank flash: a place, and a length with that many bytes or one of these.
void applyEdits(fuzz::Input& input, Bytes& bytes) {
    constexpr uint8_t sealSmall = 255; // a copy of a block
    constexpr uint8_t sealLarge = 254;
    constexpr uint8_t clear = 253;
    while (!input.empty()) {
        std::size_t const place = std::min<std::size_t>(input.word(), flashSize - textsOffset);
        std::size_t const left = flashSize - place;
        switch (uint8_t const length = input.byte()) {
        case sealSmall:
            seal(bytes, place, smallBlock);
            break;
        case sealLarge:
            seal(bytes, place, largeBlock);
            break;
        case clear:
            std::fill_n(bytes.begin() + static_cast<long>(place),
                        std::min<std::size_t>(left, largeBlock), uint8_t{0});
            break;
        default:
            std::string_view const written = input.bytes(std::min<std::size_t>(length, left));
            std::copy(written.begin(), written.end(), bytes.begin() + static_cast<long>(place));
        }
    }
}

std::string valueOf(const std::string& name) {
    auto const value = fuzz::exactBuffer(largeBlock);
    int const length = vornhal_getenv(name.c_str(), value.get(), largeBlock);
    require(length == static_cast<int>(std::strlen(value.get())), "a value is terminated");
    auto const cut = fuzz::exactBuffer(3);
    require(vornhal_getenv(name.c_str(), cut.get(), 3) == length &&
                std::string_view(value.get()).substr(0, 2) == cut.get(),
            "a value is cut behind its first bytes");
    return value.get();
}

void setAndSave(const std::string& name, const std::string& value) {
    Bytes const before = flash();
    std::string const old = valueOf(name);
    std::string const other = valueOf("other");
    if (vornhal_setenv(name.c_str(), value.c_str()) != 0) {
        require(valueOf(name) == old, "what cannot be set changes nothing");
        return;
    }
    require(valueOf(name) == value, "what is set is found");
    bool const saved = vornhal_saveenv() == 0;
    require(saved || flash() == before, "a save that is refused changes nothing");
    require(vornhal_init_env(0) == 0, "what could be loaded can be loaded again");
    require(valueOf(name) == (saved ? value : old), "what is saved is read back");
    require(name == "other" || valueOf("other") == other, "other variables stay");
}

} // namespace

extern "C" int __wrap_ioctl(int /*fd*/, unsigned long request, ...) {
    va_list values;
    va_start(values, request);
    void* const argument = va_arg(values, void*);
    va_end(values);
    switch (request) {
    case MEMGETINFO:
        static_cast<mtd_info_user*>(argument)->size = flashSize;
        static_cast<mtd_info_user*>(argument)->erasesize = largeBlock;
        return 0;
    case MEMGETREGIONCOUNT:
        *static_cast<int*>(argument) = std::size(regions);
        return 0;
    case MEMGETREGIONINFO: {
        auto* const region = static_cast<region_info_user*>(argument);
        *region = regions[region->regionindex];
        return 0;
    }
    case MEMERASE: {
        auto const* const range = static_cast<const erase_info_user*>(argument);
        Bytes const blank(range->length, 0xFF);
        return ::pwrite(vhnor_drv, blank.data(), blank.size(), range->start) == range->length ? 0
                                                                                              : -1;
    }
    default:
        return -1;
    }
}

// A file of places (none where it is empty), a name and its value, each ended by a NUL; then what
// the flash holds. The file of places has lines as of /etc/fw_env.config.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::removeBladeFiles();
    if (vhnor_drv < 0) {
        fuzz::writeFile("/dev/mtd0", "");
        require(vhnor_init() == 0, "the flash can be opened");
    }
    fuzz::Input input(data, size);
    std::string const places = input.text();
    std::string const name = input.text();
    std::string const value = input.text();
    Bytes bytes(flashSize, 0xFF);
    applyEdits(input, bytes);
    setFlash(bytes);
    if (!places.empty()) {
        fuzz::writeFile("/etc/fw_env.config", places);
    }
    bool const isLoaded = vornhal_init_env(0) == 0;
    require(flash() == bytes, "loading writes nothing");
    if (isLoaded) {
        setAndSave(name, value);
    } else {
        require(vornhal_setenv("a", "b") == -1 && vornhal_saveenv() == -1,
                "what is not loaded is not saved");
    }
    if (places.empty()) {
        Bytes const after = flash();
        require(std::equal(bytes.begin(), bytes.begin() + defaultPlaces, after.begin()),
                "nothing but the places of the copies changes");
    }
    return 0;
}
