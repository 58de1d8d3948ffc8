/*
 * Readers of defaults files: properties with the factory default of every setting. Each turns a
 * section into a record; docs/settings.md lists sections and keys. They store through the records
 * of the store, which must be initialised, and are for one thread.
 */
#ifndef VXBLADE_SETTINGS_H
#define VXBLADE_SETTINGS_H

#include <vxblade/properties.h>
#include <vxblade/records.h>

VXBLADE_BEGIN

/* The version of a personality file, compared byte for byte; clear it before reading. */
typedef struct VersionBlock {
    char version[16];
    char product[256];
} VersionBlock;
VXBLADE_STATIC_ASSERT(sizeof(VersionBlock) == 272, "version block");

/* Fills the parts of `result` whose keys ("properties.file.version" and "properties.file.product")
 * exist. Always returns -1. */
VXBLADE_API int readDefaultConfigurationVersion(PropertiesHandle handle, VersionBlock* result);

/*
 * Readers: each fills a zeroed record from the keys of its section ("config.bridge." and so on) and
 * stores it with write-through, so that what the file does not name, or names with a value that
 * does not convert, becomes 0. The result is the store's: 0 or -1. Nothing is printed but where a
 * function's comment says so.
 */
VXBLADE_API int readDefaultBridgeConfigInfo(PropertiesHandle handle); /* zeroes the CLI settings */
VXBLADE_API int readDefaultCliConfigInfo(PropertiesHandle handle);
VXBLADE_API int readDefaultMgmtConfigInfo(PropertiesHandle handle);
VXBLADE_API int readDefaultCacheConfig(PropertiesHandle handle);
VXBLADE_API int readDefaultStoragePoolConfig(PropertiesHandle handle);
VXBLADE_API int readDefaultSnmpConfigInfo(PropertiesHandle handle); /* traps 0 to 7 included */
/* Password `index`, 0 to 7, of the password record; the others stay as they are. */
VXBLADE_API int readDefaultPassword(PropertiesHandle handle, int index);
/* Host group `group`, 0 to 8. Prints its prefix and number on standard output. */
VXBLADE_API int readDefaultHostGroupConfigInfo(PropertiesHandle handle, int group);
/* Ports by number; a GigE port is stored as of its own type. The FC and PCIe readers print their
 * prefix on standard output; a PCIe port is stored as valid, with no values. */
VXBLADE_API int readDefaultIsConfigInfo(PropertiesHandle handle, int port);
VXBLADE_API int readDefaultFcConfigInfo(PropertiesHandle handle, int port);
VXBLADE_API int readDefaultGigeConfigInfo(PropertiesHandle handle, int port);
VXBLADE_API int readDefaultPcieConfigInfo(PropertiesHandle handle, int port);
/* The data-migration globals; what the file does not name stays as it is stored. */
VXBLADE_API int readBridgeDMGlobalSettings(PropertiesHandle handle);
/* The boot environment's "ChassisName": empty where the file has none. */
VXBLADE_API int readDefaultChassisName(PropertiesHandle handle);

/* The same over the caller's record, whose other fields are stored as they are: bridge mode and
 * SMI-S settings; the data-migration mode; the IPv6 settings of an iSCSI port. */
VXBLADE_API int readDefaultBridgeIPv6ConfigInfo(PropertiesHandle handle, BridgeConfig* record);
VXBLADE_API int readDefaultBridgeDataMigrationInfo(PropertiesHandle handle, BridgeConfig* record);
VXBLADE_API int readDefaultIsIPv6ConfigInfo(PropertiesHandle handle, int port, PortParams* record);

/* These fill the caller's variable and store nothing; what the file does not name stays. */
VXBLADE_API int readBridgeDataMigrationModeValue(PropertiesHandle handle,
                                                 uint32_t* result); /* -1 */
VXBLADE_API int readDefaultSystemCapabilities(PropertiesHandle handle,
                                              SystemCapabilities* capabilities); /* -1 */
/* Port and version of trap 0 to 7. 0, or -1 for a null record or another number. */
VXBLADE_API int readDefaultSnmpTrapsInfo(PropertiesHandle handle, SnmpConfig* record, int trap);

/*
 * Loads the saved personality file, /mnt/nand0/default_bridge_config.cfg.0, into an initialised
 * store: all sections but SNMP, chassis name, capabilities and data-migration mode, of four iSCSI,
 * six FC, one PCIe and four GigE ports, three passwords and four host groups. Always 0.
 */
VXBLADE_API int readDefaultConfiguration(void);
/* Checks nothing and returns 0. */
VXBLADE_API int validateDefaultConfiguration(void);

VXBLADE_END

#endif
