// Shell commands of the layer's own; others are run by the blade's VX_systemWrapper.
#pragma once

#include <cstddef>

namespace vx {

// Runs `command` with system() and returns its raw status. Standard output is flushed first:
// redirected output is block-buffered, and the command's own lines would overtake ours.
int runShell(const char* command);

// The same with a standard output of its own, which is passed on to ours afterwards: a command that
// cannot write there would fail, and its status would tell of our output instead of its work.
int runShellPassingOn(const char* command);

// Formats a command into at most `capacity` bytes (terminator included) and runs it. A command
// that does not fit is never run, because half a command is another command: the result is -1.
[[gnu::format(printf, 2, 3)]] int runShellFormatted(std::size_t capacity, const char* format, ...);

} // namespace vx
