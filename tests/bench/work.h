// The pieces of work that are measured, by name, for the clock and for counts of instructions.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace bench {

// Does one piece of work, all of it in memory; returns something that depends on all of it.
using Work = std::function<uint32_t()>;

// Prepares the work KIND/SIZE, such as "crc/512"; sizes are in bytes or in properties. "merge/1"
// reads live.cfg, old.cfg and new.cfg in the working directory. Throws std::runtime_error where
// there is no such kind, its library is not installed, or it does not return what it should.
Work makeWork(const std::string& name);

} // namespace bench
