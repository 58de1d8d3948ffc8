#include "tests/bench/work.h"

#include "props/property_pass.h"
#include "upgrade/merge.h"

#include <vxblade/common.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

#include <dlfcn.h>

namespace bench {

namespace {

// A function of another library. Loaded at run time: zlib's CRC has the name of ours, and a machine
// without the library still measures the rest.
template <class Function>
Function* imported(const char* library, const char* name) {
    void* const handle = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
    void* const symbol = handle != nullptr ? ::dlsym(handle, name) : nullptr;
    if (symbol == nullptr) {
        throw std::runtime_error(std::string("no ") + name + " of " + library + " here");
    }
    return reinterpret_cast<Function*>(symbol);
}

// --- A section's keys, looked for in a text with all properties. A tenth of them are of it.

constexpr const char* prefix = "config.port.fc.7.";

bool isOfSection(const char* key) {
    return std::strncmp(key, prefix, std::strlen(prefix)) == 0;
}

std::string propertiesText(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += "config.port.fc." + std::to_string(i % 10) + ".Setting" + std::to_string(i / 10) +
                " = \"" + std::to_string(i) + "\"\n";
    }
    return text;
}

using Properties = std::shared_ptr<PropertiesHandleRecord>;

Properties open(const std::string& text) {
    return {propReadPropertiesBuffer(text.data(), static_cast<int>(text.size())),
            propClosePropertiesFile};
}

Work pass(std::size_t size) {
    return [file = open(propertiesText(size))] {
        uint32_t found = 0;
        for (vx::PropertyPass pass(file.get()); pass.next();) {
            found += isOfSection(pass.key()) ? 1 : 0;
        }
        return found;
    };
}

// As the public interface enumerates: every step looks for its key from the start of the text.
Work enumeration(std::size_t size) {
    return [file = open(propertiesText(size))] {
        uint32_t found = 0;
        std::array<char, vx::propertyBufferSize> key{};
        std::array<char, vx::propertyBufferSize> value{};
        constexpr int capacity = vx::propertyBufferSize;
        for (int length = propGetNext(file.get(), nullptr, key.data(), capacity); length >= 1;
             length = propGetNext(file.get(), key.data(), key.data(), capacity)) {
            found += isOfSection(key.data()) &&
                             propGetValue(file.get(), key.data(), value.data(), capacity) >= 1
                         ? 1
                         : 0;
        }
        return found;
    };
}

Work inih(std::size_t size) {
    using Handler = int(void* user, const char* section, const char* name, const char* value);
    auto* const parse =
        imported<int(const char*, Handler*, void*)>("libinih.so.1", "ini_parse_string");
    return [parse, text = propertiesText(size)] {
        uint32_t found = 0;
        Handler* const count = [](void* user, const char*, const char* name, const char*) {
            *static_cast<uint32_t*>(user) += isOfSection(name) ? 1 : 0;
            return 1;
        };
        parse(text.c_str(), count, &found);
        return found;
    };
}

uint32_t sectionSize(std::size_t size) {
    return static_cast<uint32_t>(size / 10);
}

// --- The CRC-32 of so many bytes.

std::vector<unsigned char> bytes(std::size_t size) {
    std::vector<unsigned char> data(size);
    for (std::size_t i = 0; i < size; ++i) {
        data[i] = static_cast<unsigned char>(i * 31 + (i >> 8));
    }
    return data;
}

Work crc(std::size_t size) {
    return [data = bytes(size)] { return crc32(0, data.data(), static_cast<int>(data.size())); };
}

Work crcZlib(std::size_t size) {
    auto* const zlib = imported<unsigned long(unsigned long, const unsigned char*, std::size_t)>(
        "libz.so.1", "crc32_z");
    return [zlib, data = bytes(size)] {
        return static_cast<uint32_t>(zlib(0, data.data(), data.size()));
    };
}

Work crcBytewise(std::size_t size) {
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < table.size(); ++n) {
        uint32_t c = n;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1) != 0 ? 0xEDB88320 ^ (c >> 1) : c >> 1;
        }
        table[n] = c;
    }
    return [table, data = bytes(size)] {
        uint32_t c = 0xFFFFFFFF;
        for (unsigned char const byte : data) {
            c = table[(c ^ byte) & 0xFF] ^ (c >> 8);
        }
        return ~c;
    };
}

