#include "tests/oracle/model.h"

#include <algorithm>
#include <array>
#include <climits>
#include <optional>
#include <span>

namespace oracle {

namespace {

// --- What there is: fields in the order in which they are compared, and the sections' records.

constexpr Kind number = Kind::number;
constexpr Kind text = Kind::text;
constexpr bool forced = true;

constexpr Field bridgeFields[] = {{"BridgeMode", number, 776, 1},
                                  {"BridgeLogSize", number, 640, 4},
                                  {"BridgeLogLevel", number, 777, 1},
                                  {"BridgeRemoteCommandTimeout", number, 644, 4},
                                  {"BridgeSmisFlags", number, 781, 1},
                                  {"BridgeUserDaemonFeatures", number, 782, 1},
                                  {"BridgeSmisListenerPersistenceType", number, 648, 4},
                                  {"BridgeDataMigrationMode", number, 652, 4},
                                  {"BridgeIqnGenFlags", number, 778, 1, forced},
                                  {"BridgeTargetMode", number, 779, 1, forced},
                                  {"BridgeLunMapping", number, 780, 1, forced},
                                  {"BridgeIscsiBaseName", text, 384, 256, forced}};

constexpr Field cliFields[] = {{"BridgeCliTimeout", number, 1032, 4},
                               {"BridgeCliPrompt", text, 1036, 64}};

constexpr Field ipPortFields[] = {{"FwOptions", number, 446, 2},
                                  {"MaxEthernetFrameSize", number, 458, 2},
                                  {"AddlFwOptions", number, 448, 2},
                                  {"HeartbeatInterval", number, 520, 1},
                                  {"InstanceNo", number, 25, 1},
                                  {"iScsiOptions", number, 454, 2},
                                  {"TcpOptions", number, 452, 2},
                                  {"IpOptions", number, 450, 2},
                                  {"MaxRcvDataSegLen", number, 460, 2},
                                  {"iScsiRcvMarkerInterval", number, 476, 2},
                                  {"iScsiSendMarkerInterval", number, 478, 2},
                                  {"iScsiDefT2W", number, 468, 2},
                                  {"iScsiDefT2R", number, 466, 2},
                                  {"iScsiMaxOutStandingR2T", number, 474, 2},
                                  {"ConnKeepAliveTo", number, 464, 2},
                                  {"PortNumber", number, 456, 2},
                                  {"TypeOfService", number, 522, 1},
                                  {"TimeToLive", number, 521, 1},
                                  {"VlanPriority", number, 462, 2},
                                  {"TcpMaxWinSize", number, 504, 4},
                                  {"iScsiMaxBurstSize", number, 472, 2},
                                  {"iScsiFirstBurstSize", number, 470, 2},
                                  {"iSnsClientPortNo", number, 480, 2},
                                  {"iSnsServerPortNo", number, 486, 2},
                                  {"iSnsScnPortNo", number, 484, 2},
                                  {"iSnsEsiPortNo", number, 482, 2},
                                  {"LinkCfg", number, 500, 4},
                                  {"TcpWindowScaleFactor", number, 523, 1},
                                  {"PortState", number, 24, 1},
                                  {"Ipv6Enabled", number, 524, 1},
                                  {"Ipv6TrafficClass", number, 528, 1},
                                  {"Ipv6HopLimit", number, 525, 1},
                                  {"Ipv6TcpWindowScaleFactor", number, 527, 1},
                                  {"Ipv6DupDetectionCnt", number, 526, 1},
                                  {"Ipv6Options", number, 488, 2},
                                  {"Ipv6AdditionalOptions", number, 490, 2},
                                  {"Ipv6TcpOptions", number, 492, 2},
                                  {"Ipv6PortNumber", number, 494, 2},
                                  {"Ipv6FlowLabel", number, 496, 2},
                                  {"Ipv6TagControlInfo", number, 498, 2},
                                  {"Ipv6NDReachableTime", number, 508, 4},
                                  {"Ipv6NDRexmitTime", number, 512, 4},
                                  {"Ipv6StaleTimeout", number, 516, 4}};
constexpr std::size_t gigeFieldCount = 28; // up to TcpWindowScaleFactor

constexpr Field fcPortFields[] = {
    {"HostOption", number, 564, 2},         {"ResetDelay", number, 588, 1},
    {"PortDownRetryCount", number, 587, 1}, {"MaxLunsPerTarget", number, 580, 2},
    {"RiscVersion", number, 582, 1},        {"RiscOption", number, 566, 2},
    {"MaxIocbAllocation", number, 578, 2},  {"RetryCount", number, 583, 1},
    {"RetryDelay", number, 584, 1},         {"AdapterHardLoopId", number, 576, 2},
    {"TargetDiscovery", number, 591, 1},    {"LoginTimeout", number, 585, 1},
    {"ExtRiscOption1", number, 568, 2},     {"RespAccumulationTimer", number, 590, 1},
    {"IntrDelayTimer", number, 589, 1},     {"ExtRiscOption2", number, 570, 2},
    {"LinkDownTimeout", number, 586, 1},    {"MaxFrameLength", number, 572, 2},
    {"ExecutionThrottle", number, 574, 2},  {"TxParam8G", number, 612, 4},
    {"TxParam4G", number, 604, 4},          {"RxParam8G", number, 616, 4},
    {"RxParam4G", number, 608, 4}};

constexpr Field hostGroupFields[] = {{"Flags", number, 5, 1}, {"HostGroupName", text, 6, 64}};

// The address itself never moves: it only tells whether a user has changed the port.
constexpr Field mgmtFields[] = {{"iDhcpEnabled", number, 0, 4}};
constexpr Field mgmtAddress = {"IpAddr", Kind::address, 8, 4};

enum class Stamp { none, bridge, port, hostGroup }; // what a write changes besides settings

constexpr std::size_t portsAt = 3100;
constexpr std::size_t portSize = 1296;
constexpr std::size_t portsOfAType = 8;
constexpr std::size_t iscsiPortsAt = portsAt + portsOfAType * portSize;

struct Section {
    const char* prefix;
    unsigned count; // 0: one, without a number in its keys and its report
    std::span<const Field> fields;
    const Field* guard; // moves nothing unless this is still the old default too
    const std::string& path;
    std::size_t offset; // of its first record in the file; the others follow
    std::size_t size;   // of a record
    std::size_t settingsAt;
    Stamp stamp;
    const char* operation;
    int line;
    const char* message;
};

const Section sections[] = {
    {"config.bridge.", 0, bridgeFields, nullptr, configFile, 64, 2704, 0, Stamp::bridge,
     "compareDefaultBridgeConfigInfo", 244, "Updating Bridge Info"},
    {"config.cli.", 0, cliFields, nullptr, configFile, 64, 2704, 0, Stamp::none,
     "compareDefaultCliConfigInfo", 327, "Updating CLI Info"},
    {"config.port.is.", 4, ipPortFields, nullptr, configFile, iscsiPortsAt, portSize, 8,
     Stamp::port, "compareDefaultIsConfigInfo", 537, "Updating iSCSI Port "},
    {"config.port.fc.", 6, fcPortFields, nullptr, configFile, portsAt, portSize, 8, Stamp::port,
     "compareDefaultFcConfigInfo", 1051, "Updating FC Port "},
    {"config.port.gi.", 2, std::span(ipPortFields).first(gigeFieldCount), nullptr, configFile,
     iscsiPortsAt, portSize, 8, Stamp::port, "compareDefaultGigeConfigInfo", 696,
     "Updating GE Port "},
    {"config.hostgroup.", 4, hostGroupFields, nullptr, hostGroupFile, 64, 940, 0, Stamp::hostGroup,
     "compareDefaultHostGroupInfo", 1280, "Updating HostGroup Index "},
    {"config.mgmt.", 0, mgmtFields, &mgmtAddress, configFile, 2768, 332, 0, Stamp::none,
     "compareDefaultMgmtInfo", 1372, "Updating MGMT"}};

std::string prefixOf(const Section& section, unsigned index) {
    return section.prefix + (section.count > 0 ? std::to_string(index) + "." : "");
}

// --- Texts.

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

struct Decimal {
    bool isNegative;
    bool isTooLarge;         // for a long, which is how a C library reads every number
    unsigned long magnitude; // the largest there is where it is too large
};

// White space, a sign, digits.
std::optional<Decimal> takeDecimal(std::string_view& rest) {
    take(rest, " \t\n\v\f\r");
    bool const isNegative = accept(rest, '-');
    if (!isNegative) {
        accept(rest, '+');
    }
    auto const digits = take(rest, "0123456789");
    if (digits.empty()) {
        return std::nullopt;
    }
    Decimal decimal{isNegative, false, 0};
    for (char const character : digits) {
        auto const digit = static_cast<unsigned long>(character - '0');
        decimal.isTooLarge |= decimal.magnitude > (ULONG_MAX - digit) / 10;
        decimal.magnitude = decimal.isTooLarge ? ULONG_MAX : decimal.magnitude * 10 + digit;
    }
    return decimal;
}

unsigned long asUnsigned(const Decimal& value) {
    return value.isNegative && !value.isTooLarge ? 0 - value.magnitude : value.magnitude;
}

unsigned long asSigned(const Decimal& value) {
    constexpr unsigned long largest = LONG_MAX;
    return value.isNegative ? 0 - std::min(value.magnitude, largest + 1)
                            : std::min(value.magnitude, largest);
}

std::string cut(const std::string& value, std::size_t size) {
    return value.substr(0, std::min(value.find('\0'), size));
}

// --- The store.

constexpr std::size_t headerSize = 64;

uint64_t numberAt(const Bytes& bytes, std::size_t offset, std::size_t size) {
    uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(offset + i - 1));
    }
    return value;
}

