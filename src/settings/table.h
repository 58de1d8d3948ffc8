// Every section and every setting of defaults files, said once: readers, merges and tools loop over
// this. Order is the order in which an upgrade compares settings and in which tools show them.
//
// A new setting is a line here, a new section an array and a row of `sections`.
#pragma once

#include "settings/records.h"
#include "settings/setting.h"

#include <vxblade/settings.h>

#include <array>
#include <cstddef>

namespace vx {

// --- Settings. Key, type, offset and size are those of the member.

// clang-format off
#define SETTING_OF(Record, member, rule, meaning, roles, ...)                                      \
    Setting{#member, typeOf<decltype(Record::member)>(), Rule::rule, Meaning::meaning, roles,      \
            offsetof(Record, member), sizeof(Record::member)}
#define SETTING(Record, member, rule, ...) SETTING_OF(Record, member, rule, __VA_ARGS__, noRole, )

inline constexpr Setting versionSettings[] = {
    SETTING(VersionBlock, version, loadedOnly, version),
    SETTING(VersionBlock, product, loadedOnly, plain),
};

inline constexpr Setting bridgeSettings[] = {
    SETTING(BridgeConfig, BridgeProductName,                 loadedOnly, plain),
    SETTING(BridgeConfig, BridgeSerialNumber,                loadedOnly, plain),
    SETTING(BridgeConfig, BridgeVersionNumber,               loadedOnly, plain),
    SETTING(BridgeConfig, BridgeSwVersionNumber,             loadedOnly, version),
    SETTING(BridgeConfig, BridgeSymbolicName,                loadedOnly, plain),
    SETTING(BridgeConfig, BridgeMode,                        conditional, plain, ipv6Reader),
    SETTING(BridgeConfig, BridgeLogSize,                     conditional, plain),
    SETTING(BridgeConfig, BridgeLogLevel,                    conditional, plain),
    SETTING(BridgeConfig, BridgeRemoteCommandTimeout,        conditional, plain),
    SETTING(BridgeConfig, BridgeSmisFlags,                   conditional, plain, ipv6Reader),
    SETTING(BridgeConfig, BridgeUserDaemonFeatures,          conditional, plain),
    SETTING(BridgeConfig, BridgeSmisListenerPersistenceType, conditional, plain, ipv6Reader),
    SETTING(BridgeConfig, BridgeDataMigrationMode,           mergedOnly, plain, modeReader),
    SETTING(BridgeConfig, BridgeIqnGenFlags,                 forced, plain),
    SETTING(BridgeConfig, BridgeTargetMode,                  forced, plain),
    SETTING(BridgeConfig, BridgeLunMapping,                  forced, plain),
    SETTING(BridgeConfig, BridgeIscsiBaseName,               forced, iscsiName),
};

// Read for programs that ask what the firmware can do; stored nowhere.
inline constexpr Setting capabilitySettings[] = {
    SETTING(SystemCapabilities, SystemCapabilities0,                 loadedOnly, plain),
    SETTING(SystemCapabilities, SystemCapabilities1,                 loadedOnly, plain),
    SETTING(SystemCapabilities, ISCSIServerConnectivityCapabilities, loadedOnly, plain),
    SETTING(SystemCapabilities, FCIPCapabilities,                    loadedOnly, plain),
    SETTING(SystemCapabilities, DMCapabilities,                      loadedOnly, plain),
    SETTING(SystemCapabilities, ELSCapabilities,                     loadedOnly, plain),
    SETTING(SystemCapabilities, EnableSecureMgmtClients,             loadedOnly, toggle),
    SETTING(SystemCapabilities, LunReadWriteAccessCtrl,              loadedOnly, plain),
    SETTING(SystemCapabilities, ExtendedCapabilities0,               loadedOnly, plain),
    SETTING(SystemCapabilities, EnabledFwCapabilities,               loadedOnly, plain),
};

inline constexpr Setting dmGlobalSettings[] = {
    SETTING(DmGlobals, DMDemoMaxLunSize,           loadedOnly, plain),
    SETTING(DmGlobals, syncMigrPeriodicFlushTime,  loadedOnly, plain),
    SETTING(DmGlobals, asyncMigrPeriodicFlushTime, loadedOnly, plain),
    SETTING(DmGlobals, MigrAutoFailoverTimeout,    loadedOnly, plain),
    SETTING(DmGlobals, MigrFailoverPolicy,         loadedOnly, plain),
};

inline constexpr Setting cliSettings[] = {
    SETTING(CliConfig, BridgeCliTimeout, conditional, plain),
    SETTING(CliConfig, BridgeCliPrompt,  conditional, plain),
};

// FlusIosPerInterval: defaults files spell it without the h.
inline constexpr Setting cacheSettings[] = {
    SETTING(CacheParams, CacheMode,          loadedOnly, plain),
    SETTING(CacheParams, FlushMode,          loadedOnly, plain),
    SETTING(CacheParams, FlushInterval,      loadedOnly, plain),
    SETTING(CacheParams, FlusIosPerInterval, loadedOnly, plain),
    SETTING(CacheParams, AutoEnableCache,    loadedOnly, toggle),
    SETTING(CacheParams, Profile,            loadedOnly, plain),
};

inline constexpr Setting storagePoolSettings[] = {
    SETTING(StoragePoolConfig, CachePoolPercent, loadedOnly, plain),
    SETTING(StoragePoolConfig, TotalSpareDrives, loadedOnly, plain),
};

// A user who changed either guard has set up the port: it keeps its settings. A changed default address
// never reaches the live record.
inline constexpr Setting mgmtSettings[] = {
    SETTING(MgmtPortConfig, iDhcpEnabled,  conditional, toggle, guard),
    SETTING(MgmtPortConfig, IpAddrType,    loadedOnly, plain),
    SETTING(MgmtPortConfig, IpAddr,        loadedOnly, address, guard),
    SETTING(MgmtPortConfig, SubnetMask,    loadedOnly, mask),
    SETTING(MgmtPortConfig, GatewayIpAddr, loadedOnly, gateway),
    SETTING(MgmtPortConfig, MacAddr,       loadedOnly, mac),
};

// iSCSI and GigE ports. Addresses and names are a blade's own.
inline constexpr Setting ipPortIdentity[] = {
    SETTING(PortParams, SerialNumber,    loadedOnly, plain),
    SETTING(PortParams, iScsiNameString, loadedOnly, iscsiName),
    SETTING(PortParams, iScsiAlias,      loadedOnly, plain),
    SETTING(PortParams, MacAddr,         loadedOnly, mac),
    SETTING(PortParams, IpAddr,          loadedOnly, address),
    SETTING(PortParams, SubnetMask,      loadedOnly, mask),
    SETTING(PortParams, GatewayIpAddr,   loadedOnly, gateway),
    SETTING(PortParams, SecIpAddr,       loadedOnly, address),
    SETTING(PortParams, PriDnsIpAddr,    loadedOnly, serverAddress),
    SETTING(PortParams, SecDnsIpAddr,    loadedOnly, serverAddress),
    SETTING(PortParams, iSnsIpAddr,      loadedOnly, serverAddress),
    SETTING(PortParams, SlpDaAddr,       loadedOnly, serverAddress),
};

inline constexpr Setting ipPortNumbers[] = {
    SETTING(PortParams, FwOptions,               conditional, plain),
    SETTING(PortParams, MaxEthernetFrameSize,    conditional, plain),
    SETTING(PortParams, AddlFwOptions,           conditional, plain),
    SETTING(PortParams, HeartbeatInterval,       conditional, plain),
    SETTING(PortParams, InstanceNo,              conditional, ownNumber),
    SETTING(PortParams, iScsiOptions,            conditional, plain),
    SETTING(PortParams, TcpOptions,              conditional, plain),
    SETTING(PortParams, IpOptions,               conditional, plain),
    SETTING(PortParams, MaxRcvDataSegLen,        conditional, plain),
    SETTING(PortParams, iScsiRcvMarkerInterval,  conditional, plain),
    SETTING(PortParams, iScsiSendMarkerInterval, conditional, plain),
    SETTING(PortParams, iScsiDefT2W,             conditional, plain),
    SETTING(PortParams, iScsiDefT2R,             conditional, plain),
    SETTING(PortParams, iScsiMaxOutStandingR2T,  conditional, plain),
    SETTING(PortParams, ConnKeepAliveTo,         conditional, plain),
    SETTING(PortParams, PortNumber,              conditional, plain),
    SETTING(PortParams, TypeOfService,           conditional, plain),
    SETTING(PortParams, TimeToLive,              conditional, plain),
    SETTING(PortParams, VlanPriority,            conditional, plain),
    SETTING(PortParams, TcpMaxWinSize,           conditional, plain),
    SETTING(PortParams, iScsiMaxBurstSize,       conditional, plain),
    SETTING(PortParams, iScsiFirstBurstSize,     conditional, plain),
    SETTING(PortParams, iSnsClientPortNo,        conditional, plain),
    SETTING(PortParams, iSnsServerPortNo,        conditional, plain),
    SETTING(PortParams, iSnsScnPortNo,           conditional, plain),
    SETTING(PortParams, iSnsEsiPortNo,           conditional, plain),
    SETTING(PortParams, LinkCfg,                 conditional, plain),
    SETTING(PortParams, TcpWindowScaleFactor,    conditional, plain),
};

inline constexpr Setting iscsiSettings[] = {
    SETTING(PortParams, PortState,                mergedOnly, plain),
    SETTING(PortParams, IpAddr_ipv60,             loadedOnly, ipv6, ipv6Reader),
    SETTING(PortParams, IpAddr_ipv61,             loadedOnly, ipv6, ipv6Reader),
    SETTING(PortParams, Ipv6LinkLocalAddr,        loadedOnly, ipv6, ipv6Reader),
    SETTING(PortParams, Ipv6DefaultRouterAddr,    loadedOnly, serverIpv6, ipv6Reader),
    SETTING(PortParams, Ipv6iSnsIpAddr,           loadedOnly, serverIpv6, ipv6Reader),
    SETTING(PortParams, Ipv6Enabled,              conditional, toggle, ipv6Reader),
    SETTING(PortParams, Ipv6TrafficClass,         conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6HopLimit,             conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6TcpWindowScaleFactor, conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6DupDetectionCnt,      conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6Options,              conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6AdditionalOptions,    conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6TcpOptions,           conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6PortNumber,           conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6FlowLabel,            conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6TagControlInfo,       conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6NDReachableTime,      conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6NDRexmitTime,         conditional, plain, ipv6Reader),
    SETTING(PortParams, Ipv6StaleTimeout,         conditional, plain, ipv6Reader),
};

// World-wide names never move.
inline constexpr Setting fcSettings[] = {
    SETTING(PortParams, PortName,              loadedOnly, worldWideName),
    SETTING(PortParams, NodeName,              loadedOnly, nodeName),
    SETTING(PortParams, AltPortName,           loadedOnly, worldWideName),
    SETTING(PortParams, AltNodeName,           loadedOnly, nodeName),
    SETTING(PortParams, HostOption,            conditional, plain),
    SETTING(PortParams, ResetDelay,            conditional, plain),
    SETTING(PortParams, PortDownRetryCount,    conditional, plain),
    SETTING(PortParams, MaxLunsPerTarget,      conditional, plain),
    SETTING(PortParams, RiscVersion,           conditional, plain),
    SETTING(PortParams, RiscOption,            conditional, plain),
    SETTING(PortParams, MaxIocbAllocation,     conditional, plain),
    SETTING(PortParams, RetryCount,            conditional, plain),
    SETTING(PortParams, RetryDelay,            conditional, plain),
    SETTING(PortParams, AdapterHardLoopId,     conditional, plain),
    SETTING(PortParams, TargetDiscovery,       conditional, plain),
    SETTING(PortParams, LoginTimeout,          conditional, plain),
    SETTING(PortParams, ExtRiscOption1,        conditional, plain),
    SETTING(PortParams, RespAccumulationTimer, conditional, plain),
    SETTING(PortParams, IntrDelayTimer,        conditional, plain),
    SETTING(PortParams, ExtRiscOption2,        conditional, plain),
    SETTING(PortParams, LinkDownTimeout,       conditional, plain),
    SETTING(PortParams, MaxFrameLength,        conditional, plain),
    SETTING(PortParams, ExecutionThrottle,     conditional, plain),
    SETTING(PortParams, TxParam8G,             conditional, plain),
    SETTING(PortParams, TxParam4G,             conditional, plain),
    SETTING(PortParams, RxParam8G,             conditional, plain),
    SETTING(PortParams, RxParam4G,             conditional, plain),
};

inline constexpr Setting hostGroupSettings[] = {
    SETTING(HostGroupConfig, index,         loadedOnly, ownNumber),
    SETTING(HostGroupConfig, Flags,         conditional, plain),
    SETTING(HostGroupConfig, HostGroupName, conditional, plain),
};

inline constexpr Setting passwordSettings[] = {
    SETTING(PasswordString, Passwd, loadedOnly, plain),
};

inline constexpr Setting snmpSettings[] = {
    SETTING(SnmpConfig, ReadCommunity, conditional, plain),
    SETTING(SnmpConfig, TrapCommunity, conditional, plain),
};

// Forced on every trap that no user has enabled.
inline constexpr Setting snmpTrapSettings[] = {
    SETTING(SnmpTrap, TrapPort,    forced, plain),
    SETTING(SnmpTrap, TrapVersion, forced, plain),
};

#undef SETTING
#undef SETTING_OF

// --- Sections.

// What an upgrade does with a section's changed defaults. Nothing is merged where `count` is 0.
struct Merge {
    uint32_t count;           // sections, from number 0 on
    const RecordAccess* into; // the record that gets them
    const char* function;     // as reports name it
    int line;                 // as reports name it
    const char* update;       // what a report says when something moved; %d is the number
    int guardLine = 0;        // as reports name it
    const char* guardsHold = nullptr; // what a report says where the section has guards and they hold
};

struct Section {
    const char* title;          // for readers
    const char* prefix;         // of its keys
    uint32_t count;             // numbered sections of a whole file; 0: one without a number
    SettingGroups groups;
    const RecordAccess* record; // what the defaults are loaded into; null: no record of the store
    const char* announcement;   // what its reader prints: %s is the prefix, %d the number
    Merge merge;
    bool keepsAbsent = false; // a key that is absent leaves the value as it is, not 0 or empty
};

namespace groups {
inline constexpr SettingGroup version[] = {versionSettings};
inline constexpr SettingGroup bridge[] = {bridgeSettings};
inline constexpr SettingGroup capabilities[] = {capabilitySettings};
inline constexpr SettingGroup dmGlobals[] = {dmGlobalSettings};
inline constexpr SettingGroup cli[] = {cliSettings};
inline constexpr SettingGroup cache[] = {cacheSettings};
inline constexpr SettingGroup storagePool[] = {storagePoolSettings};
inline constexpr SettingGroup mgmt[] = {mgmtSettings};
inline constexpr SettingGroup iscsi[] = {ipPortIdentity, ipPortNumbers, iscsiSettings};
inline constexpr SettingGroup gige[] = {ipPortIdentity, ipPortNumbers};
inline constexpr SettingGroup fc[] = {fcSettings};
inline constexpr SettingGroup hostGroup[] = {hostGroupSettings};
inline constexpr SettingGroup password[] = {passwordSettings};
inline constexpr SettingGroup snmp[] = {snmpSettings};
inline constexpr SettingGroup snmpTrap[] = {snmpTrapSettings};
} // namespace groups

inline constexpr Section bridgeSection = {
    "Bridge", "config.bridge.", 0, groups::bridge, &bridgeRecord, nullptr,
    {1, &bridgeRecord, "compareDefaultBridgeConfigInfo", 244, "Updating Bridge Info\n"}};
inline constexpr Section cliSection = {
    "Command-line interface", "config.cli.", 0, groups::cli, &cliRecord, nullptr,
    {1, &cliRecord, "compareDefaultCliConfigInfo", 327, "Updating CLI Info\n"}};
inline constexpr Section mgmtSection = {
    "Management port", "config.mgmt.", 0, groups::mgmt, &mgmtRecord, nullptr,
    {1, &mgmtRecord, "compareDefaultMgmtInfo", 1372, "Updating MGMT\n",
     1366, "Updating MGMT DHCP and IpAddr Match\n"}};
inline constexpr Section iscsiSection = {
    "iSCSI ports", "config.port.is.", 4, groups::iscsi, &portRecord<PORT_TYPE_ISCSI>, nullptr,
    {4, &portRecord<PORT_TYPE_ISCSI>, "compareDefaultIsConfigInfo", 537, "Updating iSCSI Port %d\n"}};
inline constexpr Section fcSection = {
    "Fibre Channel ports", "config.port.fc.", 6, groups::fc, &portRecord<PORT_TYPE_FC>, "readDefaultFcConfigInfo: %s\n",
    {6, &portRecord<PORT_TYPE_FC>, "compareDefaultFcConfigInfo", 1051, "Updating FC Port %d\n"}};
// Merged into the iSCSI port of its number, as that port's own merge left it.
inline constexpr Section gigeSection = {
    "GigE ports", "config.port.gi.", 4, groups::gige, &portRecord<PORT_TYPE_GIGE>, nullptr,
    {2, &portRecord<PORT_TYPE_ISCSI>, "compareDefaultGigeConfigInfo", 696, "Updating GE Port %d\n"}};
inline constexpr Section hostGroupSection = {
    "Host groups", "config.hostgroup.", 4, groups::hostGroup, &hostGroupRecord,
    "readDefaultHostGroupConfigInfo: %s and idx = %d \n",
    {4, &hostGroupRecord, "compareDefaultHostGroupInfo", 1280, "Updating HostGroup Index %d\n"}};
inline constexpr Section pcieSection = { // stored as valid, with no values
    "PCIe port", "config.port.pcie.", 1, {}, &portRecord<PORT_TYPE_PCIE, 1>, "readDefaultPcieConfigInfo: %s\n", {}};
inline constexpr Section cacheSection = {"Write cache", "config.cache.", 0, groups::cache, &cacheRecord, nullptr, {}};
inline constexpr Section storagePoolSection = {
    "Storage pool", "config.storagepool.", 0, groups::storagePool, &storagePoolRecord, nullptr, {}};
inline constexpr Section dmGlobalsSection = {
    "Data migration", "config.bridge.", 0, groups::dmGlobals, &dmGlobalsRecord, nullptr, {}, true};
inline constexpr Section passwordSection = {
    "Passwords", "config.passwd.", 3, groups::password, &passwordRecord, nullptr, {}, true};
inline constexpr Section capabilitiesSection = {
    "Capabilities of the firmware", "config.bridge.", 0, groups::capabilities, nullptr, nullptr, {}, true};
inline constexpr Section versionSection = {
    "The defaults file itself", "properties.file.", 0, groups::version, nullptr, nullptr, {}, true};
// Loaded when a program asks for it; an upgrade leaves them alone.
inline constexpr Section snmpSection = {"SNMP communities", "config.snmp.", 0, groups::snmp, nullptr, nullptr, {}};
inline constexpr Section snmpTrapSection = {
    "SNMP traps", "config.snmp.Traps.", 8, groups::snmpTrap, nullptr, nullptr, {}};
// clang-format on

// The chassis name is the value of the last key that begins so, whatever the key.
inline constexpr const char* chassisPrefix = "config.chassis.";

// All sections, those of the live configuration first.
inline constexpr const Section* sections[] = {
    &bridgeSection,       &cliSection,         &mgmtSection,      &iscsiSection,
    &fcSection,           &gigeSection,        &hostGroupSection, &pcieSection,
    &cacheSection,        &storagePoolSection, &dmGlobalsSection, &passwordSection,
    &capabilitiesSection, &snmpSection,        &snmpTrapSection,  &versionSection,
};

// Calls `visit(section, number)` for every section of a whole file that an order names.
template <class Visit>
constexpr void forEachSection(std::span<const Section* const> order, Visit visit) {
    for (const Section* const section : order) {
        for (uint32_t number = 0; number == 0 || number < section->count; ++number) {
            visit(*section, number);
        }
    }
}

// Calls `visit(setting)` for every setting of a section.
template <class Visit>
constexpr void forEachSetting(const Section& section, Visit visit) {
    for (SettingGroup const group : section.groups) {
        for (const Setting& setting : group) {
            visit(setting);
        }
    }
}

// Room for the value of any setting, as a string.
inline constexpr std::size_t anyValueSize = [] {
    std::size_t most = 0;
    for (const Section* const section : sections) {
        forEachSetting(*section, [&](const Setting& setting) {
            most = formattedSize(setting) > most ? formattedSize(setting) : most;
        });
    }
    return most;
}();
using ValueString = std::array<char, anyValueSize>;

// Room for any section's record.
union alignas(std::max_align_t) AnyRecord {
    BridgeConfig bridge;
    CliConfig cli;
    MgmtPortConfig mgmt;
    PortParams port;
    HostGroupConfig hostGroup;
    CacheParams cache;
    StoragePoolConfig storagePool;
    DmGlobals dmGlobals;
    PasswordString password;
};

// What a blade that is made gets, in this order.
inline constexpr const Section* loadOrder[] = {
    &bridgeSection, &cacheSection, &storagePoolSection, &mgmtSection,
    &iscsiSection,  &fcSection,    &pcieSection,        &passwordSection,
    &gigeSection,   &cliSection,   &hostGroupSection,   &dmGlobalsSection,
};

// What an upgrade merges, in this order. Between host groups and management port it makes the files
// of remote access that are missing.
inline constexpr const Section* mergeOrder[] = {
    &bridgeSection, &cliSection,       &iscsiSection, &fcSection,
    &gigeSection,   &hostGroupSection, &mgmtSection,
};

// The section among those that are merged whose settings a record holds.
[[nodiscard]] constexpr const Section& sectionOf(const RecordAccess& record) {
    const Section* found = mergeOrder[0];
    for (const Section* const section : mergeOrder) {
        found = section->record == &record ? section : found;
    }
    return *found;
}

// No setting lies where the store clears: it would be lost between update and read.
constexpr bool keepsClear(const Section& section, std::size_t begin, std::size_t size) {
    bool clear = true;
    forEachSetting(section, [&](const Setting& setting) {
        clear = clear && (setting.offset >= begin + size || setting.offset + setting.size <= begin);
    });
    return clear;
}
static_assert(keepsClear(bridgeSection, offsetof(BridgeConfig, volatile744),
                         sizeof(BridgeConfig::volatile744)));
static_assert(keepsClear(iscsiSection, offsetof(PortParams, boardWords),
                         sizeof(PortParams::boardWords)));
static_assert(keepsClear(fcSection, offsetof(PortParams, boardWords),
                         sizeof(PortParams::boardWords)));
// The IP settings, which ports of other types do not carry.
static_assert(keepsClear(fcSection, offsetof(PortParams, MacAddr),
                         offsetof(PortParams, PortName) - offsetof(PortParams, MacAddr)));

constexpr bool recordsFit() {
    bool fit = true;
    for (const Section* const section : loadOrder) {
        fit = fit && section->record->size <= sizeof(AnyRecord);
    }
    return fit;
}
static_assert(recordsFit());

} // namespace vx
