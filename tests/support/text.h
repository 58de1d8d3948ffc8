// Texts and regular expressions, whose templates take a compiler seconds: they are compiled once.
#pragma once

#include <string>

[[nodiscard]] bool matches(const std::string& text, const std::string& pattern);
[[nodiscard]] std::string replaced(const std::string& text, const std::string& pattern,
                                   const std::string& by);
// Equal lines that follow one another are one with their number, "×3".
[[nodiscard]] std::string folded(std::string lines);
