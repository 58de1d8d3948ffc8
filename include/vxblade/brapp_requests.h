/*
 * Every request to the blade's drivers. XBMGT_<operation> issues one request to one driver with
 * the caller's record, XBMGT_<operation>_SIZE bytes long.
 *
 * On the wire all requests go both ways: the driver reads the record and may overwrite it, so that
 * it must be writable and as large as its size says. What a request is for is told by
 *
 *   [in]      the record tells the driver
 *   [out]     the driver's answer is stored in it; what names the thing asked for is already there
 *   [in,out]  both
 *
 * Records whose type is void belong to the driver: nothing here looks into them but at the
 * selectors that a comment names. A selector "put" is written into the caller's record; where it
 * "must be" there, a record with another is refused. Words are of 32 bits, numbers little-endian.
 *
 * Results: the request's own, 0, or -1 with the driver's errno (EBADF before the device is open:
 * no function checks that). -1 with nothing issued and errno as it was for a refused record, and
 * for a null one where a selector is put or must be there; elsewhere the driver sees a null
 * pointer and fails with EFAULT.
 *
 * Ownership: the caller's, all of it; nothing is kept after the call. Threads: the functions keep
 * no state of their own but read BrAppHandle and gpDevHandle; they may be called at the same time
 * on records of their own once both are open. Those that wait block until the driver answers.
 */
#ifndef VXBLADE_BRAPP_REQUESTS_H
#define VXBLADE_BRAPP_REQUESTS_H

#include <vxblade/export.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/*
 * The bridge and its board
 */

/* [out] The bridge's settings. */
VXBLADE_API int XBMGT_GetBridgeBasicInfo(BridgeConfig* record);
enum { XBMGT_GetBridgeBasicInfo_SIZE = 844 };

/* [in] Changes the bridge's settings. */
VXBLADE_API int XBMGT_SetBridgeBasicInfo(BridgeConfig* record);
enum { XBMGT_SetBridgeBasicInfo_SIZE = 844 };

/* [out] Issues what XBMGT_GetBridgeBasicInfo does: the record tells them apart. */
VXBLADE_API int XBMGT_GetBridgeAdvInfo(BridgeConfig* record);
enum { XBMGT_GetBridgeAdvInfo_SIZE = 844 };

/* [in] Issues what XBMGT_SetBridgeBasicInfo does: the record tells them apart. */
VXBLADE_API int XBMGT_SetBridgeAdvInfo(BridgeConfig* record);
enum { XBMGT_SetBridgeAdvInfo_SIZE = 844 };

/* [in] The features that the bridge offers. */
VXBLADE_API int XBMGT_SetFeatureList(void* record);
enum { XBMGT_SetFeatureList_SIZE = 1032 };

/* [in] What the system is capable of. */
VXBLADE_API int XBMGT_SetSystemCapabilities(void* record);
enum { XBMGT_SetSystemCapabilities_SIZE = 72 };

/* [in] The MAC address and world-wide name that those of the ports count from. */
VXBLADE_API int XBMGT_SetMacWwnBaseValues(void* record);
enum { XBMGT_SetMacWwnBaseValues_SIZE = 49 };

/* [in] The bridge's non-volatile values. Prints `BrAppHandle` on standard output first. */
VXBLADE_API int XBMGT_SetNvRam(void* record);
enum { XBMGT_SetNvRam_SIZE = 64 };

/* [in] Temperatures of the board. */
VXBLADE_API int XBMGT_SetTempData(void* record);
enum { XBMGT_SetTempData_SIZE = 36 };

/* [out] How the bridge application uses its memory. */
VXBLADE_API int XBMGT_GetMemoryInfo(void* record);
enum { XBMGT_GetMemoryInfo_SIZE = 216 };

/* [in] Shuts the bridge application down. */
VXBLADE_API int XBMGT_Shutdown(void* record);
enum { XBMGT_Shutdown_SIZE = 4 };

/* [in] An LED, on the LED device: its node is opened and closed for this request. */
VXBLADE_API int XBMGT_SetLed(void* record);
enum { XBMGT_SetLed_SIZE = 2 };

/* [out] The number of the blade's slot. */
VXBLADE_API int XBMGT_GetBladeSlotPostition(uint64_t* record);
enum { XBMGT_GetBladeSlotPostition_SIZE = 8 };

