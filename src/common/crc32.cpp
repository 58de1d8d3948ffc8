#include "common/crc32.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little,
              "records and checksums are read and written in host order");

using Table = std::array<uint32_t, 256>;

// Bytes that are folded at once: a word of the machine. More would cost a small one the room of
// their tables and gain it nothing.
constexpr int step = sizeof(std::size_t);

// tables[0] is the standard byte table; tables[k] advances a byte by k further zero bytes, so
// that one look-up for each byte of a word folds them all.
constexpr std::array<Table, step> makeTables() {
    std::array<Table, step> tables{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1) != 0 ? 0xEDB88320U ^ (c >> 1) : c >> 1;
        }
        tables[0][n] = c;
    }
    for (std::size_t k = 1; k < tables.size(); ++k) {
        for (std::size_t n = 0; n < 256; ++n) {
            uint32_t const c = tables[k - 1][n];
            tables[k][n] = tables[0][c & 0xFF] ^ (c >> 8);
        }
    }
    return tables;
}

constexpr std::array<Table, step> tables = makeTables();
static_assert(tables[0][1] == 0x77073096 && tables[0][128] == 0xEDB88320 &&
              tables[0][255] == 0x2D02EF8D);

uint32_t word(const unsigned char* bytes) {
    uint32_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

// Folds `step` bytes into a checksum.
[[gnu::always_inline]] inline uint32_t fold(uint32_t c, const unsigned char* bytes) {
    uint32_t folded = 0;
#pragma GCC unroll 2
    for (std::size_t at = 0; at < step; at += 4) {
        uint32_t const four = word(bytes + at) ^ (at == 0 ? c : 0);
        const Table* const table = &tables[step - 4 - at];
        folded ^= table[3][four & 0xFF] ^ table[2][(four >> 8) & 0xFF] ^
                  table[1][(four >> 16) & 0xFF] ^ table[0][four >> 24];
    }
    return folded;
}

} // namespace

uint32_t vx::crc32Of(uint32_t crc, const void* data, int length) {
    auto const* bytes = static_cast<const unsigned char*>(data);
    uint32_t c = ~crc;
    constexpr int round = 2 * step;
    for (; length >= round; length -= round, bytes += round) {
        c = fold(fold(c, bytes), bytes + step);
    }
    for (; length > 0; --length, ++bytes) {
        c = tables[0][(c ^ *bytes) & 0xFF] ^ (c >> 8);
    }
    return ~c;
}
