/*
 * The format of the store's files: their numbers, names and paths, and the header that each begins
 * with. docs/store-format.md describes every file.
 *
 * Threads: the tables are constant but for psstFileMirrorPaths, which is filled once, at the
 * store's initialisation.
 */
#ifndef VXBLADE_PSST_TABLE_H
#define VXBLADE_PSST_TABLE_H

#include <stddef.h>
#include <vxblade/export.h>

VXBLADE_BEGIN

/*
 * File-type codes: one for each kind of record, written into headers and never changed. A file's
 * index is its code less PSST_TYPE_LESS_INDEX, but for the configuration file (index 1), which
 * holds the three kinds before that. Codes 28, 29, 40 and 41 are reserved.
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
    PSST_TYPE_LESS_INDEX = 3,
    PSST_HEADER_LENGTH = 64, /* bytes */
    PSST_HEADER_VERSION = 13
};
#define PSST_MAGIC 0x1BADA555U

/*
 * The first 64 bytes of every file. A header is valid when the magic is PSST_MAGIC, the size is
 * not 0 and the type is the expected one.
 */
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
VXBLADE_STATIC_ASSERT(sizeof(PsstHeader) == PSST_HEADER_LENGTH, "header");
VXBLADE_STATIC_ASSERT(offsetof(PsstHeader, sequenceLow) == 20, "header sequence number");
VXBLADE_STATIC_ASSERT(offsetof(PsstHeader, headerLength) == 28, "header length byte");

/* ---- Tables by file index ---------------------------------------------------------------- */

/* Short names; "Uknown" for 0 and reserved indices, ended by an empty string. */
VXBLADE_API extern const char* const psstFileNames[45];
/* Paths of the files; "Uknown" for 0 and reserved indices. */
VXBLADE_API extern const char* const psstFilePrimaryPaths[44];
/* Paths of the mirrors: "Uknown" for 0 from load on, the others empty until
 * vxpmgr_create_mirror_paths fills them. */
VXBLADE_API extern char psstFileMirrorPaths[46][256];
/* 1 once the mirror paths are filled, 0 before. */
VXBLADE_API extern uint32_t vxpmgr_mirror_path_init_done;

/* ---- Lists of files ---------------------------------------------------------------------- */

/* Files of the backup set that have neither index nor header. */
enum PsstAdditionalFile {
    PSST_ADDITIONAL_MIGRATION_LOG,
    PSST_ADDITIONAL_DATA, /* begins with the cache's parameters */
    PSST_ADDITIONAL_CLIENT_STORAGE,
    PSST_ADDITIONAL_DRIVES,
    PSST_ADDITIONAL_DRIVES_BACKUP,
    PSST_ADDITIONAL_FTP,
    PSST_ADDITIONAL_COUNT
};
/* Their paths. */
VXBLADE_API extern const char* const psstAdditionalFilePrimaryPaths[PSST_ADDITIONAL_COUNT];
/* The files that travel with the field-replaceable unit, as pointers to their entries of the two
 * tables of paths, ended by a null. Entries that point at "Uknown" are place-holders to skip. */
VXBLADE_API extern const char* const* const psstFruFiles[48];
/* Paths of the files that vxpmgr_deleteSelectiveCfgPsstFiles moves aside, ended by a null. */
VXBLADE_API extern const char* const psstCfgFilesToDelete[4];

VXBLADE_END

#endif
