/*
 * Every request to the blade's drivers: one row, from which the declarations and sizes of
 * <vxblade/brapp.h> and the functions themselves are made.
 *
 * A row gives the operation (the function is XBMGT_<operation>), the device, the request's group
 * and number, and the exact size in bytes of the record that the driver reads and writes. It
 * begins with what the function does:
 *
 *   PASS     hands on the caller's record, a null pointer too
 *   TYPED    the same for a record that has a type, which follows
 *   PUT      writes a selector into the caller's record: offset, width in bytes, value
 *   REQUIRE  refuses a record that does not hold this selector: offset, width, value
 *   OWN      has a function of its own, with the parameters that follow
 *
 * VXBLADE_REQUESTS(PASS, TYPED, PUT, REQUIRE, OWN) expands each row by the macro of its kind.
 * Operations on one request that have no selector here are told apart by their records.
 */
#ifndef VXBLADE_BRAPP_REQUESTS_H
#define VXBLADE_BRAPP_REQUESTS_H

/* clang-format off */
#define VXBLADE_REQUESTS(PASS, TYPED, PUT, REQUIRE, OWN)                                                          \
  /*      operation                           device          group  no.  size  selector, type or parameters */   \
  TYPED(  GetBridgeBasicInfo,                 bridgeApp,      'b',   1,   844, BridgeConfig)                      \
  TYPED(  SetBridgeBasicInfo,                 bridgeApp,      'b',  17,   844, BridgeConfig)                      \
  TYPED(  GetBridgeAdvInfo,                   bridgeApp,      'b',   1,   844, BridgeConfig)                      \
  TYPED(  SetBridgeAdvInfo,                   bridgeApp,      'b',  17,   844, BridgeConfig)                      \
  TYPED(  GetPortParams,                      bridgeApp,      'b',   2,   712, PortParams)                        \
  TYPED(  SetIsnsParams,                      bridgeApp,      'b',  21,   712, PortParams)                        \
  PASS(   GetTgtDevice,                       bridgeApp,      'b',   3,  1792)                                    \
  PASS(   GetLunList,                         bridgeApp,      'b',   8,   760)                                    \
  PASS(   GetCachedLunList,                   bridgeApp,      'b', 111,   760)                                    \
  PASS(   GetLunInfoByWwuln,                  bridgeApp,      'b', 151,  1688)                                    \
  PASS(   GetLunInfo,                         bridgeApp,      'b',   9,  1688)                                    \
  PASS(   RemoveLunInfo,                      bridgeApp,      'b',  86,  1688)                                    \
  PASS(   MapTargetDevice,                    bridgeApp,      'b',  19,  2360)                                    \
  PASS(   UnMapTargetDevice,                  bridgeApp,      'b',  19,  2360)                                    \
  PASS(   GetTargetNodes,                     bridgeApp,      'b',   4,  2360)                                    \
  PASS(   GetInitiators,                      bridgeApp,      'b',  10,    16)                                    \
  OWN(    SetPortParams,                      bridgeApp,      'b',  18,   712, (PortParams* record))              \
  PASS(   SetLunMask,                         bridgeApp,      'b',  12,  2136)                                    \
  OWN(    SetNvRam,                           bridgeApp,      'b',  23,    64, (void* record))                    \
  PASS(   GetDiagResult,                      bridgeApp,      'b',  25,    28)                                    \
  PASS(   RunDiagLoopBack,                    bridgeApp,      'b',  24,    28)                                    \
  PASS(   RescanDevices,                      bridgeApp,      'b', 110,  1792)                                    \
  PASS(   GetBridgeStats,                     bridgeApp,      'b',  32,   248)                                    \
  PASS(   GetTcpIpStats,                      bridgeApp,      'b',  33,   656)                                    \
  PASS(   SetInitiators,                      bridgeApp,      'b',  34,   872)                                    \
  PASS(   SetTargetChapInfo,                  bridgeApp,      'b',  35,  2360)                                    \
  TYPED(  SetPortChapInfo,                    bridgeApp,      'b',  15,   712, PortParams)                        \
  PASS(   RemoveTgtDevice,                    bridgeApp,      'b',  36,  1792)                                    \
  PASS(   GetLogs,                            bridgeApp,      'b',  38,    32)                                    \
  PASS(   GetEventNotifications,              bridgeApp,      'b',  40,    32)                                    \
  PASS(   WriteLog,                           bridgeApp,      'b',  39,    16)                                    \
  OWN(    SetLed,                             led,            'l',   1,     2, (void* record))                    \
  PASS(   SetInitiatorTargetMask,             bridgeApp,      'b',  50,  2136)                                    \
  PASS(   GetVirtualInitiator,                bridgeApp,      'b',  48,  1732)                                    \
  PASS(   SetVirtualInitiator,                bridgeApp,      'b',  49,  1732)                                    \
  PASS(   SetTargetDisc,                      bridgeApp,      'b',  41,   382)                                    \
  PASS(   SetRemoteBridge,                    bridgeApp,      'b',  52,  1004)                                    \
  PASS(   SetRemoteMapInfo,                   bridgeApp,      'b',  53,  1752)                                    \
  PASS(   GetRemoteMapInfo,                   bridgeApp,      'b',  57,  1752)                                    \
  PASS(   PingDevice,                         bridgeApp,      'b',  54,   720)                                    \
  PASS(   GetLinkStatus,                      bridgeApp,      'b',  55,   248)                                    \
  PASS(   Shutdown,                           bridgeApp,      'b',  56,     4)                                    \
  PASS(   GetMemoryInfo,                      bridgeApp,      'b',  64,   216)                                    \
  PASS(   SetTargetDeviceInfo,                bridgeApp,      'b',  51,  1792)                                    \
  PASS(   SetMigration,                       bridgeApp,      'b',  66,  1896)                                    \
  PASS(   GetMigration,                       bridgeApp,      'b',  67,  1896)                                    \
  PASS(   GetNandUpdateNotification,          bridgeApp,      'b',  68,     4)                                    \
  PASS(   SetFeatureList,                     bridgeApp,      'b',  70,  1032)                                    \
  PASS(   GetSrcIpv6Addr,                     bridgeApp,      'b',  72,    48)                                    \
  TYPED(  GetBladeSlotPostition,              generalPurpose, 'h',  27,     8, uint64_t)                          \
  PASS(   GetPCMStatus,                       generalPurpose, 'h',   5,    31)                                    \
  PASS(   GetAllGPIO,                         generalPurpose, 'h',   3,    16)                                    \
  PASS(   SetTempOverride,                    generalPurpose, 'h',   6,     1)                                    \
  OWN(    SelectPrimaryEEPROM,                generalPurpose, 'h',   8,     4, (int32_t which))                   \
  OWN(    SelectSecondaryEEPROM,              generalPurpose, 'h',   8,     4, (int32_t which))                   \
  OWN(    getTwoBladesActive,                 generalPurpose, 'h',  14,     4, (uint32_t* result))                \
  PASS(   SetCommunicationInfo,               generalPurpose, 'h',  15,   386)                                    \
  TYPED(  GetInterfaceLinkStatus,             generalPurpose, 'h',   7,     1, uint8_t)                           \
  PASS(   GetLinkChangeNotification,          generalPurpose, 'h',   9,     2)                                    \
  PASS(   GetSfpInfo,                         bridgeApp,      'b',  73,     8)                                    \
  TYPED(  SetHostGroupInfo,                   bridgeApp,      'b',  80,   256, HostGroupConfig)                   \
  TYPED(  GetHostGroupInfo,                   bridgeApp,      'b',  81,   256, HostGroupConfig)                   \
  PASS(   GetIsnsNotification,                bridgeApp,      'b',  82,     8)                                    \
  PASS(   StartSerialSchedule,                bridgeApp,      'b',  83,     4)                                    \
  PASS(   GetGroupInfo,                       bridgeApp,      'b',  84,  1168)                                    \
  PASS(   ReadjustPriority,                   bridgeApp,      'b',  85,  3076)                                    \
  PASS(   SetMigrationGlobalSettings,         bridgeApp,      'b',  87,    36)                                    \
  PASS(   SetMigrationParams,                 bridgeApp,      'b', 130,     4)                                    \
  OWN(    ReqOrNotifyPeer,                    bridgeApp,      'b',  89,    72, (uint16_t kind, uint16_t value))   \
  PASS(   SetMacWwnBaseValues,                bridgeApp,      'b',  96,    49)                                    \
  PASS(   WaitForPersistenceUpdateRequest,    bridgeApp,      'b',  97,    48)                                    \
  PASS(   WaitForPhyDrvUpdateRequest,         bridgeApp,      'b', 144,    48)                                    \
  PASS(   SendPersistenceUpdateRequestToPeer, bridgeApp,      'b', 119,    48)                                    \
  OWN(    SelectEEPROMMux,                    generalPurpose, 'h',  18,     1, (int32_t which))                   \
  PUT(    GetHeartBeatStatus,                 generalPurpose, 'h',  19,    32, 19, 1, 0)                          \
  PUT(    SetHeartBeatServiceStatus,          generalPurpose, 'h',  19,    32, 19, 1, 1)                          \
  PASS(   SetBladeActiveGpioState,            generalPurpose, 'h',  20,     4)                                    \
  PASS(   CreateDataMgmtLun,                  bridgeApp,      'b',  99,  3640)                                    \
  PASS(   GetDataMgmtLun,                     bridgeApp,      'b', 100,  3640)                                    \
  PASS(   DestroyDataMgmtLun,                 bridgeApp,      'b', 101,  3640)                                    \
  PASS(   CreateTPLun,                        bridgeApp,      'b', 102,  1848)                                    \
  PASS(   AddTPLunExtents,                    bridgeApp,      'b', 129,  1848)                                    \
  PASS(   DeleteMultipleExtents,              bridgeApp,      'b', 131,  1848)                                    \
  PASS(   ModifyTPLun,                        bridgeApp,      'b', 103,  1848)                                    \
  PASS(   SplitTPLun,                         bridgeApp,      'b', 118,     4)                                    \
  PASS(   DestroyTPLun,                       bridgeApp,      'b', 105,  1848)                                    \
  PASS(   AddTPLunMirror,                     bridgeApp,      'b', 133,  1848)                                    \
  PASS(   RemoveTPLunMirror,                  bridgeApp,      'b', 137,  1848)                                    \
  PASS(   GetLogicalLunInfo,                  bridgeApp,      'b', 126,  1848)                                    \
  PASS(   GetLocalLogicalLunInfo,             bridgeApp,      'b', 146,  1848)                                    \
  PASS(   UpdateTargetDeviceArrayInfo,        bridgeApp,      'b', 147, 13960)                                    \
  PASS(   DeleteExtent,                       bridgeApp,      'b', 112,  8208)                                    \
  PUT(    GetWriteCacheParams,                bridgeApp,      'b', 106,   256, 0, 4, 2)                           \
  PUT(    SetWriteCacheParams,                bridgeApp,      'b', 106,   256, 0, 4, 1)                           \
  PUT(    ClearWriteCacheStats,               bridgeApp,      'b', 106,   256, 0, 4, 3)                           \
  OWN(    SetDriveConfig,                     bridgeApp,      'b', 107,   304, (void))                            \
  PUT(    SetBaseMac,                         bridgeApp,      'b', 107,   304, 0, 4, 2)                           \
  PUT(    SetBuildWriteCache,                 bridgeApp,      'b', 107,   304, 0, 4, 3)                           \
  REQUIRE(SetWriteCacheMarkers,               bridgeApp,      'b', 107,   304, 0, 4, 4)                           \
  REQUIRE(SetStoragePool,                     bridgeApp,      'b', 107,   304, 0, 4, 5)                           \
  REQUIRE(GetStoragePool,                     bridgeApp,      'b', 107,   304, 0, 4, 6)                           \
  OWN(    WcSetBootupMode,                    bridgeApp,      'b', 106,   256, (uint32_t mode))                   \
  PUT(    WcSetSecureErased,                  bridgeApp,      'b', 106,   256, 0, 4, 5)                           \
  REQUIRE(CreateTpControllerLun,              bridgeApp,      'b', 107,   304, 0, 4, 7)                           \
  PASS(   GetEthSettings,                     generalPurpose, 'h',  21,    28)                                    \
  PASS(   listenMgmtLinkChangeEvent,          generalPurpose, 'h',  22,     1)                                    \
  PASS(   SetSystemCapabilities,              bridgeApp,      'b', 115,    72)                                    \
  PASS(   SyncMirrorLunDatabase,              bridgeApp,      'b', 117,     4)                                    \
  PASS(   ScanMirrorLunDatabase,              bridgeApp,      'b', 116,     4)                                    \
  PUT(    WaitForAppReqResp,                  bridgeApp,      'b', 120,    44, 7, 1, 2)                           \
  OWN(    SendAppReqResp,                     bridgeApp,      'b', 120,    44, (void* record, int32_t operation)) \
  PUT(    WaitForCmdExecConfirm,              bridgeApp,      'b', 120,    44, 7, 1, 4)                           \
  PUT(    SendAcbAppRsp,                      bridgeApp,      'b', 120,    44, 7, 1, 5)                           \
  OWN(    TestScsiComm,                       bridgeApp,      'b', 121,     4, (uint32_t value))                  \
  PASS(   ClusterKeyOps,                      bridgeApp,      'b', 123,    24)                                    \
  PASS(   ClusterMemberOps,                   bridgeApp,      'b', 122,  2208)                                    \
  OWN(    SetAdapterId,                       generalPurpose, 'h',  26,     8, (uint32_t first, uint32_t second)) \
  OWN(    PersistenceBootComplete,            bridgeApp,      'b', 124,     4, (uint32_t value))                  \
  PASS(   GetFwCompStatus,                    generalPurpose, 'h',  28,    12)                                    \
  PASS(   SetOrClearFwCompStatus,             generalPurpose, 'h',  28,    12)                                    \
  PASS(   CacheStorePhyDrvOps,                bridgeApp,      'b', 125,   392)                                    \
  PUT(    GetDriveFromConfiguredStoragePool,  bridgeApp,      'b', 125,   392, 4, 4, 1)                           \
  PUT(    GetDriveFromFreeStoragePool,        bridgeApp,      'b', 125,   392, 4, 4, 2)                           \
  OWN(    AddDriveToConfiguredStoragePool,    bridgeApp,      'b', 125,   392, (void* record))                    \
  PUT(    SendClusterAppRsp,                  bridgeApp,      'b', 120,    44, 7, 1, 6)                           \
  TYPED(  SetClusterMetadata,                 bridgeApp,      'b', 127,    64, ClusterMetaData)                   \
  PASS(   SetClusterCachedLun,                bridgeApp,      'b', 128,   304)                                    \
  PASS(   SetTempData,                        bridgeApp,      'b', 149,    36)                                    \
  PASS(   SendAsyncEventToPCIeHost,           bridgeApp,      'b', 145,    36)
/* clang-format on */

#endif
