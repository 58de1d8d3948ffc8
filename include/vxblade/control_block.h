/*
 * The store's memory: a table for each kind of record, and the control block with the open files,
 * the lists and the sequence number.
 *
 * All of it is the store's and lasts as long as the process. Programs may read it; the functions of
 * the store write it.
 *
 * Threads: none of this is locked. One thread at a time uses the store.
 */
#ifndef VXBLADE_CONTROL_BLOCK_H
#define VXBLADE_CONTROL_BLOCK_H

#include <vxblade/common.h>
#include <vxblade/psst_table.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/* ---- Tables of records ------------------------------------------------------------------- */

/* What precedes a record in memory. */
typedef struct PsstEntryPrefix {
    uint32_t link[2]; /* unused: list links are beside the tables */
    uint32_t kind;    /* file-type code, where the table sets it */
    uint32_t index;   /* of the entry in its table and its file */
} PsstEntryPrefix;
VXBLADE_STATIC_ASSERT(sizeof(PsstEntryPrefix) == 16, "entry prefix");

/* NOLINTBEGIN(bugprone-macro-parentheses): the arguments name types */
#define PSST_ENTRY(Name, Record)                                                                   \
    typedef struct Name {                                                                          \
        PsstEntryPrefix prefix;                                                                    \
        Record record;                                                                             \
    } Name;                                                                                        \
    VXBLADE_STATIC_ASSERT(sizeof(Name) == sizeof(PsstEntryPrefix) + sizeof(Record), #Name)
#define PSST_OPAQUE_ENTRY(Name, Record, size)                                                      \
    typedef struct Record {                                                                        \
        uint8_t bytes[size];                                                                       \
    } Record;                                                                                      \
    PSST_ENTRY(Name, Record)
/* NOLINTEND(bugprone-macro-parentheses) */

PSST_ENTRY(BridgeConfigEntry, BridgeConfig);
PSST_ENTRY(MgmtPortEntry, MgmtPortSlot);
PSST_ENTRY(PortEntry, PortSlot);
PSST_ENTRY(HostGroupEntry, HostGroupConfig);
PSST_ENTRY(PasswordEntry, PasswordSlot);
PSST_ENTRY(SnmpEntry, SnmpConfig);
PSST_ENTRY(VpdEntry, VpdRecord);
PSST_ENTRY(ClusterMetaDataEntry, ClusterMetaDataSlot);
PSST_ENTRY(DmGlobalsEntry, DmGlobals);
PSST_ENTRY(EventNotifyEntry, EventNotifyTable);
PSST_ENTRY(RegisteredClientEntry, RegisteredClientSlot);
PSST_ENTRY(MigrationParamEntry, MigrationParam);
PSST_ENTRY(CacheStorePhysDrvEntry, CacheStorePhysDrv);
PSST_ENTRY(PhysLunStripeEntry, PhysLunStripe);
PSST_ENTRY(ClusterCachedLunEntry, ClusterCachedLun);
PSST_OPAQUE_ENTRY(FcipEntry, FcipRecord, 900);
PSST_OPAQUE_ENTRY(TargetDeviceEntry, TargetDeviceRecord, 2576);
PSST_OPAQUE_ENTRY(LogicalLunEntry, LogicalLunRecord, 33096);
PSST_OPAQUE_ENTRY(WriteCacheMarkerEntry, WriteCacheMarkerRecord, 520);
PSST_OPAQUE_ENTRY(StoragePoolEntry, StoragePoolRecord, 512);
PSST_OPAQUE_ENTRY(ClusterMemberEntry, ClusterMemberRecord, 256);
PSST_OPAQUE_ENTRY(ExtMigrationEntry, ExtMigrationRecord, 1088);

VXBLADE_API extern BridgeConfigEntry bridge_configuration;
VXBLADE_API extern MgmtPortEntry mgmt_port;
VXBLADE_API extern PortEntry port_configuration[PORT_SLOTS];
/* Eight entries, and one more for index 8, which vxpmgr_GetHostGroup admits. */
VXBLADE_API extern HostGroupEntry HostGroups[9];
VXBLADE_API extern PasswordEntry passwd_data;
VXBLADE_API extern SnmpEntry snmp_info;
VXBLADE_API extern VpdEntry vpd_info;
VXBLADE_API extern ClusterMetaDataEntry cluster_metadata;
VXBLADE_API extern DmGlobalsEntry dm_globals;
VXBLADE_API extern FcipEntry Fcip[16];
VXBLADE_API extern TargetDeviceEntry TargetDevices[512];
VXBLADE_API extern LogicalLunEntry LogicalLuns[256];
VXBLADE_API extern WriteCacheMarkerEntry WriteCacheMarker;
VXBLADE_API extern StoragePoolEntry StoragePoolInfo[32];
VXBLADE_API extern EventNotifyEntry eventnotify_info;
VXBLADE_API extern ClusterMemberEntry ClusterMemberInfo;
VXBLADE_API extern CacheStorePhysDrvEntry CacheStorePhysDrvInfo[36];
VXBLADE_API extern RegisteredClientEntry RegisteredClients[256];
VXBLADE_API extern MigrationParamEntry migration_param;
VXBLADE_API extern PhysLunStripeEntry PhysLunStripeTable[1536];
VXBLADE_API extern ClusterCachedLunEntry ClusterCachedLuns[4096];
/* LUN information by index, filled by the program that knows the LUNs; no file is read into it. */
VXBLADE_API extern LunInfo LunInfoTable[4096];

/* ---- The control block -------------------------------------------------------------------- */

/* The lists that chain table entries, each with its counters. */
enum PsstList {
    PSST_LIST_HOST_GROUPS,
    PSST_LIST_REGISTERED_CLIENTS,
    PSST_LIST_CACHE_STORE_DRIVES,
    PSST_LIST_STRIPE_TABLE,
    PSST_LIST_CACHED_LUNS,
    PSST_LIST_COUNT = 10 /* the rest are spare */
};

/* A list head of the same size where pointers have 32 bits and where they have 64. */
typedef union PsstListHead {
    VXLIST list;
    uint64_t size[2];
} PsstListHead;

/* The store's control block. */
typedef struct PmgrControlBlock {
    struct {
        PsstListHead inUse;
        PsstListHead free;
    } lists[PSST_LIST_COUNT];
    struct {
        uint32_t inUse;
        uint32_t free;
    } counts[PSST_LIST_COUNT];
    int32_t descriptors[44]; /* by file index; 0: not open, -1: failed until reinitialised */
    uint32_t expectedHeaderVersion;
    uint32_t headerVersion; /* as read from the configuration file */
    uint32_t headerLength;
    uint32_t flags; /* PMGR_FLAG_… */
    uint8_t reserved592[72];
    uint64_t sequenceNumber;
} PmgrControlBlock;
VXBLADE_STATIC_ASSERT(sizeof(PmgrControlBlock) == 672, "control block");
VXBLADE_STATIC_ASSERT(offsetof(PmgrControlBlock, descriptors) == 400, "control block descriptors");
VXBLADE_STATIC_ASSERT(offsetof(PmgrControlBlock, sequenceNumber) == 664,
                      "control block sequence number");
#define PMGR_FLAG_SEQUENCE_STOPPED 0x01U /* writes leave the sequence number alone */
#define PMGR_FLAG_READ_ONLY 0x80000000U  /* vxpmgr_open_readonly: writes are refused */

VXBLADE_API extern PmgrControlBlock pmgr_control_block;
/* Points to pmgr_control_block from load on. */
VXBLADE_API extern PmgrControlBlock* pmgr_cb;

/* Staging buffer of record reads; every reader overwrites it. */
VXBLADE_API extern uint8_t scratch_pad[94008];
/* 131,072 zeros from malloc, kept for the life of the process; null until WriteZeroFile needs
 * them. */
VXBLADE_API extern uint8_t* zero_scrath_pad;
/*
 * The board's hardware version, 0 until a program sets it: the upgrade tool never does, so that
 * the exception that vxpmgr_UpdatePortParams makes for versions 256 to 511 never applies in it.
 * InitDatabaseLite resets it: set it afterwards.
 */
VXBLADE_API extern uint16_t HwVer;

/*
 * Closes what is open and resets the control block, HwVer and the tables, except LunInfoTable, and
 * the stripe table and the cached LUNs, which their readers reset. Cannot fail.
 */
VXBLADE_API void InitDatabaseLite(void);
/* Closes every open descriptor of the control block and sets its slot to 0. Cannot fail. */
VXBLADE_API void close_all_files(void);

VXBLADE_END

#endif
