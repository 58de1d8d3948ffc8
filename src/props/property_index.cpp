#include "props/property_index.h"

#include "props/property_pass.h"

#include <cstring>

namespace vx {

namespace {

// FNV-1a, over a key in two pieces.
uint32_t hash(std::string_view piece, uint32_t start = 2166136261U) {
    for (char const c : piece) {
        start = (start ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return start;
}

bool beginsWith(const char* text, std::string_view piece) {
    return piece.empty() || std::strncmp(text, piece.data(), piece.size()) == 0;
}

} // namespace

PropertyIndex::PropertyIndex(PropertiesHandle handle) : handle_(handle) {
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
        const char*& slot = slotOf(pass.key(), {});
        if (slot == nullptr) { // else the key is repeated: its first value counts
            slot = pass.key().data();
        }
    }
}

// The slot of a key, or the free one that it would take.
const char*& PropertyIndex::slotOf(std::string_view prefix, std::string_view suffix) const {
    std::size_t place = hash(suffix, hash(prefix)) & mask_;
    for (;; place = (place + 1) & mask_) {
        const char*& slot = slots_[place];
        if (slot == nullptr ||
            (beginsWith(slot, prefix) && beginsWith(slot + prefix.size(), suffix) &&
             !PropertyParser::isOfKey(slot[prefix.size() + suffix.size()]))) {
            return slot;
        }
    }
}

bool PropertyIndex::find(std::string_view prefix, std::string_view suffix,
                         std::string_view& value) const {
    const char* const begin = slotOf(prefix, suffix);
    if (begin == nullptr) {
        return false;
    }
    PropertyPass pass(handle_, begin);
    bool const found = pass.next();
    value = pass.value();
    return found;
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
