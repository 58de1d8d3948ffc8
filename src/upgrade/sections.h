// The merge of each section: old personality file first. Results as of mergeSection, but where a
// comment says otherwise. Numbers are a port's or a group's.
#pragma once

#include <vxblade/props.h>

namespace vx {

int compareDefaultBridgeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);
int compareDefaultCliConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);
int compareDefaultIsConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port);
int compareDefaultFcConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port);
int compareDefaultGigeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port);
int compareDefaultHostGroupInfo(PropertiesHandle oldFile, PropertiesHandle newFile, int32_t index);

// Only the DHCP setting moves, and only while setting and address are still the old defaults.
int compareDefaultMgmtInfo(PropertiesHandle oldFile, PropertiesHandle newFile);

// The driver calls neither of these.
int compareDefaultSnmpConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile);
int compareDefaultChassisName(PropertiesHandle oldFile, PropertiesHandle newFile); // always -1

// Fills port and version of one of eight traps; -1 without a table, else 0.
int loadDefaultSnmpTrapsInfo(PropertiesHandle handle, SnmpTrap* traps, uint32_t trap);

// Makes the remote-access configuration files that are missing. Always 0.
int VerifyTelnetandSshConfigFiles();

} // namespace vx
