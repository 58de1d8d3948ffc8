// Readers of the SNMP and host-group sections.
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include "settings/config_fields.h"

#include <cstdio>
#include <iterator>

namespace vx {
namespace {

constexpr FieldGroup communityGroups[] = {snmpCommunities};
constexpr FieldGroup trapGroups[] = {snmpTrapFields};
constexpr FieldGroup hostGroupGroups[] = {hostGroupIndex, hostGroupSettings};

constexpr int trapCount = std::size(SnmpConfig{}.traps);

} // namespace
} // namespace vx

using namespace vx;

int readDefaultSnmpConfigInfo(PropertiesHandle handle) {
    SnmpConfig record{};
    loadFields(handle, snmpPrefix, communityGroups, &record);
    for (int trap = 0; trap < trapCount; ++trap) {
        (void)readDefaultSnmpTrapsInfo(handle, &record, trap);
    }
    return vxpmgr_UpdateSnmpInfo(&record);
}

int readDefaultSnmpTrapsInfo(PropertiesHandle handle, SnmpConfig* record, int trap) {
    if (record == nullptr || trap < 0 || trap >= trapCount) {
        return -1;
    }
    loadFields(handle, NumberedPrefix(snmpTrapPrefix, trap).text(), trapGroups,
               &record->traps[trap]);
    return 0;
}

int readDefaultHostGroupConfigInfo(PropertiesHandle handle, int group) {
    NumberedPrefix const prefix(hostGroupPrefix, group);
    std::printf("readDefaultHostGroupConfigInfo: %s and idx = %d \n", prefix.text(), group);
    HostGroupConfig record{};
    loadFields(handle, prefix.text(), hostGroupGroups, &record);
    return vxpmgr_SetHostGroup(&record, static_cast<uint32_t>(group));
}