/* [out] The states of the power and cooling modules. */
VXBLADE_API int XBMGT_GetPCMStatus(void* record);
enum { XBMGT_GetPCMStatus_SIZE = 31 };

/* [out] The states of all general-purpose pins. */
VXBLADE_API int XBMGT_GetAllGPIO(void* record);
enum { XBMGT_GetAllGPIO_SIZE = 16 };

/* [in] The pin that tells whether the blade is active. */
VXBLADE_API int XBMGT_SetBladeActiveGpioState(void* record);
enum { XBMGT_SetBladeActiveGpioState_SIZE = 4 };

/* [in] Whether the board's temperature reading is overridden. */
VXBLADE_API int XBMGT_SetTempOverride(void* record);
enum { XBMGT_SetTempOverride_SIZE = 1 };

/* [in] Selects the primary serial EEPROM `which`: 1 or 2, else -1 with nothing issued. */
VXBLADE_API int XBMGT_SelectPrimaryEEPROM(int32_t which);
enum { XBMGT_SelectPrimaryEEPROM_SIZE = 4 };

/* [in] Selects the secondary serial EEPROM `which`: 3 or 4, else -1 with nothing issued. */
VXBLADE_API int XBMGT_SelectSecondaryEEPROM(int32_t which);
enum { XBMGT_SelectSecondaryEEPROM_SIZE = 4 };

/* [in] Selects the side of the EEPROM multiplexer: 0 or 1, else -1 with nothing issued and a
 * report on standard output. */
VXBLADE_API int XBMGT_SelectEEPROMMux(int32_t which);
enum { XBMGT_SelectEEPROMMux_SIZE = 1 };

/* [out] The state of the firmware's components. */
VXBLADE_API int XBMGT_GetFwCompStatus(void* record);
enum { XBMGT_GetFwCompStatus_SIZE = 12 };

/* [in] Sets or clears the state of the firmware's components. */
VXBLADE_API int XBMGT_SetOrClearFwCompStatus(void* record);
enum { XBMGT_SetOrClearFwCompStatus_SIZE = 12 };

/* [in] The adapter's identity: two words. */
VXBLADE_API int XBMGT_SetAdapterId(uint32_t first, uint32_t second);
enum { XBMGT_SetAdapterId_SIZE = 8 };

/*
 * Network and FC ports
 */

/* [out] A port's parameters, of the type and number in the record. */
VXBLADE_API int XBMGT_GetPortParams(PortParams* record);
enum { XBMGT_GetPortParams_SIZE = 712 };

/* [in] A port's parameters. Prints a heading and the record first, as XBMGT_LogPortParams does. */
VXBLADE_API int XBMGT_SetPortParams(PortParams* record);
enum { XBMGT_SetPortParams_SIZE = 712 };

/* [in] A port's CHAP names and secrets. */
VXBLADE_API int XBMGT_SetPortChapInfo(PortParams* record);
enum { XBMGT_SetPortChapInfo_SIZE = 712 };

/* [in] A port's iSNS settings. */
VXBLADE_API int XBMGT_SetIsnsParams(PortParams* record);
enum { XBMGT_SetIsnsParams_SIZE = 712 };

/* [out] Waits for news of iSNS. */
VXBLADE_API int XBMGT_GetIsnsNotification(void* record);
enum { XBMGT_GetIsnsNotification_SIZE = 8 };

/* [out] The IPv6 address that a packet to a destination leaves from. */
VXBLADE_API int XBMGT_GetSrcIpv6Addr(void* record);
enum { XBMGT_GetSrcIpv6Addr_SIZE = 48 };

/* [in,out] Pings an address from a port. */
VXBLADE_API int XBMGT_PingDevice(void* record);
enum { XBMGT_PingDevice_SIZE = 720 };

/* [out] The state of the ports' links. */
VXBLADE_API int XBMGT_GetLinkStatus(void* record);
enum { XBMGT_GetLinkStatus_SIZE = 248 };

/* [out] Counters of TCP and IP. */
VXBLADE_API int XBMGT_GetTcpIpStats(void* record);
enum { XBMGT_GetTcpIpStats_SIZE = 656 };

