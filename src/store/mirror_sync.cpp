#include <vxblade/brapp.h>
#include <vxblade/mirror_sync.h>
#include <vxblade/platform.h>

#include "common/crc32.h"
#include "common/files.h"
#include "common/shell.h"
#include "common/streams.h"
#include "store/psst_table.h"
#include "store/record_io.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx {
namespace {

constexpr std::size_t commandSize = 128;
using Command = std::array<char, commandSize>;

// The copy command; false where it does not fit, because half of it would copy something else.
bool copyCommand(const char* from, const char* to, Command& command) {
    command.fill('\0');
    int const length =
        std::snprintf(command.data(), command.size(), "dd if=%s of=%s bs=512k", from, to);
    return length >= 0 && static_cast<std::size_t>(length) < command.size();
}

bool differ(int fileIndex) {
    return ComparePsst(psstFilePrimaryPaths[fileIndex], psstFileMirrorPaths[fileIndex]) != 0;
}

// Copies a primary to its mirror; the command is reported where it fails.
int copyToMirror(int fileIndex) {
    Command command;
    if (copyCommand(psstFilePrimaryPaths[fileIndex], psstFileMirrorPaths[fileIndex], command) &&
        VX_systemWrapper(command.data()) == 0) {
        return 0;
    }
    printError("%s failed\n", command.data());
    return -1;
}

// Copies until the pair is equal.
int syncPair(int fileIndex) {
    constexpr unsigned pauseSeconds = 2;
    for (bool again = false; differ(fileIndex); again = true) {
        bool const interrupted = again && ::sleep(pauseSeconds) != 0;
        if (interrupted || copyToMirror(fileIndex) != 0) {
            return -1;
        }
    }
    return 0;
}

bool isReserved(int fileIndex) {
    return psstFile(fileIndex).layout == Layout::reserved;
}

} // namespace
} // namespace vx

using namespace vx;

int vxpmgr_Sync(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    if (refusesWrites()) {
        return -1;
    }
    vxpmgr_create_mirror_paths(a, b, c, d);
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        if (index != PSST_SEQUENCE_INDEX && !isReserved(index) && syncPair(index) != 0) {
            return -1;
        }
    }
    // Last, so that the mirror claims the new state only once it holds it.
    if (differ(PSST_SEQUENCE_INDEX)) {
        Command command;
        if (copyCommand(psstFilePrimaryPaths[PSST_SEQUENCE_INDEX],
                        psstFileMirrorPaths[PSST_SEQUENCE_INDEX], command)) {
            (void)VX_systemWrapper(command.data());
        }
    }
    return 0;
}

int vxpmgr_CopyFiles(uint32_t direction) {
    if (refusesWrites()) {
        return -1;
    }
    vxpmgr_create_mirror_paths(direction, 0, 0, 0);
    if (direction > 1) {
        return -1;
    }
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        if (isReserved(index)) {
            continue;
        }
        const char* const primary = psstFilePrimaryPaths[index];
        const char* const mirror = psstFileMirrorPaths[index];
        Command command;
        if (copyCommand(direction == 0 ? primary : mirror, direction == 0 ? mirror : primary,
                        command)) {
            (void)runShell(command.data());
        }
    }
    return 0;
}

int ComparePsst(const char* primary, const char* mirror) {
    struct stat primaryStatus {};
    struct stat mirrorStatus {};
    if (::stat(primary, &primaryStatus) != 0) {
        return 0;
    }
    if (::stat(mirror, &mirrorStatus) != 0) {
        return -1;
    }
    return ComputeFileCrc(primary, 0, primaryStatus.st_size) ==
                   ComputeFileCrc(mirror, 0, mirrorStatus.st_size)
               ? 0
               : -1;
}

uint32_t ComputeFileCrc(const char* path, int64_t start, int64_t end) {
    Stream const file = openStream(path);
    if (file == nullptr || ::fseeko(file.get(), static_cast<off_t>(start), SEEK_SET) != 0) {
        return 0;
    }
    std::array<unsigned char, 1024> buffer{};
    uint32_t crc = 0;
    for (int64_t position = start; position < end;) {
        auto const wanted =
            static_cast<std::size_t>(std::min<int64_t>(end - position, buffer.size()));
        std::size_t const got = std::fread(buffer.data(), 1, wanted, file.get());
        if (got == 0) {
            break;
        }
        crc = crc32Of(crc, buffer.data(), static_cast<int>(got));
        position += static_cast<int64_t>(got);
    }
    return crc;
}

int vxpmgr_GetSequenceNumber(int side, uint64_t* number) {
    if (side == 0) {
        *number = pmgr_cb->sequenceNumber;
        return 0;
    }
    Descriptor const file(
        openFile(psstFileMirrorPaths[PSST_SEQUENCE_INDEX], O_RDONLY | O_NONBLOCK));
    PsstHeader header{};
    if (!file.ok() || ::read(file.get(), &header, sizeof header) != sizeof header) {
        return -1;
    }
    *number = sequenceNumberOf(header);
    return 0;
}

int CreatePeerPsstFile(int fileIndex) {
    if (refusesWrites()) {
        return -1;
    }
    if (GetPeerStatus(PSST_PEER_MIRRORS) == 0 || isReserved(fileIndex)) {
        return -1;
    }
    const char* const path = psstFileMirrorPaths[fileIndex];
    return fileExists(path) ? -1 : openFile(path, O_RDWR | O_CREAT | O_SYNC);
}

int vxpmgr_validate_headers(void) {
    if (refusesWrites()) {
        return -1;
    }
    // The order is the field's. Left out are files whose headers say more than their type (VPD, the
    // keys, the sequence number) and those that later firmware made with theirs.
    constexpr uint32_t types[] = {
        PSST_BRIDGE_CONFIG,
        PSST_INITIATOR,
        PSST_NODE,
        PSST_DEVICE,
        PSST_LUN,
        PSST_PASSWD,
        PSST_VIRTUAL_INITIATOR,
        PSST_REMOTE,
        PSST_REMOTE_MAP,
        PSST_FCIP,
        PSST_LUN_INFO,
        PSST_MIGRATION,
        PSST_EXT_MIGRATION,
        PSST_LUN_MAP,
        PSST_HOST_GROUP,
        PSST_MIGR_GROUP,
        PSST_DM_GLOBALS,
        PSST_LOGICAL_LUN,
        PSST_WRITE_CACHE_MARKER,
        PSST_STORAGE_POOL,
        PSST_CONNECTIONS,
        PSST_EVENT_NOTIFY,
        PSST_REGISTERED_CLIENTS,
    };
    for (uint32_t const type : types) {
        PsstHeader header;
        CreateHeader(&header, type);
        (void)WriteHeader(&header);
    }
    return 0;
}

int GetLinkStatus(void) {
    uint8_t status = 0;
    return XBMGT_GetInterfaceLinkStatus(&status) == 0 ? 1 : 0;
}

int VX_isPeerBladeOperational(void) {
    return GetLinkStatus() != 0 ? 1 : 0;
}
