// Configuration records: between the files, the tables in memory and callers.
#include <vxblade/config_api.h>

#include "store/psst_table.h"
#include "store/record_io.h"

#include <cstring>
#include <iterator>
#include <optional>
#include <span>

namespace vx {
namespace {

// The host groups' list links are beside the table, so that walking it touches no record.
VXLIST hostGroupLinks[8];

// Of an update's flags only the low byte counts.
bool writesThrough(uint32_t flags) {
    return (flags & 0xFF) != 0;
}

// The table entry of a port.
std::optional<std::size_t> portEntryOf(uint32_t type, uint32_t number) {
    std::size_t const entry = std::size_t{firstPortSlotOf(type)} + number;
    if (number >= std::size(port_configuration) || entry >= std::size(port_configuration)) {
        return std::nullopt;
    }
    return entry;
}

bool isIpPort(uint32_t type) {
    return type == PORT_TYPE_ISCSI || type == PORT_TYPE_GIGE;
}

// Copies what a port of the record's type carries: everything for an IP port, all but the IP
// settings for the others.
void copyPortParams(PortParams& to, const PortParams& from) {
    if (isIpPort(from.type)) {
        to = from;
        return;
    }
    to.flags = from.flags;
    to.type = from.type;
    to.number = from.number;
    constexpr std::size_t ipEnd = offsetof(PortParams, PortName);
    std::memcpy(reinterpret_cast<unsigned char*>(&to) + ipEnd,
                reinterpret_cast<const unsigned char*>(&from) + ipEnd, sizeof to - ipEnd);
}

// On these boards the words of an iSCSI port hold for this boot only: the file gets zeros.
bool keepsBoardWordsOffFile(uint32_t type) {
    return HwVer >= 256 && HwVer < 512 && type == PORT_TYPE_ISCSI;
}

constexpr uint32_t lastHostGroupIndex = 8;

// What a management record and its slot share: all up to the padding, and the two words after it.
void copyMgmtConfig(void* to, const void* from) {
    constexpr std::size_t words = offsetof(MgmtPortConfig, words76);
    std::memcpy(to, from, offsetof(MgmtPortConfig, padding74));
    std::memcpy(static_cast<unsigned char*>(to) + words,
                static_cast<const unsigned char*>(from) + words, sizeof(MgmtPortConfig::words76));
}

int writePort(PortEntry& port) {
    port.record.index = port.prefix.index;
    return writeEntry(port, PSST_PORT_CONFIG);
}

} // namespace
} // namespace vx

using namespace vx;

// ---- The configuration file: bridge, management port, ports ----

int ReadBridgeConfigFile(void) {
    int result = readFileInto(single(bridge_configuration), PSST_BRIDGE_CONFIG);
    if (result == 0) {
        result = readEntries(single(mgmt_port), PSST_MGMT_PORT);
    }
    return result == 0 ? readEntries(std::span(port_configuration), PSST_PORT_CONFIG) : result;
}

int WriteBridgeConfigFile(void* entry, uint32_t type) {
    switch (type) {
    case PSST_BRIDGE_CONFIG:
        return writeEntry(*static_cast<BridgeConfigEntry*>(entry), type);
    case PSST_MGMT_PORT:
        return writeEntry(*static_cast<MgmtPortEntry*>(entry), type);
    case PSST_PORT_CONFIG:
        return writePort(*static_cast<PortEntry*>(entry));
    default:
        return -1;
    }
}

int vxpmgr_GetBridgeConfigInfo(BridgeConfig* record) {
    *record = bridge_configuration.record;
    return 0;
}

int vxpmgr_UpdateBridgeConfigInfo(const BridgeConfig* record, uint32_t flags) {
    if (refusesWrites()) {
        return -1;
    }
    BridgeConfig& stored = bridge_configuration.record;
    stored = *record;
    std::memset(stored.volatile744, 0, sizeof stored.volatile744);
    return writesThrough(flags) ? writeEntry(bridge_configuration, PSST_BRIDGE_CONFIG) : 0;
}

int vxpmgr_GetCliConfigInfo(CliConfig* record) {
    *record = bridge_configuration.record.cli;
    return 0;
}

int vxpmgr_UpdateCliConfigInfo(const CliConfig* record) {
    if (refusesWrites()) {
        return -1;
    }
    bridge_configuration.record.cli = *record;
    return writeEntry(bridge_configuration, PSST_BRIDGE_CONFIG);
}

int vxpmgr_GetMgmtInfo(MgmtPortConfig* record) {
    *record = {};
    copyMgmtConfig(record, mgmt_port.record.config);
    return 0;
}

