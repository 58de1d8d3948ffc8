/*
 * The configuration records: the same bytes in memory and in the store's files. Members that a
 * personality file sets bear the name of their key. Everything is naturally aligned and
 * little-endian; what no member names is kept as it was found.
 *
 * docs/store-format.md describes each byte.
 */
#ifndef VXBLADE_RECORDS_H
#define VXBLADE_RECORDS_H

#include <stddef.h>

#include <vxblade/export.h>

/* Four octets in the order in which they are written: 192.168.0.1 is C0 A8 00 01. */
typedef struct Ipv4Address {
    uint8_t octets[4];
} Ipv4Address;

/* Command-line interface settings: time-out in seconds. */
typedef struct CliConfig {
    uint32_t BridgeCliTimeout;
    char BridgeCliPrompt[64];
} CliConfig;
VXBLADE_STATIC_ASSERT(sizeof(CliConfig) == 68, "CLI settings");

typedef struct BridgeConfig {
    char BridgeProductName[256];
    char BridgeSerialNumber[32];
    char BridgeVersionNumber[16];   /* hardware */
    char BridgeSwVersionNumber[16]; /* software */
    char BridgeSymbolicName[64];
    char BridgeIscsiBaseName[256];
    uint32_t BridgeLogSize;
    uint32_t BridgeRemoteCommandTimeout; /* seconds */
    uint32_t BridgeSmisListenerPersistenceType;
    uint32_t BridgeDataMigrationMode;
    uint8_t opaque656[88];
    uint8_t volatile744[32]; /* cleared in the store by every update */
    uint8_t BridgeMode;
    uint8_t BridgeLogLevel;
    uint8_t BridgeIqnGenFlags;
    uint8_t BridgeTargetMode;
    uint8_t BridgeLunMapping;
    uint8_t BridgeSmisFlags;
    uint8_t BridgeUserDaemonFeatures;
    uint8_t opaque783[249];
    CliConfig cli;
    uint8_t opaque1100[1604];
} BridgeConfig;
VXBLADE_STATIC_ASSERT(sizeof(BridgeConfig) == 2704, "bridge record");
VXBLADE_STATIC_ASSERT(offsetof(BridgeConfig, BridgeLogSize) == 640, "bridge numbers");
VXBLADE_STATIC_ASSERT(offsetof(BridgeConfig, volatile744) == 744, "bridge volatile block");
VXBLADE_STATIC_ASSERT(offsetof(BridgeConfig, BridgeMode) == 776, "bridge modes");
VXBLADE_STATIC_ASSERT(offsetof(BridgeConfig, cli) == 1032, "bridge CLI settings");

/* The management port as callers see it. */
typedef struct MgmtPortConfig {
    uint32_t iDhcpEnabled;
    uint32_t IpAddrType;
    Ipv4Address IpAddr;
    Ipv4Address SubnetMask;
    Ipv4Address GatewayIpAddr;
    uint8_t MacAddr[6];
    uint8_t IpAddr_ipv60[16];
    uint8_t IpAddr_ipv61[16];
    uint8_t Ipv6LinkLocalAddr[16];
    uint8_t padding74[2];
    uint32_t words76[2];
    uint8_t reserved84[20];
} MgmtPortConfig;
VXBLADE_STATIC_ASSERT(sizeof(MgmtPortConfig) == 104, "management record");
VXBLADE_STATIC_ASSERT(offsetof(MgmtPortConfig, IpAddr_ipv60) == 26, "management addresses");
VXBLADE_STATIC_ASSERT(offsetof(MgmtPortConfig, words76) == 76, "management words");

/* The management port's slot: the first 84 bytes of MgmtPortConfig, the rest opaque. */
typedef struct MgmtPortSlot {
    uint8_t config[84];
    uint8_t opaque84[248];
} MgmtPortSlot;
VXBLADE_STATIC_ASSERT(sizeof(MgmtPortSlot) == 332, "management slot");

/* A port's type: the block of eight slots that holds it. */
enum PortType {
    PORT_TYPE_FC = 0,
    PORT_TYPE_ISCSI = 1, /* the upgrade also merges the GigE defaults here */
    PORT_TYPE_GIGE = 2,
    PORT_TYPE_NONE = 3, /* has no slots: reads and updates do nothing */
    PORT_TYPE_PCIE = 4
};

