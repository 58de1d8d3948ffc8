// What the fuzz targets share. Each target is one LLVMFuzzerTestOneInput, which libFuzzer calls
// with inputs of its own making and replay.cpp with those of the corpus. Those that work on a
// blade's files run under bladesim.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

// libFuzzer's entry, which it finds by name.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

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

} // namespace fuzz
