#include "tools/blade/hardware.h"

#include "common/files.h"
#include "store/psst_table.h"
#include "store/record_io.h"
#include "tools/base/forms.h"
#include "tools/base/silence.h"
#include "tools/blade/environment.h"

#include <vxblade/common.h>
#include <vxblade/hw.h>
#include <vxblade/nor.h>
#include <vxblade/records.h>
#include <vxblade/seep.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace tools {

namespace {

constexpr const char* requestNode = "/dev/vxgpdev";
constexpr const char* busNode = "/dev/i2c-0";
constexpr const char* busLock = "/var/lock/i2cLock"; // the layer waits for it without an end
constexpr int busPauses = 50;
constexpr useconds_t busPause = 100'000;

[[noreturn]] void fail(const std::string& reason) {
    throw std::runtime_error(reason);
}

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
    std::array<char, 128> text{};
    va_list values;
    va_start(values, format);
    std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return text.data();
}

// --- Before the layer is asked: it waits for two minutes for a node, and for a lock without an
// end.

void requireNode(const char* node, const char* driver) {
    if (vx::Descriptor(vx::openFile(node, O_RDWR | O_NONBLOCK)).ok()) {
        return;
    }
    std::string const why = std::strerror(errno);
    fail(std::string(node) + ": " + why +
         (getMajor(driver, DEVICE_CHARACTER) == 0 ? std::string(", no driver ") + driver : ""));
}

bool isBusFree() {
    vx::Descriptor const lock(vx::openFile(busLock, O_RDWR));
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return !lock.ok() || ::fcntl(lock.get(), F_GETLK, &whole) != 0 || whole.l_type == F_UNLCK;
}

void requireFreeBus() {
    for (int pauses = 0; !isBusFree(); ++pauses) {
        if (pauses == busPauses) {
            fail(std::string("another program holds ") + busLock);
        }
        ::usleep(busPause);
    }
}

void requireBus() {
    requireNode(busNode, "i2c");
    requireFreeBus();
}

// --- Readings: each gives its value or throws why there is none.

std::string slot() {
    constexpr uint64_t unknown = 255;
    requireNode(requestNode, "vxgpdev");
    uint64_t const number = VX_getMySlotPosition();
    return number != unknown ? std::to_string(number) : (fail("the driver does not say"), "");
}

std::string variable(const char* name) {
    Environment const environment = readEnvironment();
    const std::string* const value = findVariable(environment, name);
    return value != nullptr ? printable(*value)
                            : (fail(std::string("the boot environment has no ") + name), "");
}

std::string hardwareVersion() {
    constexpr uint16_t blank = 0xFFFF; // also where nothing is read
    uint16_t version = blank;
    requireBus();
    (void)getVhHwVersion(&version);
    return version != blank ? formatted("0x%04x", unsigned{version})
                            : (fail("the EEPROM cannot be read, or has none"), "");
}

std::string selfTest() {
    BistRecord record{};
    BistRecord defaults{};
    requireBus();
    if (getBistFromSeep(&record, sizeof record) != sizeof record) {
        fail("the EEPROM cannot be read");
    }
    (void)setDefaultBist(&defaults);
    if (std::memcmp(record.signature, defaults.signature, sizeof record.signature) != 0) {
        fail("the EEPROM has no record of it");
    }
    uint8_t const sum = calc_bist_cksum(&record, offsetof(BistRecord, checksum));
    if (sum != record.checksum) {
        fail(formatted("its record is damaged: checksum %02x in place of %02x",
                       unsigned{record.checksum}, unsigned{sum}));
    }
    return formatted("mode %u, %u runs", unsigned{record.testMode}, unsigned{record.execCount});
}

// Its manufacturer, which says whether there is an identification at all.
unsigned requireModule() {
    constexpr uint16_t blank = 0xFFFF;
    uint16_t maker = 0;
    requireBus();
    if (getNvDimmManufId(&maker) != sizeof maker) {
        fail("the module cannot be read, or is not fitted");
    }
    return maker != blank ? maker : (fail("the module's identification is blank"), 0U);
}

std::string moduleMaker() {
    return formatted("0x%04x", requireModule());
}

template <auto get>
std::string moduleText() {
    std::array<char, 64> text{};
    (void)requireModule();
    return get(text.data(), static_cast<int>(text.size())) > 0
               ? printable(text.data())
               : (fail("the module cannot be read"), "");
}

enum class Sensor : uint8_t { board, front, rear, memory };

template <Sensor sensor>
std::string temperature() {
    constexpr double scale = sensor == Sensor::board ? 1000 : 10; // of a degree
    uint16_t value = 0;
    uint16_t* const wanted = &value;
    requireFreeBus();
    int const result = getBoardTemp(
        sensor == Sensor::front ? wanted : nullptr, sensor == Sensor::rear ? wanted : nullptr,
        sensor == Sensor::board ? wanted : nullptr, sensor == Sensor::memory ? wanted : nullptr);
    // A memory sensor that is not there gives 0, which none measures beside a running processor.
    if (result != 0 || (sensor == Sensor::memory && value == 0)) {
        fail("its sensor cannot be read");
    }
    // The board's is in so small a unit that its upper half is no negative number.
    double const degrees = sensor == Sensor::board ? value : static_cast<int16_t>(value);
    return formatted("%.1f C", degrees / scale);
}

