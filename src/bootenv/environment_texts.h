// Texts "name=value", each ended by a NUL, one after the other; a name has one text.
#pragma once

#include <string>
#include <string_view>

namespace vxplatform {

class EnvironmentTexts {
  public:
    EnvironmentTexts() = default;
    // Takes texts up to an empty one or the end of `bytes`, as the standard tools do: the last of a
    // name's, and none without a "=" or an end.
    explicit EnvironmentTexts(std::string_view bytes);

    // The value, or null where the name is not set.
    [[nodiscard]] const char* find(std::string_view name) const;
    // Sets a name in its place, or after the others.
    void set(std::string_view name, std::string_view value);
    void remove(std::string_view name);
    // Sets what `changes` has; an empty value removes the name.
    void apply(const EnvironmentTexts& changes);

    [[nodiscard]] const std::string& bytes() const { return bytes_; }
    bool operator==(const EnvironmentTexts&) const = default;

  private:
    [[nodiscard]] std::size_t positionOf(std::string_view name) const;
    std::string bytes_;
};

} // namespace vxplatform
