#include "props/property_index.h"

#include "props/property_pass.h"

#include <bit>
#include <cstring>

namespace vx {

namespace {

// FNV-1a, of a word of characters at once. The last of a word reaches only the upper bits, which
// are those to choose by.
uint32_t hash(std::string_view key) {
    constexpr uint32_t prime = 16777619;
    uint32_t sum = 2166136261;
    for (uint32_t word = 0; key.size() >= sizeof word; key.remove_prefix(sizeof word)) {
        std::memcpy(&word, key.data(), sizeof word);
        sum = (sum ^ word) * prime;
    }
    for (char const c : key) {
        sum = (sum ^ static_cast<unsigned char>(c)) * prime;
    }
    return sum;
}

} // namespace

PropertyIndex::PropertyIndex(PropertiesHandle handle) {
    // Each property has an equals sign: as many, or more, are quicker counted than parsed.
    std::size_t most = 0;
    for (const char* at = PropertyPass(handle).rest(); (at = std::strchr(at, '=')) != nullptr;
         ++at) {
        ++most;
    }
    std::size_t count = 2;
    while (count < 2 * most) {
        count *= 2;
    }
    slots_ = allocate<const char*>(count);
    if (slots_ == nullptr) {
        return;
    }
    mask_ = count - 1;
    for (PropertyPass pass(handle); pass.next();) {
        const char*& slot = slotOf(pass.key());
        if (slot == nullptr) { // else the key is repeated: its first value counts
            slot = pass.key().data();
        }
    }
}

// The slot of a key, or the free one that it would take.
const char*& PropertyIndex::slotOf(std::string_view key) const {
    std::size_t place = hash(key) >> std::countl_zero(static_cast<uint32_t>(mask_));
    for (;; place = (place + 1) & mask_) {
        const char*& slot = slots_[place];
        if (slot == nullptr || (std::strncmp(slot, key.data(), key.size()) == 0 &&
                                !PropertyParser::isOfKey(slot[key.size()]))) {
            return slot;
        }
    }
}

bool PropertyIndex::find(std::string_view key, std::string_view& value) const {
    const char* const begin = slotOf(key);
    if (begin == nullptr) {
        return false;
    }
    (void)PropertyParser::parseValue(begin + key.size(), value);
    value = value.substr(0, propertyBufferSize - 1);
    return true;
}

void indexProperties(PropertiesHandle handle) {
    if (handle == nullptr || handle->index != nullptr) {
        return;
    }
    handle->index = new PropertyIndex(handle);
    if (handle->index != nullptr && !handle->index->ok()) {
        delete handle->index;
        handle->index = nullptr;
    }
}

} // namespace vx