/* [out] Counters of the bridge. */
VXBLADE_API int XBMGT_GetBridgeStats(void* record);
enum { XBMGT_GetBridgeStats_SIZE = 248 };

/* [out] What the SFP module of a port tells of itself. */
VXBLADE_API int XBMGT_GetSfpInfo(void* record);
enum { XBMGT_GetSfpInfo_SIZE = 8 };

/* [out] The Ethernet settings of the management port. */
VXBLADE_API int XBMGT_GetEthSettings(void* record);
enum { XBMGT_GetEthSettings_SIZE = 28 };

/* [out] Waits until the management port's link changes. */
VXBLADE_API int XBMGT_listenMgmtLinkChangeEvent(void* record);
enum { XBMGT_listenMgmtLinkChangeEvent_SIZE = 1 };

/* [out] How a diagnosis ended. */
VXBLADE_API int XBMGT_GetDiagResult(void* record);
enum { XBMGT_GetDiagResult_SIZE = 28 };

/* [in,out] Runs the loop-back diagnosis. */
VXBLADE_API int XBMGT_RunDiagLoopBack(void* record);
enum { XBMGT_RunDiagLoopBack_SIZE = 28 };

/*
 * Initiators, targets and groups of hosts
 */

/* [out] The initiators that the bridge knows. */
VXBLADE_API int XBMGT_GetInitiators(void* record);
enum { XBMGT_GetInitiators_SIZE = 16 };

/* [in] An initiator's settings. */
VXBLADE_API int XBMGT_SetInitiators(void* record);
enum { XBMGT_SetInitiators_SIZE = 872 };

/* [out] A virtual initiator. */
VXBLADE_API int XBMGT_GetVirtualInitiator(void* record);
enum { XBMGT_GetVirtualInitiator_SIZE = 1732 };

/* [in] Changes a virtual initiator. */
VXBLADE_API int XBMGT_SetVirtualInitiator(void* record);
enum { XBMGT_SetVirtualInitiator_SIZE = 1732 };

/* [in] Which targets an initiator sees. */
VXBLADE_API int XBMGT_SetInitiatorTargetMask(void* record);
enum { XBMGT_SetInitiatorTargetMask_SIZE = 2136 };

/* [out] The nodes of targets. */
VXBLADE_API int XBMGT_GetTargetNodes(void* record);
enum { XBMGT_GetTargetNodes_SIZE = 2360 };

/* [in] A target's CHAP names and secrets. */
VXBLADE_API int XBMGT_SetTargetChapInfo(void* record);
enum { XBMGT_SetTargetChapInfo_SIZE = 2360 };

/* [in] Where and how targets are discovered. */
VXBLADE_API int XBMGT_SetTargetDisc(void* record);
enum { XBMGT_SetTargetDisc_SIZE = 382 };

/* [out] A target device. */
VXBLADE_API int XBMGT_GetTgtDevice(void* record);
enum { XBMGT_GetTgtDevice_SIZE = 1792 };

/* [in] A target device's settings. */
VXBLADE_API int XBMGT_SetTargetDeviceInfo(void* record);
enum { XBMGT_SetTargetDeviceInfo_SIZE = 1792 };

/* [in] Forgets a target device. */
VXBLADE_API int XBMGT_RemoveTgtDevice(void* record);
enum { XBMGT_RemoveTgtDevice_SIZE = 1792 };

/* [in] Looks for devices anew. */
VXBLADE_API int XBMGT_RescanDevices(void* record);
enum { XBMGT_RescanDevices_SIZE = 1792 };

/* [in] Maps a target device. */
VXBLADE_API int XBMGT_MapTargetDevice(void* record);
enum { XBMGT_MapTargetDevice_SIZE = 2360 };

/* [in] Issues what XBMGT_MapTargetDevice does: the record tells them apart. */
VXBLADE_API int XBMGT_UnMapTargetDevice(void* record);
enum { XBMGT_UnMapTargetDevice_SIZE = 2360 };

/* [in] The array that target devices belong to. */
VXBLADE_API int XBMGT_UpdateTargetDeviceArrayInfo(void* record);
enum { XBMGT_UpdateTargetDeviceArrayInfo_SIZE = 13960 };

