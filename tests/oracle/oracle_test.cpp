// Random upgrades, each held against the model byte by byte.
//
// ORACLE_UPGRADES and ORACLE_SEED change how many and which. A difference names the seed of its
// chain of upgrades: with it and 4 upgrades that chain runs alone.
#include "tests/blade_files.h"
#include "tests/oracle/model.h"

#include "upgrade/driver.h"

#include <vxblade/pmgr.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <sstream>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace fs = std::filesystem;
using oracle::Files;
using Text = oracle::Bytes;

namespace {
bool isMounted = true;
}

// What the driver asks of a shell and of devices, without either: thousands of upgrades in a
// second.
extern "C" {
int __wrap_system(const char* command) {
    std::istringstream words(command);
    std::string verb;
    std::string from;
    std::string to;
    words >> verb >> from >> to;
    std::error_code ignored;
    if (verb == "mount") {
        return isMounted ? 0 : 0x100;
    }
    if (verb == "cp") {
        fs::copy_file(from, to, fs::copy_options::overwrite_existing, ignored);
    } else if (verb == "mv") { // -f FROM TO
        words >> from;
        fs::rename(to, from, ignored);
    }
    return 0;
}
int __wrap_initGpDevice() {
    return -1;
}
int __wrap_vhnor_init() {
    return -1;
}
}

namespace {

// --- Chance.

class Random {
  public:
    explicit Random(uint64_t seed) : engine_(seed) {}
    std::size_t below(std::size_t end) { return engine_() % end; }
    bool percent(unsigned chance) { return below(100) < chance; }
    const auto& of(const auto& choices) { return choices[below(std::size(choices))]; }
    Text bytes(std::size_t size) {
        Text text(size, '\0');
        for (char& byte : text) {
            byte = static_cast<char>(engine_() >> 56);
        }
        return text;
    }
    template <class Range>
    void shuffle(Range& range) {
        std::shuffle(range.begin(), range.end(), engine_);
    }

