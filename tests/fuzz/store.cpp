// The store's initialisation and readers over files of any content. Inputs edit a store that is
// whole, so that most of it is reached whatever they damage.
#include "pmgr/psst_table.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/memory_files.h"

#include <vxblade/common.h>
#include <vxblade/mirror_sync.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/record_files.h>

#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using fuzz::require;

namespace {

// The files that initialisation and the readers look at, by index; the sequence number first.
constexpr int fileIndices[] = {
    PSST_SEQUENCE_INDEX, 1, 4, 6, 7, 8, 16, 18, 20, 27, 32, 33, 35, 36, 39, 40, 41, 42, 43};

const char* pathOf(int fileIndex, bool mirror) {
    return mirror ? psstFileMirrorPaths[fileIndex] : psstFilePrimaryPaths[fileIndex];
}

int openFile(const char* path) {
    int const fd = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    require(fd >= 0, "a file can be made");
    return fd;
}

// A file as the store makes it: a header, and zeros that take no memory. Large tables are short,
// which readers notice only behind their first records: reading them whole takes too long.
void makeWhole(int fileIndex) {
    const vx::PsstFile& file = vx::psstFile(fileIndex);
    int const fd = openFile(pathOf(fileIndex, false));
    PsstHeader header;
    CreateHeader(&header, vx::fileTypeOf(fileIndex));
    bool const written = ::write(fd, &header, sizeof header) == sizeof header;
    off_t const size =
        PSST_HEADER_LENGTH + (file.slots > 256 ? 4 * file.recordSize : vx::dataLengthOf(fileIndex));
    require(written && ::ftruncate(fd, size) == 0, "a file can be written");
    ::close(fd);
}

// Gives a VPD file the CRC of its data.
void seal(int fd) {
    VpdRecord record{};
    (void)!::pread(fd, &record, sizeof record, PSST_HEADER_LENGTH);
    uint32_t const crc = crc32(0, &record, sizeof record);
    (void)!::pwrite(fd, &crc, sizeof crc, offsetof(PsstHeader, crc));
}

// An edit: a file, a place in it, and a length with that many bytes or one of these.
void applyEdit(fuzz::Input& input) {
    constexpr uint8_t isMirror = 0x80;
    constexpr uint8_t removeFile = 255;
    constexpr uint8_t cutFile = 254;
    constexpr uint8_t sealFile = 253;
    uint8_t const selector = input.byte();
    int const fileIndex = fileIndices[(selector & 0x7FU) % std::size(fileIndices)];
    const char* const path = pathOf(fileIndex, (selector & isMirror) != 0);
    off_t const place = input.word();
    uint8_t const length = input.byte();
    if (length == removeFile) {
        ::unlink(path);
        return;
    }
    int const fd = openFile(path);
    if (length == cutFile) {
        require(::ftruncate(fd, place) == 0, "a file can be cut");
    } else if (length == sealFile) {
        seal(fd);
    } else {
        std::string_view const bytes = input.bytes(length);
        require(::pwrite(fd, bytes.data(), bytes.size(), place) ==
                    static_cast<ssize_t>(bytes.size()),
                "a file can be written");
    }
    ::close(fd);
}

// What callers get of an initialised store, as bytes.
std::string everyRecord() {
    std::string bytes;
    auto const add = [&bytes](auto record, auto get, auto... arguments) {
        (void)get(&record, arguments...);
        bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
    };
    add(BridgeConfig{}, vxpmgr_GetBridgeConfigInfo);
    add(CliConfig{}, vxpmgr_GetCliConfigInfo);
    add(MgmtPortConfig{}, vxpmgr_GetMgmtInfo);
    for (uint32_t type = PORT_TYPE_NONE; type <= PORT_TYPE_PCIE + 1U; ++type) {
        for (uint32_t const number : {0U, 7U, 31U, UINT32_MAX}) {
            add(PortParams{}, vxpmgr_GetPortParams, type, number);
        }
    }
    for (uint32_t index = 0; index <= 9; ++index) {
        add(HostGroupConfig{}, vxpmgr_GetHostGroup, index);
    }
    add(PasswordConfig{}, vxpmgr_GetPasswordInfo);
    add(SnmpConfig{}, vxpmgr_GetSnmpConfigInfo);
    add(VpdRecord{}, vxpmgr_GetVpdInfo);
    for (uint32_t client = 0; client < 3; ++client) {
        add(EventNotifyInfo{}, vxpmgr_GetEventNotifyInfo, client);
    }
    return bytes;
}

uint32_t lengthOf(const VXLIST& head, uint32_t limit) {
    uint32_t length = 0;
    for (const VXLIST* link = head.next; link != &head; link = link->next) {
        require(link->next->previous == link && ++length <= limit, "a list is whole");
    }
    return length;
}

// The lists of a table that was read, also where reading stopped half-way.
template <class Entry, std::size_t count>
void checkLists(const Entry (&entries)[count], PsstList list) {
    uint32_t const inUse = pmgr_cb->counts[list].inUse;
    uint32_t const unused = pmgr_cb->counts[list].free;
    if (inUse + unused == 0) {
        return; // never read
    }
    require(inUse + unused == count, "a slot is in use or free");
    require(lengthOf(pmgr_cb->lists[list].inUse.list, count) == inUse &&
                lengthOf(pmgr_cb->lists[list].free.list, count) == unused,
            "counts are those of the lists");
    auto const valid = std::ranges::count_if(
        entries, [](const Entry& entry) { return entry.record.valid == PSST_SLOT_VALID; });
    require(valid == inUse, "what is in use is valid");
}

void checkClients() {
    RegisteredClient client{};
    int clients = 0;
    for (int next = 0; (next = vxpmgr_getNextRegisteredClient(&client, next)) > 0;) {
        ++clients;
    }
    require(clients == static_cast<int>(pmgr_cb->counts[PSST_LIST_REGISTERED_CLIENTS].inUse),
            "each client is seen once");
    client = {};
    client.identityLength = sizeof client.identity;
    std::memset(client.identity, 'c', sizeof client.identity);
    bool const isNew = findRegisteredClient(&client) == nullptr;
    bool const isAdded = vxpmgr_addRegisteredClient(&client) == 0;
    require(isNew || !isAdded, "nobody is registered twice");
    if (isAdded) {
        RegisteredClientEntry* const entry = findRegisteredClient(&client);
        require(entry != nullptr && entry->record.valid == PSST_SLOT_VALID,
                "who is added is found");
        require(vxpmgr_delRegisteredClient(&client) == 0 &&
                    findRegisteredClient(&client) == nullptr,
                "who is removed is gone");
    }
}

// The files that initialisation leaves for later.
void readFurtherFiles() {
    if (ReadRegisteredClientInfo() == 0) {
        checkClients();
    }
    checkLists(RegisteredClients, PSST_LIST_REGISTERED_CLIENTS);
    (void)ReadCacheStorePhysDrvInfo();
    checkLists(CacheStorePhysDrvInfo, PSST_LIST_CACHE_STORE_DRIVES);
    CacheStorePhysDrv drive{};
    for (int next = 0; (next = vxpmgr_getNextCacheStorePhysDrvInfo(&drive, next)) > 0;) {
        require(findCacheStorePhysDrvInfoByDriveIndex(drive.driveIndex) != nullptr,
                "a drive is found by its index");
        uint8_t const name[32] = {};
        (void)vxpmgr_getCacheStorePhysDrvInfoByWwuln(name, drive.LunInfoIndex & 0xFFU, &drive);
    }
    (void)vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo(&drive);
    checkLists(CacheStorePhysDrvInfo, PSST_LIST_CACHE_STORE_DRIVES);
    (void)ReadPhysLunStripeTable();
    checkLists(PhysLunStripeTable, PSST_LIST_STRIPE_TABLE);
    (void)ReadClusterCachedLunAndPushToBA(); // as long a list again tells nothing more
    MigrationParam job{};
    (void)vxpmgr_GetMigrationParam(&job);
    ClusterMetaData metaData{};
    if (vxpmgr_UpdateClusterMetaData(&metaData) == 0) {
        require(ReadClusterMetaData() == 0, "what was written can be read");
    }
    uint64_t number = 0;
    (void)vxpmgr_GetSequenceNumber(1, &number);
}

// The bridge record in memory and on file.
void checkBridge() {
    BridgeConfig loaded{};
    BridgeConfig onFile{};
    (void)vxpmgr_GetBridgeConfigInfo(&loaded);
    int const fd = openFile(pathOf(PSST_CONFIG_INDEX, false));
    require(::pread(fd, &onFile, sizeof onFile, PSST_HEADER_LENGTH) == sizeof onFile &&
                std::memcmp(&loaded, &onFile, sizeof loaded) == 0,
            "what is loaded is what the file holds");
    ::close(fd);
}

// The lowest number that is free: it shows whether anything was left open.
int nextDescriptor() {
    int const fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(fd);
    return fd;
}

} // namespace

// Edits, one behind the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    int const descriptor = nextDescriptor();
    vpd_info.record = {}; // for the CRC in the headers of its files
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
    for (int const fileIndex : fileIndices) {
        makeWhole(fileIndex);
    }
    while (!input.empty()) {
        applyEdit(input);
    }
    if (vxpmgr_init_lite() == 0) {
        checkBridge();
        std::string records = everyRecord();
        PasswordConfig passwords;
        std::memset(&passwords, 'p', sizeof passwords);
        if (vxpmgr_UpdatePasswordInfo(&passwords) == 0) {
            records = everyRecord();
        }
        readFurtherFiles();
        require(vxpmgr_init_lite() == 0 && everyRecord() == records,
                "initialising again finds the same, and what was written through");
    } else {
        vxpmgr_create_files_on_upgrade();
    }
    close_all_files();
    fuzz::removeBladeFiles();
    require(nextDescriptor() == descriptor, "nothing is left open");
    return 0;
}
