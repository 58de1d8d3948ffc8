// Random upgrades, each compared with the model byte by byte.
//
// ORACLE_UPGRADES and ORACLE_SEED say how many and which. A difference names the seed of its chain
// of upgrades, with which the chain runs again.
#include "tests/oracle/model.h"
#include "tests/support/blade_files.h"

#include "settings/saved_files.h"
#include "tools/base/values.h"
#include "tools/blade/open_place.h"
#include "tools/live/settings.h"
#include "tools/upgrades/last.h"
#include "tools/upgrades/plan.h"
#include "upgrade/driver.h"

#include <array>
#include <random>
#include <sstream>

using oracle::Files;
using Text = oracle::Bytes;

namespace {
bool isMounted = true;
}

// What the driver asks of a shell and of the devices: in this process, without either, thousands of
// upgrades take seconds.
extern "C" {
int __wrap_system(const char* command) {
    std::istringstream words(command);
    std::string name, first, second, third;
    words >> name >> first >> second >> third;
    if (name == "cp") {
        writeText(second, readText(first));
    } else if (name == "mv") {
        EXPECT_TRUE(third.starts_with(oracle::sequenceFile + "."));
        fs::rename(second, oracle::movedAside);
    }
    return name == "mount" && !isMounted ? 0x100 : 0;
}
int __wrap_initGpDevice() {
    return -1;
}
int __wrap_vhnor_init() {
    return -1;
}
}

namespace {

class Random {
  public:
    explicit Random(uint64_t seed) : engine(seed) {}
    std::size_t below(std::size_t end) { return engine() % end; }
    bool percent(unsigned chance) { return below(100) < chance; }
    const auto& of(const auto& choices) { return choices[below(std::size(choices))]; }
    Text bytes(std::size_t size) {
        Text text;
        while (text.size() < size) {
            text += oracle::littleEndian(engine(), 8);
        }
        return text.substr(0, size);
    }

