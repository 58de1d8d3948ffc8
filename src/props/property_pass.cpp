#include "props/property_pass.h"

#include "props/property_parser.h"

namespace vx {

bool PropertyPass::next() {
    if (handle_ == nullptr || handle_->parser == nullptr) {
        return false;
    }
    int keyLength = propertyBufferSize;
    int valueLength = propertyBufferSize;
    value_.fill('\0');
    const char* following = position_;
    int const result = handle_->parser->parseLine(position_, key_.data(), &keyLength, value_.data(),
                                                  &valueLength, &following);
    bool const keyCut = keyLength != static_cast<int>(propertyBufferSize);
    if (result == -1 || keyCut) {
        return false;
    }
    position_ = following;
    return true;
}

const char* PropertyPass::rest() const {
    bool const hasText = handle_ != nullptr && handle_->parser != nullptr;
    return hasText ? handle_->parser->skipBlank(position_) : "";
}

} // namespace vx
