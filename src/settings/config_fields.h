// Which keys of a personality file fill which record fields, section by section. Order is the
// order in which an upgrade compares them.
#pragma once

#include "settings/fields.h"

namespace vx {

inline constexpr const char* versionPrefix = "properties.file.";
inline constexpr const char* bridgePrefix = "config.bridge.";
inline constexpr const char* cliPrefix = "config.cli.";
inline constexpr const char* cachePrefix = "config.cache.";
inline constexpr const char* storagePoolPrefix = "config.storagepool.";
inline constexpr const char* mgmtPrefix = "config.mgmt.";
inline constexpr const char* snmpPrefix = "config.snmp.";
inline constexpr const char* chassisPrefix = "config.chassis.";

// Sections that are followed by a number and a point: port 1 is not port 10.
inline constexpr const char* iscsiPortPrefix = "config.port.is.";
inline constexpr const char* fcPortPrefix = "config.port.fc.";
inline constexpr const char* gigePortPrefix = "config.port.gi.";
inline constexpr const char* pciePortPrefix = "config.port.pcie.";
inline constexpr const char* passwordPrefix = "config.passwd.";
inline constexpr const char* hostGroupPrefix = "config.hostgroup.";
inline constexpr const char* snmpTrapPrefix = "config.snmp.Traps.";

inline constexpr Field versionFields[] = {
    VX_FIELD(VersionBlock, version),
    VX_FIELD(VersionBlock, product),
};

// Loaded with the factory defaults, never touched by an upgrade.
inline constexpr Field bridgeIdentity[] = {
    VX_FIELD(BridgeConfig, BridgeProductName),   VX_FIELD(BridgeConfig, BridgeSerialNumber),
    VX_FIELD(BridgeConfig, BridgeVersionNumber), VX_FIELD(BridgeConfig, BridgeSwVersionNumber),
    VX_FIELD(BridgeConfig, BridgeSymbolicName),
};

inline constexpr Field bridgeSettings[] = {
    VX_FIELD(BridgeConfig, BridgeMode),
    VX_FIELD(BridgeConfig, BridgeLogSize),
    VX_FIELD(BridgeConfig, BridgeLogLevel),
    VX_FIELD(BridgeConfig, BridgeRemoteCommandTimeout),
    VX_FIELD(BridgeConfig, BridgeSmisFlags),
    VX_FIELD(BridgeConfig, BridgeUserDaemonFeatures),
    VX_FIELD(BridgeConfig, BridgeSmisListenerPersistenceType),
};

// Merged by an upgrade and loaded by a reader of its own, not with the other bridge settings.
inline constexpr Field bridgeDataMigration[] = {
    VX_FIELD(BridgeConfig, BridgeDataMigrationMode),
};

inline constexpr Field bridgeForced[] = {
    VX_FORCED(BridgeConfig, BridgeIqnGenFlags),
    VX_FORCED(BridgeConfig, BridgeTargetMode),
    VX_FORCED(BridgeConfig, BridgeLunMapping),
    VX_FORCED(BridgeConfig, BridgeIscsiBaseName),
};

inline constexpr Field bridgeIpv6Settings[] = {
    VX_FIELD(BridgeConfig, BridgeMode),
    VX_FIELD(BridgeConfig, BridgeSmisFlags),
    VX_FIELD(BridgeConfig, BridgeSmisListenerPersistenceType),
};

inline constexpr Field capabilityFields[] = {
    VX_FIELD(SystemCapabilities, SystemCapabilities0),
    VX_FIELD(SystemCapabilities, SystemCapabilities1),
    VX_FIELD(SystemCapabilities, ISCSIServerConnectivityCapabilities),
    VX_FIELD(SystemCapabilities, FCIPCapabilities),
    VX_FIELD(SystemCapabilities, DMCapabilities),
    VX_FIELD(SystemCapabilities, ELSCapabilities),
    VX_FIELD(SystemCapabilities, EnableSecureMgmtClients),
    VX_FIELD(SystemCapabilities, LunReadWriteAccessCtrl),
    VX_FIELD(SystemCapabilities, ExtendedCapabilities0),
    VX_FIELD(SystemCapabilities, EnabledFwCapabilities),
};

inline constexpr Field dmGlobalFields[] = {
    VX_FIELD(DmGlobals, DMDemoMaxLunSize),           VX_FIELD(DmGlobals, syncMigrPeriodicFlushTime),
    VX_FIELD(DmGlobals, asyncMigrPeriodicFlushTime), VX_FIELD(DmGlobals, MigrAutoFailoverTimeout),
    VX_FIELD(DmGlobals, MigrFailoverPolicy),
};

inline constexpr Field cliFields[] = {
    VX_FIELD(CliConfig, BridgeCliTimeout),
    VX_FIELD(CliConfig, BridgeCliPrompt),
};

inline constexpr Field cacheFields[] = {
    VX_FIELD(CacheParams, CacheMode),
    VX_FIELD(CacheParams, FlushMode),
    VX_FIELD(CacheParams, FlushInterval),
    VX_FIELD(CacheParams, FlusIosPerInterval), // personality files spell it without the h
    VX_FIELD(CacheParams, AutoEnableCache),
    VX_FIELD(CacheParams, Profile),
};

inline constexpr Field storagePoolFields[] = {
    VX_FIELD(StoragePoolConfig, CachePoolPercent),
    VX_FIELD(StoragePoolConfig, TotalSpareDrives),
};

inline constexpr Field mgmtFields[] = {
    VX_FIELD(MgmtPortConfig, iDhcpEnabled),  VX_FIELD(MgmtPortConfig, IpAddrType),
    VX_FIELD(MgmtPortConfig, IpAddr),        VX_FIELD(MgmtPortConfig, SubnetMask),
    VX_FIELD(MgmtPortConfig, GatewayIpAddr), VX_FIELD(MgmtPortConfig, MacAddr),
};

// The numbers that iSCSI and GigE ports share.
inline constexpr Field ipPortNumbers[] = {
    VX_FIELD(PortParams, FwOptions),
    VX_FIELD(PortParams, MaxEthernetFrameSize),
    VX_FIELD(PortParams, AddlFwOptions),
    VX_FIELD(PortParams, HeartbeatInterval),
    VX_FIELD(PortParams, InstanceNo),
    VX_FIELD(PortParams, iScsiOptions),
    VX_FIELD(PortParams, TcpOptions),
    VX_FIELD(PortParams, IpOptions),
    VX_FIELD(PortParams, MaxRcvDataSegLen),
    VX_FIELD(PortParams, iScsiRcvMarkerInterval),
    VX_FIELD(PortParams, iScsiSendMarkerInterval),
    VX_FIELD(PortParams, iScsiDefT2W),
    VX_FIELD(PortParams, iScsiDefT2R),
    VX_FIELD(PortParams, iScsiMaxOutStandingR2T),
    VX_FIELD(PortParams, ConnKeepAliveTo),
    VX_FIELD(PortParams, PortNumber),
    VX_FIELD(PortParams, TypeOfService),
    VX_FIELD(PortParams, TimeToLive),
    VX_FIELD(PortParams, VlanPriority),
    VX_FIELD(PortParams, TcpMaxWinSize),
    VX_FIELD(PortParams, iScsiMaxBurstSize),
    VX_FIELD(PortParams, iScsiFirstBurstSize),
    VX_FIELD(PortParams, iSnsClientPortNo),
    VX_FIELD(PortParams, iSnsServerPortNo),
    VX_FIELD(PortParams, iSnsScnPortNo),
    VX_FIELD(PortParams, iSnsEsiPortNo),
    VX_FIELD(PortParams, LinkCfg),
    VX_FIELD(PortParams, TcpWindowScaleFactor),
};

// Merged by an upgrade, never loaded with the factory defaults.
inline constexpr Field portState[] = {
    VX_FIELD(PortParams, PortState),
};

inline constexpr Field ipv6Numbers[] = {
    VX_FIELD(PortParams, Ipv6Enabled),           VX_FIELD(PortParams, Ipv6TrafficClass),
    VX_FIELD(PortParams, Ipv6HopLimit),          VX_FIELD(PortParams, Ipv6TcpWindowScaleFactor),
    VX_FIELD(PortParams, Ipv6DupDetectionCnt),   VX_FIELD(PortParams, Ipv6Options),
    VX_FIELD(PortParams, Ipv6AdditionalOptions), VX_FIELD(PortParams, Ipv6TcpOptions),
    VX_FIELD(PortParams, Ipv6PortNumber),        VX_FIELD(PortParams, Ipv6FlowLabel),
    VX_FIELD(PortParams, Ipv6TagControlInfo),    VX_FIELD(PortParams, Ipv6NDReachableTime),
    VX_FIELD(PortParams, Ipv6NDRexmitTime),      VX_FIELD(PortParams, Ipv6StaleTimeout),
};

// Addresses and names are a blade's own: loaded with the factory defaults, never merged.
inline constexpr Field ipv6Addresses[] = {
    VX_FIELD(PortParams, IpAddr_ipv60),      VX_FIELD(PortParams, IpAddr_ipv61),
    VX_FIELD(PortParams, Ipv6LinkLocalAddr), VX_FIELD(PortParams, Ipv6DefaultRouterAddr),
    VX_FIELD(PortParams, Ipv6iSnsIpAddr),
};

inline constexpr Field ipPortIdentity[] = {
    VX_FIELD(PortParams, SerialNumber),  VX_FIELD(PortParams, iScsiNameString),
    VX_FIELD(PortParams, iScsiAlias),    VX_FIELD(PortParams, MacAddr),
    VX_FIELD(PortParams, IpAddr),        VX_FIELD(PortParams, SubnetMask),
    VX_FIELD(PortParams, GatewayIpAddr), VX_FIELD(PortParams, SecIpAddr),
    VX_FIELD(PortParams, PriDnsIpAddr),  VX_FIELD(PortParams, SecDnsIpAddr),
    VX_FIELD(PortParams, iSnsIpAddr),    VX_FIELD(PortParams, SlpDaAddr),
};

inline constexpr Field fcNumbers[] = {
    VX_FIELD(PortParams, HostOption),         VX_FIELD(PortParams, ResetDelay),
    VX_FIELD(PortParams, PortDownRetryCount), VX_FIELD(PortParams, MaxLunsPerTarget),
    VX_FIELD(PortParams, RiscVersion),        VX_FIELD(PortParams, RiscOption),
    VX_FIELD(PortParams, MaxIocbAllocation),  VX_FIELD(PortParams, RetryCount),
    VX_FIELD(PortParams, RetryDelay),         VX_FIELD(PortParams, AdapterHardLoopId),
    VX_FIELD(PortParams, TargetDiscovery),    VX_FIELD(PortParams, LoginTimeout),
    VX_FIELD(PortParams, ExtRiscOption1),     VX_FIELD(PortParams, RespAccumulationTimer),
    VX_FIELD(PortParams, IntrDelayTimer),     VX_FIELD(PortParams, ExtRiscOption2),
    VX_FIELD(PortParams, LinkDownTimeout),    VX_FIELD(PortParams, MaxFrameLength),
    VX_FIELD(PortParams, ExecutionThrottle),  VX_FIELD(PortParams, TxParam8G),
    VX_FIELD(PortParams, TxParam4G),          VX_FIELD(PortParams, RxParam8G),
    VX_FIELD(PortParams, RxParam4G),
};

// World-wide names: loaded with the factory defaults, never merged.
inline constexpr Field fcNames[] = {
    VX_FIELD(PortParams, PortName),
    VX_FIELD(PortParams, NodeName),
    VX_FIELD(PortParams, AltPortName),
    VX_FIELD(PortParams, AltNodeName),
};

inline constexpr Field hostGroupIndex[] = {
    VX_FIELD(HostGroupConfig, index),
};

inline constexpr Field hostGroupSettings[] = {
    VX_FIELD(HostGroupConfig, Flags),
    VX_FIELD(HostGroupConfig, HostGroupName),
};

inline constexpr Field snmpCommunities[] = {
    VX_FIELD(SnmpConfig, ReadCommunity),
    VX_FIELD(SnmpConfig, TrapCommunity),
};

// Forced on every trap that no user has enabled.
inline constexpr Field snmpTrapFields[] = {
    VX_FORCED(SnmpTrap, TrapPort),
    VX_FORCED(SnmpTrap, TrapVersion),
};

// One password of the password record.
struct PasswordText {
    char Passwd[sizeof(PasswordConfig::Passwd[0][0])];
};
inline constexpr Field passwordFields[] = {
    VX_FIELD(PasswordText, Passwd),
};

// True when no field shares a byte with [begin, begin + size).
template <std::size_t count>
constexpr bool keepClear(const Field (&fields)[count], std::size_t begin, std::size_t size) {
    for (const Field& field : fields) {
        if (field.offset < begin + size && field.offset + field.size > begin) {
            return false;
        }
    }
    return true;
}

// No merged field lies where the store clears: it would be lost between update and read.
constexpr bool portFieldsAreKept = [] {
    constexpr std::size_t begin = offsetof(PortParams, boardWords);
    constexpr std::size_t size = sizeof(PortParams::boardWords);
    // The IP settings, which ports of other types do not carry.
    constexpr std::size_t ipBegin = offsetof(PortParams, MacAddr);
    constexpr std::size_t ipSize = offsetof(PortParams, PortName) - ipBegin;
    return keepClear(ipPortNumbers, begin, size) && keepClear(portState, begin, size) &&
           keepClear(ipv6Numbers, begin, size) && keepClear(fcNumbers, begin, size) &&
           keepClear(fcNumbers, ipBegin, ipSize) && keepClear(fcNames, ipBegin, ipSize);
}();
constexpr bool bridgeFieldsAreKept = [] {
    constexpr std::size_t begin = offsetof(BridgeConfig, volatile744);
    constexpr std::size_t size = sizeof(BridgeConfig::volatile744);
    return keepClear(bridgeSettings, begin, size) && keepClear(bridgeForced, begin, size) &&
           keepClear(bridgeDataMigration, begin, size);
}();
static_assert(portFieldsAreKept && bridgeFieldsAreKept);

} // namespace vx
