// The properties of a file by key, for who looks for many of them.
#pragma once

#include "common/heap.h"

#include <vxblade/properties.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vx {

// Holds for each key where its first property begins, as far as a PropertyPass reads. The handle
// must stay open. Takes two to four words for each equals sign of the text; where there is no
// memory it is not there.
class PropertyIndex : public OnHeap {
  public:
    explicit PropertyIndex(PropertiesHandle handle);

    [[nodiscard]] bool ok() const { return slots_ != nullptr; }

    // Gives the value of a key, cut to 255 characters; false where there is none.
    [[nodiscard]] bool find(std::string_view key, std::string_view& value) const;

  private:
    const char*& slotOf(std::string_view key) const;

    Elements<const char*> slots_; // where a property begins; open addressing
    std::size_t mask_ = 0;        // number of slots, a power of two, less 1
};

// Gives a handle an index, which settings are then found by, until it is closed.
void indexProperties(PropertiesHandle handle);

} // namespace vx