Bytes header(uint32_t type, uint64_t sequenceNumber) {
    Bytes bytes(headerSize, '\0');
    writeAt(bytes, 0, littleEndian(13, 4) + littleEndian(0x1BADA555, 4));
    writeAt(bytes, 16, littleEndian(type, 4) + littleEndian(sequenceNumber, 8));
    return bytes;
}

bool isValid(const Bytes& file, uint32_t type) {
    return file.size() >= headerSize && numberAt(file, 4, 4) == 0x1BADA555 &&
           numberAt(file, 12, 4) != 0 && numberAt(file, 16, 4) == type;
}

class Run {
  public:
    Run(const Files& before, bool isMounted) : isMounted_(isMounted) { result_.files = before; }

    Upgrade result() && { return std::move(result_); }
    void run();

  private:
    Files& files() { return result_.files; }
    void report(const char* operation, int line, const std::string& message) {
        result_.errors +=
            "vxpvh:" + std::string(operation) + "!" + std::to_string(line) + " " + message + "\n";
    }
    Defaults open(const std::string& path, const char* name);
    void loadSequenceNumber();
    bool openStore();
    void mark(int fileIndex);
    void write(const std::string& path, std::size_t offset, const Bytes& bytes);
    void merge(const Section& section, unsigned index);
    void mergeAll();
    void verifyRemoteAccess();

