#include "settings/loading.h"

#include "props/property_pass.h"

#include <bitset>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace vx {

namespace {

// Room for the record of any section.
union alignas(std::max_align_t) AnyRecord {
    BridgeConfig bridge;
    CliConfig cli;
    MgmtPortConfig mgmt;
    PortParams port;
    HostGroupConfig hostGroup;
    CacheParams cache;
    StoragePoolConfig storagePool;
    DmGlobals dmGlobals;
    PasswordString password;
};

constexpr bool fitsAnyRecord() {
    for (const Section* const section : loadOrder) {
        if (section->record->size > sizeof(AnyRecord)) {
            return false;
        }
    }
    return true;
}
static_assert(fitsAnyRecord());

void announce(const Section& section, int number) {
    if (section.announcement != nullptr) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::printf(section.announcement, Prefix(section, number).string(), number);
#pragma GCC diagnostic pop
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
    std::bitset<128> met; // by position in the section; the largest has some 70 settings
    Prefix const prefix(section, number);
    std::size_t const prefixLength = std::strlen(prefix.string());
    for (PropertyPass pass(handle); pass.next();) {
        if (std::strncmp(pass.key(), prefix.string(), prefixLength) != 0) {
            continue;
        }
        const char* const suffix = pass.key() + prefixLength;
        std::size_t position = 0;
        forEachSetting(section, [&](const Setting& setting) {
            if (wanted(setting) && std::strcmp(suffix, setting.key) == 0 && !met.test(position)) {
                met.set(position);
                convertValue(setting, pass.value(), record);
            }
            ++position;
        });
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

ChassisName loadChassisName(PropertiesHandle handle) {
    std::array<char, propertyBufferSize> lastKey{};
    for (PropertyPass pass(handle); pass.next();) {
        if (std::strncmp(pass.key(), chassisPrefix, std::strlen(chassisPrefix)) == 0) {
            std::snprintf(lastKey.data(), lastKey.size(), "%s", pass.key());
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
