// Readers and writers of the record files: between the files and the tables in memory.
#include <vxblade/pmgr.h>

#include "store/loader.h"

#include <iterator>
#include <span>

namespace vx {
namespace {

// The host groups' list links stand beside the table, so that walking it touches no record.
VXLIST hostGroupLinks[8];

} // namespace
} // namespace vx

using namespace vx;

int ReadBridgeConfigFile(void) {
    int result = loadFile(PSST_BRIDGE_CONFIG, single(bridge_configuration));
    if (result == 0) {
        result = loadEntries(PSST_MGMT_PORT, single(mgmt_port));
    }
    return result == 0 ? loadEntries(PSST_PORT_CONFIG, std::span(port_configuration)) : result;
}

int WriteBridgeConfigFile(void* entry, uint32_t type) {
    switch (type) {
    case PSST_BRIDGE_CONFIG:
        return writeEntry(*static_cast<BridgeConfigEntry*>(entry), type);
    case PSST_MGMT_PORT:
        return writeEntry(*static_cast<MgmtPortEntry*>(entry), type);
    case PSST_PORT_CONFIG: {
        auto* port = static_cast<PortEntry*>(entry);
        port->record.index = port->prefix.index;
        return writeEntry(*port, type);
    }
    default:
        return -1;
    }
}

int ReadTargetDeviceFile(void) {
    return loadFile(PSST_DEVICE, std::span(TargetDevices));
}

int ReadHostGroupFile(void) {
    std::span const groups = std::span(HostGroups).first<std::size(hostGroupLinks)>();
    int const result = loadFile(PSST_HOST_GROUP, groups);
    if (result != 0) {
        return result;
    }
    auto& list = pmgr_cb->lists[PSST_LIST_HOST_GROUPS].inUse.list;
    VXLIST_init_listhead(&list);
    for (std::size_t i = 0; i < groups.size(); ++i) {
        groups[i].prefix.index = static_cast<uint32_t>(i);
        VXLIST_insert_on_list_tail(&list, &hostGroupLinks[i]);
    }
    pmgr_cb->counts[PSST_LIST_HOST_GROUPS].inUse = static_cast<uint32_t>(groups.size());
    return 0;
}

int WriteHostGroupFile(HostGroupEntry* entry) {
    entry->record.slot = entry->prefix.index;
    return writeEntry(*entry, PSST_HOST_GROUP);
}

int ReadPasswdFile(void) {
    return loadFile(PSST_PASSWD, single(passwd_data));
}

int WritePasswdFile(const PasswordEntry* entry) {
    return writeEntry(*entry, PSST_PASSWD);
}

int ReadSnmpFile(void) {
    return loadFile(PSST_SNMP, single(snmp_info));
}

int WriteSnmpFile(const SnmpEntry* entry) {
    return writeEntry(*entry, PSST_SNMP);
}

int WriteVpdFile(const VpdEntry* entry, uint32_t type) {
    return type == PSST_VPD || type == PSST_VPD_BACKUP ? writeEntry(*entry, type) : -1;
}

int WriteExtMigrationFile(const ExtMigrationEntry* entry) {
    return writeEntry(*entry, PSST_EXT_MIGRATION);
}

int ReadClusterMetaData(void) {
    return loadFile(PSST_CLUSTER_METADATA, single(cluster_metadata));
}

int WriteClusterMetaData(const ClusterMetaDataEntry* entry) {
    return writeEntry(*entry, PSST_CLUSTER_METADATA);
}
