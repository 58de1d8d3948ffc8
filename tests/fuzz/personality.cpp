// Personality files into records and through the merge: readers stay within their record, read
// the same text alike, and move nothing where the defaults agree.
#include "props/chassis_name.h"
#include "props/config_fields.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/memory_files.h"
#include "upgrade/default_merge.h"

#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <vector>

using fuzz::require;
using vx::FieldGroup;

namespace {

// Every group of fields, with the record that holds it.
constexpr FieldGroup version[] = {vx::versionFields};
constexpr FieldGroup bridge[] = {vx::bridgeIdentity, vx::bridgeSettings, vx::bridgeDataMigration,
                                 vx::bridgeForced};
constexpr FieldGroup capabilities[] = {vx::capabilityFields};
constexpr FieldGroup dmGlobals[] = {vx::dmGlobalFields};
constexpr FieldGroup cli[] = {vx::cliFields};
constexpr FieldGroup cache[] = {vx::cacheFields};
constexpr FieldGroup storagePool[] = {vx::storagePoolFields};
constexpr FieldGroup mgmt[] = {vx::mgmtFields};
constexpr FieldGroup ipPort[] = {vx::ipPortIdentity, vx::ipPortNumbers, vx::portState,
                                 vx::ipv6Addresses, vx::ipv6Numbers};
constexpr FieldGroup fcPort[] = {vx::fcNames, vx::fcNumbers};
constexpr FieldGroup password[] = {vx::passwordFields};
constexpr FieldGroup hostGroup[] = {vx::hostGroupIndex, vx::hostGroupSettings};
constexpr FieldGroup communities[] = {vx::snmpCommunities};
constexpr FieldGroup trap[] = {vx::snmpTrapFields};

struct Section {
    const char* prefix;
    vx::FieldGroups groups;
    std::size_t recordSize;
};
constexpr Section sections[] = {
    {vx::versionPrefix, version, sizeof(VersionBlock)},
    {vx::bridgePrefix, bridge, sizeof(BridgeConfig)},
    {vx::bridgePrefix, capabilities, sizeof(SystemCapabilities)},
    {vx::bridgePrefix, dmGlobals, sizeof(DmGlobals)},
    {vx::cliPrefix, cli, sizeof(CliConfig)},
    {vx::cachePrefix, cache, sizeof(CacheParams)},
    {vx::storagePoolPrefix, storagePool, sizeof(StoragePoolConfig)},
    {vx::mgmtPrefix, mgmt, sizeof(MgmtPortConfig)},
    {"config.port.is.0.", ipPort, sizeof(PortParams)},
    {"config.port.fc.0.", fcPort, sizeof(PortParams)},
    {"config.passwd.0.", password, sizeof(vx::PasswordText)},
    {"config.hostgroup.0.", hostGroup, sizeof(HostGroupConfig)},
    {vx::snmpPrefix, communities, sizeof(SnmpConfig)},
    {"config.snmp.Traps.0.", trap, sizeof(SnmpTrap)},
};

// A section's record, at whose ends the address sanitizer watches.
using Record = std::vector<char>;

Record load(PropertiesHandle handle, const Section& section) {
    Record record(section.recordSize);
    vx::loadFields(handle, section.prefix, section.groups, record.data());
    return record;
}

void checkSection(const Section& section, PropertiesHandle oldFile, PropertiesHandle newFile) {
    Record const oldDefaults = load(oldFile, section);
    Record const newDefaults = load(newFile, section);
    require(oldDefaults == load(oldFile, section), "a text is read alike every time");
    auto const merge = [&section](const Record& from, const Record& to, Record& live) {
        return vx::mergeFields(section.groups, from.data(), to.data(), live.data());
    };
    Record live = newDefaults;
    require(!merge(oldDefaults, oldDefaults, live) && live == newDefaults,
            "equal defaults move nothing");
    live = oldDefaults;
    require(merge(oldDefaults, newDefaults, live) || live == oldDefaults, "what moves is reported");
    for (const FieldGroup group : section.groups) {
        for (const vx::Field& field : group) {
            require(vx::fieldsEqual(field, live.data(), newDefaults.data()),
                    "untouched defaults become the new ones");
        }
    }
}

// --- The readers of whole sections. No file of the store is open: what they write reaches the
// tables alone.

constexpr int (*readers[])(PropertiesHandle) = {
    readDefaultBridgeConfigInfo,  readDefaultCliConfigInfo,  readDefaultMgmtConfigInfo,
    readDefaultCacheConfig,       readDefaultSnmpConfigInfo, readBridgeDMGlobalSettings,
    readDefaultStoragePoolConfig,
};
constexpr int (*numberedReaders[])(PropertiesHandle, int) = {
    readDefaultPassword,     readDefaultHostGroupConfigInfo, readDefaultIsConfigInfo,
    readDefaultFcConfigInfo, readDefaultGigeConfigInfo,      readDefaultPcieConfigInfo,
};

// The bytes of the tables that the readers fill.
std::string tables() {
    std::string bytes;
    auto const add = [&bytes](const auto&... table) {
        (bytes.append(reinterpret_cast<const char*>(&table), sizeof table), ...);
    };
    add(bridge_configuration, mgmt_port, port_configuration, HostGroups, passwd_data, snmp_info,
        dm_globals, StoragePoolInfo);
    return bytes;
}

std::string readAll(PropertiesHandle handle) {
    for (auto* const read : readers) {
        (void)read(handle);
    }
    for (auto* const read : numberedReaders) {
        for (int const number : {0, 1, 8}) {
            (void)read(handle, number);
        }
    }
    return tables();
}

PropertiesHandle open(const std::string& text) {
    return propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
}

} // namespace

// Two texts: the old and the new personality file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    PropertiesHandle const oldFile = open(input.text());
    PropertiesHandle const newFile = open(input.text());
    for (const Section& section : sections) {
        checkSection(section, oldFile, newFile);
    }
    fuzz::removeBladeFiles();
    InitDatabaseLite();
    std::string const read = readAll(newFile);
    require(readAll(newFile) == read, "what is read twice stays as it is");
    require(vx::loadChassisName(newFile).back() == '\0', "the chassis name is terminated");
    close_all_files();
    propClosePropertiesFile(oldFile);
    propClosePropertiesFile(newFile);
    return 0;
}