/* [out] A group of hosts, the first 256 bytes of the record. */
VXBLADE_API int XBMGT_GetHostGroupInfo(HostGroupConfig* record);
enum { XBMGT_GetHostGroupInfo_SIZE = 256 };

/* [in] Changes a group of hosts, by the first 256 bytes of the record. */
VXBLADE_API int XBMGT_SetHostGroupInfo(HostGroupConfig* record);
enum { XBMGT_SetHostGroupInfo_SIZE = 256 };

/* [out] The members of a group. */
VXBLADE_API int XBMGT_GetGroupInfo(void* record);
enum { XBMGT_GetGroupInfo_SIZE = 1168 };

/*
 * LUNs
 */

/* [out] The list of LUNs. */
VXBLADE_API int XBMGT_GetLunList(void* record);
enum { XBMGT_GetLunList_SIZE = 760 };

/* [out] The list of LUNs with a cache. */
VXBLADE_API int XBMGT_GetCachedLunList(void* record);
enum { XBMGT_GetCachedLunList_SIZE = 760 };

/* [out] A LUN. */
VXBLADE_API int XBMGT_GetLunInfo(void* record);
enum { XBMGT_GetLunInfo_SIZE = 1688 };

/* [out] A LUN, by its world-wide unique LUN name. */
VXBLADE_API int XBMGT_GetLunInfoByWwuln(void* record);
enum { XBMGT_GetLunInfoByWwuln_SIZE = 1688 };

/* [in] Forgets a LUN. */
VXBLADE_API int XBMGT_RemoveLunInfo(void* record);
enum { XBMGT_RemoveLunInfo_SIZE = 1688 };

/* [in] Who sees a LUN. */
VXBLADE_API int XBMGT_SetLunMask(void* record);
enum { XBMGT_SetLunMask_SIZE = 2136 };

/* [in,out] Makes a LUN of data management. */
VXBLADE_API int XBMGT_CreateDataMgmtLun(void* record);
enum { XBMGT_CreateDataMgmtLun_SIZE = 3640 };

/* [out] A LUN of data management. */
VXBLADE_API int XBMGT_GetDataMgmtLun(void* record);
enum { XBMGT_GetDataMgmtLun_SIZE = 3640 };

/* [in] Removes a LUN of data management. */
VXBLADE_API int XBMGT_DestroyDataMgmtLun(void* record);
enum { XBMGT_DestroyDataMgmtLun_SIZE = 3640 };

/* [in,out] Makes a thinly provisioned LUN. */
VXBLADE_API int XBMGT_CreateTPLun(void* record);
enum { XBMGT_CreateTPLun_SIZE = 1848 };

/* [in] Changes a thinly provisioned LUN. */
VXBLADE_API int XBMGT_ModifyTPLun(void* record);
enum { XBMGT_ModifyTPLun_SIZE = 1848 };

/* [in] Splits a thinly provisioned LUN. */
VXBLADE_API int XBMGT_SplitTPLun(void* record);
enum { XBMGT_SplitTPLun_SIZE = 4 };

/* [in] Removes a thinly provisioned LUN. */
VXBLADE_API int XBMGT_DestroyTPLun(void* record);
enum { XBMGT_DestroyTPLun_SIZE = 1848 };

/* [in] Adds extents to a thinly provisioned LUN. */
VXBLADE_API int XBMGT_AddTPLunExtents(void* record);
enum { XBMGT_AddTPLunExtents_SIZE = 1848 };

/* [in] Takes extents off a thinly provisioned LUN. */
VXBLADE_API int XBMGT_DeleteMultipleExtents(void* record);
enum { XBMGT_DeleteMultipleExtents_SIZE = 1848 };

/* [in] Takes one extent off. */
VXBLADE_API int XBMGT_DeleteExtent(void* record);
enum { XBMGT_DeleteExtent_SIZE = 8208 };

/* [in] Adds a mirror to a thinly provisioned LUN. */
VXBLADE_API int XBMGT_AddTPLunMirror(void* record);
enum { XBMGT_AddTPLunMirror_SIZE = 1848 };

/* [in] Takes a mirror off a thinly provisioned LUN. */
VXBLADE_API int XBMGT_RemoveTPLunMirror(void* record);
enum { XBMGT_RemoveTPLunMirror_SIZE = 1848 };

