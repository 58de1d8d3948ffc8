// What the fuzz targets share. Each target is one fuzz::run, which gets inputs of libFuzzer's
// making or, with replay.cpp, those of the corpus. Those that work on a blade's files run under
// bladesim.
#pragma once

#include <vxblade/common.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

namespace fuzz {

// The target.
void run(std::string_view input);

// Ends the process where a property that always holds does not: a finding, like a crash.
inline void require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "Not so: %s\n", property);
        std::abort();
    }
}

// Takes `count` bytes from the front of an input; at its end fewer.
inline std::string_view take(std::string_view& input, std::size_t count) {
    std::string_view const taken = input.substr(0, count);
    input.remove_prefix(taken.size());
    return taken;
}

// The same as a number, least byte first, as this machine has it.
inline unsigned takeNumber(std::string_view& input, std::size_t bytes) {
    unsigned number = 0;
    (void)take(input, bytes).copy(reinterpret_cast<char*>(&number), bytes);
    return number;
}

// An edit of what a target works on: a place, and a length with that many bytes. The three longest
// lengths have none, and mean what the target likes.
struct Edit {
    unsigned place;
    unsigned length;
    std::string_view bytes;
};
inline Edit takeEdit(std::string_view& input) {
    unsigned const place = takeNumber(input, 2);
    unsigned const length = takeNumber(input, 1);
    return {place, length, take(input, length < 253 ? length : 0)};
}

// Puts the CRC of `size` bytes from `begin` on to a place.
inline void putCrc(std::string& bytes, std::size_t place, std::size_t begin, std::size_t size) {
    uint32_t const crc = crc32(0, &bytes.at(begin), static_cast<int>(size));
    std::memcpy(&bytes.at(place), &crc, sizeof crc);
}

} // namespace fuzz

// libFuzzer's entry, which it finds by name.
extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    fuzz::run({reinterpret_cast<const char*>(data), size});
    return 0;
}
