#include "tools/live_config.h"

#include "props/property_pass.h"
#include "settings/table.h"
#include "tools/live_records.h"
#include "tools/values.h"

#include <vxblade/pmgr.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace tools {

namespace {

using vx::Section;
using vx::Setting;

// Calls `visit(section, number, setting)` for every live setting.
template <class Visit>
void forEachLiveSetting(Visit visit) {
    vx::forEachSection(vx::sections, [&](const Section& section, uint32_t number) {
        if (isLive(section)) {
            vx::forEachSetting(section,
                               [&](const Setting& setting) { visit(section, number, setting); });
        }
    });
}

void setSetting(const Section& section, uint32_t number, const Setting& setting,
                const std::string& value) {
    std::vector<std::byte> record(section.record->size);
    if (vxpmgr_init_lite() != 0 || section.record->get(record.data(), number) != 0) {
        throw std::runtime_error("the store under /mnt/nand1 cannot be used");
    }
    std::array<char, vx::propertyBufferSize> text{};
    if (value.size() >= text.size()) {
        throw std::runtime_error("the value is too long");
    }
    std::memcpy(text.data(), value.data(), value.size());
    vx::convertValue(setting, text.data(), record.data());
    if (valueOf(setting, record.data()) != value) {
        throw std::runtime_error("the setting cannot hold \"" + value + "\"");
    }
    if (section.record->put(record.data(), number) != 0) {
        throw std::runtime_error("the setting could not be written");
    }
}

} // namespace

std::vector<std::string> liveKeys() {
    std::vector<std::string> keys;
    forEachLiveSetting([&](const Section& section, uint32_t number, const Setting& setting) {
        keys.push_back(keyOf(section, number, setting));
    });
    return keys;
}

std::vector<LiveSetting> liveSettings(const Place& place, const std::string& prefix) {
    LiveRecords records(place);
    std::vector<LiveSetting> settings;
    forEachLiveSetting([&](const Section& section, uint32_t number, const Setting& setting) {
        std::string const key = keyOf(section, number, setting);
        if (key.starts_with(prefix)) {
            const Record& record = records.of(*section.record, number);
            settings.push_back({key, valueOf(setting, record.data())});
        }
    });
    if (settings.empty()) {
        throw std::runtime_error("no setting's key begins with " + prefix);
    }
    return settings;
}

void setConfiguration(const std::string& key, const std::string& value) {
    bool found = false;
    forEachLiveSetting([&](const Section& section, uint32_t number, const Setting& setting) {
        if (key == keyOf(section, number, setting)) {
            found = true;
            setSetting(section, number, setting, value);
        }
    });
    if (!found) {
        throw std::runtime_error("no such setting: " + key + " (\"vxcfg show\" lists them)");
    }
}

} // namespace tools
