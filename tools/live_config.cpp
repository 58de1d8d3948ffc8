#include "tools/live_config.h"

#include "pmgr/control_block.h"
#include "props/config_fields.h"
#include "props/property_pass.h"

#include <vxblade/pmgr.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>
#include <stdexcept>
#include <vector>

#include <fcntl.h>

namespace tools {

namespace {

using vx::Conversion;
using vx::Field;
using vx::FieldGroup;

constexpr FieldGroup bridgeGroups[] = {vx::bridgeIdentity, vx::bridgeSettings,
                                       vx::bridgeDataMigration, vx::bridgeForced};
constexpr FieldGroup cliGroups[] = {vx::cliFields};

struct LiveSection {
    const char* prefix;
    vx::FieldGroups groups;
    std::size_t recordSize;
    int (*get)(void* record);
    int (*put)(const void* record);
};

constexpr uint32_t writeThrough = 1;

const LiveSection sections[] = {
    {vx::bridgePrefix, bridgeGroups, sizeof(BridgeConfig),
     [](void* record) { return vxpmgr_GetBridgeConfigInfo(static_cast<BridgeConfig*>(record)); },
     [](const void* record) {
         return vxpmgr_UpdateBridgeConfigInfo(static_cast<const BridgeConfig*>(record),
                                              writeThrough);
     }},
    {vx::cliPrefix, cliGroups, sizeof(CliConfig),
     [](void* record) { return vxpmgr_GetCliConfigInfo(static_cast<CliConfig*>(record)); },
     [](const void* record) {
         return vxpmgr_UpdateCliConfigInfo(static_cast<const CliConfig*>(record));
     }},
};

template <class Number>
std::string numberText(const unsigned char* bytes) {
    Number number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return std::to_string(number);
}

std::string fieldText(const Field& field, const void* record) {
    const auto* const bytes = static_cast<const unsigned char*>(record) + field.offset;
    switch (field.conversion) {
    case Conversion::number8:
        return numberText<uint8_t>(bytes);
    case Conversion::number16:
        return numberText<uint16_t>(bytes);
    case Conversion::number32:
        return numberText<uint32_t>(bytes);
    case Conversion::text: {
        const char* const text = reinterpret_cast<const char*>(bytes);
        return {text, ::strnlen(text, field.size)};
    }
    case Conversion::dotted:
        return std::to_string(bytes[0]) + '.' + std::to_string(bytes[1]) + '.' +
               std::to_string(bytes[2]) + '.' + std::to_string(bytes[3]);
    case Conversion::hex:
        break;
    }
    std::string text;
    for (std::size_t i = 0; i < field.size; ++i) {
        std::array<char, 3> pair{};
        std::snprintf(pair.data(), pair.size(), "%02X", bytes[i]);
        text += pair.data();
    }
    return text;
}

void openForReading() {
    InitDatabaseLite();
    int const index = 1;
    int const fd = vx::openPsstFile(index, O_RDONLY);
    if (fd < 0) {
        throw std::runtime_error(std::string("cannot open ") + psstFilePrimaryPaths[index] + ": " +
                                 std::strerror(errno));
    }
    vx::keepDescriptor(index, fd);
    if (ReadBridgeConfigFile() != 0) {
        throw std::runtime_error(std::string(psstFilePrimaryPaths[index]) +
                                 " is not a valid configuration file");
    }
}

void setField(const LiveSection& section, const Field& field, const std::string& value) {
    std::vector<std::byte> record(section.recordSize);
    if (vxpmgr_init_lite() != 0 || section.get(record.data()) != 0) {
        throw std::runtime_error("the store under /mnt/nand1 cannot be used");
    }
    std::array<char, vx::propertyBufferSize> text{};
    if (value.size() >= text.size()) {
        throw std::runtime_error("the value is too long");
    }
    std::memcpy(text.data(), value.data(), value.size());
    vx::convertText(field, text.data(), record.data());
    if (fieldText(field, record.data()) != value) {
        throw std::runtime_error("the setting cannot hold \"" + value + "\"");
    }
    if (section.put(record.data()) != 0) {
        throw std::runtime_error("the setting could not be written");
    }
}

} // namespace

void showConfiguration(const std::string& prefix) {
    openForReading();
    for (const LiveSection& section : sections) {
        std::vector<std::byte> record(section.recordSize);
        (void)section.get(record.data());
        for (FieldGroup const group : section.groups) {
            for (const Field& field : group) {
                std::string const key = std::string(section.prefix) + field.key;
                if (key.starts_with(prefix)) {
                    std::printf("%s = \"%s\"\n", key.c_str(),
                                fieldText(field, record.data()).c_str());
                }
            }
        }
    }
}

void setConfiguration(const std::string& key, const std::string& value) {
    for (const LiveSection& section : sections) {
        for (FieldGroup const group : section.groups) {
            for (const Field& field : group) {
                if (key == std::string(section.prefix) + field.key) {
                    setField(section, field, value);
                    return;
                }
            }
        }
    }
    throw std::runtime_error("no such setting: " + key + " (\"vxcfg show\" lists them)");
}

} // namespace tools
