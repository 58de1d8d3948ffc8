/*
 * The persistence manager: the store of record files under /mnt/nand1, each with a 64-byte
 * header, a mirror under /mnt/nand2 and a share in one 64-bit sequence number.
 *
 * docs/store-format.md describes every file.
 */
#ifndef VXBLADE_PMGR_H
#define VXBLADE_PMGR_H

#include <vxblade/common.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/* ---- The format ------------------------------------------------------------------------- */

/*
 * File-type codes: one for each kind of record, written into headers and never changed. The file
 * index is the code less 3, but for the configuration file (index 1), which holds three kinds.
 * Codes 28, 29, 40 and 41 are reserved.
 */
enum PsstFileType {
    PSST_BRIDGE_CONFIG = 2,
    PSST_MGMT_PORT = 3,
    PSST_PORT_CONFIG = 4,
    PSST_INITIATOR = 5,
    PSST_NODE = 6,
    PSST_DEVICE = 7,
    PSST_LUN = 8,
    PSST_VPD = 9,
    PSST_VPD_BACKUP = 10,
    PSST_PASSWD = 11,
    PSST_SNMP = 12,
    PSST_VIRTUAL_INITIATOR = 13,
    PSST_REMOTE = 14,
    PSST_MIRROR_MAP = 15,
    PSST_REMOTE_MAP = 16,
    PSST_KEY = 17,
    PSST_KEY_BACKUP = 18,
    PSST_FCIP = 19,
    PSST_LUN_INFO = 20,
    PSST_MIGRATION = 21,
    PSST_LUN_MAP = 22,
    PSST_HOST_GROUP = 23,
    PSST_SEQUENCE_NUMBER = 24,
    PSST_MIGRATION_LOG = 25,
    PSST_MIGR_GROUP = 26,
    PSST_DM_GLOBALS = 27,
    PSST_LOGICAL_LUN = 30,
    PSST_DATA_MGMT_LUN = 31,
    PSST_WRITE_CACHE_MARKER = 32,
    PSST_CONNECTIONS = 33,
    PSST_STORAGE_POOL = 34,
    PSST_EVENT_NOTIFY = 35,
    PSST_REGISTERED_CLIENTS = 36,
    PSST_MIGRATION_REPORT = 37,
    PSST_EXT_MIGRATION = 38,
    PSST_MIGRATION_PARAM = 39,
    PSST_CLUSTER_MEMBER = 42,
    PSST_CACHE_STORE_DRIVES = 43,
    PSST_STRIPE_TABLE = 44,
    PSST_CLUSTER_METADATA = 45,
    PSST_CACHED_LUN = 46
};

enum {
    PSST_FIRST_INDEX = 1,
    PSST_CONFIG_INDEX = 1, /* the configuration file */
    PSST_LAST_INDEX = 43,
    PSST_SEQUENCE_INDEX = 21, /* the sequence-number file */
    PSST_HEADER_LENGTH = 64,
    PSST_HEADER_VERSION = 13
};
#define PSST_MAGIC 0x1BADA555U

/* The first 64 bytes of every file. A header is valid when the magic is PSST_MAGIC, the size is
 * not 0 and the type is the expected one. */
typedef struct PsstHeader {
    uint32_t version;
    uint32_t magic;
    uint32_t crc;      /* of the data, in the two VPD files only */
    uint32_t fileSize; /* bytes, header included */
    uint32_t type;     /* enum PsstFileType; PSST_BRIDGE_CONFIG for the configuration file */
    uint32_t sequenceLow;
    uint32_t sequenceHigh; /* the sequence-number file's counter; 0 elsewhere */
    uint8_t headerLength;
    uint8_t reserved[35];
} PsstHeader;
static_assert(sizeof(PsstHeader) == PSST_HEADER_LENGTH, "header");
static_assert(offsetof(PsstHeader, sequenceLow) == 20, "header sequence number");
static_assert(offsetof(PsstHeader, headerLength) == 28, "header length byte");

/* Short names by file index, "Uknown" for 0 and reserved ones, ended by an empty text. */
VXBLADE_API extern const char* const psstFileNames[45];
/* Paths of the files by index, "Uknown" for 0 and reserved ones. */
VXBLADE_API extern const char* const psstFilePrimaryPaths[44];
/* Paths of the mirrors by index, empty until vxpmgr_create_mirror_paths fills them. */
VXBLADE_API extern char psstFileMirrorPaths[46][256];
/* 1 once the mirror paths are filled. */
VXBLADE_API extern uint32_t vxpmgr_mirror_path_init_done;
/* Files of the backup set that have neither index nor header. */
VXBLADE_API extern const char* const psstAdditionalFilePrimaryPaths[6];
/* The files that travel with the field-replaceable unit, null-ended; entries that point at
 * "Uknown" are place-holders to skip. */
