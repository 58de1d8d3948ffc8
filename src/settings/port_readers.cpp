// Readers of the port sections.
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include "settings/config_fields.h"

#include <cstdio>

namespace vx {
namespace {

constexpr FieldGroup iscsiGroups[] = {ipPortIdentity, ipPortNumbers, ipv6Addresses, ipv6Numbers};
constexpr FieldGroup iscsiIpv6Groups[] = {ipv6Addresses, ipv6Numbers};
constexpr FieldGroup gigeGroups[] = {ipPortIdentity, ipPortNumbers};
constexpr FieldGroup fcGroups[] = {fcNames, fcNumbers};

constexpr uint16_t validFlag = 1;

// A fresh record of a port with its section's values, stored.
int readPort(PropertiesHandle handle, const char* prefix, FieldGroups groups, PortType type,
             int port, uint16_t flags = 0) {
    PortParams record{};
    record.flags = flags;
    record.type = static_cast<uint16_t>(type);
    record.number = static_cast<uint16_t>(port);
    loadFields(handle, prefix, groups, &record);
    return vxpmgr_UpdatePortParams(&record, PSST_WRITE_THROUGH);
}

} // namespace
} // namespace vx

using namespace vx;

int readDefaultIsConfigInfo(PropertiesHandle handle, int port) {
    NumberedPrefix const prefix(iscsiPortPrefix, port);
    return readPort(handle, prefix.text(), iscsiGroups, PORT_TYPE_ISCSI, port);
}

int readDefaultIsIPv6ConfigInfo(PropertiesHandle handle, int port, PortParams* record) {
    loadFields(handle, NumberedPrefix(iscsiPortPrefix, port).text(), iscsiIpv6Groups, record);
    return vxpmgr_UpdatePortParams(record, PSST_WRITE_THROUGH);
}

int readDefaultFcConfigInfo(PropertiesHandle handle, int port) {
    NumberedPrefix const prefix(fcPortPrefix, port);
    std::printf("readDefaultFcConfigInfo: %s\n", prefix.text());
    return readPort(handle, prefix.text(), fcGroups, PORT_TYPE_FC, port);
}

int readDefaultGigeConfigInfo(PropertiesHandle handle, int port) {
    NumberedPrefix const prefix(gigePortPrefix, port);
    return readPort(handle, prefix.text(), gigeGroups, PORT_TYPE_GIGE, port);
}

int readDefaultPcieConfigInfo(PropertiesHandle handle, int port) {
    NumberedPrefix const prefix(pciePortPrefix, port);
    std::printf("readDefaultPcieConfigInfo: %s\n", prefix.text());
    return readPort(handle, prefix.text(), {}, PORT_TYPE_PCIE, port, validFlag);
}
