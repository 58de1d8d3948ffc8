// What the fuzz targets share. Each target is one LLVMFuzzerTestOneInput, which libFuzzer calls
// with inputs of its own making and replay.cpp with those of the corpus.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

// libFuzzer's entries, which it finds by name.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

// Ends the process where a property that always holds does not: a finding, like a crash.
inline void require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "Not so: %s\n", property);
        std::abort();
    }
}

// Takes an input apart from the front. What is missing at its end is zero, or shorter.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    [[nodiscard]] std::string_view rest() const { return rest_; }
    uint8_t byte() {
        std::string_view const one = bytes(1);
        return one.empty() ? uint8_t{0} : static_cast<uint8_t>(one.front());
    }
    uint16_t word() {
        unsigned const low = byte();
        return static_cast<uint16_t>(low | static_cast<unsigned>(byte()) << 8);
    }
    std::string_view bytes(std::size_t count) {
        std::string_view const taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }
    // Up to the next NUL, which is taken too, or to the end.
    std::string text() {
        std::string const taken(bytes(std::min(rest_.find('\0'), rest_.size())));
        (void)bytes(1);
        return taken;
    }

  private:
    std::string_view rest_;
};

// A buffer of exactly so many bytes (0 for less), at whose end the address sanitizer watches.
inline std::unique_ptr<char[]> exactBuffer(int size) {
    return std::make_unique<char[]>(static_cast<std::size_t>(std::max(size, 0)));
}

} // namespace fuzz
