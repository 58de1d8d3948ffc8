// The standard streams of the process.
#pragma once

#include <array>
#include <cstdarg>

namespace vx {

// Opens /dev/null for each standard stream that the caller had closed, so that what is written
// there is lost instead of landing elsewhere. For programs, at their start.
void openStandardStreams();

// A message with its terminator; longer ones are cut.
using Message = std::array<char, 512>;

[[nodiscard, gnu::format(printf, 1, 0)]] Message formatted(const char* format, va_list values);

// Writes a message on standard error, in one write. Standard output is flushed before, so that
// where both go to one file each line comes after what was printed before it. Keeps errno.
[[gnu::format(printf, 1, 2)]] void printError(const char* format, ...);

} // namespace vx
