#include "common/heap.h"

#include <algorithm>
#include <cstring>

namespace vx {

Buffer& Buffer::operator=(const Buffer& other) {
    if (this != &other) {
        isBad_ = false;
        size_ = 0;
        resize(other.size_);
        isBad_ = isBad_ || other.isBad_;
        std::copy_n(other.data(), size_, data());
    }
    return *this;
}

void Buffer::resize(std::size_t size) {
    // A byte more than is asked for: nothing is no failure.
    auto bytes = isBad_ ? nullptr : allocate<uint8_t>(size + 1);
    isBad_ = bytes == nullptr;
    std::size_t const kept = std::min(size, size_);
    size_ = isBad_ ? 0 : size;
    if (!isBad_ && kept > 0) {
        std::memcpy(bytes.get(), bytes_.get(), kept);
    }
    bytes_ = std::move(bytes);
}

void Buffer::replace(std::size_t position, std::size_t count, std::string_view with) {
    std::size_t const rest = size_ - position - count;
    if (with.size() > count) {
        resize(size_ + with.size() - count);
    }
    if (isBad_ || bytes_ == nullptr) { // or nothing in the place of nothing
        return;
    }
    uint8_t* const at = data() + position;
    std::memmove(at + with.size(), at + count, rest);
    std::copy_n(with.data(), with.size(), at);
    size_ = position + with.size() + rest;
}

} // namespace vx
