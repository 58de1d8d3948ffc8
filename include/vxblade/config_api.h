/*
 * The configuration records: between their files, the tables in memory (control_block.h) and
 * callers.
 *
 * A Get copies from the table into the caller's record, an Update copies the caller's record into
 * the table and writes the record's file. A failed write leaves the table changed. Callers keep
 * their records. Functions return 0 or -1, and print nothing.
 *
 * Threads: one at a time uses the store.
 */
#ifndef VXBLADE_CONFIG_API_H
#define VXBLADE_CONFIG_API_H

#include <vxblade/control_block.h>
#include <vxblade/record_io.h>

VXBLADE_BEGIN

/* ---- Callers and tables ------------------------------------------------------------------ */

/* What an Update's `flags` say; of them only the low 8 bits count. */
enum {
    PSST_MEMORY_ONLY = 0,  /* changes the table and no file */
    PSST_WRITE_THROUGH = 1 /* this or any other value: writes the file too */
};

/* The bridge. Update clears the record's volatile bytes (744 to 775) in table and file. */
VXBLADE_API int vxpmgr_GetBridgeConfigInfo(BridgeConfig* record);
VXBLADE_API int vxpmgr_UpdateBridgeConfigInfo(const BridgeConfig* record, uint32_t flags);
/* The command-line interface's part of the bridge record. Update always writes the whole record. */
VXBLADE_API int vxpmgr_GetCliConfigInfo(CliConfig* record);
VXBLADE_API int vxpmgr_UpdateCliConfigInfo(const CliConfig* record);

/* The management port: bytes 0 to 73 and 76 to 83. Get clears the others, Update keeps what the
 * table has of them. */
VXBLADE_API int vxpmgr_GetMgmtInfo(MgmtPortConfig* record);
VXBLADE_API int vxpmgr_UpdateMgmtPortInfo(const MgmtPortConfig* record, uint32_t flags);
/* Leaves the record alone. Always 0. */
VXBLADE_API int vxpmgr_GetActualMgmtInfo(MgmtPortConfig* record);

/*
 * A port.
 *   type    enum PortType; PORT_TYPE_NONE does nothing and returns 0, unknown types share the block
 *           of PORT_TYPE_FC
 *   number  from 0, in the type's block; -1 for one outside the table
 * Get puts both into the record, Update takes both from it. Ports that are not IP ports carry no IP
 * settings: an Update leaves those of the table. With HwVer 256 to 511 the board words of iSCSI
 * ports go to memory only, and the file gets zeros.
 */
VXBLADE_API int vxpmgr_GetPortParams(PortParams* record, uint32_t type, uint32_t number);
VXBLADE_API int vxpmgr_UpdatePortParams(const PortParams* record, uint32_t flags);

/* A host group, index 0 to 8, else -1. Set always writes; -1 for index 8, which is in memory
 * only. */
VXBLADE_API int vxpmgr_GetHostGroup(HostGroupConfig* record, uint32_t index);
VXBLADE_API int vxpmgr_SetHostGroup(const HostGroupConfig* record, uint32_t index);

/* Passwords and SNMP. Updates always write. */
VXBLADE_API int vxpmgr_GetPasswordInfo(PasswordConfig* record);
VXBLADE_API int vxpmgr_UpdatePasswordInfo(const PasswordConfig* record);
VXBLADE_API int vxpmgr_GetSnmpConfigInfo(SnmpConfig* record);
VXBLADE_API int vxpmgr_UpdateSnmpInfo(const SnmpConfig* record);

/* Cluster metadata. Get copies what was read or updated last: initialisation does not read it.
 * Update reads the file first, and returns that read's failure; it keeps CLUSTER_METADATA_FLAGS of
 * the flags, and always writes. */
VXBLADE_API int vxpmgr_GetClusterMetaData(ClusterMetaData* record);
VXBLADE_API int vxpmgr_UpdateClusterMetaData(const ClusterMetaData* record);

/* ---- Tables and files -------------------------------------------------------------------- */

/*
 * Readers of an open file into its table. Each checks the header (magic, size, type): -1 on a bad
 * one, with the table as it was. A read that fails part-way returns -1 and leaves what was read so
 * far.
 */
VXBLADE_API int ReadBridgeConfigFile(void); /* bridge, management port and 32 ports */
VXBLADE_API int ReadHostGroupFile(void);
VXBLADE_API int ReadPasswdFile(void);
VXBLADE_API int ReadSnmpFile(void);
VXBLADE_API int ReadClusterMetaData(void);

/*
 * Writers of an entry's record to the slot that its prefix names; they return as WritePsstFile. A
 * port's and a host group's record gets the slot's number first.
 */
VXBLADE_API int WriteHostGroupFile(HostGroupEntry* entry);
VXBLADE_API int WritePasswdFile(const PasswordEntry* entry);
VXBLADE_API int WriteSnmpFile(const SnmpEntry* entry);
VXBLADE_API int WriteClusterMetaData(const ClusterMetaDataEntry* entry);
/* `entry` is a BridgeConfigEntry, MgmtPortEntry or PortEntry for the types PSST_BRIDGE_CONFIG,
 * PSST_MGMT_PORT and PSST_PORT_CONFIG. -1 for other types. */
VXBLADE_API int WriteBridgeConfigFile(void* entry, uint32_t type);

VXBLADE_END

#endif