VXBLADE_API extern const char* const* const psstFruFiles[48];
/* The files that the selective reset moves aside, null-ended. */
VXBLADE_API extern const char* const psstCfgFilesToDelete[4];

/* Fills a header for a file-type code; unknown codes get the size of a bare header. For the VPD
 * codes the CRC-32 of `vpd_info`'s record goes in. Writes no file. */
VXBLADE_API void CreateHeader(PsstHeader* header, uint32_t type);
/* Writes a header at the start of the file that its own type code names. */
VXBLADE_API int WriteHeader(const PsstHeader* header);
/* Reads the header of the file of that type; it is not checked. */
VXBLADE_API int ReadHeader(PsstHeader* header, uint32_t type);
/* Writes `length` zeros behind the header of an open file; neither mirrored nor counted. A failure
 * leaves the file open and as far as it got. */
VXBLADE_API int WriteZeroFile(int fileIndex, uint32_t length);

/* ---- Tables in memory -------------------------------------------------------------------- */

/* What precedes a record in memory. */
typedef struct PsstEntryPrefix {
    uint32_t link[2]; /* unused: list links stand beside the tables */
    uint32_t kind;    /* file-type code, where the table sets it */
    uint32_t index;   /* of the entry in its table and its file */
} PsstEntryPrefix;
static_assert(sizeof(PsstEntryPrefix) == 16, "entry prefix");

