// The grammar of personality files: one pass over any text and the access by key, which looks for
// its key from the start each time, agree.
#include "props/property_pass.h"
#include "tests/fuzz/fuzz.h"

#include <vxblade/props.h>

#include <array>
#include <set>
#include <vector>

using fuzz::require;

// The size of a buffer for values in a byte, then the text.
void fuzz::run(std::string_view text) {
    constexpr std::size_t most = vx::propertyBufferSize - 1; // characters of a key or a value
    std::vector<char> room(std::max(fuzz::takeNumber(text, 1), 1U)); // watched at its end
    PropertiesHandle const file =
        propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
    std::set<std::string> keys;
    std::array<char, most + 1> key{};
    bool isFirst = true; // of its name: only after the first place are others found by key
    for (vx::PropertyPass pass(file); pass.next();) {
        char* const previous = keys.empty() ? nullptr : key.data();
        if (isFirst) {
            require(propGetNext(file, previous, key.data(), most + 1) ==
                            static_cast<int>(std::strlen(pass.key())) + 1 &&
                        std::strcmp(key.data(), pass.key()) == 0,
                    "the next key");
        }
        std::strcpy(key.data(), pass.key());
        isFirst = keys.insert(key.data()).second;
        std::string const value = pass.value();
        int const length =
            propGetValue(file, key.data(), room.data(), static_cast<int>(room.size())) - 1;
        require(!isFirst || (std::min<int>(length, most) == std::ssize(value) &&
                             room.data() == value.substr(0, room.size() - 1)),
                "a key's first value, cut to its buffer");
    }
    (void)propGetCrc(file, nullptr, nullptr);
    propClosePropertiesFile(file);
}
