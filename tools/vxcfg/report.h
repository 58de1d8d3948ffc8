// Findings as text and as JSON.
#pragma once

#include "tools/base/finding.h"
#include "tools/base/output.h"

#include <string>

namespace tools {

// Prints "FILE:LINE:COLUMN: error|warning: what" and its hint for each finding.
void printFindings(const std::string& file, const Findings& findings, bool isStrict);

Json jsonOf(const Findings& findings, bool isStrict);

// How many findings are errors; with `isStrict` all.
std::size_t countErrors(const Findings& findings, bool isStrict);

// "1 error, 2 warnings".
std::string summaryOf(const Findings& findings, bool isStrict);

} // namespace tools