struct Source {
    const char* name;
    std::string (*read)();
};
// Scripts know a reading by its name, which stays.
constexpr Source sources[] = {
    {"slot", slot},
    {"serial number", [] { return variable("SERIAL"); }},
    {"model", [] { return variable("modelNum"); }},
    {"hardware version", hardwareVersion},
    {"self test", selfTest},
    {"memory module serial number", moduleText<getNvDimmSerialNumber>},
    {"memory module part number", moduleText<getNvDimmPartNumber>},
    {"memory module manufacturer", moduleMaker},
    {"board temperature", temperature<Sensor::board>},
    {"front temperature", temperature<Sensor::front>},
    {"rear temperature", temperature<Sensor::rear>},
    {"memory temperature", temperature<Sensor::memory>},
};

// --- Vital product data.

VpdFile readVpd(const Place& place, uint32_t type, std::string& record) {
    std::string const path = psstFilePrimaryPaths[vx::fileIndexOf(type)];
    VpdFile vpd{place.nameOf(path), 0, 0, ""};
    PsstHeader header{};
    std::string bytes;
    try {
        bytes = place.read(path, sizeof header + sizeof(VpdRecord));
    } catch (const std::exception& error) {
        vpd.reason = error.what();
        return vpd;
    }
    std::memcpy(&header, bytes.data(), std::min(sizeof header, bytes.size()));
    if (bytes.size() < sizeof header + sizeof(VpdRecord)) {
        vpd.reason = "it is too short";
        return vpd;
    }
    record = bytes.substr(sizeof header);
    vpd.stored = header.crc;
    vpd.computed = crc32(0, record.data(), static_cast<int>(record.size()));
    vpd.reason = !vx::isValidHeader(header, type) ? "its header is not valid"
                 : vpd.stored != vpd.computed     ? "its CRC is wrong"
                                                  : "";
    return vpd;
}

int differenceOf(const std::string& a, const std::string& b) {
    int count = a.empty() || b.empty() ? -1 : 0;
    for (std::size_t i = 0; count >= 0 && i < a.size(); ++i) {
        count += a[i] != b[i] ? 1 : 0;
    }
    return count;
}

} // namespace

Hardware readHardware(const Place& place, bool isBlade, bool isVerbose) {
    Hardware hardware{};
    for (auto const& [name, read] : sources) {
        Reading reading{name, "", ""};
        try {
            Silence const silence(isVerbose);
            reading.value = isBlade ? read() : (fail("a copy of the volumes does not have it"), "");
        } catch (const std::exception& error) {
            reading.reason = error.what();
        }
        hardware.readings.push_back(reading);
    }
    std::array<std::string, 2> records;
    hardware.vpd = {readVpd(place, PSST_VPD, records[0]),
                    readVpd(place, PSST_VPD_BACKUP, records[1])};
    hardware.difference = differenceOf(records[0], records[1]);
    return hardware;
}

void printText(const Hardware& hardware) {
    constexpr int width = 29;
    for (auto const& [name, value, reason] : hardware.readings) {
        std::printf("%-*s%s%s\n", width, name, reason.empty() ? "" : "unavailable: ",
                    (reason.empty() ? value : reason).c_str());
    }
    for (const VpdFile& vpd : hardware.vpd) {
        std::string const crc =
            formatted("CRC stored %08x, computed %08x", vpd.stored, vpd.computed);
        std::printf(
            "%-*s%s: %s\n", width, "VPD", vpd.file.c_str(),
            vpd.reason.empty()
                ? crc.c_str()
                : ("unavailable: " + vpd.reason + (vpd.computed != 0 ? "; " + crc : "")).c_str());
    }
    if (hardware.difference >= 0) {
        std::printf("%-*s%s\n", width, "VPD files",
                    hardware.difference == 0
                        ? "are the same"
                        : ("differ in " + std::to_string(hardware.difference) + " bytes").c_str());
    }
}

Json toJson(const Hardware& hardware) {
    auto const orNull = [](const std::string& text) {
        return text.empty() ? Json(nullptr) : Json(text);
    };
    Json readings = Json::array();
    for (auto const& [name, value, reason] : hardware.readings) {
        readings.push_back({{"name", name},
                            {"value", reason.empty() ? Json(value) : Json(nullptr)},
                            {"reason", orNull(reason)}});
    }
    Json vpd = Json::array();
    for (const VpdFile& file : hardware.vpd) {
        vpd.push_back({{"file", file.file},
                       {"crc",
                        {{"stored", formatted("%08x", file.stored)},
                         {"computed", formatted("%08x", file.computed)}}},
                       {"reason", orNull(file.reason)}});
    }
    return {{"readings", readings},
            {"vpd", vpd},
            {"vpdDifference", hardware.difference < 0 ? Json(nullptr) : Json(hardware.difference)}};
}

bool isGood(const Hardware& hardware) {
    auto const isThere = [](auto const& one) { return one.reason.empty(); };
    return std::ranges::all_of(hardware.readings, isThere) &&
           std::ranges::all_of(hardware.vpd, isThere) && hardware.difference == 0;
}

} // namespace tools
