// The grammar of personality files: every access agrees with one plain parse into buffers that
// hold everything, whatever the size of its own.
#include "props/property_parser.h"
#include "props/property_pass.h"
#include "tests/fuzz/fuzz.h"

#include <vxblade/common.h>
#include <vxblade/props.h>

#include <cstring>
#include <vector>

using fuzz::require;

namespace {

struct Property {
    std::string key;
    std::string value;
    std::size_t place; // the first property of the same key
};
constexpr std::size_t bufferSize = vx::propertyBufferSize;

bool fits(const std::string& part) {
    return part.size() < bufferSize;
}

// A part as delivered into `capacity` bytes; `length` is what the parser made of the capacity.
void checkPart(const std::string& whole, const char* part, int capacity, int length) {
    auto const needed = static_cast<int>(whole.size()) + 1;
    require(length == std::max(capacity, needed), "a part that is cut says what it needs");
    if (capacity > 0) {
        require(part == whole.substr(0, static_cast<std::size_t>(capacity) - 1),
                "a part is cut behind its first bytes and terminated");
    }
}

// All properties; parses each a second time into buffers of `capacity` bytes.
std::vector<Property> parseAll(const vx::PropertyParser& parser, int textSize, int capacity) {
    std::vector<Property> properties;
    auto const key = fuzz::exactBuffer(textSize + 1);
    auto const value = fuzz::exactBuffer(textSize + 1);
    auto const cutKey = fuzz::exactBuffer(capacity);
    auto const cutValue = fuzz::exactBuffer(capacity);
    for (const char* pos = nullptr;;) {
        int keyLength = textSize + 1;
        int valueLength = textSize + 1;
        int cutKeyLength = capacity;
        int cutValueLength = capacity;
        const char* next = nullptr;
        const char* cutNext = nullptr;
        int const result =
            parser.parseLine(pos, key.get(), &keyLength, value.get(), &valueLength, &next);
        int const cut = parser.parseLine(pos, cutKey.get(), &cutKeyLength, cutValue.get(),
                                         &cutValueLength, &cutNext);
        require(next == cutNext, "the place of the next property depends on no buffer");
        if (result == -1) {
            require(cut == -1, "a malformed line is one for every buffer");
            return properties;
        }
        require(result == 0, "everything fits into a buffer of the text's size");
        checkPart(key.get(), cutKey.get(), capacity, cutKeyLength);
        checkPart(value.get(), cutValue.get(), capacity, cutValueLength);
        bool const isCut = cutKeyLength != capacity || cutValueLength != capacity;
        require(cut == (isCut ? -2 : 0), "a cut shows in the result");
        auto const same = std::ranges::find(properties, key.get(), &Property::key);
        properties.push_back(
            {key.get(), value.get(), static_cast<std::size_t>(same - properties.begin())});
        pos = next;
    }
}

void checkPass(PropertiesHandle handle, const std::vector<Property>& properties) {
    vx::PropertyPass pass(handle);
    for (const Property& property : properties) {
        bool const more = pass.next();
        require(more == fits(property.key), "a pass goes on to the first long key");
        if (!more) {
            return;
        }
        require(pass.key() == property.key, "a pass visits the properties in order");
        std::string value = property.value.substr(0, bufferSize - 1);
        value.resize(bufferSize);
        require(std::string_view(pass.value(), bufferSize) == value,
                "with their values, and zeros behind them");
    }
    require(!pass.next(), "and ends where parsing ends");
}

void checkLookup(PropertiesHandle handle, const std::vector<Property>& properties, int capacity) {
    auto const value = fuzz::exactBuffer(std::max(capacity, 1));
    for (const Property& property : properties) {
        const std::string& first = properties[property.place].value;
        int const size = std::max(capacity, 1);
        require(propGetValue(handle, property.key.c_str(), value.get(), size) ==
                    static_cast<int>(first.size()) + 1,
                "a key's first value is found");
        checkPart(first, value.get(), size, std::max(size, static_cast<int>(first.size()) + 1));

        // The key behind its first place.
        if (!fits(property.key)) {
            continue;
        }
        std::string key = property.key;
        key.resize(bufferSize);
        int const result = propGetNext(handle, key.data(), key.data(), bufferSize);
        if (property.place + 1 == properties.size()) {
            require(result == 0, "no key behind the last one");
        } else {
            const std::string& next = properties[property.place + 1].key;
            require(result == static_cast<int>(next.size()) + 1, "the next key's length");
            require(key.c_str() == next.substr(0, bufferSize - 1), "the next key");
        }
    }
}

void checkCrc(PropertiesHandle handle, const std::vector<Property>& properties) {
    uint32_t crc = 0;
    for (const Property& property : properties) {
        if (!fits(property.key) || !fits(property.value)) {
            break;
        }
        if (property.key != "properties.file.crc32") {
            for (const std::string& part : {property.key, property.value}) {
                crc = crc32(crc, part.data(), static_cast<int>(part.size()));
            }
        }
    }
    unsigned long stored = 0;
    unsigned long computed = 0;
    require(propGetCrc(handle, &stored, &computed) == -1 && computed == crc && stored <= UINT32_MAX,
            "the CRC is that of the keys and values");
}

} // namespace

// The capacity of small buffers in a byte, then the text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    int const capacity = static_cast<int8_t>(input.byte());
    std::string_view const text = input.rest();
    auto const textSize = static_cast<int>(text.size());
    vx::PropertyParser const parser(text.data(), textSize);
    std::vector<Property> const properties = parseAll(parser, textSize, capacity);
    PropertiesHandle const handle = propReadPropertiesBuffer(text.data(), textSize);
    checkPass(handle, properties);
    checkLookup(handle, properties, capacity);
    checkCrc(handle, properties);
    (void)vx::PropertyPass(handle).rest();
    propClosePropertiesFile(handle);
    return 0;
}
