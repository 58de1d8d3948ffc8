// The requests to the drivers: one row for each prototype of <vxblade/brapp_requests.h>, from which
// its function is made. The prototype has the type of the record, and its size.
//
//   PASS     hands on the caller's record, a null pointer too
//   PUT      writes a selector into the caller's record: offset, width in bytes, value
//   REQUIRE  refuses a record that does not hold this selector: offset, width, value
//   OWN      has a function of its own, in own_requests.cpp
//
// VX_REQUESTS(PASS, PUT, REQUIRE, OWN) expands each row by the macro of its kind. Operations on one
// request that have no selector here are told apart by their records.
#pragma once

// clang-format off
#define VX_REQUESTS(PASS, PUT, REQUIRE, OWN)                                    \
  /*      operation                           device          no.  selector */  \
  PASS(   GetBridgeBasicInfo,                 bridgeApp,        1)              \
  PASS(   SetBridgeBasicInfo,                 bridgeApp,       17)              \
  PASS(   GetBridgeAdvInfo,                   bridgeApp,        1)              \
  PASS(   SetBridgeAdvInfo,                   bridgeApp,       17)              \
  PASS(   GetPortParams,                      bridgeApp,        2)              \
  PASS(   SetIsnsParams,                      bridgeApp,       21)              \
  PASS(   GetTgtDevice,                       bridgeApp,        3)              \
  PASS(   GetLunList,                         bridgeApp,        8)              \
  PASS(   GetCachedLunList,                   bridgeApp,      111)              \
  PASS(   GetLunInfoByWwuln,                  bridgeApp,      151)              \
  PASS(   GetLunInfo,                         bridgeApp,        9)              \
  PASS(   RemoveLunInfo,                      bridgeApp,       86)              \
  PASS(   MapTargetDevice,                    bridgeApp,       19)              \
  PASS(   UnMapTargetDevice,                  bridgeApp,       19)              \
  PASS(   GetTargetNodes,                     bridgeApp,        4)              \
  PASS(   GetInitiators,                      bridgeApp,       10)              \
  OWN(    SetPortParams,                      bridgeApp,       18)              \
  PASS(   SetLunMask,                         bridgeApp,       12)              \
  OWN(    SetNvRam,                           bridgeApp,       23)              \
  PASS(   GetDiagResult,                      bridgeApp,       25)              \
  PASS(   RunDiagLoopBack,                    bridgeApp,       24)              \
  PASS(   RescanDevices,                      bridgeApp,      110)              \
  PASS(   GetBridgeStats,                     bridgeApp,       32)              \
  PASS(   GetTcpIpStats,                      bridgeApp,       33)              \
  PASS(   SetInitiators,                      bridgeApp,       34)              \
  PASS(   SetTargetChapInfo,                  bridgeApp,       35)              \
  PASS(   SetPortChapInfo,                    bridgeApp,       15)              \
  PASS(   RemoveTgtDevice,                    bridgeApp,       36)              \
  PASS(   GetLogs,                            bridgeApp,       38)              \
  PASS(   GetEventNotifications,              bridgeApp,       40)              \
  PASS(   WriteLog,                           bridgeApp,       39)              \
  OWN(    SetLed,                             led,              1)              \
  PASS(   SetInitiatorTargetMask,             bridgeApp,       50)              \
  PASS(   GetVirtualInitiator,                bridgeApp,       48)              \
  PASS(   SetVirtualInitiator,                bridgeApp,       49)              \
  PASS(   SetTargetDisc,                      bridgeApp,       41)              \
  PASS(   SetRemoteBridge,                    bridgeApp,       52)              \
  PASS(   SetRemoteMapInfo,                   bridgeApp,       53)              \
  PASS(   GetRemoteMapInfo,                   bridgeApp,       57)              \
  PASS(   PingDevice,                         bridgeApp,       54)              \
  PASS(   GetLinkStatus,                      bridgeApp,       55)              \
  PASS(   Shutdown,                           bridgeApp,       56)              \
  PASS(   GetMemoryInfo,                      bridgeApp,       64)              \
  PASS(   SetTargetDeviceInfo,                bridgeApp,       51)              \
  PASS(   SetMigration,                       bridgeApp,       66)              \
  PASS(   GetMigration,                       bridgeApp,       67)              \
  PASS(   GetNandUpdateNotification,          bridgeApp,       68)              \
  PASS(   SetFeatureList,                     bridgeApp,       70)              \
  PASS(   GetSrcIpv6Addr,                     bridgeApp,       72)              \
  PASS(   GetBladeSlotPostition,              generalPurpose,  27)              \
  PASS(   GetPCMStatus,                       generalPurpose,   5)              \
  PASS(   GetAllGPIO,                         generalPurpose,   3)              \
  PASS(   SetTempOverride,                    generalPurpose,   6)              \
  OWN(    SelectPrimaryEEPROM,                generalPurpose,   8)              \
  OWN(    SelectSecondaryEEPROM,              generalPurpose,   8)              \
  OWN(    getTwoBladesActive,                 generalPurpose,  14)              \
  PASS(   SetCommunicationInfo,               generalPurpose,  15)              \
  PASS(   GetInterfaceLinkStatus,             generalPurpose,   7)              \
  PASS(   GetLinkChangeNotification,          generalPurpose,   9)              \
  PASS(   GetSfpInfo,                         bridgeApp,       73)              \
  PASS(   SetHostGroupInfo,                   bridgeApp,       80)              \
  PASS(   GetHostGroupInfo,                   bridgeApp,       81)              \
  PASS(   GetIsnsNotification,                bridgeApp,       82)              \
  PASS(   StartSerialSchedule,                bridgeApp,       83)              \
  PASS(   GetGroupInfo,                       bridgeApp,       84)              \
  PASS(   ReadjustPriority,                   bridgeApp,       85)              \
  PASS(   SetMigrationGlobalSettings,         bridgeApp,       87)              \
  PASS(   SetMigrationParams,                 bridgeApp,      130)              \
  OWN(    ReqOrNotifyPeer,                    bridgeApp,       89)              \
  PASS(   SetMacWwnBaseValues,                bridgeApp,       96)              \
  PASS(   WaitForPersistenceUpdateRequest,    bridgeApp,       97)              \
  PASS(   WaitForPhyDrvUpdateRequest,         bridgeApp,      144)              \
  PASS(   SendPersistenceUpdateRequestToPeer, bridgeApp,      119)              \
  OWN(    SelectEEPROMMux,                    generalPurpose,  18)              \
  PUT(    GetHeartBeatStatus,                 generalPurpose,  19, 19, 1, 0)    \
  PUT(    SetHeartBeatServiceStatus,          generalPurpose,  19, 19, 1, 1)    \
  PASS(   SetBladeActiveGpioState,            generalPurpose,  20)              \
  PASS(   CreateDataMgmtLun,                  bridgeApp,       99)              \
  PASS(   GetDataMgmtLun,                     bridgeApp,      100)              \
  PASS(   DestroyDataMgmtLun,                 bridgeApp,      101)              \
  PASS(   CreateTPLun,                        bridgeApp,      102)              \
  PASS(   AddTPLunExtents,                    bridgeApp,      129)              \
  PASS(   DeleteMultipleExtents,              bridgeApp,      131)              \
  PASS(   ModifyTPLun,                        bridgeApp,      103)              \
  PASS(   SplitTPLun,                         bridgeApp,      118)              \
  PASS(   DestroyTPLun,                       bridgeApp,      105)              \
  PASS(   AddTPLunMirror,                     bridgeApp,      133)              \
  PASS(   RemoveTPLunMirror,                  bridgeApp,      137)              \
  PASS(   GetLogicalLunInfo,                  bridgeApp,      126)              \
  PASS(   GetLocalLogicalLunInfo,             bridgeApp,      146)              \
  PASS(   UpdateTargetDeviceArrayInfo,        bridgeApp,      147)              \
  PASS(   DeleteExtent,                       bridgeApp,      112)              \
  PUT(    GetWriteCacheParams,                bridgeApp,      106, 0, 4, 2)     \
  PUT(    SetWriteCacheParams,                bridgeApp,      106, 0, 4, 1)     \
  PUT(    ClearWriteCacheStats,               bridgeApp,      106, 0, 4, 3)     \
  OWN(    SetDriveConfig,                     bridgeApp,      107)              \
  PUT(    SetBaseMac,                         bridgeApp,      107, 0, 4, 2)     \
  PUT(    SetBuildWriteCache,                 bridgeApp,      107, 0, 4, 3)     \
  REQUIRE(SetWriteCacheMarkers,               bridgeApp,      107, 0, 4, 4)     \
  REQUIRE(SetStoragePool,                     bridgeApp,      107, 0, 4, 5)     \
  REQUIRE(GetStoragePool,                     bridgeApp,      107, 0, 4, 6)     \
  OWN(    WcSetBootupMode,                    bridgeApp,      106)              \
  PUT(    WcSetSecureErased,                  bridgeApp,      106, 0, 4, 5)     \
  REQUIRE(CreateTpControllerLun,              bridgeApp,      107, 0, 4, 7)     \
  PASS(   GetEthSettings,                     generalPurpose,  21)              \
  PASS(   listenMgmtLinkChangeEvent,          generalPurpose,  22)              \
  PASS(   SetSystemCapabilities,              bridgeApp,      115)              \
  PASS(   SyncMirrorLunDatabase,              bridgeApp,      117)              \
  PASS(   ScanMirrorLunDatabase,              bridgeApp,      116)              \
  PUT(    WaitForAppReqResp,                  bridgeApp,      120, 7, 1, 2)     \
  OWN(    SendAppReqResp,                     bridgeApp,      120)              \
  PUT(    WaitForCmdExecConfirm,              bridgeApp,      120, 7, 1, 4)     \
  PUT(    SendAcbAppRsp,                      bridgeApp,      120, 7, 1, 5)     \
  OWN(    TestScsiComm,                       bridgeApp,      121)              \
  PASS(   ClusterKeyOps,                      bridgeApp,      123)              \
  PASS(   ClusterMemberOps,                   bridgeApp,      122)              \
  OWN(    SetAdapterId,                       generalPurpose,  26)              \
  OWN(    PersistenceBootComplete,            bridgeApp,      124)              \
  PASS(   GetFwCompStatus,                    generalPurpose,  28)              \
  PASS(   SetOrClearFwCompStatus,             generalPurpose,  28)              \
  PASS(   CacheStorePhyDrvOps,                bridgeApp,      125)              \
  PUT(    GetDriveFromConfiguredStoragePool,  bridgeApp,      125, 4, 4, 1)     \
  PUT(    GetDriveFromFreeStoragePool,        bridgeApp,      125, 4, 4, 2)     \
  OWN(    AddDriveToConfiguredStoragePool,    bridgeApp,      125)              \
  PUT(    SendClusterAppRsp,                  bridgeApp,      120, 7, 1, 6)     \
  PASS(   SetClusterMetadata,                 bridgeApp,      127)              \
  PASS(   SetClusterCachedLun,                bridgeApp,      128)              \
  PASS(   SetTempData,                        bridgeApp,      149)              \
  PASS(   SendAsyncEventToPCIeHost,           bridgeApp,      145)
// clang-format on