int vxpmgr_UpdateMgmtPortInfo(const MgmtPortConfig* record, uint32_t flags) {
    if (refusesWrites()) {
        return -1;
    }
    copyMgmtConfig(mgmt_port.record.config, record);
    return writesThrough(flags) ? writeEntry(mgmt_port, PSST_MGMT_PORT) : 0;
}

int vxpmgr_GetActualMgmtInfo(MgmtPortConfig* /*record*/) {
    return 0;
}

int vxpmgr_GetPortParams(PortParams* record, uint32_t type, uint32_t number) {
    if (type == PORT_TYPE_NONE) {
        return 0;
    }
    auto const entry = portEntryOf(type, number);
    if (!entry) {
        return -1;
    }
    *record = port_configuration[*entry].record.params;
    // A slot that was never written holds type 0 and number 0; an update of this record must
    // still come back to the port that was asked for.
    record->type = static_cast<uint16_t>(type);
    record->number = static_cast<uint16_t>(number);
    return 0;
}

int vxpmgr_UpdatePortParams(const PortParams* record, uint32_t flags) {
    if (refusesWrites()) {
        return -1;
    }
    if (record->type == PORT_TYPE_NONE) {
        return 0;
    }
    auto const number = portEntryOf(record->type, record->number);
    if (!number) {
        return -1;
    }
    PortEntry& entry = port_configuration[*number];
    copyPortParams(entry.record.params, *record);
    entry.record.marker = PORT_SLOT_MARKER;
    if (!writesThrough(flags)) {
        return 0;
    }
    auto& boardWords = entry.record.params.boardWords;
    bool const offFile = keepsBoardWordsOffFile(record->type);
    if (offFile) {
        std::memset(boardWords, 0, sizeof boardWords);
    }
    int const result = writePort(entry);
    if (offFile) {
        std::memcpy(boardWords, record->boardWords, sizeof boardWords);
    }
    return result;
}

// ---- Host groups ----

int ReadHostGroupFile(void) {
    std::span const groups = std::span(HostGroups).first<std::size(hostGroupLinks)>();
    int const result = readFileInto(groups, PSST_HOST_GROUP);
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

int vxpmgr_GetHostGroup(HostGroupConfig* record, uint32_t index) {
    if (index > lastHostGroupIndex) {
        return -1;
    }
    *record = HostGroups[index].record;
    return 0;
}

int vxpmgr_SetHostGroup(const HostGroupConfig* record, uint32_t index) {
    if (refusesWrites()) {
        return -1;
    }
    if (index > lastHostGroupIndex) {
        return -1;
    }
    HostGroupEntry& entry = HostGroups[index];
    entry.prefix.index = index;
    entry.record = *record;
    return WriteHostGroupFile(&entry) == 0 ? 0 : -1;
}

// ---- Passwords, SNMP, cluster metadata ----

int ReadPasswdFile(void) {
    return readFileInto(single(passwd_data), PSST_PASSWD);
}

int WritePasswdFile(const PasswordEntry* entry) {
    return writeEntry(*entry, PSST_PASSWD);
}

int vxpmgr_GetPasswordInfo(PasswordConfig* record) {
    *record = passwd_data.record.passwords;
    return 0;
}

int vxpmgr_UpdatePasswordInfo(const PasswordConfig* record) {
    if (refusesWrites()) {
        return -1;
    }
    passwd_data.record.passwords = *record;
    return WritePasswdFile(&passwd_data);
}

int ReadSnmpFile(void) {
    return readFileInto(single(snmp_info), PSST_SNMP);
}

int WriteSnmpFile(const SnmpEntry* entry) {
    return writeEntry(*entry, PSST_SNMP);
}

int vxpmgr_GetSnmpConfigInfo(SnmpConfig* record) {
    *record = snmp_info.record;
    return 0;
}

int vxpmgr_UpdateSnmpInfo(const SnmpConfig* record) {
    if (refusesWrites()) {
        return -1;
    }
    snmp_info.record = *record;
    return WriteSnmpFile(&snmp_info);
}

int ReadClusterMetaData(void) {
    return readFileInto(single(cluster_metadata), PSST_CLUSTER_METADATA);
}

int WriteClusterMetaData(const ClusterMetaDataEntry* entry) {
    return writeEntry(*entry, PSST_CLUSTER_METADATA);
}

int vxpmgr_GetClusterMetaData(ClusterMetaData* record) {
    *record = cluster_metadata.record.data;
    return 0;
}

int vxpmgr_UpdateClusterMetaData(const ClusterMetaData* record) {
    if (refusesWrites()) {
        return -1;
    }
    if (int const result = ReadClusterMetaData(); result != 0) {
        return result;
    }
    cluster_metadata.record.data = *record;
    cluster_metadata.record.data.flags = record->flags & CLUSTER_METADATA_FLAGS;
    return WriteClusterMetaData(&cluster_metadata);
}
