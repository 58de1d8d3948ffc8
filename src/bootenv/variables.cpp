#include "bootenv/variables.h"

#include <cstring>

namespace vx::bootenv {

namespace {

const char* charactersOf(const Buffer& buffer) {
    return reinterpret_cast<const char*>(buffer.data());
}

// The end of the string that begins at a position, its NUL not included.
std::size_t endOf(const Buffer& buffer, std::size_t at) {
    return at + std::strlen(charactersOf(buffer) + at);
}

} // namespace

Variables::Variables(std::string_view bytes) {
    for (std::size_t end = bytes.find('\0'); end != 0 && end != std::string_view::npos;
         end = bytes.find('\0')) {
        const char* const string = bytes.data();
        if (const char* const equals = std::strchr(string, '='); equals != nullptr) {
            set({string, static_cast<std::size_t>(equals - string)}, equals + 1);
        }
        bytes.remove_prefix(end + 1);
    }
}

// Where the name's string begins; the size where it has none.
std::size_t Variables::positionOf(std::string_view name) const {
    std::size_t at = 0;
    while (at < bytes_.size()) {
        const char* const string = charactersOf(bytes_) + at;
        if (std::strncmp(string, name.data(), name.size()) == 0 && string[name.size()] == '=') {
            break;
        }
        at = endOf(bytes_, at) + 1;
    }
    return at;
}

const char* Variables::find(std::string_view name) const {
    std::size_t const at = positionOf(name);
    return at < bytes_.size() ? charactersOf(bytes_) + at + name.size() + 1 : nullptr;
}

void Variables::set(std::string_view name, std::string_view value) {
    std::size_t const at = positionOf(name);
    if (at < bytes_.size()) {
        std::size_t const begin = at + name.size() + 1;
        bytes_.replace(begin, endOf(bytes_, at) - begin, value);
        return;
    }
    static constexpr char nul = '\0';
    for (std::string_view const part :
         {name, std::string_view("="), value, std::string_view(&nul, 1)}) {
        bytes_.replace(bytes_.size(), 0, part);
    }
}

void Variables::remove(std::string_view name) {
    if (std::size_t const at = positionOf(name); at < bytes_.size()) {
        bytes_.replace(at, endOf(bytes_, at) + 1 - at, {});
    }
}

void Variables::apply(const Variables& changes) {
    const Buffer& all = changes.bytes_;
    if (all.isBad()) {
        bytes_ = all;
    }
    for (std::size_t at = 0; at < all.size(); at = endOf(all, at) + 1) {
        const char* const string = charactersOf(all) + at;
        const char* const value = std::strchr(string, '=') + 1;
        std::string_view const name(string, static_cast<std::size_t>(value - string) - 1);
        if (*value == '\0') {
            remove(name);
        } else {
            set(name, value);
        }
    }
}

} // namespace vx::bootenv
