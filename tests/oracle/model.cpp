#include "tests/oracle/model.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <climits>
#include <cstring>
#include <optional>
#include <span>

namespace oracle {

namespace {

// --- What there is: fields in the order in which they are compared, and the sections' records.

constexpr std::size_t u8 = 1;
constexpr std::size_t u16 = 2;
constexpr std::size_t u32 = 4;
constexpr Kind number = Kind::number;
constexpr Kind text = Kind::text;
constexpr bool forced = true;

// clang-format off
constexpr Field bridgeFields[] = {
    {"BridgeMode", 776, u8}, {"BridgeLogSize", 640, u32}, {"BridgeLogLevel", 777, u8},
    {"BridgeRemoteCommandTimeout", 644, u32}, {"BridgeSmisFlags", 781, u8},
    {"BridgeUserDaemonFeatures", 782, u8}, {"BridgeSmisListenerPersistenceType", 648, u32},
    {"BridgeDataMigrationMode", 652, u32}, {"BridgeIqnGenFlags", 778, u8, number, forced},
    {"BridgeTargetMode", 779, u8, number, forced}, {"BridgeLunMapping", 780, u8, number, forced},
    {"BridgeIscsiBaseName", 384, 256, text, forced}};
constexpr Field cliFields[] = {{"BridgeCliTimeout", 1032, u32}, {"BridgeCliPrompt", 1036, 64, text}};
constexpr Field ipPortFields[] = {
    {"FwOptions", 446, u16}, {"MaxEthernetFrameSize", 458, u16}, {"AddlFwOptions", 448, u16},
    {"HeartbeatInterval", 520, u8}, {"InstanceNo", 25, u8}, {"iScsiOptions", 454, u16},
    {"TcpOptions", 452, u16}, {"IpOptions", 450, u16}, {"MaxRcvDataSegLen", 460, u16},
    {"iScsiRcvMarkerInterval", 476, u16}, {"iScsiSendMarkerInterval", 478, u16},
    {"iScsiDefT2W", 468, u16}, {"iScsiDefT2R", 466, u16}, {"iScsiMaxOutStandingR2T", 474, u16},
    {"ConnKeepAliveTo", 464, u16}, {"PortNumber", 456, u16}, {"TypeOfService", 522, u8},
    {"TimeToLive", 521, u8}, {"VlanPriority", 462, u16}, {"TcpMaxWinSize", 504, u32},
    {"iScsiMaxBurstSize", 472, u16}, {"iScsiFirstBurstSize", 470, u16},
    {"iSnsClientPortNo", 480, u16}, {"iSnsServerPortNo", 486, u16}, {"iSnsScnPortNo", 484, u16},
    {"iSnsEsiPortNo", 482, u16}, {"LinkCfg", 500, u32}, {"TcpWindowScaleFactor", 523, u8},
    // not of a GigE port:
    {"PortState", 24, u8}, {"Ipv6Enabled", 524, u8}, {"Ipv6TrafficClass", 528, u8},
    {"Ipv6HopLimit", 525, u8}, {"Ipv6TcpWindowScaleFactor", 527, u8},
    {"Ipv6DupDetectionCnt", 526, u8}, {"Ipv6Options", 488, u16},
    {"Ipv6AdditionalOptions", 490, u16}, {"Ipv6TcpOptions", 492, u16},
    {"Ipv6PortNumber", 494, u16}, {"Ipv6FlowLabel", 496, u16}, {"Ipv6TagControlInfo", 498, u16},
    {"Ipv6NDReachableTime", 508, u32}, {"Ipv6NDRexmitTime", 512, u32},
    {"Ipv6StaleTimeout", 516, u32}};
constexpr std::size_t gigeFieldCount = 28;
constexpr Field fcPortFields[] = {
    {"HostOption", 564, u16}, {"ResetDelay", 588, u8}, {"PortDownRetryCount", 587, u8},
    {"MaxLunsPerTarget", 580, u16}, {"RiscVersion", 582, u8}, {"RiscOption", 566, u16},
    {"MaxIocbAllocation", 578, u16}, {"RetryCount", 583, u8}, {"RetryDelay", 584, u8},
    {"AdapterHardLoopId", 576, u16}, {"TargetDiscovery", 591, u8}, {"LoginTimeout", 585, u8},
    {"ExtRiscOption1", 568, u16}, {"RespAccumulationTimer", 590, u8}, {"IntrDelayTimer", 589, u8},
    {"ExtRiscOption2", 570, u16}, {"LinkDownTimeout", 586, u8}, {"MaxFrameLength", 572, u16},
    {"ExecutionThrottle", 574, u16}, {"TxParam8G", 612, u32}, {"TxParam4G", 604, u32},
    {"RxParam8G", 616, u32}, {"RxParam4G", 608, u32}};
constexpr Field hostGroupFields[] = {{"Flags", 5, u8}, {"HostGroupName", 6, 64, text}};
// The address never moves: it only tells, with the setting, whether a user has changed the port.
constexpr Field mgmtFields[] = {{"iDhcpEnabled", 0, u32}};
constexpr Field mgmtAddress = {"IpAddr", 8, 4, Kind::address};
constexpr Field versionField = {"properties.file.version", 0, 16, text};
constexpr Field productField = {"properties.file.product", 0, 256, text};
// clang-format on

constexpr std::size_t portsAt = 3100;
constexpr std::size_t portSize = 1296;
constexpr std::size_t iscsiAt = portsAt + 8 * portSize;

constexpr std::size_t noSlot = SIZE_MAX;
struct Section {
    const char* prefix;
    std::size_t count; // 0: a single one, without a number in its keys and its report
    std::span<const Field> fields;
    const std::string& path;
    std::size_t offset; // of its first record in the file; the others follow
    std::size_t size;   // of a record
    std::size_t settingsAt;
    std::size_t
        firstSlot; // records begin with their number, counted from here; noSlot: they do not
    const char* operation;
    int line;
    const char* message;
    const Field* guard = nullptr; // nothing moves unless this still is the old default too
};

const Section sections[] = {{"config.bridge.", 0, bridgeFields, configFile, 64, 2704, 0, noSlot,
                             "compareDefaultBridgeConfigInfo", 244, "Updating Bridge Info"},
                            {"config.cli.", 0, cliFields, configFile, 64, 2704, 0, noSlot,
                             "compareDefaultCliConfigInfo", 327, "Updating CLI Info"},
                            {"config.port.is.", 4, ipPortFields, configFile, iscsiAt, portSize, 8,
                             8, "compareDefaultIsConfigInfo", 537, "Updating iSCSI Port "},
                            {"config.port.fc.", 6, fcPortFields, configFile, portsAt, portSize, 8,
                             0, "compareDefaultFcConfigInfo", 1051, "Updating FC Port "},
                            {"config.port.gi.", 2, std::span(ipPortFields).first(gigeFieldCount),
                             configFile, iscsiAt, portSize, 8, 8, "compareDefaultGigeConfigInfo",
                             696, "Updating GE Port "},
                            {"config.hostgroup.", 4, hostGroupFields, hostGroupFile, 64, 940, 0, 0,
                             "compareDefaultHostGroupInfo", 1280, "Updating HostGroup Index "},
                            {"config.mgmt.", 0, mgmtFields, configFile, 2768, 332, 0, noSlot,
                             "compareDefaultMgmtInfo", 1372, "Updating MGMT", &mgmtAddress}};

std::string keyOf(const Section& section, std::size_t index, const Field& field) {
    return section.prefix + (section.count > 0 ? std::to_string(index) + "." : "") + field.key;
}

// --- Texts. What is taken leaves `rest`.

std::string_view take(std::string_view& rest, std::string_view characters) {
    auto const taken = rest.substr(0, rest.find_first_not_of(characters));
    rest.remove_prefix(taken.size());
    return taken;
}

bool accept(std::string_view& rest, char expected) {
    bool const isThere = rest.starts_with(expected);
    rest.remove_prefix(isThere ? 1 : 0);
    return isThere;
}

void skipComment(std::string_view& rest) {
    if (rest.starts_with('#')) {
        rest.remove_prefix(std::min(rest.find('\n'), rest.size()));
    }
}

// White space, a sign and digits, as a long: what it cannot hold becomes its largest or smallest.
// Its low bytes are the field's.
std::optional<unsigned long> takeNumber(std::string_view& rest, bool isSigned) {
    take(rest, " \t\n\v\f\r");
    bool const isNegative = accept(rest, '-');
    (void)(isNegative || accept(rest, '+'));
    auto const digits = take(rest, "0123456789");
    unsigned long const largest = isSigned ? LONG_MAX + (isNegative ? 1UL : 0UL) : ULONG_MAX;
    unsigned long value = 0;
    auto const error = std::from_chars(digits.begin(), digits.end(), value).ec;
    if (error == std::errc::invalid_argument) { // no digits
        return std::nullopt;
    }
    bool const isTooLarge = error != std::errc() || value > largest;
    value = isTooLarge ? largest : value;
    return isNegative && (isSigned || !isTooLarge) ? 0 - value : value;
}

std::string untilNul(const Bytes& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

// --- The store.

// clang-format off
struct { const char *path, *missing, *present; int missingLine, line; } constexpr remoteAccess[] = {
    {"/mnt/nand1/telnet.cfg", "TelnetConfig", "TelnetandSshConfigFiles: TelnetFile Exists ", 1397, 1401},
    {"/mnt/nand1/ssh.cfg", "SshConfig", "TelnetandSshConfigFiles: SshFile Exists", 1405, 1408},
    {"/mnt/nand1/ftp.cfg", "ftpConfig", "TelnetSshFtpConfigFiles: ftpFile Exists", 1413, 1416}};
// clang-format on

constexpr std::size_t headerSize = 64;
constexpr uint64_t magic = 0x1BADA555;
constexpr uint64_t headerVersion = 13;

static_assert(std::endian::native == std::endian::little); // as the files are

uint64_t numberAt(const Bytes& bytes, std::size_t offset, std::size_t size) {
    uint64_t value = 0;
    std::memcpy(&value, bytes.substr(offset, size).data(), size);
    return value;
}

Bytes sequenceHeader(uint64_t sequenceNumber) {
    Bytes bytes = littleEndian(headerVersion, 4) + littleEndian(magic, 4) + littleEndian(0, 8) +
                  littleEndian(24, 4) + littleEndian(sequenceNumber, 8);
    bytes.resize(headerSize);
    return bytes;
}

void forEachRecord(const auto& use) {
    for (Section const& section : sections) {
        for (std::size_t index = 0; index < std::max<std::size_t>(section.count, 1); ++index) {
            use(section, index);
        }
    }
}

struct Run : Upgrade {
    void report(const std::string& operation, int line, const std::string& message) {
        errors += "vxpvh:" + operation + "!" + std::to_string(line) + " " + message + "\n";
    }

    Defaults open(const std::string& path, const std::string& name) {
        auto const found = files.find(path);
        if (found == files.end()) {
            output += "PropertyParser: Failed to query file size init " + name + "\n";
            return {};
        }
        auto const size = std::to_string(found->second.size());
        output += "PropertyParser: read " + size + " bytes from " + name + "\n";
        return parse(found->second);
    }

    bool hasValid(const std::string& path, uint64_t type) {
        return files.contains(path) && numberAt(files[path], 4, 4) == magic &&
               numberAt(files[path], 12, 4) != 0 && numberAt(files[path], 16, 4) == type;
    }

    bool openStore() {
        std::string const start = "/mnt/nand1/brapp_";
        if (!hasValid(configFile, 2)) {
            return false;
        }
        if (numberAt(files[configFile], 0, 4) != headerVersion) { // counted in another format
            files[movedAside] = files[sequenceFile];
            files.erase(sequenceFile);
            return false;
        }
        return hasValid(start + "passwd.bin", 11) && hasValid(hostGroupFile, 23) &&
               hasValid(start + "fcip.bin", 19) && hasValid(start + "device.bin", 7) &&
               hasValid(start + "event_notify.bin", 35);
    }

    // Into a file, and its mirror where there is one; the file is marked for the next backup.
    void put(const std::string& path, std::size_t offset, const Bytes& bytes, int fileIndex) {
        writeAt(files[path], offset, bytes);
        if (files.contains(mirrorOf(path))) {
            writeAt(files[mirrorOf(path)], offset, bytes);
        }
        Bytes& bitmap = files[bitmapFile];
        bitmap.resize(8);
        bitmap = littleEndian(numberAt(bitmap, 0, 8) | uint64_t{1} << fileIndex, 8);
    }

    void merge(const Section& section, std::size_t index) {
        std::size_t const offset = section.offset + index * section.size;
        Bytes record = files.at(section.path).substr(offset, section.size);
        auto const factory = [&](const Defaults& defaults, const Field& field) {
            return convert(field, defaults, keyOf(section, index, field));
        };
        auto const isUntouched = [&](const Field& field) {
            Bytes const live = record.substr(section.settingsAt + field.offset, field.size);
            Bytes const was = factory(oldDefaults, field);
            return field.kind == Kind::text ? untilNul(live) == untilNul(was) : live == was;
        };
        bool const isGuarded = section.guard != nullptr && !isUntouched(*section.guard);
        if (section.guard != nullptr && !isGuarded && isUntouched(section.fields.front())) {
            report(section.operation, 1366, "Updating MGMT DHCP and IpAddr Match");
        }
        long const movedBefore = moved;
        for (Field const& field : section.fields) {
            Bytes const is = factory(newDefaults, field);
            bool const isDecided = is != factory(oldDefaults, field);
            decided += isDecided ? 1 : 0;
            if (isDecided && (field.isForced || (isUntouched(field) && !isGuarded))) {
                writeAt(record, section.settingsAt + field.offset, is);
                output += "Compare Diff: field=" + std::string(field.key) + ", update=1\n";
                ++moved;
            }
        }
        if (moved != movedBefore) {
            report(section.operation, section.line,
                   section.message + (section.count > 0 ? std::to_string(index) : ""));
            std::size_t const slot = section.firstSlot + index;
            if (section.firstSlot != noSlot) {
                writeAt(record, 0, littleEndian(slot, 4));
            }
            if (section.size == portSize) { // eight slots for each type; their use, type and number
                writeAt(record, 6, littleEndian(195, 2));
                writeAt(record, 10, littleEndian(slot / 8, 2) + littleEndian(slot % 8, 2));
            }
            if (section.fields.data() == bridgeFields) { // not kept by any write
                writeAt(record, 744, Bytes(32, '\0'));
            }
            put(section.path, offset, record, section.path == configFile ? 1 : 20);
            if (canCount) {
                put(sequenceFile, 0, sequenceHeader(numberAt(files[sequenceFile], 20, 8) + 1), 21);
            }
        }
    }

    void verifyRemoteAccess() {
        std::string const name = "VerifyTelnetandSshConfigFiles";
        report(name, 1392, " VerifyTelnetandSshConfigFiles: Entered ");
        for (auto const& file : remoteAccess) {
            if (files.try_emplace(file.path, anything).second) {
                report(name, file.missingLine, name + ": " + file.missing + " File doesn't exist ");
            }
            report(name, file.line, " Verify" + std::string(file.present));
        }
    }

    void all(bool isMounted) {
        std::string const name = "compareDefaultConfiguration";
        output = name + ": Verify that /mnt/nand1 is mounted\ncmdstr: mount | grep /mnt/nand1\n";
        output +=
            isMounted ? "status 0x0\n" : "status 0x100\n" + name + ": /mnt/nand1 not mounted\n";
        newDefaults = open(newFile, "default_bridge_config.cfg");
        oldDefaults = open(savedFiles[0], savedFiles[0]);
        auto const version = [](const Defaults& defaults) {
            return convert(versionField, defaults, versionField.key) +
                   convert(productField, defaults, productField.key);
        };
        bool const isNew = version(oldDefaults) != version(newDefaults);
        if (isNew) {
            report(name, 1524,
                   "Personality File version difference detected old=" +
                       untilNul(version(oldDefaults)) + " new=" + untilNul(version(newDefaults)));
        }
        if (isMounted) {
            Bytes& file = files[sequenceFile];
            file = file.empty() ? sequenceHeader(0) : file;
            canCount = file.size() >= headerSize;
        }
        bool const isOpen = isMounted && isNew && openStore();
        if (isMounted && isNew && !isOpen) {
            report(name, 1532, "The store could not be opened: -1");
        }
        if (isOpen) {
            forEachRecord([&](const Section& section, std::size_t index) {
                if (section.guard != nullptr) { // the management port comes last
                    verifyRemoteAccess();
                }
                merge(section, index);
            });
        } else if (isNew && files.contains(savedFiles[0])) {
            bool const isFirst = files.try_emplace(unmergedFile, files[savedFiles[0]]).second;
            report(name, isFirst ? 1552 : 1550,
                   isFirst ? "Not merged; the old defaults are kept as " + unmergedFile
                           : "Not merged; " + unmergedFile + " is kept from an earlier upgrade");
        }
        if (isNew || !isMounted) {
            report("main", 1634, "Copying new personality file into /mnt/nand0");
            files[savedFiles[0]] = files[savedFiles[1]] = files.at(newFile);
        }
    }

    Defaults oldDefaults;
    Defaults newDefaults;
    bool canCount = false;
};

} // namespace

std::string mirrorOf(const std::string& path) {
    return "/mnt/nand2" + path.substr(path.rfind('/'));
}

const std::vector<Setting>& settings() {
    static const std::vector<Setting> all = [] {
        std::vector<Setting> found;
        forEachRecord([&](const Section& section, std::size_t index) {
            auto const add = [&](const Field& field) {
                found.push_back(
                    {keyOf(section, index, field), field, section.path,
                     section.offset + index * section.size + section.settingsAt + field.offset});
            };
            std::ranges::for_each(section.fields, add);
            if (section.guard != nullptr) {
                add(*section.guard);
            }
        });
        std::ranges::sort(found, {}, &Setting::key);
        return found;
    }();
    return all;
}

Defaults parse(std::string_view rest) {
    constexpr std::string_view blanks = " \t\r";
    constexpr std::string_view keyCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
    constexpr std::size_t longest = 255;
    Defaults all;
    rest = rest.substr(0, rest.find('\0'));
    while (true) {
        while (take(rest, " \t\r\n"), rest.starts_with('#')) {
            skipComment(rest);
        }
        auto const key = take(rest, keyCharacters);
        take(rest, blanks);
        bool const isKey = !key.empty() && key.size() <= longest && accept(rest, '=');
        take(rest, blanks);
        if (!isKey || !accept(rest, '"') || rest.find('"') == rest.npos) {
            return all;
        }
        auto const value = rest.substr(0, rest.find('"'));
        rest.remove_prefix(value.size() + 1);
        take(rest, blanks);
        skipComment(rest);
        if (!rest.empty() && !rest.starts_with('\n')) {
            return all;
        }
        all.emplace(std::string(key), value.substr(0, longest));
    }
}

Bytes convert(const Field& field, const Defaults& defaults, const std::string& key) {
    Bytes bytes;
    if (auto const found = defaults.find(key); found != defaults.end()) {
        std::string_view rest = found->second;
        if (field.kind == Kind::text) {
            bytes = rest.substr(0, field.size - 1);
        } else if (field.kind == Kind::number) {
            bytes = littleEndian(takeNumber(rest, false).value_or(0), field.size);
        } else {
            do {
                auto const octet = takeNumber(rest, true);
                bytes += octet ? littleEndian(*octet, 1) : "";
                rest = octet ? rest : "";
            } while (bytes.size() < field.size && accept(rest, '.'));
        }
    }
    bytes.resize(field.size);
    return bytes;
}

void writeAt(Bytes& file, std::size_t offset, const Bytes& bytes) {
    file.resize(std::max(file.size(), offset + bytes.size()));
    file.replace(offset, bytes.size(), bytes);
}

Bytes littleEndian(uint64_t value, std::size_t size) {
    return {reinterpret_cast<const char*>(&value), size};
}

Upgrade upgrade(Files before, bool isMounted) {
    Run run;
    run.files = std::move(before);
    run.all(isMounted);
    return run;
}

} // namespace oracle