    Upgrade result_;
    bool isMounted_;
    Defaults old_;
    Defaults new_;
    std::optional<uint64_t> sequenceNumber_; // none: the store does not count
};

Defaults Run::open(const std::string& path, const char* name) {
    auto const found = files().find(path);
    if (found == files().end()) {
        result_.output +=
            "PropertyParser: Failed to query file size init " + std::string(name) + "\n";
        return {};
    }
    result_.output += "PropertyParser: read " + std::to_string(found->second.size()) +
                      " bytes from " + name + "\n";
    return parse(found->second);
}

void Run::loadSequenceNumber() {
    Bytes& file = files()[sequenceFile];
    if (file.empty()) {
        file = header(24, 0);
    }
    if (file.size() >= headerSize) {
        sequenceNumber_ = numberAt(file, 20, 8);
    }
}

bool Run::openStore() {
    struct Wanted {
        const char* path;
        uint32_t type;
    };
    constexpr Wanted others[] = {{"/mnt/nand1/brapp_passwd.bin", 11},
                                 {"/mnt/nand1/brapp_hostgroup.bin", 23},
                                 {"/mnt/nand1/brapp_fcip.bin", 19},
                                 {"/mnt/nand1/brapp_device.bin", 7},
                                 {"/mnt/nand1/brapp_event_notify.bin", 35}};
    loadSequenceNumber();
    if (!files().contains(configFile) || !isValid(files()[configFile], 2)) {
        return false;
    }
    if (numberAt(files()[configFile], 0, 4) != 13) { // another format: its counters do not fit
        files()[movedAside] = files()[sequenceFile];
        files().erase(sequenceFile);
        return false;
    }
    return std::ranges::all_of(others, [&](const Wanted& wanted) {
        auto const found = files().find(wanted.path);
        return found != files().end() && isValid(found->second, wanted.type);
    });
}