  private:
    std::mt19937_64 engine_;
};

// --- Personality files.

struct Property {
    std::string key;
    Text value;
};
using Properties = std::vector<Property>;

const char* const oddNumbers[] = {"",
                                  " ",
                                  "-1",
                                  "+7",
                                  "- 1",
                                  "0x10",
                                  "12abc",
                                  "abc",
                                  "1e3",
                                  "\t5",
                                  "\n5",
                                  "5 6",
                                  "007",
                                  "--1",
                                  "1.5",
                                  "\v3",
                                  "\f4",
                                  "-0",
                                  "-256",
                                  "-4294967295",
                                  "-4294967296",
                                  "9999999999999999999999",
                                  "18446744073709551617",
                                  "127",
                                  "128",
                                  "255",
                                  "256",
                                  "257",
                                  "300",
                                  "65535",
                                  "65536",
                                  "70000",
                                  "2147483648",
                                  "4294967295",
                                  "4294967296",
                                  "4294967297",
                                  "+",
                                  "1\r",
                                  "٣",
                                  "0000000000000000003"};
const char* const addresses[] = {"10.0.0.1",
                                 "192.168.1.255",
                                 "1.2",
                                 "1..2",
                                 "300.1.1.1",
                                 "-1.2.3.4",
                                 " 1. 2.3.4",
                                 "1 .2.3.4",
                                 "a.b.c.d",
                                 "",
                                 "1.2.3.4.5",
                                 "+1.2.3.4x",
                                 "2147483647.1.1.1",
                                 "2147483648.1.1.1",
                                 "-2147483649.1.1.1",
                                 "4294967297.2.3.4",
                                 "0x1.2.3.4",
                                 "\n1.2.3.4"};
const char* const malformed[] = {"key = value",
                                 "key : \"v\"",
                                 "key = \"v\" extra",
                                 "\"key\" = \"v\"",
                                 "key \n= \"v\"",
                                 "key = \n\"v\"",
                                 "= \"v\"",
                                 "[section]",
                                 "key",
                                 "k = \"a\\\"b\"",
                                 "kéy = \"v\"",
                                 "key = 'v'",
                                 "key = \"v\"\"\"",
                                 "\f"};
// Keys that come near to a setting's, and those that are read for nothing.
const char* const otherKeys[] = {"config.bridge.BridgeModeX",
                                 "config.bridge.bridgeMode",
                                 "config.bridge.",
                                 "config.bridge",
                                 "config.bridge.config.bridge.BridgeMode",
                                 "config.bridge.BridgeProductName",
                                 "Config.cli.BridgeCliTimeout",
                                 "config.port.is.10.PortNumber",
                                 "config.port.is.01.PortNumber",
                                 "config.port.is.4.PortNumber",
                                 "config.port.is.1.0.PortNumber",
                                 "config.port.is.-1.PortNumber",
                                 "config.port.is..PortNumber",
                                 "config.port.fc.6.LoginTimeout",
                                 "config.port.fc.0.NodeName",
                                 "config.port.fc.3.AltPortName",
                                 "config.port.fc.5.PortName",
                                 "config.port.fc.0.AltNodeName",
                                 "config.port.gi.0.Ipv6Enabled",
                                 "config.port.gi.1.PortState",
                                 "config.port.gi.2.FwOptions",
                                 "config.hostgroup.4.Flags",
                                 "config.hostgroup.0.index",
                                 "config.mgmt.IpAddrType",
                                 "config.mgmt.SubnetMask",
                                 "config.mgmt.GatewayIpAddr",
                                 "config.chassis.ChassisName",
                                 "config.snmp.ReadCommunity",
                                 "properties.file.crc32",
                                 "properties.file.versions",
                                 "a",
                                 "-._"};

Text randomText(Random& random, std::size_t size) {
    constexpr std::size_t lengths[] = {0, 1, 5, 10, 254, 255, 256, 257, 1200};
    std::size_t const length = random.percent(50) ? size - 2 + random.below(4) : random.of(lengths);
    Text text = random.percent(80) ? Text(length, static_cast<char>('a' + random.below(3)))
                                   : random.bytes(length);
    std::erase(text, '\0');
    std::erase(text, '"');
    return text;
}

Text randomValue(Random& random, const oracle::Field& field) {
    if (field.kind == oracle::Kind::text) {
        return randomText(random, field.size);
    }
    if (field.kind == oracle::Kind::address) {
        return random.of(addresses);
    }
    return random.percent(50)   ? std::to_string(random.below(4))
           : random.percent(50) ? std::to_string(random.below(size_t{1} << (8 * field.size)))
                                : random.of(oddNumbers);
}

Property randomProperty(Random& random) {
    if (random.percent(5)) {
        return {random.of(otherKeys), std::to_string(random.below(100))};
    }
    if (random.percent(1)) {
        return {std::string(254 + random.below(4), 'k'), "long"};
    }
    oracle::Setting const& setting = random.of(oracle::settings());
    return {setting.key, randomValue(random, setting.field)};
}

Properties randomProperties(Random& random) {
    Properties properties = {{"properties.file.version", "0"}, {"properties.file.product", "VX"}};
    if (random.percent(10)) {
        Bytes const sample = readBytes(SAMPLES "/personality-5.2.1.cfg");
        for (auto const& [key, value] :
             oracle::parse({reinterpret_cast<const char*>(sample.data()), sample.size()})) {
            properties.push_back({key, value});
        }
    }
    unsigned const share = random.of(std::array{5U, 20U, 60U, 97U});
    for (oracle::Setting const& setting : oracle::settings()) {
        if (random.percent(share)) {
            properties.push_back({setting.key, randomValue(random, setting.field)});
        }
    }
    for (std::size_t i = random.below(4); i > 0; --i) {
        properties.push_back(randomProperty(random));
    }
    return properties;
}

// The same number or nearly the same text in another spelling, or a value of another field.
Text otherValue(Random& random, const Text& value) {
    switch (random.below(4)) {
    case 0:
        return " " + value;
    case 1:
        return value + " ";
    case 2:
        return value + "z";
    default:
        return randomValue(random, random.of(oracle::settings()).field);
    }
}

// The next firmware's file.
void change(Random& random, Properties& properties) {
    unsigned const share = random.of(std::array{3U, 25U, 75U});
    for (Property& property : properties) {
        if (!property.key.starts_with("properties.") && random.percent(share)) {
            property.value = random.percent(60) ? std::to_string(random.below(4))
                                                : otherValue(random, property.value);
        }
    }
    for (std::size_t i = random.below(6); i > 0; --i) {
        properties.insert(properties.begin() +
                              static_cast<long>(random.below(properties.size() + 1)),
                          randomProperty(random));
        if (random.percent(30)) { // a key again, with another value
            properties.push_back({random.of(properties).key, std::to_string(random.below(4))});
        }
        if (random.percent(30)) {
            properties.erase(properties.begin() +
                             static_cast<long>(random.below(properties.size())));
        }
    }
    if (random.percent(15)) {
        random.shuffle(properties);
    }
    for (Property& property : properties) {
        if (property.key == "properties.file.version" && random.percent(95)) {
            property.value =
                random.percent(80) ? std::to_string(random.below(1000000)) : randomText(random, 16);
        } else if (property.key == "properties.file.product" && random.percent(5)) {
            property.value = randomText(random, 256);
        }
    }
}

Text written(Random& random, const Properties& properties) {
    constexpr const char* blanks[] = {"", " ", "\t", " \r", "  "};
    constexpr const char* comments[] = {"", "", "# a \"comment\" = 1", "#"};
    Text const lineEnd = random.percent(15) ? "\r\n" : "\n";
    std::size_t const bad =
        random.percent(10) ? random.below(properties.size() + 1) : properties.size();
    Text text;
    for (std::size_t i = 0; i < properties.size(); ++i) {
        if (i == bad) {
            text += random.of(malformed) + lineEnd;
        }
        bool const isPlain = random.percent(90);
        auto const blank = [&] { return isPlain ? " " : random.of(blanks); };
        text += (isPlain ? "" : random.of(comments) + lineEnd + random.of(blanks)) +
                properties[i].key + blank() + "=" + blank() + "\"" + properties[i].value + "\"" +
                (isPlain ? "" : random.of(blanks) + Text(random.of(comments))) + lineEnd;
    }
    if (random.percent(6)) { // cut, somewhere or before the last line end
        text.resize(random.percent(50) ? random.below(text.size()) : text.size() - lineEnd.size());
    } else if (random.percent(3)) {
        text[random.below(text.size())] = '\0';
    }
    return text;
}

// --- The volumes.

void put(const std::string& path, const Text& bytes) {
    writeBytes(path, Bytes(bytes.begin(), bytes.end()));
}

// All files; of those that an upgrade has no business in, the header.
Files allFiles() {
    Files files;
    for (const char* const volume : {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"}) {
        for (fs::directory_entry const& entry : fs::directory_iterator(volume)) {
            std::string path = entry.path();
            bool const isWhole = entry.file_size() < 50000;
            Text bytes(isWhole ? entry.file_size() : 64, '\0');
            std::FILE* const file = std::fopen(path.c_str(), "rb");
            bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
            std::fclose(file);
            files[path.starts_with(oracle::sequenceFile + ".") ? oracle::movedAside : path] = bytes;
        }
    }
    return files;
}

// One output stream, caught in memory.
class Caught {
  public:
    explicit Caught(int fd) : fd_(fd), memory_(::memfd_create("caught", MFD_CLOEXEC)) {}
    Text during(const std::function<void()>& work) {
        std::fflush(nullptr);
        int const before = ::dup(fd_);
        (void)!::ftruncate(memory_, 0);
        ::lseek(memory_, 0, SEEK_SET);
        ::dup2(memory_, fd_);
        work();
        std::fflush(nullptr);
        ::dup2(before, fd_);
        ::close(before);
        Text text(static_cast<std::size_t>(::lseek(memory_, 0, SEEK_END)), '\0');
        (void)!::pread(memory_, text.data(), text.size(), 0);
        return text;
    }

  private:
    int fd_;
    int memory_;
};

// A header that readers must refuse, or no file at all, until the end of the scope.
class Damage {
  public:
    explicit Damage(Random& random)
        : path_(primary(random.of(std::array{1, 1, 4, 8, 16, 20, 32}))) {
        constexpr std::size_t places[] = {0, 4, 8, 12, 16, 28}; // some do not matter
        if (random.percent(20) && path_ != primary(16) && path_ != primary(32)) {
            fs::rename(path_, path_ + ".away");
            return;
        }
        std::size_t const place = random.of(places);
        header_ = at(0, 64);
        Text damaged = header_;
        damaged.replace(place, 4, place == 12 ? Text(4, '\0') : random.bytes(4));
        at(0, 64, damaged);
    }
    Damage(const Damage&) = delete;
    Damage& operator=(const Damage&) = delete;
    ~Damage() {
        if (header_.empty()) {
            fs::rename(path_ + ".away", path_);
        } else {
            at(0, 64, header_);
        }
    }

  private:
    // Bytes of the file, replaced where others are given.
    Text at(long offset, std::size_t size, const Text& with = {}) {
        Text bytes(size, '\0');
        std::FILE* const file = std::fopen(path_.c_str(), "r+b");
        std::fseek(file, offset, SEEK_SET);
        (void)!(with.empty() ? std::fread(bytes.data(), 1, size, file)
                             : std::fwrite(with.data(), 1, size, file));
        std::fclose(file);
        return bytes;
    }
    std::string path_;
    Text header_;
};

// --- The test.

struct Oracle : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        makeStore();
        for (fs::directory_entry const& entry : fs::directory_iterator("/mnt/nand2")) {
            fs::remove(entry);
        }
        for (std::string const& path : {oracle::configFile, oracle::hostGroupFile}) {
            Bytes const bytes = readBytes(path);
            made[path] = {bytes.begin(), bytes.end()};
        }
        fs::current_path("/mnt/nand0");
    }
    void TearDown() override {
        fs::current_path("/");
        BladeTest::TearDown();
    }

