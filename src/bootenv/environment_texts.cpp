#include "bootenv/environment_texts.h"

#include <cstring>

namespace vxplatform {

EnvironmentTexts::EnvironmentTexts(std::string_view bytes) {
    for (std::size_t end = bytes.find('\0'); end != 0 && end != std::string_view::npos;
         end = bytes.find('\0')) {
        std::string_view const text = bytes.substr(0, end);
        if (std::size_t const equals = text.find('='); equals != std::string_view::npos) {
            set(text.substr(0, equals), text.substr(equals + 1));
        }
        bytes.remove_prefix(end + 1);
    }
}

// Where the name's text begins; npos where it has none.
std::size_t EnvironmentTexts::positionOf(std::string_view name) const {
    for (std::size_t at = 0; at < bytes_.size(); at = bytes_.find('\0', at) + 1) {
        if (bytes_.compare(at, name.size(), name) == 0 && bytes_[at + name.size()] == '=') {
            return at;
        }
    }
    return std::string::npos;
}

const char* EnvironmentTexts::find(std::string_view name) const {
    std::size_t const at = positionOf(name);
    return at == std::string::npos ? nullptr : bytes_.c_str() + at + name.size() + 1;
}

void EnvironmentTexts::set(std::string_view name, std::string_view value) {
    std::string text(name);
    text += '=';
    text += value;
    std::size_t const at = positionOf(name);
    if (at == std::string::npos) {
        bytes_.append(text.c_str(), text.size() + 1);
    } else {
        bytes_.replace(at, bytes_.find('\0', at) - at, text);
    }
}

void EnvironmentTexts::remove(std::string_view name) {
    if (std::size_t const at = positionOf(name); at != std::string::npos) {
        bytes_.erase(at, bytes_.find('\0', at) + 1 - at);
    }
}

void EnvironmentTexts::apply(const EnvironmentTexts& changes) {
    for (const char* text = changes.bytes_.c_str(); *text != '\0'; text += std::strlen(text) + 1) {
        const char* const value = std::strchr(text, '=') + 1;
        std::string_view const name(text, static_cast<std::size_t>(value - text) - 1);
        if (*value == '\0') {
            remove(name);
        } else {
            set(name, value);
        }
    }
}

} // namespace vxplatform
