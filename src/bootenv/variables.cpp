#include "bootenv/variables.h"

#include <cstring>

namespace vx::bootenv {

Variables::Variables(std::string_view bytes) {
    for (std::size_t end = bytes.find('\0'); end != 0 && end != std::string_view::npos;
         end = bytes.find('\0')) {
        std::string_view const string = bytes.substr(0, end);
        if (std::size_t const equals = string.find('='); equals != std::string_view::npos) {
            set(string.substr(0, equals), string.substr(equals + 1));
        }
        bytes.remove_prefix(end + 1);
    }
}

// Where the name's string begins; npos where it has none.
std::size_t Variables::positionOf(std::string_view name) const {
    for (std::size_t at = 0; at < bytes_.size(); at = bytes_.find('\0', at) + 1) {
        if (bytes_.compare(at, name.size(), name) == 0 && bytes_[at + name.size()] == '=') {
            return at;
        }
    }
    return std::string::npos;
}

const char* Variables::find(std::string_view name) const {
    std::size_t const at = positionOf(name);
    return at == std::string::npos ? nullptr : bytes_.c_str() + at + name.size() + 1;
}

void Variables::set(std::string_view name, std::string_view value) {
    std::string string(name);
    string += '=';
    string += value;
    std::size_t const at = positionOf(name);
    if (at == std::string::npos) {
        bytes_.append(string.c_str(), string.size() + 1);
    } else {
        bytes_.replace(at, bytes_.find('\0', at) - at, string);
    }
}

void Variables::remove(std::string_view name) {
    if (std::size_t const at = positionOf(name); at != std::string::npos) {
        bytes_.erase(at, bytes_.find('\0', at) + 1 - at);
    }
}

void Variables::apply(const Variables& changes) {
    for (const char* at = changes.bytes_.c_str(); *at != '\0'; at += std::strlen(at) + 1) {
        const char* const value = std::strchr(at, '=') + 1;
        std::string_view const name(at, static_cast<std::size_t>(value - at) - 1);
        if (*value == '\0') {
            remove(name);
        } else {
            set(name, value);
        }
    }
}

} // namespace vx::bootenv