    void makeLive(Random& random, const oracle::Defaults& old);
    void disturb(Random& random, const oracle::Defaults& old, unsigned share, Files& live) const;
    void compare(const oracle::Upgrade& expected, const Text& output, const Text& errors,
                 uint64_t seed, int step);
    void upgradeOnce(Random& random, uint64_t seed, int step);

    Files made; // the record files as they are made
    Caught output{1};
    Caught errors{2};
    long decided = 0;
};

// Live values of a share of the settings: the old default mostly, else any.
void Oracle::disturb(Random& random, const oracle::Defaults& old, unsigned share,
                     Files& live) const {
    for (oracle::Setting const& setting : oracle::settings()) {
        if (!random.percent(share)) {
            continue;
        }
        auto const found = old.find(setting.key);
        Text value = oracle::convert(setting.field, found != old.end() ? found->second : "");
        if (random.percent(20)) {
            value = oracle::convert(setting.field, randomValue(random, setting.field));
        } else if (random.percent(3)) {
            value = random.bytes(value.size());
        } else if (setting.field.kind == oracle::Kind::text && random.percent(30)) {
            std::size_t const end = value.find('\0') + 1;
            value.replace(end, value.npos, random.bytes(value.size() - end));
        }
        oracle::writeAt(live[setting.path], setting.offset, value);
    }
}