/* [in] Makes the controller's LUN. The record's first word must be 7. */
VXBLADE_API int XBMGT_CreateTpControllerLun(void* record);
enum { XBMGT_CreateTpControllerLun_SIZE = 304 };

/* [out] A logical LUN. */
VXBLADE_API int XBMGT_GetLogicalLunInfo(void* record);
enum { XBMGT_GetLogicalLunInfo_SIZE = 1848 };

/* [out] A logical LUN as this blade sees it. */
VXBLADE_API int XBMGT_GetLocalLogicalLunInfo(void* record);
enum { XBMGT_GetLocalLogicalLunInfo_SIZE = 1848 };

/* [in] Brings the database of mirrored LUNs in step with the peer's. */
VXBLADE_API int XBMGT_SyncMirrorLunDatabase(void* record);
enum { XBMGT_SyncMirrorLunDatabase_SIZE = 4 };

/* [in] Reads the database of mirrored LUNs anew. */
VXBLADE_API int XBMGT_ScanMirrorLunDatabase(void* record);
enum { XBMGT_ScanMirrorLunDatabase_SIZE = 4 };

/*
 * Remote bridges and migration
 */

/* [in] A remote bridge. */
VXBLADE_API int XBMGT_SetRemoteBridge(void* record);
enum { XBMGT_SetRemoteBridge_SIZE = 1004 };

/* [out] How a remote bridge's devices are mapped. */
VXBLADE_API int XBMGT_GetRemoteMapInfo(void* record);
enum { XBMGT_GetRemoteMapInfo_SIZE = 1752 };

/* [in] Changes how a remote bridge's devices are mapped. */
VXBLADE_API int XBMGT_SetRemoteMapInfo(void* record);
enum { XBMGT_SetRemoteMapInfo_SIZE = 1752 };

/* [out] A migration. */
VXBLADE_API int XBMGT_GetMigration(void* record);
enum { XBMGT_GetMigration_SIZE = 1896 };

/* [in] Starts or changes a migration. */
VXBLADE_API int XBMGT_SetMigration(void* record);
enum { XBMGT_SetMigration_SIZE = 1896 };

/* [in] Settings of all migrations. */
VXBLADE_API int XBMGT_SetMigrationGlobalSettings(void* record);
enum { XBMGT_SetMigrationGlobalSettings_SIZE = 36 };

/* [in] The parameters of migrations. */
VXBLADE_API int XBMGT_SetMigrationParams(void* record);
enum { XBMGT_SetMigrationParams_SIZE = 4 };

/* [in] Starts the migrations that wait for each other. */
VXBLADE_API int XBMGT_StartSerialSchedule(void* record);
enum { XBMGT_StartSerialSchedule_SIZE = 4 };

/* [in] Migrations in their new order. */
VXBLADE_API int XBMGT_ReadjustPriority(void* record);
enum { XBMGT_ReadjustPriority_SIZE = 3076 };

/*
 * Write cache and drives
 */

/* [out] The write cache's parameters. Puts 2 into the record's first word. */
VXBLADE_API int XBMGT_GetWriteCacheParams(void* record);
enum { XBMGT_GetWriteCacheParams_SIZE = 256 };

/* [in] Changes the write cache's parameters. Puts 1 into the record's first word. */
VXBLADE_API int XBMGT_SetWriteCacheParams(void* record);
enum { XBMGT_SetWriteCacheParams_SIZE = 256 };

/* [in] Clears the write cache's counters. Puts 3 into the record's first word. */
VXBLADE_API int XBMGT_ClearWriteCacheStats(void* record);
enum { XBMGT_ClearWriteCacheStats_SIZE = 256 };

/* [in] Marks the write cache as securely erased. Puts 5 into the record's first word. */
VXBLADE_API int XBMGT_WcSetSecureErased(void* record);
enum { XBMGT_WcSetSecureErased_SIZE = 256 };

/* [in] The write cache's mode at start: a record of zeros but for its first word, `mode`. */
VXBLADE_API int XBMGT_WcSetBootupMode(uint32_t mode);
enum { XBMGT_WcSetBootupMode_SIZE = 256 };

