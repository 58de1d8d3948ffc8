// One linear walk over a personality file.
#pragma once

#include "props/property_parser.h"

#include <vxblade/properties.h>

#include <cstddef>
#include <string_view>

namespace vx {

// Keys and values of more than 255 characters do not fit the buffers that every reader uses.
inline constexpr std::size_t propertyBufferSize = 256;

// Visits each property once, in file order:
//
//     for (PropertyPass pass(handle); pass.next();) { use(pass.key(), pass.value()); }
//
// Sees what propGetNext and propGetValue see on a file without repeated keys, in one scan instead
// of one for each property; where a key is repeated it visits every occurrence, and the caller
// keeps the first. Ends at the end of the text, at a malformed line and at a key of 256 or more
// characters. A longer value is cut to 255. Keys and values are views into the text.
class PropertyPass {
  public:
    explicit PropertyPass(PropertiesHandle handle)
        : parser_(handle != nullptr ? handle->parser : nullptr) {}

    [[nodiscard]] bool next();
    [[nodiscard]] std::string_view key() const { return property_.key; }
    [[nodiscard]] std::string_view value() const { return property_.value; }
    // What the pass did not read once it has ended: empty at the end of the text, else the
    // malformed line or the long key that stopped it.
    [[nodiscard]] const char* rest() const;

  private:
    const PropertyParser* parser_;
    const char* position_ = nullptr;
    Property property_;
};

} // namespace vx