void Run::mark(int fileIndex) {
    Bytes& bitmap = files()[bitmapFile];
    bitmap.resize(8);
    bitmap = littleEndian(numberAt(bitmap, 0, 8) | uint64_t{1} << fileIndex, 8);
}

// The file, its mirror where there is one, the number and its mirror.
void Run::write(const std::string& path, std::size_t offset, const Bytes& bytes) {
    auto const put = [&](const std::string& primary, std::size_t at, const Bytes& what) {
        writeAt(files().at(primary), at, what);
        if (auto const mirror = files().find(mirrorOf(primary)); mirror != files().end()) {
            writeAt(mirror->second, at, what);
        }
    };
    put(path, offset, bytes);
    mark(path == configFile ? 1 : 20);
    if (sequenceNumber_) {
        put(sequenceFile, 0, header(24, ++*sequenceNumber_));
        mark(21);
    }
}

void Run::merge(const Section& section, unsigned index) {
    std::size_t const offset = section.offset + index * section.size;
    Bytes record = files().at(section.path).substr(offset, section.size);
    auto const factory = [&](const Defaults& defaults, const Field& field) {
        auto const found = defaults.find(prefixOf(section, index) + field.key);
        return found != defaults.end() ? convert(field, found->second) : Bytes(field.size, '\0');
    };
    auto const isUntouched = [&](const Field& field) {
        Bytes const live = record.substr(section.settingsAt + field.offset, field.size);
        Bytes const was = factory(old_, field);
        return field.kind == Kind::text ? cut(live, field.size) == cut(was, field.size)
                                        : live == was;
    };
    bool const isGuarded = section.guard != nullptr && !isUntouched(*section.guard);
    if (section.guard != nullptr && !isGuarded && isUntouched(section.fields.front())) {
        report(section.operation, 1366, "Updating MGMT DHCP and IpAddr Match");
    }
    bool isChanged = false;
    for (Field const& field : section.fields) {
        Bytes const is = factory(new_, field);
        if (is == factory(old_, field)) {
            continue;
        }
        ++result_.decided;
        if (field.isForced || (isUntouched(field) && !isGuarded)) {
            writeAt(record, section.settingsAt + field.offset, is);
            result_.output += "Compare Diff: field=" + std::string(field.key) + ", update=1\n";
            isChanged = true;
        }
    }
    if (!isChanged) {
        return;
    }
    report(section.operation, section.line,
           section.message + (section.count > 0 ? std::to_string(index) : ""));
    if (section.stamp == Stamp::bridge) {
        writeAt(record, 744, Bytes(32, '\0'));
    } else if (section.stamp == Stamp::hostGroup) {
        writeAt(record, 0, littleEndian(index, 4));
    } else if (section.stamp == Stamp::port) {
        std::size_t const slot = (offset - portsAt) / portSize;
        writeAt(record, 0, littleEndian(slot, 4));
        writeAt(record, 6, littleEndian(195, 2));
        writeAt(record, 10, littleEndian(portSlot(slot).type, 2));
        writeAt(record, 12, littleEndian(portSlot(slot).number, 2));
    }
    write(section.path, offset, record);
}

void Run::verifyRemoteAccess() {
    struct Step {
        int missingLine;
        const char* missing;
        int line;
        const char* present;
    };
    constexpr const char* operation = "VerifyTelnetandSshConfigFiles";
    constexpr Step steps[] = {
        {1397, "TelnetConfig", 1401, " VerifyTelnetandSshConfigFiles: TelnetFile Exists "},
        {1405, "SshConfig", 1408, " VerifyTelnetandSshConfigFiles: SshFile Exists"},
        {1413, "ftpConfig", 1416, " VerifyTelnetSshFtpConfigFiles: ftpFile Exists"}};
    report(operation, 1392, " VerifyTelnetandSshConfigFiles: Entered ");
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        if (files().try_emplace(remoteAccessFiles[i], anything).second) {
            report(operation, steps[i].missingLine,
                   std::string(operation) + ": " + steps[i].missing + " File doesn't exist ");
        }
        report(operation, steps[i].line, steps[i].present);
    }
}

