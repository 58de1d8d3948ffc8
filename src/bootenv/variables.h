// The variables of a boot environment: strings "name=value", each ended by a NUL, one after the
// other, in the bytes that a copy in the flash holds. A name has one string.
#pragma once

#include <string>
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

    [[nodiscard]] const std::string& bytes() const { return bytes_; }
    bool operator==(const Variables&) const = default;

  private:
    [[nodiscard]] std::size_t positionOf(std::string_view name) const;
    std::string bytes_;
};

} // namespace vx::bootenv