/* NOLINTBEGIN(bugprone-macro-parentheses): the arguments name types */
#define PSST_ENTRY(Name, Record)                                                                   \
    typedef struct Name {                                                                          \
        PsstEntryPrefix prefix;                                                                    \
        Record record;                                                                             \
    } Name;                                                                                        \
    static_assert(sizeof(Name) == sizeof(PsstEntryPrefix) + sizeof(Record), #Name)
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
VXBLADE_API extern PortEntry port_configuration[32];
/* Eight entries and a guard that makes index 8, which the interface admits, readable. */
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

/* The lists that chain table entries, each with its counters in the control block. */
enum PsstList {
    PSST_LIST_HOST_GROUPS,
    PSST_LIST_REGISTERED_CLIENTS,
    PSST_LIST_CACHE_STORE_DRIVES,
    PSST_LIST_STRIPE_TABLE,
    PSST_LIST_CACHED_LUNS,
    PSST_LIST_COUNT = 10 /* the rest are spare */
};

/* A list head of the same size wherever pointers have 32 or 64 bits. */
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
static_assert(sizeof(PmgrControlBlock) == 672, "control block");
static_assert(offsetof(PmgrControlBlock, descriptors) == 400, "control block descriptors");
static_assert(offsetof(PmgrControlBlock, sequenceNumber) == 664, "control block sequence number");
#define PMGR_FLAG_SEQUENCE_STOPPED 0x01U /* writes leave the sequence number alone */

VXBLADE_API extern PmgrControlBlock pmgr_control_block;
/* Points to pmgr_control_block from the start of the process. */
VXBLADE_API extern PmgrControlBlock* pmgr_cb;
/* Staging buffer of record reads; overwritten by every reader. */
VXBLADE_API extern uint8_t scratch_pad[94008];
/* 128 KiB of zeros, null until first needed. */
VXBLADE_API extern uint8_t* zero_scrath_pad;
/*
 * The board's hardware version, 0 until a program sets it: the upgrade tool never does, so that
 * the exception that vxpmgr_UpdatePortParams makes for versions 256 to 511 never applies in it.
 * Initialisation resets it: set it afterwards.
 */
VXBLADE_API extern uint16_t HwVer;

/* ---- Writing and reading records --------------------------------------------------------- */

enum { PSST_MODE_RECORD = 0, PSST_MODE_HEADER = 1 };

/* The kind of peer status that decides whether writes are mirrored. */
enum { PSST_PEER_MIRRORS = 4 };

/*
 * Writes `length` bytes into the file of a type: in header mode at offset 0, else at the slot of
 * the record number (which types with a single record ignore). Then, in this order: syncs, writes
 * the mirror, advances the sequence number, marks the backup bitmap; what fails of these does not
 * fail the write. -1 for a type without records, a file that is not open, and bytes beyond the last
 * record of the type; -1 too for a seek or write that fails or comes up short: the descriptor is
 * then closed until the store is initialised again.
 */
VXBLADE_API int WritePsstFile(const void* buffer, int32_t length, uint32_t type,
                              uint32_t recordNumber, int mode);
/* Reads with the same addressing and the same failures. */
VXBLADE_API int ReadPsstFile(void* buffer, int32_t length, uint32_t type, uint32_t recordNumber,
                             int mode);
/* Writes the bytes at an offset of an existing mirror file; -1 when there is none. */
VXBLADE_API int MirrorPsstFile(const void* buffer, int32_t length, int fileIndex, int64_t offset);
/* Whether writes are mirrored: always 1. */
VXBLADE_API int GetPeerStatus(int kind);
/* Advances the sequence number by one when `increment` is not 0, and rewrites its file and that
 * file's mirror. Does nothing and returns 0 while PMGR_FLAG_SEQUENCE_STOPPED is set. */
VXBLADE_API int UpdateSequenceNumber(int increment);
/* Opens the sequence-number file and takes the counter from it; a missing or empty file is made
 * with counter 0. */
VXBLADE_API int ReadSequenceNumber(void);
/* 1 when the link to the peer blade can be queried on the general-purpose device, else 0. */
VXBLADE_API int GetLinkStatus(void);
/* The same: the peer counts as operational when its link can be queried. */
VXBLADE_API int VX_isPeerBladeOperational(void);

/*
 * Readers of whole files into the tables above: each checks the header (magic, size, type) and
 * returns -1 on a bad one with the table untouched; a read that fails part-way leaves what was
 * read so far.
 */
VXBLADE_API int ReadBridgeConfigFile(void); /* bridge, management port and 32 ports */
VXBLADE_API int ReadTargetDeviceFile(void);
VXBLADE_API int ReadHostGroupFile(void);
VXBLADE_API int ReadPasswdFile(void);
VXBLADE_API int ReadSnmpFile(void);
VXBLADE_API int ReadEventNotifyFile(void);
VXBLADE_API int ReadClusterMetaData(void);
/*
 * Writers of one table entry. The configuration file's takes a BridgeConfigEntry, MgmtPortEntry
 * or PortEntry for the types PSST_BRIDGE_CONFIG, PSST_MGMT_PORT and PSST_PORT_CONFIG and refuses
 * others; slots go to the index that the entry's prefix names.
 */
VXBLADE_API int WriteBridgeConfigFile(void* entry, uint32_t type);
VXBLADE_API int WriteHostGroupFile(HostGroupEntry* entry);
VXBLADE_API int WritePasswdFile(const PasswordEntry* entry);
VXBLADE_API int WriteSnmpFile(const SnmpEntry* entry);
VXBLADE_API int WriteVpdFile(const VpdEntry* entry, uint32_t type);
VXBLADE_API int WriteExtMigrationFile(const ExtMigrationEntry* entry);
VXBLADE_API int WriteClusterMetaData(const ClusterMetaDataEntry* entry);

/* ---- Initialisation ---------------------------------------------------------------------- */

/*
 * Brings the store into use: makes sure of the VPD file and its backup, opens, checks and loads
 * the files that the configuration needs, and makes newer files that are missing.
 * 0: ready; 1: loaded, but the migration file could not be made; -1: not usable.
 */
VXBLADE_API int vxpmgr_init_lite(void);
/* Makes missing record files without loading a configuration; for runs where no default
 * changed. */
VXBLADE_API void vxpmgr_create_files_on_upgrade(void);
/* Closes what is open and resets the control block, HwVer and the tables; the stripe table and the
 * cached LUNs, which their readers reset, and LunInfoTable stay. */
VXBLADE_API void InitDatabaseLite(void);
/* Closes every open descriptor of the control block. */
VXBLADE_API void close_all_files(void);
/* Moves the files of psstCfgFilesToDelete aside, to their path, a dot and the time. */
VXBLADE_API void vxpmgr_deleteSelectiveCfgPsstFiles(void);

/*
 * Opens the file of an index into the control block; where it is missing or was never finished
 * (absent, shorter than a header, or magic and size 0) makes it first: an invalid header, zeros
 * to the full size, a valid header. A finished file is never overwritten. An unfinished file
 * that cannot be made is removed. -1 for an index without records, for a file whose descriptor
 * failed, and for the VPD pair, which vxpmgr_create_vpd_psst makes.
 */
VXBLADE_API int CreatePsstFile(int fileIndex);

/* The same for the files that initialisation makes. With `create` 0 a missing file is left
 * missing and the result is -1. */
VXBLADE_API int CreateEventNotifyPsst(void); /* reports a failure on standard output */
VXBLADE_API int create_migration_param_file(void);
VXBLADE_API int CreateRegisteredClientPsstFile(void);
VXBLADE_API int CreateExtMigrationFile(void);
VXBLADE_API int CreateClusterMemberInfoPsstFile(int create);
VXBLADE_API int CreateCacheStorePhysLunInfoPsstFile(int create);
VXBLADE_API int CreatePhysLunStripeTableFile(int create);
VXBLADE_API int CreateClusterMetaDataPsstFile(int create);
VXBLADE_API int CreateClusterCachedLunPsstFile(int create);

/* Makes the VPD file and its backup where they are missing. */
VXBLADE_API int vxpmgr_create_vpd_psst(void);
/* Rebuilds the backup from the VPD file, and the VPD file from its backup. The source's header
 * and CRC are checked first. With `create` 0 a missing target is left missing. */
VXBLADE_API int copy_vpd_psst(int create);
VXBLADE_API int copy_backup_vpd_psst(int create);
/* Loads the VPD record; a bad file is repaired from its good twin, and a backup that holds another
 * record gets the first file's. -1 when both are bad, which are then left alone. */
VXBLADE_API int vxpmgr_readVpdFile(void);

/* ---- Configuration records --------------------------------------------------------------- */

/*
 * Each Get copies from the table in memory into the caller's record, each Update copies the
 * caller's record into the table. Of `flags` only the low 8 bits count: 0 changes memory only,
 * all else writes the record's file too, and the result is then the file writer's. A failed write
 * leaves the table changed.
 */
enum { PSST_MEMORY_ONLY = 0, PSST_WRITE_THROUGH = 1 };
VXBLADE_API int vxpmgr_GetBridgeConfigInfo(BridgeConfig* record);
VXBLADE_API int vxpmgr_UpdateBridgeConfigInfo(const BridgeConfig* record, uint32_t flags);
VXBLADE_API int vxpmgr_GetCliConfigInfo(CliConfig* record);
VXBLADE_API int vxpmgr_UpdateCliConfigInfo(const CliConfig* record); /* always writes */
VXBLADE_API int vxpmgr_GetMgmtInfo(MgmtPortConfig* record);
VXBLADE_API int vxpmgr_UpdateMgmtPortInfo(const MgmtPortConfig* record, uint32_t flags);
/* Leaves the record alone and returns 0. */
VXBLADE_API int vxpmgr_GetActualMgmtInfo(MgmtPortConfig* record);
/*
 * A port by type and number; Update takes both from the record. Type PORT_TYPE_NONE does nothing
 * and returns 0; a slot outside the table is refused with -1. Ports that are not IP ports carry
 * no IP settings.
 */
VXBLADE_API int vxpmgr_GetPortParams(PortParams* record, uint32_t type, uint32_t number);
VXBLADE_API int vxpmgr_UpdatePortParams(const PortParams* record, uint32_t flags);
/* Index 0 to 8, else -1. Set always writes; -1 for index 8, which is in memory only. */
VXBLADE_API int vxpmgr_GetHostGroup(HostGroupConfig* record, uint32_t index);
VXBLADE_API int vxpmgr_SetHostGroup(const HostGroupConfig* record, uint32_t index);
/* These always write. */
VXBLADE_API int vxpmgr_GetPasswordInfo(PasswordConfig* record);
VXBLADE_API int vxpmgr_UpdatePasswordInfo(const PasswordConfig* record);
VXBLADE_API int vxpmgr_GetSnmpConfigInfo(SnmpConfig* record);
VXBLADE_API int vxpmgr_UpdateSnmpInfo(const SnmpConfig* record);
/* Update writes the VPD file, data before header, and then its backup. */
VXBLADE_API int vxpmgr_GetVpdInfo(VpdRecord* record);
VXBLADE_API int vxpmgr_UpdateVpdInfo(const VpdRecord* record);
/* Update reads the stored metadata first and returns that read's failure. Get copies what was read
 * or updated last: initialisation does not read it, ReadClusterMetaData does. */
VXBLADE_API int vxpmgr_GetClusterMetaData(ClusterMetaData* record);
VXBLADE_API int vxpmgr_UpdateClusterMetaData(const ClusterMetaData* record);

VXBLADE_END

#endif
