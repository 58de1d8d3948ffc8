#include <vxblade/properties.h>

#include "props/property_index.h"
#include "props/property_parser.h"

#include <cstring>

using vx::PropertyParser;

namespace {

PropertiesHandle adopt(PropertyParser* parser) {
    auto* const handle = new PropertiesHandleRecord(parser);
    if (handle == nullptr) {
        delete parser;
    }
    return handle;
}

PropertyParser* parserOf(PropertiesHandle handle) {
    return handle != nullptr ? handle->parser : nullptr;
}

} // namespace

PropertiesHandle propOpenPropertiesFile(const char* path) {
    return adopt(new PropertyParser(path));
}

PropertiesHandle propReadPropertiesBuffer(const char* buffer, int length) {
    return adopt(new PropertyParser(buffer, length));
}

void propClosePropertiesFile(PropertiesHandle handle) {
    if (parserOf(handle) != nullptr) {
        delete handle->index;
        delete handle->parser;
        delete handle;
    }
}

int propGetNext(PropertiesHandle handle, char* prevKey, char* keyBuf, int keyBufLen) {
    const PropertyParser* const parser = parserOf(handle);
    if (parser == nullptr || keyBufLen < 1) {
        return 0;
    }
    int capacity = keyBufLen;
    if (prevKey != nullptr) {
        auto const previousLength = static_cast<int>(std::strlen(prevKey));
        if (previousLength >= keyBufLen) {
            capacity = previousLength + 1;
        }
    }
    auto const scratch = vx::allocate<char>(static_cast<std::size_t>(capacity));
    if (scratch == nullptr) {
        return 0;
    }
    const char* position = nullptr;
    for (;;) {
        int length = capacity;
        int result =
            parser->parseLine(position, scratch.get(), &length, nullptr, nullptr, &position);
        if (result == -1) {
            return 0;
        }
        if (prevKey == nullptr) {
            std::memcpy(keyBuf, scratch.get(), std::strlen(scratch.get()) + 1);
            return result == -2 ? length : static_cast<int>(std::strlen(keyBuf)) + 1;
        }
        if (result == 0 && std::strcmp(scratch.get(), prevKey) == 0) {
            length = keyBufLen;
            result = parser->parseLine(position, prevKey, &length, nullptr, nullptr, nullptr);
            if (result == -1) {
                return 0;
            }
            return result == -2 ? length : static_cast<int>(std::strlen(prevKey)) + 1;
        }
    }
}

int propGetValue(PropertiesHandle handle, const char* key, char* valBuf, int valBufLen) {
    const PropertyParser* const parser = parserOf(handle);
    if (parser == nullptr) {
        return 0;
    }
    auto const capacity = static_cast<int>(std::strlen(key)) + 1;
    auto const scratch = vx::allocate<char>(static_cast<std::size_t>(capacity));
    if (scratch == nullptr) {
        return 0;
    }
    const char* position = nullptr;
    for (;;) {
        int keyLength = capacity;
        int valueLength = valBufLen;
        int const result =
            parser->parseLine(position, scratch.get(), &keyLength, valBuf, &valueLength, &position);
        if (result == -1) {
            return 0;
        }
        bool const keyCut = keyLength != capacity;
        if (!keyCut && std::strcmp(scratch.get(), key) == 0) {
            return valueLength != valBufLen ? valueLength
                                            : static_cast<int>(std::strlen(valBuf)) + 1;
        }
    }
}

int propGetCrc(PropertiesHandle handle, unsigned long* storedCrc, unsigned long* computedCrc) {
    const PropertyParser* const parser = parserOf(handle);
    return parser != nullptr ? parser->getCrc(storedCrc, computedCrc) : 0;
}
