// The C library's heap. What runs on a blade needs no other library's, and a request that fails
// gives null instead of an end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace vx {

// Objects of classes that derive from this; `new` gives null where there is no memory.
struct OnHeap {
    static void* operator new(std::size_t size) noexcept { return std::malloc(size); }
    static void operator delete(void* memory) { std::free(memory); }
};

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

// `count` elements of zeros, or null.
template <class Element>
using Elements = std::unique_ptr<Element[], FreeMemory>;
template <class Element>
[[nodiscard]] Elements<Element> allocate(std::size_t count) {
    return Elements<Element>(static_cast<Element*>(std::calloc(count, sizeof(Element))));
}

// True where every byte is `with`. The C library compares many at once, each with the one before.
[[nodiscard]] inline bool isFilled(const void* memory, std::size_t size, uint8_t with) {
    auto const* const bytes = static_cast<const uint8_t*>(memory);
    return size == 0 || (bytes[0] == with && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

// Bytes that grow and are copied. Where there is no memory the buffer turns bad and empty, and so
// does what is made of it; a new value makes it good again.
class Buffer {
  public:
    Buffer() = default;
    explicit Buffer(std::size_t size) { resize(size); }
    Buffer(const Buffer& other) { *this = other; }
    Buffer& operator=(const Buffer& other);
    ~Buffer() = default;

    [[nodiscard]] bool isBad() const { return isBad_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] uint8_t* data() { return bytes_.get(); }
    [[nodiscard]] const uint8_t* data() const { return bytes_.get(); }
    [[nodiscard]] std::string_view view() const {
        return {reinterpret_cast<const char*>(bytes_.get()), size_};
    }

    // Bytes that come anew are zero.
    void resize(std::size_t size);
    // Puts `with` in the place of `count` bytes, all within the buffer.
    void replace(std::size_t position, std::size_t count, std::string_view with);

    friend bool operator==(const Buffer& a, const Buffer& b) {
        return a.isBad_ == b.isBad_ && a.view() == b.view();
    }

  private:
    Elements<uint8_t> bytes_;
    std::size_t size_ = 0;
    bool isBad_ = false;
};

} // namespace vx