    std::mt19937_64 engine;
};

// --- Personality files.

// clang-format off
const char* const oddNumbers[] = {
    "", " ", "-1", "+7", "- 1", "0x10", "12abc", "\t5", "\n5", "007", "--1", "1.5", "\v3", "\f4",
    "-256", "128", "255", "256", "300", "65536", "70000", "4294967295", "4294967297", "-4294967295",
    "9223372036854775808", "18446744073709551615", "18446744073709551616", "-18446744073709551616",
    "99999999999999999999999", "+", "1\r", "0000000000000000000000003"};
const char* const addresses[] = {
    "10.0.0.1", "10.0.0.2", "192.168.1.255", "1.2", "1..2", "300.1.1.1", "-1.2.3.4", " 1. 2.3.4",
    "1 .2.3.4", "a.b.c.d", "", "1.2.3.4.5", "+1.2.3.4x", "9223372036854775808.1.1.1",
    "-9223372036854775809.1.1.1", "4294967297.2.3.4"};
const char* const malformed[] = {
    "key = value", "key : \"v\"", "key = \"v\" extra", "\"key\" = \"v\"", "key \n= \"v\"",
    "key = \n\"v\"", "= \"v\"", "key", "k = \"a\\\"b\"", "k = \"v\" l = \"w\"", "\f"};
// Keys that come near to a setting's; a sample holds those that are read for nothing.
const char* const otherKeys[] = {
    "config.bridge.BridgeModeX", "config.bridge.bridgeMode", "config.bridge.", "-._",
    "config.bridge.config.bridge.BridgeMode", "config.port.is.10.PortNumber",
    "config.port.is.01.PortNumber", "config.port.is.4.PortNumber", "config.port.is..PortNumber",
    "config.port.fc.6.LoginTimeout", "config.port.gi.0.Ipv6Enabled", "config.port.gi.1.PortState",
    "config.hostgroup.4.Flags", "properties.file.versions"};
// clang-format on

using Properties = std::vector<std::pair<std::string, Text>>;

Text randomText(Random& random, std::size_t size) {
    constexpr std::size_t lengths[] = {0, 1, 5, 10, 254, 255, 256, 257, 1200};
    std::size_t const length = random.percent(50) ? size - 2 + random.below(4) : random.of(lengths);
    Text text = random.percent(80) ? Text(length, random.of(std::string_view("aAbB")))
                                   : random.bytes(length);
    std::erase(text, '\0');
    std::erase(text, '"');
    return text;
}

// Every key that a section reads, of the programs' own table, with its setting: one that the model
// lacks is a difference.
const auto& allKeys() {
    static auto const all = [] {
        std::map<std::string, vx::Setting> keys;
        vx::forEachSection(vx::sections, [&](const vx::Section& section, uint32_t number) {
            vx::forEachSetting(section, [&](const vx::Setting& setting) {
                keys.emplace(tools::keyOf(section, number, setting), setting);
            });
        });
        return keys;
    }();
    return all;
}

Text randomValue(Random& random, const std::string& key) {
    bool const isSetting = allKeys().contains(key);
    vx::Setting const& setting = allKeys().at(isSetting ? key : "config.bridge.BridgeMode");
    std::size_t const bits = std::min(8U * setting.size, 63U);
    return setting.type == vx::Type::string ? randomText(random, setting.size)
           : setting.type == vx::Type::ipv4 ? random.of(addresses)
           : random.percent(60)             ? std::to_string(random.below(4))
           : random.percent(60)             ? std::to_string(random.below(size_t{1} << bits))
                                            : random.of(oddNumbers);
}

// Some of a sample's.
Properties firstProperties(Random& random) {
    static auto const all = oracle::parse(readText(SAMPLES "/personality-5.2.1.cfg"));
    unsigned const share = random.of(std::array{2U, 4U, 6U, 8U, 12U, 20U, 30U, 90U});
    Properties properties;
    std::ranges::copy_if(all, std::back_inserter(properties), [&](auto const& property) {
        return property.first.starts_with("properties.") || random.percent(share);
    });
    return properties;
}

// The next firmware's: some values are others or spelled in another way; keys come, go, come twice.
void change(Random& random, Properties& properties) {
    auto const anywhere = [&](auto& all) {
        return std::next(all.begin(), static_cast<long>(random.below(all.size())));
    };
    unsigned const share = random.of(std::array{3U, 25U, 75U});
    for (auto& [key, value] : properties) {
        if (random.percent(key == "properties.file.version" ? 97 : share)) {
            value = random.percent(80) ? randomValue(random, key) : " " + value + "z";
        }
    }
    for (std::size_t i = random.below(6); i > 0; --i) {
        std::string const key = random.percent(70)   ? anywhere(allKeys())->first
                                : random.percent(70) ? anywhere(properties)->first
                                : random.percent(90) ? random.of(otherKeys)
                                                     : std::string(254 + random.below(3), 'k');
        properties.insert(anywhere(properties), {key, randomValue(random, key)});
        if (random.percent(30)) {
            properties.erase(anywhere(properties));
        }
    }
    if (random.percent(15)) {
        std::ranges::shuffle(properties, random.engine);
    }
}

Text written(Random& random, const Properties& properties) {
    constexpr const char* blanks[] = {"", " ", "\t", " \r", "  "};
    constexpr const char* comments[] = {"", "", "# a \"comment\" = 1", "#"};
    Text const lineEnd = random.percent(15) ? "\r\n" : "\n";
    std::size_t bad = random.below(properties.size() * 10);
    Text text;
    for (auto const& [key, value] : properties) {
        if (bad-- == 0) {
            text += random.percent(50) ? random.of(malformed) : "k" + random.bytes(1) + "y=\"v\"";
            text += lineEnd;
        }
        if (random.percent(90)) {
            text += key + " = \"" + value + "\"" + lineEnd;
            continue;
        }
        auto const blank = [&] { return Text(random.of(blanks)); };
        auto const comment = [&] { return blank() + random.of(comments) + lineEnd; };
        text += comment() + blank() + key + blank() + "=" + blank() + '"' + value + '"' + comment();
    }
    if (random.percent(6)) {
        text.resize(random.percent(50) ? random.below(text.size()) : text.size() - lineEnd.size());
    } else if (random.percent(3)) {
        text[random.below(text.size())] = '\0';
    }
    return text;
}

// --- The volumes.

Files allFiles() {
    Files files;
    for (std::string const& path : volumeFiles()) {
        files[path] = readText(path);
    }
    return files;
}

// Gives a share of the settings a value: mostly the default.
void disturb(Random& random, const oracle::Defaults& defaults, unsigned share, Files& live) {
    for (oracle::Setting const& setting : oracle::settings()) {
        if (!random.percent(share)) {
            continue;
        }
        Text value = oracle::convert(setting.field, defaults, setting.key);
        if (random.percent(20)) {
            value = oracle::convert(setting.field, {{"", randomValue(random, setting.key)}}, "");
        } else if (random.percent(3)) {
            value = random.bytes(value.size());
        } else if (setting.field.kind == oracle::Kind::text && random.percent(30)) {
            std::size_t const end = value.find('\0') + 1; // what is after it does not count
            value.replace(end, value.npos, random.bytes(value.size() - end));
        }
        oracle::writeAt(live[setting.path], setting.offset, value);
    }
    writeText(oracle::configFile, live[oracle::configFile]);
    writeText(oracle::hostGroupFile, live[oracle::hostGroupFile]);
}

// A store after years of use: what no field holds is anything. Mirrors and small files may be
// anything too, and are missing at times.
void makeLive(Random& random, Files live, const Text& defaults) {
    for (auto& [path, bytes] : live) {
        constexpr std::size_t checked = 20; // of the header
        bytes.replace(checked, bytes.npos, random.bytes(bytes.size() - checked));
    }
    disturb(random, oracle::parse(defaults), 100, live);
    constexpr std::size_t sizes[] = {64, 64, 64, 64, 64, 64, 70, 0, 1, 63};
    Text const low =
        Text(random.of(std::array{0U, 0U, 0U, 4U, 8U}), '\xFF'); // the next one carries
    Text sequence = random.bytes(20) + low + random.bytes(50);
    sequence.resize(random.of(sizes));
    live[oracle::sequenceFile] = sequence;
    for (auto const& [path, bytes] : Files(live)) {
        live[oracle::mirrorOf(path)] =
            random.percent(70) ? bytes : random.bytes(random.below(bytes.size() + 100));
    }
    live[oracle::bitmapFile] = random.bytes(8);
    for (std::string const name : {"telnet", "ssh", "ftp"}) {
        live["/mnt/nand1/" + name + ".cfg"] = "as the user likes it";
    }
    live[oracle::savedFiles[0]] = live[oracle::savedFiles[1]] = defaults;
    for (auto const& [path, bytes] : live) {
        fs::remove(path);
        if (path == oracle::configFile || path == oracle::hostGroupFile || random.percent(90)) {
            writeText(path, bytes);
        }
    }
}

// --- The comparison.

void compare(const Files& expected, Files actual) {
    for (auto const& [path, bytes] : expected) {
        auto const found = actual.extract(path);
        ASSERT_TRUE(found) << path << " is missing";
        if (bytes != oracle::anything && bytes != found.mapped()) {
            auto const place = std::ranges::mismatch(bytes, found.mapped()).in1 - bytes.begin();
            ADD_FAILURE() << path << " differs at " << place;
        }
    }
    EXPECT_TRUE(actual.empty()) << actual.begin()->first << " has come to be";
}

// --- The plan, made before, and the report, left after.

std::map<std::string, fs::file_time_type> timesOfFiles() {
    std::map<std::string, fs::file_time_type> times;
    for (std::string const& path : volumeFiles()) {
        times[path] = fs::last_write_time(path);
    }
    return times;
}

tools::Account planned() {
    auto const before = timesOfFiles();
    tools::Account plan = tools::planUpgrade(*tools::openPlace("/mnt"), "", oracle::newFile);
    EXPECT_EQ(timesOfFiles(), before);
    return plan;
}

// What was printed, stored and reported is what was planned; without a merge nothing is reported.
void expectAsPlanned(const tools::Account& plan, const std::string& output) {
    bool const merges = isMounted && plan.reason.empty();
    ASSERT_EQ(fs::exists(vx::upgradeReport), merges) << plan.reason;
    if (!merges) {
        return;
    }
    EXPECT_EQ(tools::lastUpgrade(*tools::openPlace("/mnt")).settings, plan.settings);
    fs::remove(vx::upgradeReport);
    std::string lines;
    std::map<std::string, std::string> stored;
    for (tools::AccountedSetting const& setting : plan.settings) {
        if (setting.action == vx::Action::change || setting.action == vx::Action::force) {
            lines += "Compare Diff: field=" + setting.key.substr(setting.key.rfind('.') + 1) +
                     ", update=1\n";
            stored[setting.record] = setting.newDefault;
        }
    }
    std::string printed;
    std::istringstream all(output);
    for (std::string line; std::getline(all, line);) {
        printed += line.starts_with("Compare Diff") ? line + "\n" : "";
    }
    EXPECT_EQ(printed, lines);
    for (auto const& [key, value] :
         tools::liveSettings(*tools::openPlace("/mnt"), "config.").settings) {
        EXPECT_TRUE(!stored.contains(key) || stored[key] == value) << key;
    }
}

struct Oracle : BladeTest {
    void upgrade(Random& random) {
        isMounted = !random.percent(1);
        tools::Account const plan = planned();
        oracle::Upgrade const expected = oracle::upgrade(std::move(files), isMounted);
        testing::internal::CaptureStderr();
        EXPECT_EQ(printedBy(vx::runUpgrade), expected.output);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), expected.errors);
        close_all_files();
        expectAsPlanned(plan, expected.output);
        files = allFiles();
        compare(expected.files, files);
        decided += expected.decided;
        moved += expected.moved;
    }

    // While a part of a header is zero, or the whole file is missing.
    void upgradeDamaged(Random& random) {
        constexpr int damaged[] = {1, 1, 4, 8, 16, 20, 32};
        constexpr std::size_t places[] = {0, 4, 8, 12, 16, 28}; // at some nobody looks
        std::string const path = primary(random.of(damaged));
        Text const before = files.at(path);
        files[path].replace(random.of(places), 4, 4, '\0');
        writeText(path, files[path]);
        if (random.percent(20) && path != primary(32)) { // this one is made where it is missing
            fs::remove(path);
            files.erase(path);
        }
        upgrade(random);
        writeText(path, files[path] = before);
        fs::remove(oracle::movedAside);
        files.erase(oracle::movedAside);
    }

    Files files; // as they are now
    long decided = 0;
    long moved = 0;
};

