/* Every public header as C, and every exported name through the shared library. */
#include <vxblade/brapp.h>
#include <vxblade/common.h>
#include <vxblade/hw.h>
#include <vxblade/mirror_sync.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>
#include <vxblade/record_files.h>
#include <vxblade/records.h>

#include <stdio.h>
#include <string.h>

typedef void (*Function)(void);
#define F(name) (Function)(name)

/* Linking this table is the test: a name that the library hides does not resolve. */
static const Function functions[] = {
    F(crc32), F(VXLIST_init_listhead), F(VXLIST_insert_on_list_head),
    F(VXLIST_insert_on_list_tail), F(VXLIST_remove_from_list), F(VXLIST_remove_from_list_head),
    F(VXLIST_remove_from_list_tail), F(VXLIST_list_mt),
    F(propOpenPropertiesFile), F(propReadPropertiesBuffer), F(propClosePropertiesFile),
    F(propGetNext), F(propGetValue), F(propGetCrc), F(readDefaultConfigurationVersion),
    F(readDefaultBridgeConfigInfo), F(readDefaultCliConfigInfo),
    F(readDefaultBridgeIPv6ConfigInfo), F(readDefaultBridgeDataMigrationInfo),
    F(readBridgeDataMigrationModeValue), F(readDefaultMgmtConfigInfo), F(readDefaultCacheConfig),
    F(readDefaultStoragePoolConfig), F(readDefaultSnmpConfigInfo), F(readDefaultPassword),
    F(readDefaultHostGroupConfigInfo), F(readDefaultIsConfigInfo), F(readDefaultFcConfigInfo),
    F(readDefaultGigeConfigInfo), F(readDefaultPcieConfigInfo), F(readBridgeDMGlobalSettings),
    F(readDefaultChassisName), F(readDefaultIsIPv6ConfigInfo), F(readDefaultSystemCapabilities),
    F(readDefaultSnmpTrapsInfo), F(readDefaultConfiguration), F(validateDefaultConfiguration),
    F(CreateHeader), F(WriteHeader), F(ReadHeader), F(WriteZeroFile), F(WritePsstFile),
    F(ReadPsstFile), F(MirrorPsstFile), F(GetPeerStatus), F(UpdateSequenceNumber),
    F(ReadSequenceNumber), F(GetLinkStatus), F(VX_isPeerBladeOperational),
    F(ReadBridgeConfigFile), F(ReadTargetDeviceFile), F(ReadHostGroupFile), F(ReadPasswdFile),
    F(ReadSnmpFile), F(ReadEventNotifyFile), F(ReadClusterMetaData), F(WriteBridgeConfigFile),
    F(WriteHostGroupFile), F(WritePasswdFile), F(WriteSnmpFile), F(WriteVpdFile),
    F(WriteExtMigrationFile), F(WriteClusterMetaData), F(vxpmgr_init_lite),
    F(vxpmgr_create_files_on_upgrade), F(InitDatabaseLite), F(close_all_files),
    F(vxpmgr_deleteSelectiveCfgPsstFiles), F(CreatePsstFile), F(CreateEventNotifyPsst),
    F(create_migration_param_file), F(CreateRegisteredClientPsstFile), F(CreateExtMigrationFile),
    F(CreateClusterMemberInfoPsstFile), F(CreateCacheStorePhysLunInfoPsstFile),
    F(CreatePhysLunStripeTableFile), F(CreateClusterMetaDataPsstFile),
    F(CreateClusterCachedLunPsstFile), F(vxpmgr_create_vpd_psst), F(copy_vpd_psst),
    F(copy_backup_vpd_psst), F(vxpmgr_readVpdFile), F(vxpmgr_GetBridgeConfigInfo),
    F(vxpmgr_UpdateBridgeConfigInfo), F(vxpmgr_GetCliConfigInfo), F(vxpmgr_UpdateCliConfigInfo),
    F(vxpmgr_GetMgmtInfo), F(vxpmgr_UpdateMgmtPortInfo), F(vxpmgr_GetActualMgmtInfo),
    F(vxpmgr_GetPortParams), F(vxpmgr_UpdatePortParams), F(vxpmgr_GetHostGroup),
    F(vxpmgr_SetHostGroup), F(vxpmgr_GetPasswordInfo), F(vxpmgr_UpdatePasswordInfo),
    F(vxpmgr_GetSnmpConfigInfo), F(vxpmgr_UpdateSnmpInfo), F(vxpmgr_GetVpdInfo),
    F(vxpmgr_UpdateVpdInfo), F(vxpmgr_GetClusterMetaData), F(vxpmgr_UpdateClusterMetaData),
    F(ReadRegisteredClientInfo), F(WriteRegisteredClientInfo), F(findRegisteredClient),
    F(vxpmgr_addRegisteredClient), F(vxpmgr_delRegisteredClient),
    F(vxpmgr_getNextRegisteredClient), F(ReadCacheStorePhysDrvInfo),
    F(WriteCacheStorePhysDrvInfo), F(findCacheStorePhysDrvInfo),
    F(findCacheStorePhysDrvInfoByDriveIndex), F(vxpmgr_getNextCacheStorePhysDrvInfo),
    F(vxpmgr_getCacheStorePhysDrvInfoByWwuln),
    F(vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo), F(ReadPhysLunStripeTable),
    F(WritePhysLunStripeTable), F(WritePhysLunStripeTableEx), F(ReadClusterCachedLunAndPushToBA),
    F(WriteClusterCachedLunInfo), F(WriteEventNotifyFile), F(vxpmgr_UpdateEventNotifyInfo),
    F(vxpmgr_GetEventNotifyInfo), F(ReadMigrationParamFile), F(WriteMigrationParamFile),
    F(vxpmgr_GetMigrationParam), F(vxpmgr_SetMigrationParam), F(vxpmgr_Sync), F(vxpmgr_CopyFiles),
    F(ComparePsst), F(ComputeFileCrc), F(vxpmgr_GetSequenceNumber), F(CreatePeerPsstFile),
    F(vxpmgr_validate_headers), F(XBMGT_SetClusterCachedLun),
    F(getMajor), F(readLine), F(trim), F(walkToName), F(nodeExists), F(map_driver),
    F(initGpDevice), F(XBMGT_OpenGeneralPurposeDev), F(XBMGT_CloseGeneralPurposeDev),
    F(vhnor_init), F(XBMGT_GetInterfaceLinkStatus),
    F(vxpmgr_create_mirror_paths), F(vxbackup_SetBackupBitmap), F(VX_systemWrapper),
    F(VX_PosixFileLockUnLock), F(vornhal_init_env), F(vornhal_getenv), F(vornhal_setenv),
    F(vornhal_saveenv), F(InitializeTelnetConfigFile), F(InitializeSshConfigFile),
    F(InitializeftpConfigFile), F(CreateLogicalLunPsst), F(CreateMigrationPsst),
    F(CreateStoragePoolInfoPsstFile), F(CreateWriteCacheInfoPsstFile), F(updateLogicalLunWwuln),
    F(vxpmgr_GetDMGlobals), F(vxpmgr_SetDMGlobals), F(vxpmgr_setCacheParams),
    F(vxpmgr_updateDefaultStoragePoolConfig), F(WriteClusterMemberInfo),
};

