#include "props/property_pass.h"

namespace vx {

bool PropertyPass::next() {
    constexpr std::size_t longest = propertyBufferSize - 1;
    const char* const following =
        parser_ != nullptr ? parser_->parse(position_, property_) : nullptr;
    if (following == nullptr || property_.key.size() > longest) {
        return false;
    }
    if (property_.value.size() > longest) {
        property_.value.remove_suffix(property_.value.size() - longest);
    }
    position_ = following;
    return true;
}

const char* PropertyPass::rest() const {
    return parser_ != nullptr ? parser_->skipBlank(position_) : "";
}

} // namespace vx
