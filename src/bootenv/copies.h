// The two copies of the boot environment: where they are, what they hold, which one counts.
#pragma once

#include "bootenv/variables.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace vx::bootenv {

// --- Where they are.

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

// From /etc/fw_env.config, or without it the end of the flash, whose geometry must be known. Null,
// or what is wrong.
[[nodiscard]] const char* findLayout(Layout& layout);

// From the lines of a device in a configuration; and the end of the flash.
[[nodiscard]] bool readLayout(FILE* config, const char* device, Layout& layout);
[[nodiscard]] bool defaultLayout(Layout& layout);

inline constexpr const char* flashNode = "/dev/mtd0";

// --- What they hold: a CRC-32 of what comes after the flag, little-endian, the flag, strings.

inline constexpr std::size_t flagOffset = 4;
inline constexpr std::size_t stringsOffset = 5;
inline constexpr uint8_t activeFlag = 1;
inline constexpr uint8_t obsoleteFlag = 0;

// An active copy of `size` bytes, which the variables must fit into.
[[nodiscard]] Buffer imageOf(const Variables& variables, uint32_t size);
[[nodiscard]] bool fits(const Variables& variables, const Layout& layout);

inline constexpr uint8_t blank = 0xFF; // a byte, and a flag, that nobody programmed
[[nodiscard]] bool isBlank(const Buffer& bytes);

// The CRC that the bytes of a copy ask for, and the one that they begin with.
[[nodiscard]] uint32_t crcOf(const Buffer& image);
[[nodiscard]] uint32_t storedCrc(const Buffer& image);

struct Copy {
    bool isReadable = false;
    bool isBlank = false;
    bool isValid = false;
    bool isErasable = false; // nothing but an environment or blank bytes, as far as was read
    bool wasCut = false;     // none of these, and left by a save that was cut
    uint8_t flag = 0;
    Variables variables;
};
using Copies = std::array<Copy, 2>;

// How much of the flash tells what a copy is.
enum class Extent : uint8_t { copy, blocks };

// Fills `bytes` from the flash; false where it gives fewer.
[[nodiscard]] bool readFlash(uint32_t offset, Buffer& bytes);

// Both copies as they are. A block that the note of a save names is read whole. Where it is whole
// again the note is removed, if `mayRemoveNote`: it may hold something else one day.
[[nodiscard]] Copies readCopies(const Layout& layout, Extent extent, bool mayRemoveNote);

// The index of the copy that counts, or -1.
[[nodiscard]] int activeOf(const Copies& copies);

// --- The note of a save under way.

// Names the block that a save is about to erase, so that the next save may finish what a power
// cut left there: that block then is neither blank nor an environment, and still nobody else's.
inline constexpr const char* notePath = "/mnt/nand0/boot_env.erasing";

// Writes it, durably. 0 or -1.
[[nodiscard]] int writeNote(const Place& place);

} // namespace vx::bootenv
