// The boot environment in the NOR flash: two copies, of which one is whole at any time.
//
// A save never touches the copy that counts until the other one is complete: it erases and
// programs the other, reads it back, and only then marks the old one obsolete. Between the last
// two steps both count as active, and the first is taken: old or new, and both are whole.
//
// A load reads the copies alone. What else their blocks hold is looked at where it matters: before
// a block is erased, and after a save that was cut.
#include <vxblade/platform.h>

#include "bootenv/environment_texts.h"
#include "common/files.h"
#include "common/messages.h"

#include <vxblade/common.h>
#include <vxblade/nor.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

namespace {

using vxplatform::EnvironmentTexts;
using Bytes = std::vector<uint8_t>;

constexpr const char* configPath = "/etc/fw_env.config";
constexpr const char* flashNode = "/dev/mtd0";
constexpr const char* lockPath = "/var/lock/fw_printenv.lock"; // of the standard tools
constexpr useconds_t lockPause = 100'000;
constexpr int lockPauses = 50; // until a wait is reported
// Names the block that a save is about to erase, so that the next save may finish what a power
// cut left there: that block then is neither blank nor an environment, and still nobody else's.
constexpr const char* erasingPath = "/mnt/nand0/boot_env.erasing";

constexpr std::size_t flagOffset = 4; // behind the CRC
constexpr std::size_t textsOffset = 5;
constexpr uint8_t active = 1;
constexpr uint8_t obsolete = 0;
constexpr uint8_t blank = 0xFF; // also a flag that nobody programmed
constexpr uint32_t defaultSize = 16 * 1024;
constexpr uint32_t largestSize = 1024 * 1024;

// A copy's place, and the erase blocks that hold it.
struct Place {
    uint32_t offset;
    uint32_t blocksStart;
    uint32_t blocksEnd;
};

struct Layout {
    std::array<Place, 2> places;
    uint32_t size; // of a copy
};

// What the flash holds at a place.
struct Copy {
    bool isReadable = false;
    bool isBlank = false;
    bool isValid = false;
    bool isErasable = false; // nothing but an environment or blank bytes, as far as was read
    bool wasCut = false;     // none of these, and left by a save that was cut
    uint8_t flag = blank;
    EnvironmentTexts texts;
};

struct Environment {
    bool isLoaded = false;
    Layout layout;
    EnvironmentTexts texts;
    EnvironmentTexts changes; // since the last load or save; an empty value: removed
};
Environment environment;

[[gnu::format(printf, 1, 2)]] int failed(const char* format, ...) {
    va_list values;
    va_start(values, format);
    vx::Message const message = vx::formatted(format, values);
    va_end(values);
    vx::printError("boot_env: %s\n", message.data());
    ::openlog("boot_env", LOG_PID | LOG_NDELAY, LOG_USER);
    ::syslog(LOG_ERR, "%s", message.data());
    ::closelog();
    return -1;
}

// --- Where the copies lie.

// The erase block that holds an offset. False outside the flash.
bool blockOf(uint32_t offset, uint32_t& start, uint32_t& size) {
    for (int i = 0; i < nor_num_regions; ++i) {
        const region_info_user& region = nor_region[i];
        uint64_t const end = region.offset + uint64_t{region.erasesize} * region.numblocks;
        if (region.offset <= offset && offset < end) {
            start = offset - (offset - region.offset) % region.erasesize;
            size = region.erasesize;
            return true;
        }
    }
    return false;
}

// An erase begins at a multiple of its block's size, which a block behind a region of smaller ones
// need not lie at: there it would reach blocks that are not the environment's.
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
    return layout.size > textsOffset + 1 &&
           (a.blocksEnd <= b.blocksStart || b.blocksEnd <= a.blocksStart);
}