/* The parameters of one port; the bridge application's driver takes the same 712 bytes. */
typedef struct PortParams {
    uint16_t flags; /* bit 0: valid */
    uint16_t type;  /* enum PortType */
    uint16_t number;

    /* IP ports (types 1 and 2) only, up to `reserved529`. */
    uint8_t MacAddr[6];
    Ipv4Address IpAddr;
    Ipv4Address SubnetMask;
    Ipv4Address GatewayIpAddr;
    uint8_t PortState;
    uint8_t InstanceNo;
    uint8_t IpAddr_ipv60[16];
    uint8_t IpAddr_ipv61[16];
    uint8_t Ipv6LinkLocalAddr[16];
    uint8_t Ipv6DefaultRouterAddr[16];
    uint8_t Ipv6iSnsIpAddr[16];
    Ipv4Address SecIpAddr;
    Ipv4Address PriDnsIpAddr;
    Ipv4Address SecDnsIpAddr;
    Ipv4Address iSnsIpAddr;
    Ipv4Address SlpDaAddr;
    char SerialNumber[32];
    char iScsiNameString[256];
    uint8_t iScsiAlias[32];
    uint16_t FwOptions;
    uint16_t AddlFwOptions;
    uint16_t IpOptions;
    uint16_t TcpOptions;
    uint16_t iScsiOptions;
    uint16_t PortNumber;
    uint16_t MaxEthernetFrameSize;
    uint16_t MaxRcvDataSegLen;
    uint16_t VlanPriority;
    uint16_t ConnKeepAliveTo;
    uint16_t iScsiDefT2R;
    uint16_t iScsiDefT2W;
    uint16_t iScsiFirstBurstSize;
    uint16_t iScsiMaxBurstSize;
    uint16_t iScsiMaxOutStandingR2T;
    uint16_t iScsiRcvMarkerInterval;
    uint16_t iScsiSendMarkerInterval;
    uint16_t iSnsClientPortNo;
    uint16_t iSnsEsiPortNo;
    uint16_t iSnsScnPortNo;
    uint16_t iSnsServerPortNo;
    uint16_t Ipv6Options;
    uint16_t Ipv6AdditionalOptions;
    uint16_t Ipv6TcpOptions;
    uint16_t Ipv6PortNumber;
    uint16_t Ipv6FlowLabel; /* the low 16 bits of the flow label */
    uint16_t Ipv6TagControlInfo;
    uint32_t LinkCfg;
    uint32_t TcpMaxWinSize;
    uint32_t Ipv6NDReachableTime;
    uint32_t Ipv6NDRexmitTime;
    uint32_t Ipv6StaleTimeout;
    uint8_t HeartbeatInterval;
    uint8_t TimeToLive;
    uint8_t TypeOfService;
    uint8_t TcpWindowScaleFactor;
    uint8_t Ipv6Enabled;
    uint8_t Ipv6HopLimit;
    uint8_t Ipv6DupDetectionCnt;
    uint8_t Ipv6TcpWindowScaleFactor;
    uint8_t Ipv6TrafficClass;
    uint8_t reserved529[3];

    /* Fibre Channel ports (type 0). */
    uint8_t PortName[8];
    uint8_t NodeName[8];
    uint8_t AltPortName[8];
    uint8_t AltNodeName[8];
    uint16_t HostOption;
    uint16_t RiscOption;
    uint16_t ExtRiscOption1;
    uint16_t ExtRiscOption2;
    uint16_t MaxFrameLength;
    uint16_t ExecutionThrottle;
    uint16_t AdapterHardLoopId;
    uint16_t MaxIocbAllocation;
    uint16_t MaxLunsPerTarget;
    uint8_t RiscVersion;
    uint8_t RetryCount;
    uint8_t RetryDelay;
    uint8_t LoginTimeout;
    uint8_t LinkDownTimeout;
    uint8_t PortDownRetryCount;
    uint8_t ResetDelay;
    uint8_t IntrDelayTimer;
    uint8_t RespAccumulationTimer;
    uint8_t TargetDiscovery;
    uint32_t boardWords[3]; /* kept off the file for iSCSI ports of some board versions */
    uint32_t TxParam4G;
    uint32_t RxParam4G;
    uint32_t TxParam8G;
    uint32_t RxParam8G;
    uint8_t reserved620[92];
} PortParams;
VXBLADE_STATIC_ASSERT(sizeof(PortParams) == 712, "port record");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, IpAddr_ipv60) == 26, "port IPv6 address 0");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, IpAddr_ipv61) == 42, "port IPv6 address 1");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, Ipv6LinkLocalAddr) == 58, "port link-local address");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, FwOptions) == 446, "port 16-bit numbers");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, LinkCfg) == 500, "port 32-bit numbers");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, PortName) == 532, "port FC block");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, boardWords) == 592, "port board words");
VXBLADE_STATIC_ASSERT(offsetof(PortParams, TxParam4G) == 604, "port FC parameters");