unsigned long setting(const char* name, unsigned long otherwise) {
    const char* const text = std::getenv(name);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

TEST_F(Oracle, RandomUpgrades) {
    constexpr int inARow = 4; // on one store
    unsigned long const upgrades = setting("ORACLE_UPGRADES", ORACLE_UPGRADES);
    unsigned long done = 0;
    makeStore();
    shortenFiles(50000, 64);
    fs::current_path("/mnt/nand0");
    Files const all = allFiles();
    Files const made = {*all.find(oracle::configFile), *all.find(oracle::hostGroupFile)};
    for (uint64_t seed = setting("ORACLE_SEED", 1); done < upgrades && !HasFailure(); ++seed) {
        Random random(seed);
        Properties properties = firstProperties(random);
        change(random, properties);
        Text text = written(random, properties);
        makeLive(random, made, text);
        files = allFiles();
        for (int i = 0; i < inARow && !HasFailure(); ++i, ++done) {
            SCOPED_TRACE("ORACLE_SEED=" + std::to_string(seed) + ", upgrade " + std::to_string(i));
            disturb(random, oracle::parse(text), 5, files); // what a user changes meanwhile
            change(random, properties);
            text = random.percent(1) ? "" : written(random, properties);
            writeText(oracle::newFile, files[oracle::newFile] = text);
            random.percent(2) ? upgradeDamaged(random) : upgrade(random);
        }
    }
    std::printf("%lu upgrades, %ld fields decided, %ld moved\n", done, decided, moved);
}

} // namespace