// From lines "device offset size [sector size [sectors]]"; those of the flash count, and there must
// be two. The numbers are read as the standard tools do: an offset in any base that its prefix
// names, a size in hexadecimal with or without one. How large its blocks are the flash says itself.
bool readLayout(FILE* config, Layout& layout) {
    std::array<char, 256> line{};
    std::size_t count = 0;
    while (std::fgets(line.data(), static_cast<int>(line.size()), config) != nullptr) {
        std::array<char, 64> device{};
        int64_t offset = 0;
        uint64_t size = 0;
        if (std::sscanf(line.data(), "%63s %" SCNi64 " %" SCNx64, device.data(), &offset, &size) !=
                3 ||
            std::strcmp(device.data(), flashNode) != 0) {
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

// 0 or -1, reported.
int findLayout(Layout& layout) {
    vx::Stream const config = vx::openStream(configPath);
    if (config == nullptr) {
        if (errno != ENOENT) { // the copies may lie elsewhere
            return failed("cannot read %s", configPath);
        }
        return defaultLayout(layout) ? 0 : failed("no place for two copies in this flash");
    }
    return readLayout(config.get(), layout)
               ? 0
               : failed("%s gives no two places for copies in %s", configPath, flashNode);
}

// --- The lock.

// The lock of the standard tools, held until the end of the scope. A program that keeps it delays a
// reader for some seconds, and a writer until it ends: without the lock the copies may be read (a
// save under way leaves one whole at any time), and nothing may be written or removed.
class ToolLock {
  public:
    enum class Purpose : uint8_t { reading, writing };
    explicit ToolLock(Purpose purpose)
        : file_(vx::openFile(lockPath, O_WRONLY | O_CREAT | O_NONBLOCK, vx::lockFileMode)) {
        for (int pauses = 0; !tryToLock(); ++pauses) {
            if (errno != EWOULDBLOCK) {
                failed("cannot lock %s", lockPath);
                return;
            }
            if (pauses == lockPauses) {
                failed("another program holds %s", lockPath);
                if (purpose == Purpose::reading) {
                    return;
                }
            }
            ::usleep(lockPause);
        }
    }
    [[nodiscard]] bool isHeld() const { return isHeld_; }

  private:
    bool tryToLock() { return isHeld_ = ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0; }
    vx::Descriptor file_;
    bool isHeld_ = false;
};

// --- The copies.

uint32_t crcOf(const Bytes& image) {
    return crc32(0, image.data() + textsOffset, static_cast<int>(image.size() - textsOffset));
}

uint32_t storedCrc(const Bytes& image) {
    return image[0] | static_cast<uint32_t>(image[1]) << 8 | static_cast<uint32_t>(image[2]) << 16 |
           static_cast<uint32_t>(image[3]) << 24;
}

bool readExactly(uint32_t offset, Bytes& bytes) {
    return vhnor_read(offset, bytes.data(), static_cast<uint32_t>(bytes.size())) ==
           static_cast<int>(bytes.size());
}

bool isBlank(const Bytes& bytes) {
    return std::ranges::all_of(bytes, [](uint8_t byte) { return byte == blank; });
}

Bytes imageOf(const EnvironmentTexts& texts, uint32_t size) {
    Bytes image(size, 0);
    std::memcpy(image.data() + textsOffset, texts.bytes().data(), texts.bytes().size());
    uint32_t const crc = crcOf(image);
    for (std::size_t i = 0; i < flagOffset; ++i) {
        image[i] = static_cast<uint8_t>(crc >> (8 * i));
    }
    image[flagOffset] = active;
    return image;
}

// How much of the flash tells what a copy is.
enum class Extent : uint8_t { copy, blocks };

Copy readCopy(uint32_t size, const Place& place, Extent extent) {
    Copy copy;
    bool const isWhole = extent == Extent::blocks;
    uint32_t const from = isWhole ? place.blocksStart : place.offset;
    Bytes bytes((isWhole ? place.blocksEnd : place.offset + size) - from);
    if (!readExactly(from, bytes)) {
        return copy;
    }
    copy.isReadable = true;
    copy.isBlank = isBlank(bytes);
    auto const start = bytes.begin() + (place.offset - from);
    Bytes const image(start, start + size);
    std::fill(start, start + size, blank);
    copy.isValid = crcOf(image) == storedCrc(image);
    copy.isErasable = copy.isBlank || (copy.isValid && isBlank(bytes));
    if (copy.isValid) {
        copy.flag = image[flagOffset];
        const char* const texts = reinterpret_cast<const char*>(image.data()) + textsOffset;
        copy.texts = EnvironmentTexts({texts, image.size() - textsOffset});
    }
    return copy;
}

using Copies = std::array<Copy, 2>;

// What a save notes before it erases: the first of the blocks. 0 or -1.
int noteErasing(const Place& place) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%08x\n", place.blocksStart);
    return vx::replaceFile(erasingPath, text.data(), std::strlen(text.data()));
}

bool isNoted(const Place& place) {
    std::array<char, 16> text{};
    unsigned start = 0;
    return vx::readFile(erasingPath, text.data(), text.size() - 1) > 0 &&
           std::sscanf(text.data(), "%x", &start) == 1 && start == place.blocksStart;
}

// Both copies as they are. A block that a note names is read whole: the note is removed where the
// block is whole again (it may hold something else one day), and tells that it was cut otherwise.
Copies readCopies(const Layout& layout, Extent extent, const ToolLock& lock) {
    Copies copies;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        bool const noted = isNoted(layout.places[i]);
        copies[i] = readCopy(layout.size, layout.places[i], noted ? Extent::blocks : extent);
        if (!noted) {
            continue;
        }
        if (!copies[i].isErasable) {
            copies[i].wasCut = copies[i].isReadable;
        } else if (lock.isHeld()) { // else the note may be of a save that is about to erase
            (void)vx::removeFile(erasingPath);
        }
    }
    return copies;
}

// The copy that counts, or -1: the choice of the standard tools on a NOR flash. The flag is 1 for
// the active and 0 for the obsolete copy, and both are 1 where a save was cut before its last step;
// other values, which only others write, are taken as these tools take them.
int activeOf(const Copies& copies) {
    if (!copies[0].isValid || !copies[1].isValid) {
        return copies[0].isValid ? 0 : copies[1].isValid ? 1 : -1;
    }
    return copies[1].flag > copies[0].flag || (copies[0].flag == blank && copies[1].flag == blank)
               ? 1
               : 0;
}

// --- Saving.

// Erases, programs and reads back. 0 or -1.
int writeCopy(const Place& place, const Bytes& image) {
    Bytes written(image.size());
    if (vhnor_erase(place.blocksStart, place.blocksEnd - place.blocksStart) != 0) {
        return failed("cannot erase the block at 0x%x", place.blocksStart);
    }
    if (vhnor_program(place.offset, image.data(), static_cast<uint32_t>(image.size())) !=
        static_cast<int>(image.size())) {
        return failed("cannot program the copy at 0x%x", place.offset);
    }
    if (!readExactly(place.offset, written) || written != image) {
        return failed("the copy at 0x%x is not what was programmed", place.offset);
    }
    return 0;
}

// The copy that a save replaces: the one that does not count; where none does, the one that a cut
// left, so that there is never more than one of these, or else the first.
std::size_t targetOf(const Copies& copies, int current) {
    if (current >= 0) {
        return 1 - static_cast<std::size_t>(current);
    }
    return copies[1].wasCut ? 1 : 0;
}

// Puts `texts` into the copy that does not count, which then is the one that counts.
int replaceCopy(const Layout& layout, const Copies& copies, int current,
                const EnvironmentTexts& texts) {
    std::size_t const target = targetOf(copies, current);
    Place const& place = layout.places[target];
    if (!copies[target].isErasable && !copies[target].wasCut) {
        return failed("the block at 0x%x holds something else and is not erased",
                      place.blocksStart);
    }
    if (noteErasing(place) != 0) {
        return failed("cannot write %s", erasingPath);
    }
    if (writeCopy(place, imageOf(texts, layout.size)) != 0) {
        return -1;
    }
    if (current >= 0) {
        uint32_t const old = layout.places[1 - target].offset;
        if (vhnor_program(old + flagOffset, &obsolete, sizeof obsolete) != sizeof obsolete) {
            return failed("cannot mark the old copy at 0x%x", old);
        }
    }
    (void)vx::removeFile(erasingPath);
    return 0;
}

bool fits(const EnvironmentTexts& texts, const Layout& layout) {
    return texts.bytes().size() + 1 <= layout.size - textsOffset;
}

} // namespace