// A store in use for years: whatever the fields leave free holds something.
void Oracle::makeLive(Random& random, const oracle::Defaults& old) {
    Files live = made;
    for (auto& [path, bytes] : live) {
        Text const header = bytes.substr(0, 20);
        bytes = header + random.bytes(bytes.size() - header.size());
    }
    for (std::size_t slot = 0; slot < oracle::portSlotCount; ++slot) {
        auto const [offset, type, number] = oracle::portSlot(slot);
        oracle::writeAt(live[oracle::configFile], offset + 10,
                        oracle::littleEndian(type, 2) + oracle::littleEndian(number, 2));
    }
    disturb(random, old, 100, live);
    constexpr std::size_t sizes[] = {64, 64, 64, 64, 64, 64, 70, 0, 1, 63};
    Text& sequence = live[oracle::sequenceFile] = random.bytes(random.of(sizes));
    if (sequence.size() >= 64 && random.percent(30)) {
        oracle::writeAt(
            sequence, 20,
            oracle::littleEndian(random.of(std::array{UINT64_MAX, uint64_t{UINT32_MAX}}), 8));
    }
    fs::remove(oracle::sequenceFile);
    for (auto const& [path, bytes] : live) {
        if (path != oracle::sequenceFile || !random.percent(10)) {
            put(path, bytes);
        }
        std::string const mirror = oracle::mirrorOf(path);
        fs::remove(mirror);
        if (random.percent(90)) {
            put(mirror,
                random.percent(70) ? bytes : random.bytes(random.below(bytes.size() + 100)));
        }
    }
    for (std::string const& path : oracle::remoteAccessFiles) {
        fs::remove(path);
        if (random.percent(50)) {
            put(path, "enabled=1\n");
        }
    }
    fs::remove(oracle::bitmapFile);
}

