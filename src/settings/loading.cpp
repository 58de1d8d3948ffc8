#include "settings/loading.h"

#include "props/property_index.h"
#include "props/property_pass.h"

#include <bitset>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace vx {

namespace {

void announce(const Section& section, int number) {
    if (section.announcement != nullptr) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::printf(section.announcement, Prefix(section, number).string(), number);
#pragma GCC diagnostic pop
    }
}

void convert(const Setting& setting, std::string_view value, void* record) {
    std::array<char, propertyBufferSize> string{};
    std::memcpy(string.data(), value.data(), value.size());
    convertValue(setting, string.data(), record);
}

void findSettings(const PropertyIndex& index, std::string_view prefix, const Section& section,
                  Wanted wanted, void* record) {
    std::array<char, propertyBufferSize> key{};
    char* const end = key.data() + prefix.copy(key.data(), key.size());
    forEachSetting(section, [&](const Setting& setting) {
        auto const room = static_cast<std::size_t>(key.data() + key.size() - end);
        std::size_t const length = std::string_view(setting.key).copy(end, room);
        std::string_view value;
        if (wanted(setting) && index.find({key.data(), end + length}, value)) {
            convert(setting, value, record);
        }
    });
}

void passSettings(PropertiesHandle handle, std::string_view prefix, const Section& section,
                  Wanted wanted, void* record) {
    std::bitset<128> met; // by position in the section; the largest has some 70 settings
    std::size_t missing = 0;
    forEachSetting(section, [&](const Setting& setting) { missing += wanted(setting) ? 1 : 0; });
    for (PropertyPass pass(handle); missing > 0 && pass.next();) {
        std::string_view key = pass.key();
        if (!key.starts_with(prefix)) {
            continue;
        }
        key.remove_prefix(prefix.size());
        std::size_t position = 0;
        forEachSetting(section, [&](const Setting& setting) {
            if (wanted(setting) && key == setting.key && !met[position]) {
                met[position] = true;
                --missing;
                convert(setting, pass.value(), record);
            }
            ++position;
        });
    }
}

} // namespace

Prefix::Prefix(const Section& section, int number) {
    if (section.count > 0) {
        std::snprintf(string_.data(), string_.size(), "%s%d.", section.prefix, number);
    } else {
        std::snprintf(string_.data(), string_.size(), "%s", section.prefix);
    }
}

void loadSettings(PropertiesHandle handle, const Section& section, int number, Wanted wanted,
                  void* record) {
    Prefix const prefix(section, number);
    if (handle != nullptr && handle->index != nullptr) {
        findSettings(*handle->index, prefix.string(), section, wanted, record);
    } else {
        passSettings(handle, prefix.string(), section, wanted, record);
    }
}

int storeDefaults(PropertiesHandle handle, const Section& section, int number) {
    announce(section, number);
    AnyRecord record{};
    auto const slot = static_cast<uint32_t>(number);
    if (section.record->begin != nullptr) {
        section.record->begin(&record, slot);
    }
    loadSettings(handle, section, number, isLoaded, &record);
    return section.record->put(&record, slot);
}

bool sameVersion(const VersionBlock& a, const VersionBlock& b) {
    return std::memcmp(&a, &b, sizeof(VersionBlock)) == 0;
}

ChassisName loadChassisName(PropertiesHandle handle) {
    std::array<char, propertyBufferSize> lastKey{};
    for (PropertyPass pass(handle); pass.next();) {
        if (pass.key().starts_with(chassisPrefix)) {
            lastKey[pass.key().copy(lastKey.data(), lastKey.size() - 1)] = '\0';
        }
    }
    ChassisName name{};
    if (lastKey[0] != '\0') {
        // Looked up by its key, because of a repeated key the first value counts.
        std::array<char, propertyBufferSize> value{};
        (void)propGetValue(handle, lastKey.data(), value.data(), static_cast<int>(value.size()));
        std::memcpy(name.data(), value.data(), ::strnlen(value.data(), name.size() - 1));
    }
    return name;
}

} // namespace vx
