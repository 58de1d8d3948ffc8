// The sections that follow the general rule, as a table.
#include "upgrade/sections.h"

#include "settings/config_fields.h"
#include "upgrade/default_merge.h"

namespace vx {

namespace {

constexpr FieldGroup bridgeGroups[] = {bridgeSettings, bridgeDataMigration, bridgeForced};
constexpr FieldGroup cliGroups[] = {cliFields};
constexpr FieldGroup iscsiGroups[] = {ipPortNumbers, portState, ipv6Numbers};
constexpr FieldGroup gigeGroups[] = {ipPortNumbers};
// World-wide names are a port's own: they never move, so they are not read.
constexpr FieldGroup fcGroups[] = {fcNumbers};
constexpr FieldGroup hostGroupGroups[] = {hostGroupSettings};

constexpr Section bridgeSection = {"compareDefaultBridgeConfigInfo",
                                   244,
                                   "Updating Bridge Info\n",
                                   bridgePrefix,
                                   false,
                                   bridgeGroups,
                                   bridgeRecord};
constexpr Section cliSection = {"compareDefaultCliConfigInfo",
                                327,
                                "Updating CLI Info\n",
                                cliPrefix,
                                false,
                                cliGroups,
                                cliRecord};
constexpr Section iscsiSection = {"compareDefaultIsConfigInfo",
                                  537,
                                  "Updating iSCSI Port %d\n",
                                  iscsiPortPrefix,
                                  true,
                                  iscsiGroups,
                                  portRecord<PORT_TYPE_ISCSI>};
// The record is the iSCSI port's of that number, as that port's own merge left it.
constexpr Section gigeSection = {
    "compareDefaultGigeConfigInfo", 696, "Updating GE Port %d\n", gigePortPrefix, true, gigeGroups,
    portRecord<PORT_TYPE_ISCSI>};
constexpr Section fcSection = {
    "compareDefaultFcConfigInfo", 1051, "Updating FC Port %d\n", fcPortPrefix, true, fcGroups,
    portRecord<PORT_TYPE_FC>};
constexpr Section hostGroupSection = {"compareDefaultHostGroupInfo",
                                      1280,
                                      "Updating HostGroup Index %d\n",
                                      hostGroupPrefix,
                                      true,
                                      hostGroupGroups,
                                      hostGroupRecord};

} // namespace

int compareDefaultBridgeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return mergeSection(bridgeSection, oldFile, newFile);
}

int compareDefaultCliConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile) {
    return mergeSection(cliSection, oldFile, newFile);
}

int compareDefaultIsConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port) {
    return mergeSection(iscsiSection, oldFile, newFile, port);
}

int compareDefaultFcConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile, uint32_t port) {
    return mergeSection(fcSection, oldFile, newFile, port);
}

int compareDefaultGigeConfigInfo(PropertiesHandle oldFile, PropertiesHandle newFile,
                                 uint32_t port) {
    return mergeSection(gigeSection, oldFile, newFile, port);
}

int compareDefaultHostGroupInfo(PropertiesHandle oldFile, PropertiesHandle newFile, int32_t index) {
    return mergeSection(hostGroupSection, oldFile, newFile, static_cast<uint32_t>(index));
}

} // namespace vx
