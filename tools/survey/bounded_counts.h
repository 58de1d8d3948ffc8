// How often each of many texts was met, in a memory that does not grow with their number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tools {

// Keeps the `most` distinct texts of the smallest hashes. A text that is kept was kept from its
// first time on, so that its count is exact; which are kept depends neither on the order of the
// texts nor on how they were divided into parts.
class BoundedCounts {
  public:
    static constexpr std::size_t most = 1024;

    struct Count {
        std::string text;
        uint64_t count;
    };

    void add(const std::string& text, uint64_t count = 1);
    void add(const BoundedCounts& part);

    // True where there were more distinct texts.
    [[nodiscard]] bool isSampled() const { return isSampled_; }
    void setSampled() { isSampled_ = true; } // of a part that was read back

    // The most frequent first; of those as frequent in the order of the texts.
    [[nodiscard]] std::vector<Count> all() const;
    [[nodiscard]] uint64_t sum() const; // of the counts

  private:
    struct Key {
        uint64_t hash;
        std::string text;
        auto operator<=>(const Key&) const = default;
    };

    std::map<Key, uint64_t> counts_;
    bool isSampled_ = false;
};

} // namespace tools