void Run::mergeAll() {
    for (Section const& section : sections) {
        if (section.guard != nullptr) { // the management port comes last
            verifyRemoteAccess();
        }
        for (unsigned index = 0; index < std::max(section.count, 1U); ++index) {
            merge(section, index);
        }
    }
}

void Run::run() {
    constexpr const char* operation = "compareDefaultConfiguration";
    std::string const name = operation;
    result_.output =
        name + ": Verify that /mnt/nand1 is mounted\ncmdstr: mount | grep /mnt/nand1\n" +
        (isMounted_ ? "status 0x0\n" : "status 0x100\n" + name + ": /mnt/nand1 not mounted\n");
    new_ = open(newFile, "default_bridge_config.cfg");
    old_ = open(savedFile, savedFile.c_str());
    auto const version = [](const Defaults& defaults, const char* key, std::size_t size) {
        auto const found = defaults.find(key);
        return found != defaults.end() ? cut(found->second, size - 1) : std::string();
    };
    auto const block = [&](const Defaults& defaults) {
        return std::pair{version(defaults, "properties.file.version", 16),
                         version(defaults, "properties.file.product", 256)};
    };
    bool const isNew = block(old_) != block(new_);
    if (isNew) {
        report(operation, 1524,
               "Personality File version difference detected old=" + block(old_).first +
                   " new=" + block(new_).first);
    }
    if (isNew && isMounted_ && openStore()) {
        mergeAll();
    } else if (!isNew && isMounted_) {
        loadSequenceNumber();
    }
    if (isNew || !isMounted_) {
        report("main", 1634, "Copying new personality file into /mnt/nand0");
        for (std::string const& copy : {savedFile, secondSavedFile}) {
            if (files().contains(newFile)) { // "cp" of a missing file leaves the copies alone
                files()[copy] = files()[newFile];
            }
        }
    }
}

} // namespace

std::string mirrorOf(const std::string& path) {
    return "/mnt/nand2" + path.substr(path.rfind('/'));
}

const std::vector<Setting>& settings() {
    static const std::vector<Setting> all = [] {
        std::vector<Setting> found;
        for (Section const& section : sections) {
            for (unsigned index = 0; index < std::max(section.count, 1U); ++index) {
                auto const add = [&](const Field& field) {
                    found.push_back({prefixOf(section, index) + field.key, field, section.path,
                                     section.offset + index * section.size + section.settingsAt +
                                         field.offset});
                };
                std::ranges::for_each(section.fields, add);
                if (section.guard != nullptr) {
                    add(*section.guard);
                }
            }
        }
        return found;
    }();
    return all;
}

PortSlot portSlot(std::size_t slot) {
    constexpr std::array<uint16_t, 4> types{0, 1, 2, 4};
    return {portsAt + slot * portSize, types.at(slot / portsOfAType),
            static_cast<uint16_t>(slot % portsOfAType)};
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
        all.try_emplace(std::string(key), value.substr(0, longest));
    }
}

Bytes convert(const Field& field, const std::string& value) {
    Bytes bytes;
    std::string_view rest = value;
    if (field.kind == Kind::text) {
        bytes = value.substr(0, field.size - 1);
    } else if (field.kind == Kind::number) {
        auto const decimal = takeDecimal(rest);
        bytes = littleEndian(decimal ? asUnsigned(*decimal) : 0, field.size);
    } else {
        do {
            auto const octet = takeDecimal(rest);
            if (!octet) {
                break;
            }
            bytes += littleEndian(asSigned(*octet), 1);
        } while (bytes.size() < field.size && accept(rest, '.'));
    }
    bytes.resize(field.size);
    return bytes;
}

void writeAt(Bytes& file, std::size_t offset, const Bytes& bytes) {
    file.resize(std::max(file.size(), offset + bytes.size()));
    file.replace(offset, bytes.size(), bytes);
}

Bytes littleEndian(uint64_t value, std::size_t size) {
    Bytes bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> (8 * i));
    }
    return bytes;
}

Upgrade upgrade(const Files& before, bool isMounted) {
    Run run(before, isMounted);
    run.run();
    return std::move(run).result();
}

} // namespace oracle
