// The grammar of personality files: one pass over any text, the index, and the access by key, which
// looks for its key from the start each time, agree.
#include "props/property_index.h"
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
    vx::PropertyIndex const index(file);
    std::set<std::string> keys;
    std::array<char, most + 1> key{};
    bool isFirst = true; // of its name: only after the first place are others found by key
    for (vx::PropertyPass pass(file); pass.next();) {
        char* const previous = keys.empty() ? nullptr : key.data();
        if (isFirst) {
            require(propGetNext(file, previous, key.data(), most + 1) ==
                            std::ssize(pass.key()) + 1 &&
                        key.data() == pass.key(),
                    "the next key");
        }
        key[pass.key().copy(key.data(), most)] = '\0';
        isFirst = keys.insert(key.data()).second;
        std::string_view const value = pass.value();
        std::string_view found;
        require(index.find(pass.key(), found) && (!isFirst || found.data() == value.data()) &&
                    found.size() <= most,
                "the index has each key's first value");
        int const length =
            propGetValue(file, key.data(), room.data(), static_cast<int>(room.size())) - 1;
        require(!isFirst || (std::min<int>(length, most) == std::ssize(value) &&
                             room.data() == value.substr(0, room.size() - 1)),
                "a key's first value, cut to its buffer");
    }
    std::string_view found;
    require(keys.contains("k") || !index.find("k", found), "and no other key");
    (void)propGetCrc(file, nullptr, nullptr);
    propClosePropertiesFile(file);
}