/* [in] The write cache's markers. The record's first word must be 4. */
VXBLADE_API int XBMGT_SetWriteCacheMarkers(void* record);
enum { XBMGT_SetWriteCacheMarkers_SIZE = 304 };

/* [in] Builds the write cache. Puts 3 into the record's first word. */
VXBLADE_API int XBMGT_SetBuildWriteCache(void* record);
enum { XBMGT_SetBuildWriteCache_SIZE = 304 };

/* [in] Has the drives configured: a record of zeros but for its first word, 1. */
VXBLADE_API int XBMGT_SetDriveConfig(void);
enum { XBMGT_SetDriveConfig_SIZE = 304 };

/* [in] The MAC address that others count from. Puts 2 into the record's first word. */
VXBLADE_API int XBMGT_SetBaseMac(void* record);
enum { XBMGT_SetBaseMac_SIZE = 304 };

/* [in] Changes a storage pool. The record's first word must be 5. */
VXBLADE_API int XBMGT_SetStoragePool(void* record);
enum { XBMGT_SetStoragePool_SIZE = 304 };

/* [out] A storage pool. The record's first word must be 6. */
VXBLADE_API int XBMGT_GetStoragePool(void* record);
enum { XBMGT_GetStoragePool_SIZE = 304 };

/* [in,out] An operation on the cache store's drives; the record says which. */
VXBLADE_API int XBMGT_CacheStorePhyDrvOps(void* record);
enum { XBMGT_CacheStorePhyDrvOps_SIZE = 392 };

/* [out] A drive of the configured pool. Puts 1 into the word at offset 4. */
VXBLADE_API int XBMGT_GetDriveFromConfiguredStoragePool(void* record);
enum { XBMGT_GetDriveFromConfiguredStoragePool_SIZE = 392 };

/* [out] A drive of the free pool. Puts 2 into the word at offset 4. */
VXBLADE_API int XBMGT_GetDriveFromFreeStoragePool(void* record);
enum { XBMGT_GetDriveFromFreeStoragePool_SIZE = 392 };

/* [in] Adds a drive to the configured pool. Puts 2 into the first word and 0 into the one at
 * offset 4. */
VXBLADE_API int XBMGT_AddDriveToConfiguredStoragePool(void* record);
enum { XBMGT_AddDriveToConfiguredStoragePool_SIZE = 392 };

/*
 * The peer blade and the cluster
 */

/* [in] Asks or tells the peer: a record of zeros but for its first two 16-bit numbers. */
VXBLADE_API int XBMGT_ReqOrNotifyPeer(uint16_t kind, uint16_t value);
enum { XBMGT_ReqOrNotifyPeer_SIZE = 72 };

/* [out] The state of the link to the peer. */
VXBLADE_API int XBMGT_GetInterfaceLinkStatus(uint8_t* record);
enum { XBMGT_GetInterfaceLinkStatus_SIZE = 1 };

/* [out] Waits until the link to the peer changes. */
VXBLADE_API int XBMGT_GetLinkChangeNotification(void* record);
enum { XBMGT_GetLinkChangeNotification_SIZE = 2 };

/* [in] How the peer is reached. */
VXBLADE_API int XBMGT_SetCommunicationInfo(void* record);
enum { XBMGT_SetCommunicationInfo_SIZE = 386 };

/* [out] Whether both blades are active: the driver's answer, 0 where it gives none; -1 for a
 * null pointer. */
VXBLADE_API int XBMGT_getTwoBladesActive(uint32_t* result);
enum { XBMGT_getTwoBladesActive_SIZE = 4 };

/* [out] The state of the heartbeat. Puts 0 into the byte at offset 19. */
VXBLADE_API int XBMGT_GetHeartBeatStatus(void* record);
enum { XBMGT_GetHeartBeatStatus_SIZE = 32 };

/* [in] The state of the heartbeat's service. Puts 1 into the byte at offset 19. */
VXBLADE_API int XBMGT_SetHeartBeatServiceStatus(void* record);
enum { XBMGT_SetHeartBeatServiceStatus_SIZE = 32 };

/* [out] Waits until the peer wants the store updated. */
VXBLADE_API int XBMGT_WaitForPersistenceUpdateRequest(void* record);
enum { XBMGT_WaitForPersistenceUpdateRequest_SIZE = 48 };

