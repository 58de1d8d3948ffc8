// The pieces of work that are measured, KIND/SIZE, such as "crc/512"; sizes are in bytes or in
// properties. "merge/1" reads live.cfg, old.cfg and new.cfg in the working directory.
//   vxwork TIMES WORK   does it so often: the difference between two numbers of times is what the
//                       work takes in instructions, without the start of the process
//   vxwork ns WORK...   prints the time that each takes, in nanoseconds
// What cannot be had here or does not return what it should is named on standard error.
#include "props/property_index.h"
#include "props/property_pass.h"
#include "settings/loading.h"
#include "upgrade/merge.h"

#include <vxblade/common.h>
#include <vxblade/pmgr.h>
#include <vxblade/properties.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace {

// Does one piece of work, all of it in memory; returns something that depends on all of it.
using Work = std::function<uint32_t()>;

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

bool isOfSection(std::string_view key) {
    return key.starts_with("config.port.fc.7.");
}

std::string propertiesText(std::size_t count) {
    std::ostringstream text;
    for (std::size_t i = 0; i < count; ++i) {
        text << "config.port.fc." << i % 10 << ".Setting" << i / 10 << " = \"" << i << "\"\n";
    }
    return text.str();
}

using Properties = std::shared_ptr<PropertiesHandleRecord>;

Properties properties(std::size_t count) {
    std::string const text = propertiesText(count);
    return {propReadPropertiesBuffer(text.data(), static_cast<int>(text.size())),
            propClosePropertiesFile};
}

Work pass(std::size_t size) {
    return [file = properties(size)] {
        uint32_t found = 0;
        for (vx::PropertyPass pass(file.get()); pass.next();) {
            found += isOfSection(pass.key()) ? 1 : 0;
        }
        return found;
    };
}

// A text that comes anew is indexed, and the section's keys are looked up.
Work indexOf(const std::string& text) {
    return [text] {
        Properties const file = {
            propReadPropertiesBuffer(text.data(), static_cast<int>(text.size())),
            propClosePropertiesFile};
        vx::PropertyIndex const index(file.get());
        uint32_t found = 0;
        for (vx::PropertyPass pass(file.get()); pass.next();) {
            std::string_view value;
            found += isOfSection(pass.key()) && index.find(pass.key(), value) ? 1 : 0;
        }
        return found;
    };
}

Work index(std::size_t size) {
    return indexOf(propertiesText(size));
}

// Ten properties, one of the section, after so many of a character that hold none.
template <char character>
Work indexAfter(std::size_t size) {
    const char* const begin = character == '=' ? "#" : character == 'x' ? "large = \"" : "";
    const char* const end = character == 'x' ? "\"\n" : "\n";
    return indexOf(begin + std::string(size, character) + end + propertiesText(10));
}

