// The lint of a defaults file: what a blade reads otherwise than it is written, what does not fit
// together, and style.
#pragma once

#include "tools/defaults/text.h"

#include <cstdint>
#include <string>

namespace tools {

struct Lint {
    std::string version;
    std::string product;
    std::size_t properties = 0; // that a blade reads
    uint32_t computedSeal = 0;  // of those
    uint32_t storedSeal = 0;    // 0 too where there is none
    bool hasSeal = false;
    Findings findings; // by place
};

Lint lint(const DefaultsText& text);

// A seal as it is written: eight hexadecimal digits.
std::string sealDigits(uint32_t seal);

std::size_t countOf(const Findings& findings, Severity severity);
void sortByPlace(Findings& findings);

// True for findings about the seal.
bool isOfSeal(const Finding& finding);
// True for findings because of which a store is not made from a file: a text that no blade reads as
// it is written, or that changed after it was sealed.
bool isOfText(const Finding& finding);

} // namespace tools
