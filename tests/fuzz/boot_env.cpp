// The boot environment over a flash of any content: what is set and saved is read back, what is
// not saved leaves the flash as it was, and nothing else in the flash changes.
#include "tests/fuzz/fuzz.h"

#include <vxblade/nor.h>
#include <vxblade/platform.h>

#include <unistd.h>

namespace {

constexpr uint32_t flashSize = 0x10000;
constexpr uint32_t large = 0x4000; // a block, and a copy of the default size
constexpr uint32_t small = 0x800;
const region_info_user regions[] = {{0, small, 8, 0}, {large, large, 3, 1}, {flashSize, 0, 0, 2}};
std::string flash;

// Edits of a blank flash; the lengths 254 and 255 put the CRC of a large or small copy in front of
// it.
std::string editedFlash(std::string_view edits) {
    constexpr std::size_t header = 5;
    std::string bytes(flashSize + large, '\xFF');
    while (!edits.empty()) {
        fuzz::Edit const edit = fuzz::takeEdit(edits);
        bytes.replace(edit.place, edit.bytes.size(), edit.bytes);
        if (edit.length >= 254) {
            fuzz::putCrc(bytes, edit.place, edit.place + header,
                         (edit.length == 254 ? large : small) - header);
        }
    }
    bytes.resize(flashSize);
    return bytes;
}

std::string valueOf(const std::string& name) {
    std::string value(flashSize, '\0');
    int const length = vornhal_getenv(name.c_str(), value.data(), flashSize);
    fuzz::require(length == static_cast<int>(std::strlen(value.data())), "a value is terminated");
    return value.data();
}

} // namespace

extern "C" int __wrap_vhnor_read(uint32_t offset, char* buffer, uint32_t length) {
    return uint64_t{offset} + length <= flashSize
               ? static_cast<int>(flash.copy(buffer, length, offset))
               : -1;
}
extern "C" int __wrap_vhnor_program(uint32_t offset, const char* buffer, uint32_t length) {
    flash.replace(offset, length, buffer, length);
    return static_cast<int>(length);
}
extern "C" int __wrap_vhnor_erase(uint32_t offset, uint32_t length) {
    flash.replace(offset, length, length, '\xFF');
    return 0;
}

// A file of places (none where it is empty), a name and its value, each ended by a NUL; then what
// the flash holds. The file of places has lines as of /etc/fw_env.config.
void fuzz::run(std::string_view input) {
    constexpr const char* config = "/etc/fw_env.config";
    nor_info.size = flashSize;
    nor_num_regions = 2;
    nor_region = regions;
    std::string strings[3];
    for (std::string& string : strings) {
        string = take(input, std::min(input.find('\0'), input.size()));
        (void)take(input, 1);
    }
    auto const& [places, name, value] = strings;
    std::string const before = flash = editedFlash(input);
    ::unlink(config);
    ::unlink("/mnt/nand0/boot_env.erasing");
    if (!places.empty()) {
        std::ofstream(config) << places;
    }
    bool const isLoaded = vornhal_init_env(0) == 0;
    require(flash == before, "loading writes nothing");
    std::string const old = valueOf(name);
    bool const isSaved = vornhal_setenv(name.c_str(), value.c_str()) == 0 && vornhal_saveenv() == 0;
    require(isSaved ? isLoaded : flash == before, "a save that is refused changes nothing");
    require(isLoaded == (vornhal_init_env(0) == 0), "what could be loaded can be loaded again");
    require(valueOf(name) == (isSaved ? value : old), "what is saved is read back");
    constexpr std::size_t others = flashSize - 2 * large;
    require(!places.empty() || flash.compare(0, others, before, 0, others) == 0,
            "nothing but the places of the copies changes");
}
