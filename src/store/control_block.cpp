#include "store/control_block.h"

#include "common/files.h"
#include "common/heap.h"
#include "store/psst_table.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

BridgeConfigEntry bridge_configuration;
MgmtPortEntry mgmt_port;
PortEntry port_configuration[PORT_SLOTS];
HostGroupEntry HostGroups[9];
PasswordEntry passwd_data;
SnmpEntry snmp_info;
VpdEntry vpd_info;
ClusterMetaDataEntry cluster_metadata;
DmGlobalsEntry dm_globals;
FcipEntry Fcip[16];
TargetDeviceEntry TargetDevices[512];
LogicalLunEntry LogicalLuns[256];
WriteCacheMarkerEntry WriteCacheMarker;
StoragePoolEntry StoragePoolInfo[32];
EventNotifyEntry eventnotify_info;
ClusterMemberEntry ClusterMemberInfo;
CacheStorePhysDrvEntry CacheStorePhysDrvInfo[36];
RegisteredClientEntry RegisteredClients[256];
MigrationParamEntry migration_param;
PhysLunStripeEntry PhysLunStripeTable[1536];
ClusterCachedLunEntry ClusterCachedLuns[4096];
LunInfo LunInfoTable[4096];

PmgrControlBlock pmgr_control_block;
PmgrControlBlock* pmgr_cb = &pmgr_control_block;
uint8_t scratch_pad[94008];
uint8_t* zero_scrath_pad = nullptr;
uint16_t HwVer = 0;

namespace vx {

namespace {

struct Table {
    void* memory;
    std::size_t size;
};

const Table tables[] = {
    {&bridge_configuration, sizeof bridge_configuration},
    {&dm_globals, sizeof dm_globals},
    {&mgmt_port, sizeof mgmt_port},
    {port_configuration, sizeof port_configuration},
    {&passwd_data, sizeof passwd_data},
    {&snmp_info, sizeof snmp_info},
    {&vpd_info, sizeof vpd_info},
    {Fcip, sizeof Fcip},
    {HostGroups, sizeof HostGroups},
    {TargetDevices, sizeof TargetDevices},
    {LogicalLuns, sizeof LogicalLuns},
    {&WriteCacheMarker, sizeof WriteCacheMarker},
    {StoragePoolInfo, sizeof StoragePoolInfo},
    {&eventnotify_info, sizeof eventnotify_info},
    {&ClusterMemberInfo, sizeof ClusterMemberInfo},
    {CacheStorePhysDrvInfo, sizeof CacheStorePhysDrvInfo},
    {&cluster_metadata, sizeof cluster_metadata},
    {RegisteredClients, sizeof RegisteredClients},
    {&migration_param, sizeof migration_param},
};

// Zeroes a table. Its whole pages are given back to the kernel, which makes them zeros again when
// they are next used: neither read nor written now, they cost no page fault and no memory.
void clear(const Table& table) {
    auto const page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    auto* const bytes = static_cast<unsigned char*>(table.memory);
    std::size_t const before = (page - reinterpret_cast<std::uintptr_t>(bytes) % page) % page;
    std::size_t const whole = table.size < before ? 0 : (table.size - before) / page * page;
    if (whole == 0 || ::madvise(bytes + before, whole, MADV_DONTNEED) != 0) {
        std::memset(bytes, 0, table.size);
        return;
    }
    std::memset(bytes, 0, before);
    std::memset(bytes + before + whole, 0, table.size - before - whole);
}

bool hasSlot(int fileIndex) {
    return fileIndex >= PSST_FIRST_INDEX && fileIndex <= PSST_LAST_INDEX;
}

} // namespace

int descriptorOf(int fileIndex) {
    return hasSlot(fileIndex) ? pmgr_cb->descriptors[fileIndex] : -1;
}

bool refusesWrites() {
    if ((pmgr_cb->flags & PMGR_FLAG_READ_ONLY) == 0) {
        return false;
    }
    errno = EROFS;
    return true;
}

int openPsstFile(int fileIndex, int flags) {
    // Non-blocking: no other program is waited for, whatever is in the file's place.
    return openFile(psstFilePrimaryPaths[fileIndex],
                    refusesWrites() ? O_RDONLY | O_NONBLOCK : flags | O_SYNC);
}

void keepDescriptor(int fileIndex, int fd) {
    closeDescriptor(fileIndex);
    pmgr_cb->descriptors[fileIndex] = fd;
}

int openIntoSlot(int fileIndex, int flags) {
    int const fd = descriptorOf(fileIndex) < 0 ? -1 : openPsstFile(fileIndex, flags);
    if (fd < 0) {
        return -1;
    }
    keepDescriptor(fileIndex, fd);
    return 0;
}

void closeDescriptor(int fileIndex) {
    int32_t& slot = pmgr_cb->descriptors[fileIndex];
    if (slot > 0) {
        ::close(slot);
        slot = 0;
    }
}

void failDescriptor(int fileIndex) {
    closeDescriptor(fileIndex);
    pmgr_cb->descriptors[fileIndex] = -1;
}

void copyChanged(void* to, const void* from, std::size_t size, Content content) {
    if (content == Content::zeros ? !isFilled(from, size, 0) : std::memcmp(to, from, size) != 0) {
        std::memcpy(to, from, size);
    }
}

} // namespace vx

void close_all_files(void) {
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        vx::closeDescriptor(index);
        pmgr_cb->descriptors[index] = 0;
    }
}

void InitDatabaseLite(void) {
    close_all_files();
    pmgr_cb = &pmgr_control_block;
    pmgr_control_block = {};
    for (const vx::Table& table : vx::tables) {
        vx::clear(table);
    }
    for (auto& list : pmgr_cb->lists) {
        VXLIST_init_listhead(&list.inUse.list);
        VXLIST_init_listhead(&list.free.list);
    }
    uint32_t number = 0;
    for (PortEntry& port : port_configuration) {
        port.prefix.kind = PSST_PORT_CONFIG;
        port.prefix.index = number++;
    }
    pmgr_cb->expectedHeaderVersion = PSST_HEADER_VERSION;
    pmgr_cb->headerLength = PSST_HEADER_LENGTH;
    HwVer = 0;
}
