#include "tools/survey/bounded_counts.h"

#include <algorithm>
#include <iterator>

namespace tools {

namespace {

// FNV-1a with a last round that spreads the bits of short texts. Results that are merged come from
// any machine: it stays.
uint64_t hashOf(const std::string& text) {
    uint64_t hash = 14695981039346656037U;
    for (char const c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    hash = (hash ^ hash >> 32) * 0xD6E8FEB86659FD93U;
    return hash ^ hash >> 32;
}

} // namespace

void BoundedCounts::add(const std::string& text, uint64_t count) {
    Key key{hashOf(text), text};
    if (counts_.size() == most && std::prev(counts_.end())->first < key) {
        isSampled_ = true;
        return;
    }
    counts_[std::move(key)] += count;
    if (counts_.size() > most) {
        counts_.erase(std::prev(counts_.end()));
        isSampled_ = true;
    }
}

void BoundedCounts::add(const BoundedCounts& part) {
    for (auto const& [key, count] : part.counts_) {
        add(key.text, count);
    }
    isSampled_ = isSampled_ || part.isSampled_;
}

std::vector<BoundedCounts::Count> BoundedCounts::all() const {
    std::vector<Count> all;
    for (auto const& [key, count] : counts_) {
        all.push_back({key.text, count});
    }
    std::ranges::sort(all, [](const Count& a, const Count& b) {
        return a.count != b.count ? a.count > b.count : a.text < b.text;
    });
    return all;
}

uint64_t BoundedCounts::sum() const {
    uint64_t sum = 0;
    for (auto const& [key, count] : counts_) {
        sum += count;
    }
    return sum;
}

} // namespace tools
