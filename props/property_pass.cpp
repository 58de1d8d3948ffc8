#include "props/property_pass.h"

#include "props/property_handle.h"

#include <cstring>

namespace vx {

bool PropertyPass::next() {
    if (handle_ == nullptr || handle_->parser == nullptr) {
        return false;
    }
    int keyLength = propertyBufferSize;
    int valueLength = propertyBufferSize;
    value_.fill('\0');
    int const result = handle_->parser->parseLine(position_, key_.data(), &keyLength, value_.data(),
                                                  &valueLength, &position_);
    bool const keyCut = keyLength != static_cast<int>(propertyBufferSize);
    return result != -1 && !keyCut;
}

} // namespace vx
