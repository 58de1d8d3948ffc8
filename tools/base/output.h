// What programs print of results: text for people, or one JSON document.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace tools {

using Json = nlohmann::ordered_json;

// What a program ends with: all is good, something was found, it could not be done.
enum Status { good = 0, found = 1, failed = 2 };

// A document on one line. Bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string dumped(const Json& document);

// Prints a document and a line break on standard output. Bytes that are no UTF-8 become U+FFFD.
void print(const Json& document);

} // namespace tools
