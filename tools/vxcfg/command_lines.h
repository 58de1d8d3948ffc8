// vxcfg's commands and their options, and what is said of them.
#pragma once

#include "tools/vxcfg/arguments.h"

#include <optional>

namespace tools {

// Fills the arguments, whose action is what to do then. A status where there is nothing to do, or
// where the command line is wrong, which was told.
[[nodiscard]] std::optional<int> readCommandLine(int argc, char** argv, Arguments& arguments);

} // namespace tools