/* A port's slot in the configuration file. */
typedef struct PortSlot {
    uint32_t index; /* of the slot */
    uint16_t unused4;
    uint16_t marker; /* PORT_SLOT_MARKER once the slot was updated */
    PortParams params;
    uint8_t opaque720[576];
} PortSlot;
#define PORT_SLOT_MARKER 195
/* A block of slots for each of the types 0, 1, 2 and 4. */
#define PORT_SLOTS_PER_TYPE 8
#define PORT_SLOTS 32
VXBLADE_STATIC_ASSERT(sizeof(PortSlot) == 1296, "port slot");
VXBLADE_STATIC_ASSERT(offsetof(PortSlot, params) == 8, "port slot parameters");
VXBLADE_STATIC_ASSERT(offsetof(PortSlot, params) + offsetof(PortParams, boardWords) == 600,
                      "board words");

typedef struct HostGroupConfig {
    uint32_t slot; /* set by the store to the slot's number */
    uint8_t index;
    uint8_t Flags;
    char HostGroupName[64];
    uint8_t opaque70[870];
} HostGroupConfig;
VXBLADE_STATIC_ASSERT(sizeof(HostGroupConfig) == 940, "host-group record");
VXBLADE_STATIC_ASSERT(offsetof(HostGroupConfig, HostGroupName) == 6, "host-group name");

/* Two halves of eight passwords. */
typedef struct PasswordConfig {
    char Passwd[2][8][128];
} PasswordConfig;
VXBLADE_STATIC_ASSERT(sizeof(PasswordConfig) == 2048, "password record");

typedef struct PasswordSlot {
    PasswordConfig passwords;
    uint8_t opaque2048[64];
} PasswordSlot;
VXBLADE_STATIC_ASSERT(sizeof(PasswordSlot) == 2112, "password slot");

/* One destination of SNMP traps. */
typedef struct SnmpTrap {
    uint32_t address[6];
    uint32_t TrapPort;
    uint32_t TrapVersion;
    uint32_t enabled; /* non-zero: configured by a user */
} SnmpTrap;
VXBLADE_STATIC_ASSERT(sizeof(SnmpTrap) == 36, "SNMP trap entry");

typedef struct SnmpConfig {
    char ReadCommunity[64];
    char TrapCommunity[64];
    SnmpTrap traps[8];
    uint8_t opaque416[6660];
} SnmpConfig;
VXBLADE_STATIC_ASSERT(sizeof(SnmpConfig) == 7076, "SNMP record");

/* Vital product data: opaque here, guarded by a CRC-32 in its file's header. */
typedef struct VpdRecord {
    uint8_t bytes[2224];
} VpdRecord;

/* Cluster metadata as callers see it: sixteen words, the second of which holds flags. */
typedef struct ClusterMetaData {
    uint32_t word0;
    uint32_t flags; /* bits 0 to 2 are kept, the others stored as 0 */
    uint32_t words2[14];
} ClusterMetaData;
VXBLADE_STATIC_ASSERT(sizeof(ClusterMetaData) == 64, "cluster metadata");
#define CLUSTER_METADATA_FLAGS 0x07U

typedef struct ClusterMetaDataSlot {
    ClusterMetaData data;
    uint8_t opaque64[64];
} ClusterMetaDataSlot;
VXBLADE_STATIC_ASSERT(sizeof(ClusterMetaDataSlot) == 128, "cluster metadata slot");

/* A slot of the record files that are tables is in use when its valid byte holds this; any other
 * value marks a free one. */
#define PSST_SLOT_VALID 195

/* A management client that has registered itself: its identity, and a block of its own. */
typedef struct RegisteredClient {
    uint32_t identityLength; /* bytes of `identity`, at most 256 */
    uint8_t identity[256];
    uint8_t block[128];
} RegisteredClient;
VXBLADE_STATIC_ASSERT(sizeof(RegisteredClient) == 388, "registered client");

typedef struct RegisteredClientSlot {
    RegisteredClient client;
    uint8_t valid;
    uint8_t opaque389[199];
} RegisteredClientSlot;
VXBLADE_STATIC_ASSERT(sizeof(RegisteredClientSlot) == 588, "registered-client slot");

/* A physical drive of the cache store. */
typedef struct CacheStorePhysDrv {
    uint64_t LunId;
    uint64_t ownerAdapterId;
    uint64_t StartLbaForStripeAlloc; /* first block for stripe allocation */
    uint32_t driveIndex;
    uint32_t TargetDeviceIndex;
    uint32_t LunInfoIndex; /* in LunInfoTable */
    uint8_t valid;
    uint8_t opaque37[91];
} CacheStorePhysDrv;
VXBLADE_STATIC_ASSERT(sizeof(CacheStorePhysDrv) == 128, "cache-store drive");
VXBLADE_STATIC_ASSERT(offsetof(CacheStorePhysDrv, valid) == 36, "cache-store drive's valid byte");

