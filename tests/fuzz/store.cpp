// The store's initialisation and readers over files of any content. Inputs edit a store that is
// whole, so that most of it is reached whatever they damage.
#include "store/psst_table.h"
#include "store/record_io.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/memory_files.h"

#include <vxblade/common.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/record_files.h>

#include <cstring>
#include <iterator>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using fuzz::require;

namespace {

// The files that initialisation and the readers look at, by index; the sequence number first.
constexpr int fileIndices[] = {
    PSST_SEQUENCE_INDEX, 1, 4, 6, 7, 8, 16, 18, 20, 27, 32, 33, 35, 36, 39, 40, 41, 42, 43};

// Initialisation opens the files from here on and leaves loading them for later.
constexpr int firstFurtherFile = 33;

const char* pathOf(int fileIndex, bool mirror) {
    return mirror ? psstFileMirrorPaths[fileIndex] : psstFilePrimaryPaths[fileIndex];
}

int openFile(const char* path) {
    int const fd = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    require(fd >= 0, "a file can be made");
    return fd;
}

// Reading a large table whole, or making it, takes too long for a fuzz target.
bool isLarge(int fileIndex) {
    return vx::psstFile(fileIndex).slots > 256 || vx::fileTypeOf(fileIndex) == PSST_LOGICAL_LUN;
}

// A file as the store makes it: a header, and zeros that take no memory. Large tables are short,
// which readers notice only behind their first records.
void makeWhole(int fileIndex) {
    int const fd = openFile(pathOf(fileIndex, false));
    PsstHeader header;
    CreateHeader(&header, vx::fileTypeOf(fileIndex));
    bool const written = ::write(fd, &header, sizeof header) == sizeof header;
    off_t const size =
        PSST_HEADER_LENGTH +
        (isLarge(fileIndex) ? 4 * vx::psstFile(fileIndex).recordSize : vx::dataLengthOf(fileIndex));
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

// An edit: a file, a place in it, and a length with that many bytes or one of these. Returns the
// file's index.
int applyEdit(fuzz::Input& input) {
    constexpr uint8_t isMirror = 0x80;
    constexpr uint8_t removeFile = 255;
    constexpr uint8_t cutFile = 254;
    constexpr uint8_t sealFile = 253;
    uint8_t const selector = input.byte();
    int const fileIndex = fileIndices[(selector & 0x7FU) % std::size(fileIndices)];
    const char* const path = pathOf(fileIndex, (selector & isMirror) != 0);
    off_t const place = input.word();
    uint8_t const length = input.byte();
    if (isLarge(fileIndex) && (length == removeFile || length == cutFile)) {
        return fileIndex;
    }
    if (length == removeFile) {
        ::unlink(path);
        return fileIndex;
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
    return fileIndex;
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
    for (uint32_t type = PORT_TYPE_FC; type <= PORT_TYPE_PCIE + 1U; ++type) {
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

void readFurtherFiles() {
    (void)ReadRegisteredClientInfo();
    RegisteredClient client{};
    client.identityLength = sizeof client.identity;
    (void)findRegisteredClient(&client);
    (void)ReadCacheStorePhysDrvInfo();
    CacheStorePhysDrv drive{};
    for (int next = 0; (next = vxpmgr_getNextCacheStorePhysDrvInfo(&drive, next)) > 0;) {
        require(findCacheStorePhysDrvInfoByDriveIndex(drive.driveIndex) != nullptr,
                "a drive is found by its index");
    }
    (void)ReadPhysLunStripeTable();
    (void)ReadClusterCachedLunAndPushToBA();
    MigrationParam job{};
    (void)vxpmgr_GetMigrationParam(&job);
    (void)ReadClusterMetaData();
}

// The record of the first VPD file that is whole.
std::optional<VpdRecord> wholeVpd() {
    for (uint32_t const type : {PSST_VPD, PSST_VPD_BACKUP}) {
        int const fd = ::open(pathOf(vx::fileIndexOf(type), false), O_RDONLY | O_CLOEXEC);
        PsstHeader header{};
        VpdRecord record{};
        bool const isWhole =
            ::pread(fd, &header, sizeof header, 0) == sizeof header &&
            ::pread(fd, &record, sizeof record, PSST_HEADER_LENGTH) == sizeof record &&
            vx::isValidHeader(header, type) && header.crc == crc32(0, &record, sizeof record);
        ::close(fd);
        if (isWhole) {
            return record;
        }
    }
    return std::nullopt;
}

int openDescriptors() {
    int count = 0;
    for (int fd = 0; fd < 100; ++fd) { // the layer gets the lowest numbers
        count += ::fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
    }
    return count;
}

} // namespace

// Edits, one behind the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    int const open = openDescriptors();
    vpd_info.record = {}; // for the CRC in the headers of its files
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
    for (int const fileIndex : fileIndices) {
        makeWhole(fileIndex);
    }
    bool hasFurtherEdits = false;
    while (!input.empty()) {
        hasFurtherEdits = applyEdit(input) >= firstFurtherFile || hasFurtherEdits;
    }
    std::optional<VpdRecord> const vpd = wholeVpd();
    if (vxpmgr_init_lite() == 0) {
        require(!vpd || std::memcmp(&*vpd, &vpd_info.record, sizeof *vpd) == 0,
                "the first whole VPD file is loaded");
        std::string records = everyRecord();
        PasswordConfig passwords;
        std::memset(&passwords, 'p', sizeof passwords);
        if (vxpmgr_UpdatePasswordInfo(&passwords) == 0) {
            records = everyRecord();
        }
        if (hasFurtherEdits) {
            readFurtherFiles();
        }
        require(vxpmgr_init_lite() == 0 && everyRecord() == records,
                "initialising again finds the same, and what was written through");
    } else {
        vxpmgr_create_files_on_upgrade();
    }
    close_all_files();
    fuzz::removeBladeFiles();
    require(openDescriptors() == open, "nothing is left open");
    return 0;
}