// As the public interface enumerates: every step looks for its key from the start of the text.
Work enumeration(std::size_t size) {
    return [file = properties(size)] {
        uint32_t found = 0;
        char key[vx::propertyBufferSize];
        char value[vx::propertyBufferSize];
        char* previous = nullptr;
        while (propGetNext(file.get(), previous, key, sizeof key) >= 1) {
            found += isOfSection(key) && propGetValue(file.get(), key, value, sizeof value) >= 1;
            previous = key;
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

// --- The CRC-32 of so many bytes.

Work crc(std::size_t size) {
    return [data = std::string(size, 'x')] {
        return crc32(0, data.data(), static_cast<int>(data.size()));
    };
}

Work crcZlib(std::size_t size) {
    auto* const zlib =
        imported<unsigned long(unsigned long, const char*, std::size_t)>("libz.so.1", "crc32_z");
    return [zlib, data = std::string(size, 'x')] { return zlib(0, data.data(), data.size()); };
}

Work crcBytewise(std::size_t size) {
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < table.size(); ++n) {
        table[n] = n;
        for (int bit = 0; bit < 8; ++bit) {
            table[n] = (table[n] & 1) != 0 ? 0xEDB88320 ^ (table[n] >> 1) : table[n] >> 1;
        }
    }
    return [table, data = std::string(size, 'x')] {
        uint32_t c = 0xFFFFFFFF;
        for (char const byte : data) {
            c = table[(c ^ static_cast<unsigned char>(byte)) & 0xFF] ^ (c >> 8);
        }
        return ~c;
    };
}

// --- The merge of new defaults into a live configuration, from three texts in the working
// directory.

Properties openFile(const char* path) {
    return {propOpenPropertiesFile(path), propClosePropertiesFile};
}

// Every section that an upgrade merges, but for its records' writes: no store is open, so that
// they end at once.
Work merge(std::size_t /*once*/) {
    InitDatabaseLite();
    Properties const live = openFile("live.cfg");
    vx::forEachSection(vx::mergeOrder, [&](const vx::Section& section, uint32_t number) {
        (void)vx::storeDefaults(live.get(), section, static_cast<int>(number));
    });
    return [bridge = bridge_configuration, mgmt = mgmt_port,
            ports = std::to_array(port_configuration), groups = std::to_array(HostGroups)] {
        bridge_configuration = bridge;
        mgmt_port = mgmt;
        std::ranges::copy(ports, port_configuration);
        std::ranges::copy(groups, HostGroups);
        // As the upgrade does, an index of each file comes first.
        Properties const oldFile = openFile("old.cfg");
        Properties const newFile = openFile("new.cfg");
        vx::indexProperties(oldFile.get());
        vx::indexProperties(newFile.get());
        for (const vx::Section* const section : vx::mergeOrder) {
            for (uint32_t number = 0; number < section->merge.count; ++number) {
                (void)vx::mergeSection(*section, oldFile.get(), newFile.get(), number);
            }
        }
        const BridgeConfig& merged = bridge_configuration.record;
        return merged.BridgeLogSize * 10 + merged.BridgeLogLevel;
    };
}

constexpr std::pair<std::string_view, Work (*)(std::size_t size)> kinds[] = {
    {"pass", pass},
    {"pass-inih", inih},
    {"pass-enumeration", enumeration},
    {"crc", crc},
    {"crc-zlib", crcZlib},
    {"crc-bytewise", crcBytewise},
    {"merge", merge},
    {"pass-index", index},
    {"index-comment", indexAfter<'='>},
    {"index-blank", indexAfter<'\n'>},
    {"index-value", indexAfter<'x'>},
};

// The piece of work, if it returns what each way of doing it must. After the merge: the user's size
// of the log, and the new default of its level.
Work makeWork(const std::string& name) {
    std::string const kind = name.substr(0, name.find('/'));
    std::size_t const size = std::stoul(name.substr(kind.size() + 1));
    auto const known = std::ranges::find(kinds, kind, [](auto const& k) { return k.first; });
    Work work =
        known != std::end(kinds) ? known->second(size) : throw std::runtime_error("unknown");
    uint32_t const result = kind.starts_with("pass")    ? static_cast<uint32_t>(size / 10)
                            : kind.starts_with("index") ? 1
                            : kind.starts_with("crc")   ? crcBytewise(size)()
                                                        : 99993;
    return work() == result ? work : throw std::runtime_error("wrong result");
}

double nanoseconds(const Work& work, long times) {
    auto const start = std::chrono::steady_clock::now();
    for (long left = times; left > 0; --left) {
        (void)work();
    }
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
        .count();
}

// In so many runs that the clock's steps do not matter. Standard output has the sections' messages.
void printTime(const char* name, const Work& work) {
    constexpr double enough = 20e6;
    long times = 1;
    double took = 0;
    while ((took = nanoseconds(work, times)) < enough) {
        times *= 2;
    }
    std::fprintf(stderr, "ns:%s %.2f\n", name, took / static_cast<double>(times));
}

} // namespace

int main(int argc, char** argv) {
    int status = 0;
    for (int i = 2; i < argc; ++i) {
        try {
            Work const work = makeWork(argv[i]);
            std::strcmp(argv[1], "ns") == 0 ? printTime(argv[i], work)
                                            : (void)nanoseconds(work, std::stol(argv[1]));
        } catch (const std::exception& error) { // the others are measured all the same
            std::fprintf(stderr, "not measured: %s: %s\n", argv[i], error.what());
            status = 1;
        }
    }
    return status;
}
