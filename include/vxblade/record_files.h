/*
 * Further record files of the store: tables of slots, each in use or free, and single records.
 *
 * The files must be open, as initialisation leaves them. Records are the caller's and not kept,
 * entries are the table's (control_block.h). Unless a comment says otherwise, results are these:
 *
 * - A reader checks the file's header (magic, size, type: -1 on a bad one, with the table as it
 *   was) and reads every record into its table; 0, or the first read's failure, with what was read
 *   so far. Reading a table of slots makes all of them free, in index order, then puts those that
 *   are in use on the in-use list; before the first read a table has no free slot.
 * - A writer writes one slot: that of the entry in its table, or for a copy the one that its prefix
 *   names. Clients and drives bear their number from the first read on, stripes from their first
 *   use. 0, or -1, also for a slot outside the table.
 *
 * Threads: one at a time uses the store.
 */
#ifndef VXBLADE_RECORD_FILES_H
#define VXBLADE_RECORD_FILES_H

#include <vxblade/control_block.h>

VXBLADE_BEGIN

/* ---- Registered management clients: brapp_registered_clients.bin, 256 slots -------------- */

/* Prints each valid byte on standard output. */
VXBLADE_API int ReadRegisteredClientInfo(void);
VXBLADE_API int WriteRegisteredClientInfo(const RegisteredClientEntry* entry);
/* The entry of the client with this identity, or null; the client's block is not looked at. */
VXBLADE_API RegisteredClientEntry* findRegisteredClient(const RegisteredClient* client);
/* Puts a client into a free slot and writes it. -1: registered already, or an identity of more than
 * 256 bytes; -2: no free slot; else the write's result. */
VXBLADE_API int vxpmgr_addRegisteredClient(const RegisteredClient* client);
/* Frees the slot of the client with this identity and writes it; the slot is the next one to be
 * used. -1 when it is not registered, else the write's result. */
VXBLADE_API int vxpmgr_delRegisteredClient(const RegisteredClient* client);
/* Copies out the first client at or after slot `index` (below 0 is 0). The index to continue with,
 * which it prints on standard output, or -1 when there is none. */
VXBLADE_API int vxpmgr_getNextRegisteredClient(RegisteredClient* out, int index);

/* ---- Physical drives of the cache store: 36 slots --------------------------------------- */

/* Prints the fields of each drive on standard output. */
VXBLADE_API int ReadCacheStorePhysDrvInfo(void);
VXBLADE_API int WriteCacheStorePhysDrvInfo(const CacheStorePhysDrvEntry* entry);
/* The drive whose LUN has this unique name of `length` bytes (see LunInfoTable), or null. Reports
 * slots on the list that are not valid, on standard output. */
VXBLADE_API CacheStorePhysDrvEntry* findCacheStorePhysDrvInfo(const uint8_t* name, uint16_t length);
/* The first drive of that drive index, or null. */
VXBLADE_API CacheStorePhysDrvEntry* findCacheStorePhysDrvInfoByDriveIndex(uint32_t driveIndex);
/* As vxpmgr_getNextRegisteredClient, without printing. */
VXBLADE_API int vxpmgr_getNextCacheStorePhysDrvInfo(CacheStorePhysDrv* out, int index);
/* Copies out the drive that findCacheStorePhysDrvInfo finds. 0, or -1 when there is none. */
VXBLADE_API int vxpmgr_getCacheStorePhysDrvInfoByWwuln(const uint8_t* name, uint16_t length,
                                                       CacheStorePhysDrv* out);
/* Puts a drive into a free slot in memory, and says on standard output that the file is not
 * written. The entry, or null when none is free. */
VXBLADE_API CacheStorePhysDrvEntry*
vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo(const CacheStorePhysDrv* drive);

/* ---- Stripe table, 1536 slots, and cached LUNs of the cluster, 4096 slots ---------------- */

VXBLADE_API int ReadPhysLunStripeTable(void);
VXBLADE_API int WritePhysLunStripeTable(const PhysLunStripeEntry* entry);
/*
 * Writes stripes in one call, and prints both numbers on standard output.
 *   buffer   `stripes` records of 8200 bytes
 *   index    the first one's slot
 *   stripes  their count
 * Returns 0; -1 unless all of them are in the table, and where the write fails.
 */
VXBLADE_API int WritePhysLunStripeTableEx(const void* buffer, uint32_t index, uint32_t stripes);

/* Hands each cached LUN in use to the bridge application, whose results are not looked at. */
VXBLADE_API int ReadClusterCachedLunAndPushToBA(void);
/* Writes a record to the slot that it names. */
VXBLADE_API int WriteClusterCachedLunInfo(const ClusterCachedLun* record);

/* ---- Event notification: one record of 25 entries --------------------------------------- */

VXBLADE_API int ReadEventNotifyFile(void);
VXBLADE_API int WriteEventNotifyFile(const EventNotifyEntry* entry);
/* Puts a client's entry in its place, or in a free one, and writes the file. -2 when all 25 are
 * taken, else the write's result. */
VXBLADE_API int vxpmgr_UpdateEventNotifyInfo(const EventNotifyInfo* entry);
/* Copies out the entry of a client. 0, or -1 when it has none. */
VXBLADE_API int vxpmgr_GetEventNotifyInfo(EventNotifyInfo* out, uint32_t clientId);

/* ---- Migration parameters: one record ---------------------------------------------------- */

VXBLADE_API int ReadMigrationParamFile(void);
/* Takes the job's identifier over into memory, prints it, and writes the record. -1 unless `type`
 * is PSST_MIGRATION_PARAM. */
VXBLADE_API int WriteMigrationParamFile(const MigrationParam* record, uint32_t type);
/* Reads the file and fills `out` with the job's identifier and zeros. Always 0; prints what it
 * found on standard output, where "error reading file" is said of a read that succeeded. */
VXBLADE_API int vxpmgr_GetMigrationParam(MigrationParam* out);
/* Stores the job's identifier, keeps the record's other bytes, and writes the file. 0 or -1. */
VXBLADE_API int vxpmgr_SetMigrationParam(const MigrationParam* in);

/* ---- External migrations, 512 slots, and target devices, 512 slots ----------------------- */

VXBLADE_API int WriteExtMigrationFile(const ExtMigrationEntry* entry);
VXBLADE_API int ReadTargetDeviceFile(void);

VXBLADE_END

#endif
