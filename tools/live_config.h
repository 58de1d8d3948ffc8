// The live configuration by the keys of personality files.
#pragma once

#include <string>

namespace tools {

// Prints every setting whose key begins with `prefix`, as personality-file lines. Opens the store
// for reading only. Throws std::runtime_error where there is none.
void showConfiguration(const std::string& prefix);

// Gives one setting a value and writes it through. Throws std::runtime_error on an unknown key, a
// value that does not convert, and a store that cannot be opened or written.
void setConfiguration(const std::string& key, const std::string& value);

} // namespace tools
