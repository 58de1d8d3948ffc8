#include "tests/support/text.h"

#include <regex>

bool matches(const std::string& text, const std::string& pattern) {
    return std::regex_match(text, std::regex(pattern));
}

std::string replaced(const std::string& text, const std::string& pattern, const std::string& by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

std::string folded(std::string lines) {
    static const std::regex repeated("([^\n]+)\n(\\1\n)+");
    for (std::smatch match; std::regex_search(lines, match, repeated);) {
        auto const count = match.length(0) / (match.length(1) + 1);
        lines = match.prefix().str() + match.str(1) + " ×" + std::to_string(count) + "\n" +
                match.suffix().str();
    }
    return lines;
}
