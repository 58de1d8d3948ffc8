#include "tools/live_config.h"

#include "props/property_pass.h"
#include "settings/config_fields.h"
#include "store/control_block.h"
#include "store/psst_table.h"
#include "store/record_access.h"

#include <vxblade/pmgr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
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
constexpr FieldGroup mgmtGroups[] = {vx::mgmtFields};
constexpr FieldGroup iscsiGroups[] = {vx::ipPortIdentity, vx::ipPortNumbers, vx::portState,
                                      vx::ipv6Addresses, vx::ipv6Numbers};
constexpr FieldGroup gigeGroups[] = {vx::ipPortIdentity, vx::ipPortNumbers};
constexpr FieldGroup fcGroups[] = {vx::fcNames, vx::fcNumbers};
constexpr FieldGroup hostGroupGroups[] = {vx::hostGroupIndex, vx::hostGroupSettings};

// A section of the live configuration; `count` numbered ones, or one without a number.
struct LiveSection {
    const char* prefix;
    uint32_t count; // 0: not numbered
    vx::FieldGroups groups;
    const vx::RecordAccess& record;

    [[nodiscard]] std::string keyOf(const Field& field, uint32_t number) const {
        std::string const point = count > 0 ? std::to_string(number) + '.' : "";
        return prefix + point + field.key;
    }
};

const LiveSection sections[] = {
    {vx::bridgePrefix, 0, bridgeGroups, vx::bridgeRecord},
    {vx::cliPrefix, 0, cliGroups, vx::cliRecord},
    {vx::mgmtPrefix, 0, mgmtGroups, vx::mgmtRecord},
    {vx::iscsiPortPrefix, 4, iscsiGroups, vx::portRecord<PORT_TYPE_ISCSI>},
    {vx::fcPortPrefix, 6, fcGroups, vx::portRecord<PORT_TYPE_FC>},
    {vx::gigePortPrefix, 4, gigeGroups, vx::portRecord<PORT_TYPE_GIGE>},
    {vx::hostGroupPrefix, 4, hostGroupGroups, vx::hostGroupRecord},
};

// Calls `visit(section, number, field)` for every setting, until it returns true.
template <class Visit>
bool forEachSetting(Visit visit) {
    for (const LiveSection& section : sections) {
        for (uint32_t number = 0; number < std::max(section.count, 1U); ++number) {
            for (FieldGroup const group : section.groups) {
                for (const Field& field : group) {
                    if (visit(section, number, field)) {
                        return true;
                    }
                }
            }
        }
    }
    return false;
}

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

void openForReading(uint32_t type, int (*read)()) {
    int const index = vx::fileIndexOf(type);
    int const fd = vx::openPsstFile(index, O_RDONLY);
    if (fd < 0) {
        throw std::runtime_error(std::string("cannot open ") + psstFilePrimaryPaths[index] + ": " +
                                 std::strerror(errno));
    }
    vx::keepDescriptor(index, fd);
    if (read() != 0) {
        throw std::runtime_error(std::string(psstFilePrimaryPaths[index]) + " is not valid");
    }
}

void setField(const LiveSection& section, uint32_t number, const Field& field,
              const std::string& value) {
    std::vector<std::byte> record(section.record.size);
    if (vxpmgr_init_lite() != 0 || section.record.get(record.data(), number) != 0) {
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
    if (section.record.put(record.data(), number) != 0) {
        throw std::runtime_error("the setting could not be written");
    }
}

} // namespace

void showConfiguration(const std::string& prefix) {
    InitDatabaseLite();
    openForReading(PSST_BRIDGE_CONFIG, ReadBridgeConfigFile);
    openForReading(PSST_HOST_GROUP, ReadHostGroupFile);
    forEachSetting([&](const LiveSection& section, uint32_t number, const Field& field) {
        std::string const key = section.keyOf(field, number);
        if (key.starts_with(prefix)) {
            std::vector<std::byte> record(section.record.size);
            (void)section.record.get(record.data(), number);
            std::printf("%s = \"%s\"\n", key.c_str(), fieldText(field, record.data()).c_str());
        }
        return false;
    });
}

void setConfiguration(const std::string& key, const std::string& value) {
    if (!forEachSetting([&](const LiveSection& section, uint32_t number, const Field& field) {
            bool const found = key == section.keyOf(field, number);
            if (found) {
                setField(section, number, field, value);
            }
            return found;
        })) {
        throw std::runtime_error("no such setting: " + key + " (\"vxcfg show\" lists them)");
    }
}

} // namespace tools
