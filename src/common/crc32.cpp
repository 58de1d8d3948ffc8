#include "common/crc32.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstring>

#include <pthread.h>

namespace {

static_assert(std::endian::native == std::endian::little,
              "records and checksums are read and written in host order");

using Table = std::array<uint32_t, 256>;

// Bytes that are folded at once: a word of the machine. More would cost a small one the room of
// their tables and gain it nothing.
constexpr std::size_t step = sizeof(std::size_t);

constexpr Table makeByteTable() {
    Table table{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1) != 0 ? 0xEDB88320U ^ (c >> 1) : c >> 1;
        }
        table[n] = c;
    }
    return table;
}

constexpr Table byteTable = makeByteTable();
static_assert(byteTable[1] == 0x77073096 && byteTable[128] == 0xEDB88320 &&
              byteTable[255] == 0x2D02EF8D);

// tables[0] is the byte table; tables[k] advances a byte by k further zero bytes, so that one
// look-up for each byte of a word folds them all. Made when the first word is folded: in the
// programs' files they would take room that a blade has little of.
std::array<Table, step> tables;
pthread_once_t tablesOnce = PTHREAD_ONCE_INIT;
std::atomic<bool> areTablesMade = false; // asked first: it spares short texts a call

void makeTables() {
    tables[0] = byteTable;
    for (std::size_t k = 1; k < tables.size(); ++k) {
        for (std::size_t n = 0; n < 256; ++n) {
            uint32_t const c = tables[k - 1][n];
            tables[k][n] = byteTable[c & 0xFF] ^ (c >> 8);
        }
    }
    areTablesMade.store(true, std::memory_order_release);
}

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
    auto const size = static_cast<std::size_t>(std::max(length, 0));
    constexpr std::size_t round = 2 * step;
    auto const* const end = bytes + size;
    auto const* const roundsEnd = end - size % round;
    uint32_t c = ~crc;
    if (bytes != roundsEnd && !areTablesMade.load(std::memory_order_acquire)) {
        ::pthread_once(&tablesOnce, makeTables);
    }
    for (; bytes != roundsEnd; bytes += round) {
        c = fold(fold(c, bytes), bytes + step);
    }
    for (; bytes != end; ++bytes) {
        c = byteTable[(c ^ *bytes) & 0xFF] ^ (c >> 8);
    }
    return ~c;
}