static const void* const data[] = {
    psstFileNames, psstFilePrimaryPaths, psstFileMirrorPaths, &vxpmgr_mirror_path_init_done,
    psstAdditionalFilePrimaryPaths, psstFruFiles, psstCfgFilesToDelete, &bridge_configuration,
    &mgmt_port, port_configuration, HostGroups, &passwd_data, &snmp_info, &vpd_info,
    &cluster_metadata, &dm_globals, Fcip, TargetDevices, LogicalLuns, &WriteCacheMarker,
    StoragePoolInfo, &eventnotify_info, &ClusterMemberInfo, CacheStorePhysDrvInfo,
    &pmgr_control_block, &pmgr_cb, scratch_pad, &zero_scrath_pad, &HwVer, &gpDevHandle, &vhnor_drv,
    &BrAppHandle, RegisteredClients, &migration_param, PhysLunStripeTable, ClusterCachedLuns,
    LunInfoTable,
};

static int failures = 0;

static void expect(int holds, const char* what) {
    if (!holds) {
        printf("failed: %s\n", what);
        ++failures;
    }
}

int main(void) {
    for (size_t i = 0; i < sizeof functions / sizeof *functions; ++i) {
        expect(functions[i] != NULL, "a function is null");
    }
    for (size_t i = 0; i < sizeof data / sizeof *data; ++i) {
        expect(data[i] != NULL, "an object is null");
    }
    expect(crc32(0, "123456789", 9) == 0xCBF43926U, "crc32");
    expect(pmgr_cb == &pmgr_control_block, "the control block before initialisation");
    PropertiesHandle handle = propReadPropertiesBuffer("a = \"b\"", 7);
    char value[8];
    expect(propGetValue(handle, "a", value, sizeof value) == 2 && strcmp(value, "b") == 0, "value");
    propClosePropertiesFile(handle);
    return failures == 0 ? 0 : 1;
}