int vornhal_init_env(int norStatus) {
    environment = {};
    if (norStatus != 0 || findLayout(environment.layout) != 0) {
        return -1;
    }
    ToolLock const lock(ToolLock::Purpose::reading);
    Copies const copies = readCopies(environment.layout, Extent::copy, lock);
    int const current = activeOf(copies);
    auto const holdsNone = [](const Copy& copy) { return copy.isBlank || copy.wasCut; };
    if (current < 0 && !std::ranges::all_of(copies, holdsNone)) {
        return failed("the environment cannot be read, or is damaged");
    }
    environment.isLoaded = true;
    if (current >= 0) {
        environment.texts = copies[static_cast<std::size_t>(current)].texts;
    }
    return 0;
}

int vornhal_getenv(const char* name, char* value, int size) {
    if (size < 1) {
        return 0;
    }
    const char* const text = environment.texts.find(name);
    std::snprintf(value, static_cast<std::size_t>(size), "%s", text != nullptr ? text : "");
    return text != nullptr ? static_cast<int>(std::strlen(text)) : 0;
}

int vornhal_setenv(const char* name, const char* value) {
    if (!environment.isLoaded || *name == '\0' || std::strchr(name, '=') != nullptr) {
        return -1;
    }
    EnvironmentTexts change;
    change.set(name, value);
    EnvironmentTexts texts = environment.texts;
    texts.apply(change);
    if (!fits(texts, environment.layout)) {
        return -1;
    }
    environment.texts = texts;
    environment.changes.set(name, value);
    return 0;
}

int vornhal_saveenv(void) {
    if (!environment.isLoaded) {
        return failed("no environment is loaded");
    }
    ToolLock const lock(ToolLock::Purpose::writing);
    if (!lock.isHeld()) {
        return -1;
    }
    Layout const& layout = environment.layout;
    Copies const copies = readCopies(layout, Extent::blocks, lock);
    // An unreadable copy may be the one that counts, and must not become obsolete.
    if (!copies[0].isReadable || !copies[1].isReadable) {
        return failed("a copy cannot be read");
    }
    int const current = activeOf(copies);
    EnvironmentTexts const saved =
        current >= 0 ? copies[static_cast<std::size_t>(current)].texts : EnvironmentTexts();
    EnvironmentTexts texts = saved;
    texts.apply(environment.changes);
    if (!fits(texts, layout)) {
        return failed("the texts do not fit into %u bytes", layout.size);
    }
    if (texts != saved && replaceCopy(layout, copies, current, texts) != 0) {
        return -1;
    }
    environment.texts = texts;
    environment.changes = {};
    return 0;
}
