#include <vxblade/common.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little,
              "records and checksums are read and written in host order");

using Table = std::array<uint32_t, 256>;

// tables[0] is the standard byte table; tables[k] advances a byte by k further zero bytes, so
// that eight look-ups fold eight input bytes at once.
constexpr std::array<Table, 8> makeTables() {
    std::array<Table, 8> tables{};
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

constexpr std::array<Table, 8> tables = makeTables();
static_assert(tables[0][1] == 0x77073096 && tables[0][128] == 0xEDB88320 &&
              tables[0][255] == 0x2D02EF8D);

uint32_t word(const unsigned char* bytes) {
    uint32_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace

uint32_t crc32(uint32_t crc, const void* data, int length) {
    auto const* bytes = static_cast<const unsigned char*>(data);
    uint32_t c = ~crc;
    for (; length >= 8; length -= 8, bytes += 8) {
        uint32_t const low = c ^ word(bytes);
        uint32_t const high = word(bytes + 4);
        c = tables[7][low & 0xFF] ^ tables[6][(low >> 8) & 0xFF] ^ tables[5][(low >> 16) & 0xFF] ^
            tables[4][low >> 24] ^ tables[3][high & 0xFF] ^ tables[2][(high >> 8) & 0xFF] ^
            tables[1][(high >> 16) & 0xFF] ^ tables[0][high >> 24];
    }
    for (; length > 0; --length, ++bytes) {
        c = tables[0][(c ^ *bytes) & 0xFF] ^ (c >> 8);
    }
    return ~c;
}
