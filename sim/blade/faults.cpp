#include "sim/blade/faults.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace sim {

namespace {

int errorNamed(const std::string& name) {
    constexpr int lastError = 133;
    for (int error = 1; error <= lastError; ++error) {
        const char* const known = ::strerrorname_np(error);
        if (known != nullptr && name == known) {
            return error;
        }
    }
    throw std::invalid_argument("no such error: " + name);
}

} // namespace

long numberFrom(const std::string& word, long least) {
    char* end = nullptr;
    long const number = std::strtol(word.c_str(), &end, 0);
    if (end == word.c_str() || *end != '\0' || number < least) {
        throw std::invalid_argument("not a number from " + std::to_string(least) + ": " + word);
    }
    return number;
}

bool Faults::command(const std::vector<std::string>& words) {
    auto const word = [&](std::size_t index) {
        return index < words.size() ? words[index]
                                    : throw std::invalid_argument("a word is missing");
    };
    auto const optional = [&](std::size_t index, long otherwise) {
        return index < words.size() ? numberFrom(words[index], 0) : otherwise;
    };
    std::string const& verb = words.at(0);
    if (verb == "fail") {
        rules_.push_back({word(1),
                          word(2),
                          {Verdict::fail, errorNamed(word(3))},
                          optional(4, 1),
                          optional(5, 0)});
    } else if (verb == "short" || verb == "skip") {
        Verdict::Kind const kind = verb == "short" ? Verdict::comeShort : Verdict::skip;
        rules_.push_back({word(1), word(2), {kind, 0}, optional(3, 1), optional(4, 0)});
    } else if (verb == "stop" || verb == "tear") {
        ending_ = verb == "stop" ? Verdict::stop : Verdict::tear;
        untilEnd_ = numberFrom(word(1), 1);
    } else if (verb == "reset") {
        *this = Faults();
    } else {
        return false;
    }
    return true;
}

Verdict Faults::next(std::string_view device, std::string_view operation) {
    if (dead_) {
        return {Verdict::stop, 0};
    }
    if (untilEnd_ > 0 && --untilEnd_ == 0) {
        dead_ = true;
        return {ending_, 0};
    }
    for (Rule& rule : rules_) {
        if (rule.device != device || rule.operation != operation) {
            continue;
        }
        if (rule.after > 0) {
            --rule.after;
        } else if (rule.count > 0) {
            --rule.count;
            return rule.verdict;
        }
    }
    return {};
}

} // namespace sim