uint32_t crcOf(std::size_t size) {
    return crcBytewise(size)();
}

// --- The merge of new defaults into a live configuration, from three texts in the working
// directory.

Properties openFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return open({std::istreambuf_iterator<char>(file), {}});
}

// Every section that an upgrade merges, but for its records' writes: no store is open, so that
// they end at once.
Work merge(std::size_t /*once*/) {
    using namespace vx;
    constexpr int iscsiPorts = 4;
    constexpr int fcPorts = 6;
    constexpr int gigePorts = 2;
    constexpr int hostGroups = 4;
    InitDatabaseLite();
    Properties const live = openFile("live.cfg");
    (void)readDefaultBridgeConfigInfo(live.get());
    (void)readDefaultBridgeDataMigrationInfo(live.get(), &bridge_configuration.record);
    (void)readDefaultCliConfigInfo(live.get());
    (void)readDefaultMgmtConfigInfo(live.get());
    for (int port = 0; port < iscsiPorts; ++port) {
        (void)readDefaultIsConfigInfo(live.get(), port);
    }
    for (int port = 0; port < fcPorts; ++port) {
        (void)readDefaultFcConfigInfo(live.get(), port);
    }
    for (int group = 0; group < hostGroups; ++group) {
        (void)readDefaultHostGroupConfigInfo(live.get(), group);
    }
    return [oldFile = openFile("old.cfg"), newFile = openFile("new.cfg"),
            bridge = bridge_configuration, mgmt = mgmt_port,
            ports = std::to_array(port_configuration), groups = std::to_array(HostGroups)] {
        bridge_configuration = bridge;
        mgmt_port = mgmt;
        std::ranges::copy(ports, port_configuration);
        std::ranges::copy(groups, HostGroups);
        auto const section = [&](auto operation, auto... number) {
            (void)operation(oldFile.get(), newFile.get(), number...);
        };
        section(compareDefaultBridgeConfigInfo);
        section(compareDefaultCliConfigInfo);
        for (uint32_t port = 0; port < iscsiPorts; ++port) {
            section(compareDefaultIsConfigInfo, port);
        }
        for (uint32_t port = 0; port < fcPorts; ++port) {
            section(compareDefaultFcConfigInfo, port);
        }
        for (uint32_t port = 0; port < gigePorts; ++port) {
            section(compareDefaultGigeConfigInfo, port);
        }
        for (int group = 0; group < hostGroups; ++group) {
            section(compareDefaultHostGroupInfo, group);
        }
        section(compareDefaultMgmtInfo);
        const BridgeConfig& merged = bridge_configuration.record;
        return merged.BridgeLogSize * 10 + merged.BridgeLogLevel;
    };
}

// The user's size of the log, and the new default of its level.
uint32_t mergedLog(std::size_t /*once*/) {
    return 99993;
}

struct Kind {
    const char* name;
    Work (*make)(std::size_t size);
    uint32_t (*result)(std::size_t size); // what each way of doing it must return
};
constexpr Kind kinds[] = {
    {"pass", pass, sectionSize},
    {"pass-inih", inih, sectionSize},
    {"pass-enumeration", enumeration, sectionSize},
    {"crc", crc, crcOf},
    {"crc-zlib", crcZlib, crcOf},
    {"crc-bytewise", crcBytewise, crcOf},
    {"merge", merge, mergedLog},
};

} // namespace

Work makeWork(const std::string& name) {
    auto const slash = name.find('/');
    auto const* const kind = std::ranges::find(kinds, name.substr(0, slash), &Kind::name);
    if (slash == std::string::npos || kind == std::end(kinds)) {
        throw std::runtime_error("no work " + name);
    }
    std::size_t const size = std::stoul(name.substr(slash + 1));
    Work work = kind->make(size);
    if (work() != kind->result(size)) {
        throw std::runtime_error(name + " does not return what it should");
    }
    return work;
}

} // namespace bench
