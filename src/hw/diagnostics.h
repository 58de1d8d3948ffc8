// What the NOR, I2C and EEPROM sources say about themselves.
#pragma once

namespace vx {

// Says "SOURCE: FUNCTION LINE: " and the message on standard error, flushed at once. Keeps errno.
[[gnu::format(printf, 4, 5)]] void noteAt(const char* source, const char* function, int line,
                                          const char* format, ...);

// Says it there, and as an error with "FUNCTION LINE: " in the system log, whose ident is the
// source. Keeps errno.
[[gnu::format(printf, 4, 5)]] void reportAt(const char* source, const char* function, int line,
                                            const char* format, ...);

} // namespace vx

// For sources that define `sourceName`; `function` is the public operation's name.
#define VX_NOTE(function, ...) ::vx::noteAt(sourceName, function, __LINE__, __VA_ARGS__)
#define VX_REPORT(function, ...) ::vx::reportAt(sourceName, function, __LINE__, __VA_ARGS__)