/* What is known of a LUN; its unique name is preceded by its length. */
typedef struct LunInfo {
    uint16_t wwulnLength; /* bytes of `wwuln` */
    uint8_t wwuln[256];
    uint8_t opaque258[500];
} LunInfo;
VXBLADE_STATIC_ASSERT(sizeof(LunInfo) == 758, "LUN information");

/* Stripes of a physical LUN. */
typedef struct PhysLunStripe {
    uint32_t opaque0;
    uint8_t valid;
    uint8_t opaque5[8195];
} PhysLunStripe;
VXBLADE_STATIC_ASSERT(sizeof(PhysLunStripe) == 8200, "stripe-table slot");

/* A cached LUN of the cluster: the bridge application driver's record, and the slot's own tail. */
typedef struct ClusterCachedLun {
    uint8_t driverRecord[304];
    uint32_t index; /* of the slot */
    uint8_t valid;
    uint8_t opaque309[59];
} ClusterCachedLun;
VXBLADE_STATIC_ASSERT(sizeof(ClusterCachedLun) == 368, "cached-LUN slot");
VXBLADE_STATIC_ASSERT(offsetof(ClusterCachedLun, index) == 304, "cached-LUN slot's tail");

/* Where one client wants its events. */
typedef struct EventNotifyInfo {
    uint32_t clientId;
    uint32_t eventMask;
    uint32_t addressLength; /* bytes of `address` */
    uint8_t address[256];
    uint8_t valid; /* set by the store */
    uint8_t opaque269[3487];
} EventNotifyInfo;
VXBLADE_STATIC_ASSERT(sizeof(EventNotifyInfo) == 3756, "event-notification entry");

/* The event-notification file's single record. */
typedef struct EventNotifyTable {
    uint32_t entriesInUse;
    uint32_t opaque4[22];
    EventNotifyInfo entries[25];
} EventNotifyTable;
VXBLADE_STATIC_ASSERT(sizeof(EventNotifyTable) == 93992, "event-notification record");
VXBLADE_STATIC_ASSERT(offsetof(EventNotifyTable, entries) == 92, "event-notification entries");

typedef struct MigrationParam {
    uint32_t JOBUUID; /* the job's identifier */
    uint8_t opaque4[512];
} MigrationParam;
VXBLADE_STATIC_ASSERT(sizeof(MigrationParam) == 516, "migration parameters");

/* What the firmware can do, from a personality file; not stored. */
typedef struct SystemCapabilities {
    uint8_t SystemCapabilities0;
    uint8_t SystemCapabilities1;
    uint8_t ISCSIServerConnectivityCapabilities;
    uint8_t FCIPCapabilities;
    uint8_t DMCapabilities;
    uint8_t ELSCapabilities;
    uint8_t EnableSecureMgmtClients;
    uint8_t LunReadWriteAccessCtrl;
    uint8_t ExtendedCapabilities0;
    uint32_t EnabledFwCapabilities;
} SystemCapabilities;
VXBLADE_STATIC_ASSERT(sizeof(SystemCapabilities) == 16, "capabilities");
VXBLADE_STATIC_ASSERT(offsetof(SystemCapabilities, EnabledFwCapabilities) == 12,
                      "firmware capabilities");

/* Data-migration globals, the first words of their 512-byte record. */
typedef struct DmGlobals {
    uint32_t DMDemoMaxLunSize;
    uint32_t syncMigrPeriodicFlushTime;
    uint32_t asyncMigrPeriodicFlushTime;
    uint32_t MigrAutoFailoverTimeout;
    uint8_t MigrFailoverPolicy;
    uint8_t opaque17[495];
} DmGlobals;
VXBLADE_STATIC_ASSERT(sizeof(DmGlobals) == 512, "data-migration globals");

/* Parameters of the cache, kept by the platform's utility library. */
typedef struct CacheParams {
    uint32_t CacheMode;
    uint32_t FlushMode;
    uint32_t FlushInterval;
    uint32_t FlusIosPerInterval;
    uint8_t AutoEnableCache;
    uint8_t Profile;
    uint8_t reserved18[2];
} CacheParams;
VXBLADE_STATIC_ASSERT(sizeof(CacheParams) == 20, "cache parameters");

/* Defaults of the storage pools, at the start of slot 0 of their file. */
typedef struct StoragePoolConfig {
    uint32_t CachePoolPercent;
    uint32_t TotalSpareDrives;
} StoragePoolConfig;
VXBLADE_STATIC_ASSERT(sizeof(StoragePoolConfig) == 8, "storage-pool defaults");

#endif
