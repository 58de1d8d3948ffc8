#include "tools/base/values.h"

#include "settings/loading.h"

namespace tools {

namespace {

using vx::Meaning;
using vx::Rule;
using vx::Section;
using vx::Setting;
using vx::Type;

std::string typeOf(const Setting& setting) {
    switch (setting.type) {
    case Type::number8:
    case Type::number16:
    case Type::number32:
        return "number, " + std::to_string(8 * setting.size) + " bits";
    case Type::string:
        return "string";
    case Type::ipv4:
        return "IPv4";
    case Type::hex:
        break;
    }
    return "hexadecimal, " + std::to_string(setting.size) + " bytes";
}

std::string absentIn(const Section& section, const Setting& setting) {
    return section.keepsAbsent ? "stays" : setting.type == Type::string ? "empty" : "0";
}

std::string numbersOf(uint32_t count) {
    return count == 1 ? "0" : "0 to " + std::to_string(count - 1);
}

// The headline, and what is the same for all of a section's settings.
std::string headOf(const Section& section) {
    std::string head = std::string("\n## ") + section.title + ": " + section.prefix +
                       (section.count > 0 ? "N." : "") + "\n\n";
    if (section.count > 0) {
        head += "N is " + numbersOf(section.count) + ". ";
    }
    if (section.merge.count == 0) {
        head += "An upgrade leaves this section alone.\n";
    } else if (section.merge.into != section.record) {
        head += "Numbers " + numbersOf(section.merge.count) +
                " are merged into the records of the iSCSI ports of their numbers.\n";
    } else {
        head += "An upgrade merges it.\n";
    }
    return head;
}

std::string rowOf(const Section& section, const Setting& setting) {
    std::string const guard = (setting.roles & vx::guard) != 0 ? ", guard" : "";
    return std::string("| ") + setting.key + " | " + typeOf(setting) + " | " + rangeOf(setting) +
           " | " + ruleOf(section, 0, setting) + guard + " | " + absentIn(section, setting) +
           " |\n";
}

constexpr const char* introduction =
    "# Settings\n"
    "\n"
    "Every key of a defaults file, section by section, in the order in which an upgrade compares\n"
    "them. Written by `vxcfg settings` from the table of which the programs are built.\n"
    "\n"
    "What an upgrade does with a default that changed:\n"
    "\n"
    "- **merged**: carried over where the live value is still the old default.\n"
    "- **forced**: carried over whatever the live value is.\n"
    "- **never merged**: the live value stays; only a blade that is made gets the default.\n"
    "- **merged, not loaded**: merged, but a blade that is made does not get the default.\n"
    "- **guard**: nothing of its section moves unless the live value is still the old default.\n"
    "\n"
    "The last column says what a key that is absent means: the default 0 or empty, or that the\n"
    "value stays as it is. The chassis name is the value of the last key that begins with\n"
    "`config.chassis.`; `properties.file.crc32` is the seal of a file.\n";

} // namespace

std::string keyOf(const Section& section, uint32_t number, const Setting& setting) {
    return vx::Prefix(section, static_cast<int>(number)).string() + std::string(setting.key);
}

std::string valueOf(const Setting& setting, const void* record) {
    vx::ValueString string{};
    vx::formatValue(setting, record, string);
    return string.data();
}

bool isLive(const Section& section) {
    return section.record != nullptr && section.record->slotSize > 0;
}

std::string rangeOf(const Setting& setting) {
    switch (setting.meaning) {
    case Meaning::toggle:
        return "0 or 1";
    case Meaning::ownNumber:
        return "N";
    case Meaning::address:
    case Meaning::serverAddress:
    case Meaning::gateway:
        return "address";
    case Meaning::mask:
        return "mask";
    case Meaning::mac:
        return "MAC address";
    case Meaning::worldWideName:
    case Meaning::nodeName:
        return "world-wide name";
    case Meaning::ipv6:
    case Meaning::serverIpv6:
        return "IPv6 address";
    case Meaning::iscsiName:
        return "iSCSI name, up to " + std::to_string(setting.size - 1) + " characters";
    case Meaning::version:
    case Meaning::plain:
        break;
    }
    if (setting.type == Type::string) {
        return "up to " + std::to_string(setting.size - 1) + " characters";
    }
    return setting.type == Type::hex
               ? std::to_string(2 * setting.size) + " digits"
               : "0 to " + std::to_string((uint64_t{1} << (8 * setting.size)) - 1);
}

std::string absentMeaning(const Section& section, const Setting* setting) {
    if (section.keepsAbsent) {
        return section.record == nullptr ? "who asks for it finds none"
                                         : "the value stays as it is";
    }
    return setting == nullptr ? "the defaults are then 0 or empty"
                              : "the default is then " + absentIn(section, *setting);
}

const char* ruleOf(const Section& section, uint32_t number, const Setting& setting) {
    if (number >= section.merge.count || setting.rule == Rule::loadedOnly) {
        return "never merged";
    }
    return setting.rule == Rule::forced       ? "forced"
           : setting.rule == Rule::mergedOnly ? "merged, not loaded"
                                              : "merged";
}

std::string describeSettings() {
    std::string document = introduction;
    for (const Section* const section : vx::sections) {
        document += headOf(*section);
        if (!section->groups.empty()) {
            document += "\n| Key | Type | Range | Upgrade | Absent |\n|---|---|---|---|---|\n";
        }
        vx::forEachSetting(*section,
                           [&](const Setting& setting) { document += rowOf(*section, setting); });
    }
    return document;
}

} // namespace tools
