// The variables of a boot environment: strings "name=value", each ended by a NUL, one after the
// other, in the bytes that a copy in the flash holds. A name has one string.
#pragma once

#include "common/heap.h"

#include <string_view>

namespace vx::bootenv {

class Variables {
  public:
    Variables() = default;
    // Takes strings up to an empty one or the end of `bytes`, as the standard tools do: the last
    // one of each name, and none without a "=" or without its NUL.
    explicit Variables(std::string_view bytes);

    // The value, or null where the name is not set.
    [[nodiscard]] const char* find(std::string_view name) const;
    // Sets a name, in its place or after the others.
    void set(std::string_view name, std::string_view value);
    void remove(std::string_view name);
    // Sets what `changes` has; an empty value removes the name.
    void apply(const Variables& changes);

    // Bad where there was no memory for what was set.
    [[nodiscard]] const Buffer& bytes() const { return bytes_; }
    friend bool operator==(const Variables& a, const Variables& b) { return a.bytes_ == b.bytes_; }

  private:
    [[nodiscard]] std::size_t positionOf(std::string_view name) const;
    Buffer bytes_; // ends with a NUL, where it is not empty
};

} // namespace vx::bootenv