/* [in] Asks the peer to update its store. */
VXBLADE_API int XBMGT_SendPersistenceUpdateRequestToPeer(void* record);
enum { XBMGT_SendPersistenceUpdateRequestToPeer_SIZE = 48 };

/* [out] Waits until the drives' records are to be updated. */
VXBLADE_API int XBMGT_WaitForPhyDrvUpdateRequest(void* record);
enum { XBMGT_WaitForPhyDrvUpdateRequest_SIZE = 48 };

/* [in] Says that the store is ready: one word. */
VXBLADE_API int XBMGT_PersistenceBootComplete(uint32_t value);
enum { XBMGT_PersistenceBootComplete_SIZE = 4 };

/* [in,out] An operation on the cluster's keys; the record says which. */
VXBLADE_API int XBMGT_ClusterKeyOps(void* record);
enum { XBMGT_ClusterKeyOps_SIZE = 24 };

/* [in,out] An operation on the cluster's members; the record says which. */
VXBLADE_API int XBMGT_ClusterMemberOps(void* record);
enum { XBMGT_ClusterMemberOps_SIZE = 2208 };

/* [in] The cluster's metadata. */
VXBLADE_API int XBMGT_SetClusterMetadata(ClusterMetaData* record);
enum { XBMGT_SetClusterMetadata_SIZE = 64 };

/* [in] A cached LUN of the cluster. */
VXBLADE_API int XBMGT_SetClusterCachedLun(void* record);
enum { XBMGT_SetClusterCachedLun_SIZE = 304 };

/*
 * Events and messages
 */

/* [out] The bridge application's log. */
VXBLADE_API int XBMGT_GetLogs(void* record);
enum { XBMGT_GetLogs_SIZE = 32 };

/* [in] A log record, as the functions XBRPC_LOG... of <vxblade/brapp.h> make it. */
VXBLADE_API int XBMGT_WriteLog(void* record);
enum { XBMGT_WriteLog_SIZE = 16 };

/* [out] Waits for events. */
VXBLADE_API int XBMGT_GetEventNotifications(void* record);
enum { XBMGT_GetEventNotifications_SIZE = 32 };

/* [out] Waits until the NAND flash is to be updated. */
VXBLADE_API int XBMGT_GetNandUpdateNotification(void* record);
enum { XBMGT_GetNandUpdateNotification_SIZE = 4 };

/* [in] Sends an event to the host at the PCIe bus. */
VXBLADE_API int XBMGT_SendAsyncEventToPCIeHost(void* record);
enum { XBMGT_SendAsyncEventToPCIeHost_SIZE = 36 };

/* [in] Tests the SCSI communication: one word. */
VXBLADE_API int XBMGT_TestScsiComm(uint32_t value);
enum { XBMGT_TestScsiComm_SIZE = 4 };

/* [out] Waits for a request or response of an application. Puts 2 into the byte at offset 7. */
VXBLADE_API int XBMGT_WaitForAppReqResp(void* record);
enum { XBMGT_WaitForAppReqResp_SIZE = 44 };

/* [in] Sends an application's request or response: `operation`, 1 or 3, goes into the byte at
 * offset 7; else -1 with EINVAL and nothing issued. */
VXBLADE_API int XBMGT_SendAppReqResp(void* record, int32_t operation);
enum { XBMGT_SendAppReqResp_SIZE = 44 };

/* [out] Waits until the execution of a command is confirmed. Puts 4 into the byte at offset 7. */
VXBLADE_API int XBMGT_WaitForCmdExecConfirm(void* record);
enum { XBMGT_WaitForCmdExecConfirm_SIZE = 44 };

/* [in] Sends the response of an ACB application. Puts 5 into the byte at offset 7. */
VXBLADE_API int XBMGT_SendAcbAppRsp(void* record);
enum { XBMGT_SendAcbAppRsp_SIZE = 44 };

/* [in] Sends the response of a cluster application. Puts 6 into the byte at offset 7. */
VXBLADE_API int XBMGT_SendClusterAppRsp(void* record);
enum { XBMGT_SendClusterAppRsp_SIZE = 44 };

VXBLADE_END

#endif
