#include "tools/base/output.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace tools {

std::string dumped(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void print(const Json& document) {
    std::string const text = document.dump(2, ' ', false, Json::error_handler_t::replace);
    std::puts(text.c_str());
}

} // namespace tools
