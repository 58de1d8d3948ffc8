// Records and the sequence number between files and memory.
#include <vxblade/brapp.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include "common/files.h"
#include "store/control_block.h"
#include "store/psst_header.h"
#include "store/psst_table.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx {
namespace {

// ---- Places ----

// An open file and the offset of a transfer in it.
struct Target {
    int fileIndex;
    int fd;
    off_t offset;
};

// Nothing where the type has no records, the length is no length, the file is not open or the
// transfer reaches beyond the records: it would make the file grow, or take the next record's
// bytes.
std::optional<Target> targetOf(int32_t length, uint32_t type, uint32_t recordNumber, int mode) {
    std::optional<RecordPlace> const place = placeOf(type);
    if (!place || length < 0) {
        return std::nullopt;
    }
    int const fd = descriptorOf(place->fileIndex);
    if (fd < 1) {
        return std::nullopt;
    }
    if (mode == PSST_MODE_HEADER) {
        return Target{place->fileIndex, fd, 0};
    }
    off_t const offset = place->first + off_t{place->slotSize} * recordNumber;
    if (offset + length > off_t{place->end}) {
        return std::nullopt;
    }
    return Target{place->fileIndex, fd, offset};
}

// ---- Transfers ----

bool readAt(int fd, off_t offset, void* data, std::size_t size) {
    return ::lseek(fd, offset, SEEK_SET) == offset &&
           ::read(fd, data, size) == static_cast<ssize_t>(size);
}

// What is written is durable when this returns. The result of the sync is not looked at: the
// files are open with O_SYNC, and the write has said all there is to say.
bool writeSynced(int fd, off_t offset, const void* data, std::size_t size) {
    if (::lseek(fd, offset, SEEK_SET) != offset ||
        ::write(fd, data, size) != static_cast<ssize_t>(size)) {
        return false;
    }
    (void)::fsync(fd);
    return true;
}

int failTransfer(int fileIndex) {
    failDescriptor(fileIndex);
    return -1;
}

// ---- The sequence number ----

// The file is this header and nothing else. Its size and header length stay 0, unlike those of
// every other file.
PsstHeader sequenceHeader(uint64_t number) {
    PsstHeader header{};
    header.version = PSST_HEADER_VERSION;
    header.magic = PSST_MAGIC;
    header.type = PSST_SEQUENCE_NUMBER;
    header.sequenceLow = static_cast<uint32_t>(number);
    header.sequenceHigh = static_cast<uint32_t>(number >> 32);
    return header;
}

// A power cut between the file's creation and its first write leaves it empty.
bool isMissing(const char* path) {
    struct stat status {};
    return ::stat(path, &status) != 0 || status.st_size == 0;
}

} // namespace
} // namespace vx

using namespace vx;

int WritePsstFile(const void* buffer, int32_t length, uint32_t type, uint32_t recordNumber,
                  int mode) {
    auto const target = targetOf(length, type, recordNumber, mode);
    if (!target) {
        return -1;
    }
    // Order matters. The record is durable before its mirror changes, so that one side is whole
    // at any instant; the sequence number claims the change only after both hold it.
    if (!writeSynced(target->fd, target->offset, buffer, static_cast<std::size_t>(length))) {
        return failTransfer(target->fileIndex);
    }
    if (GetPeerStatus(PSST_PEER_MIRRORS) != 0) {
        (void)MirrorPsstFile(buffer, length, target->fileIndex, target->offset);
    }
    (void)UpdateSequenceNumber(1);
    (void)vxbackup_SetBackupBitmap(static_cast<uint32_t>(target->fileIndex));
    return 0;
}

int MirrorPsstFile(const void* buffer, int32_t length, int fileIndex, int64_t offset) {
    if (fileIndex < PSST_FIRST_INDEX || fileIndex > PSST_LAST_INDEX || length < 0) {
        return -1;
    }
    // No O_CREAT: a mirror that holds one record of many would pass for the whole file.
    Descriptor const mirror(openFile(psstFileMirrorPaths[fileIndex], O_RDWR | O_SYNC));
    return mirror.ok() && writeSynced(mirror.get(), static_cast<off_t>(offset), buffer,
                                      static_cast<std::size_t>(length))
               ? 0
               : -1;
}

int UpdateSequenceNumber(int increment) {
    if ((pmgr_cb->flags & PMGR_FLAG_SEQUENCE_STOPPED) != 0) {
        return 0;
    }
    if (increment != 0) {
        ++pmgr_cb->sequenceNumber;
    }
    int const fd = descriptorOf(PSST_SEQUENCE_INDEX);
    PsstHeader const header = sequenceHeader(pmgr_cb->sequenceNumber);
    // A failure leaves the file open: the next record tries again.
    if (fd < 1 || !writeSynced(fd, 0, &header, sizeof header)) {
        return -1;
    }
    (void)MirrorPsstFile(&header, sizeof header, PSST_SEQUENCE_INDEX, 0);
    (void)vxbackup_SetBackupBitmap(PSST_SEQUENCE_INDEX);
    return 0;
}

int ReadPsstFile(void* buffer, int32_t length, uint32_t type, uint32_t recordNumber, int mode) {
    auto const target = targetOf(length, type, recordNumber, mode);
    if (!target) {
        return -1;
    }
    return readAt(target->fd, target->offset, buffer, static_cast<std::size_t>(length))
               ? 0
               : failTransfer(target->fileIndex);
}

int ReadSequenceNumber(void) {
    const char* const path = psstFilePrimaryPaths[PSST_SEQUENCE_INDEX];
    bool const create = isMissing(path);
    if (openIntoSlot(PSST_SEQUENCE_INDEX, create ? O_RDWR | O_CREAT : O_RDWR) != 0) {
        return -1;
    }
    int const fd = descriptorOf(PSST_SEQUENCE_INDEX);
    PsstHeader header = sequenceHeader(0);
    if (create ? !writeSynced(fd, 0, &header, sizeof header)
               : !readAt(fd, 0, &header, sizeof header)) {
        return failTransfer(PSST_SEQUENCE_INDEX);
    }
    if (create) {
        (void)syncFolderOf(path);
    }
    pmgr_cb->sequenceNumber = sequenceNumberOf(header);
    return 0;
}

int GetPeerStatus(int /*kind*/) {
    return 1;
}

int GetLinkStatus(void) {
    uint8_t status = 0;
    return XBMGT_GetInterfaceLinkStatus(&status) == 0 ? 1 : 0;
}

int VX_isPeerBladeOperational(void) {
    return GetLinkStatus() != 0 ? 1 : 0;
}