// The first few differences of a file, with the settings in which they lie.
std::string differences(const std::string& path, const Text& expected, const Text& actual) {
    std::ostringstream text;
    text << path << ": expected " << expected.size() << " bytes, found " << actual.size();
    std::size_t const size = std::max(expected.size(), actual.size());
    auto const at = [](const Text& bytes, std::size_t i) {
        return i < bytes.size() ? std::to_string(static_cast<unsigned char>(bytes[i])) : "none";
    };
    int left = 8;
    for (std::size_t i = 0; i < size && left > 0; ++i) {
        if (at(expected, i) == at(actual, i)) {
            continue;
        }
        --left;
        text << "\n  offset " << i << ": expected " << at(expected, i) << ", found "
             << at(actual, i);
        for (oracle::Setting const& setting : oracle::settings()) {
            if ((path == setting.path || path == oracle::mirrorOf(setting.path)) &&
                setting.offset <= i && i < setting.offset + setting.field.size) {
                text << " (" << setting.key << ")";
            }
        }
    }
    return text.str();
}

void Oracle::compare(const oracle::Upgrade& expected, const Text& out, const Text& err,
                     uint64_t seed, int step) {
    SCOPED_TRACE("ORACLE_SEED=" + std::to_string(seed) + " ORACLE_UPGRADES=4, upgrade " +
                 std::to_string(step));
    EXPECT_EQ(out, expected.output);
    EXPECT_EQ(err, expected.errors);
    Files actual = allFiles();
    for (auto const& [path, bytes] : expected.files) {
        auto const found = actual.find(path);
        if (found == actual.end()) {
            ADD_FAILURE() << path << " is missing";
            continue;
        }
        if (bytes != oracle::anything && found->second != bytes) {
            ADD_FAILURE() << differences(path, bytes, found->second);
        }
        actual.erase(found);
    }
    for (auto const& [path, bytes] : actual) {
        ADD_FAILURE() << path << " has come to be";
    }
}

void Oracle::upgradeOnce(Random& random, uint64_t seed, int step) {
    isMounted = !random.percent(1);
    std::optional<Damage> damage;
    if (random.percent(2)) {
        damage.emplace(random);
    }
    oracle::Upgrade const expected = oracle::upgrade(allFiles(), isMounted);
    decided += expected.decided;
    Text err;
    Text const out = output.during([&] { err = errors.during([] { vx::runUpgrade(); }); });
    close_all_files();
    compare(expected, out, err, seed, step);
    if (damage) {
        damage.reset();
        for (fs::directory_entry const& entry : fs::directory_iterator("/mnt/nand1")) {
            if (entry.path().string().starts_with(oracle::sequenceFile + ".")) {
                fs::remove(entry);
            }
        }
    }
}

unsigned long setting(const char* name, unsigned long otherwise) {
    const char* const text = std::getenv(name);
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

TEST_F(Oracle, EveryUpgradeIsAsPredicted) {
    constexpr int chain = 4; // upgrades in a row on one store
    unsigned long const upgrades = setting("ORACLE_UPGRADES", ORACLE_UPGRADES);
    uint64_t seed = setting("ORACLE_SEED", 1);
    unsigned long done = 0;
    for (; done < upgrades && !HasFailure(); ++seed) {
        Random random(seed);
        Properties properties = randomProperties(random);
        Text const old = written(random, properties);
        makeLive(random, oracle::parse(old));
        fs::remove(oracle::newFile);
        put(oracle::savedFile, old);
        put(oracle::secondSavedFile, old);
        if (random.percent(3)) {
            fs::remove(oracle::savedFile);
        }
        for (int step = 1; step <= chain && !HasFailure(); ++step, ++done) {
            Text const last = written(random, properties);
            change(random, properties);
            put(oracle::newFile, random.percent(1) ? "" : written(random, properties));
            if (step > 1) { // the user goes on
                Files live;
                for (std::string const& path : {oracle::configFile, oracle::hostGroupFile}) {
                    Bytes const bytes = readBytes(path);
                    live[path] = {bytes.begin(), bytes.end()};
                }
                disturb(random, oracle::parse(last), 5, live);
                for (auto const& [path, bytes] : live) {
                    put(path, bytes);
                }
            }
            upgradeOnce(random, seed, step);
        }
    }
    std::printf("%lu upgrades, %ld fields decided\n", done, decided);
    RecordProperty("upgrades", std::to_string(done));
    RecordProperty("fields_decided", std::to_string(decided));
}

} // namespace
