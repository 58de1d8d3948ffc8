#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include "common/files.h"
#include "store/control_block.h"
#include "store/psst_table.h"

#include <vxblade/brapp.h>

#include <fcntl.h>
#include <unistd.h>

namespace vx {
namespace {

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

bool seek(int fd, off_t offset) {
    return ::lseek(fd, offset, SEEK_SET) == offset;
}

} // namespace
} // namespace vx

int WritePsstFile(const void* buffer, int32_t length, uint32_t type, uint32_t recordNumber,
                  int mode) {
    auto const target = vx::targetOf(length, type, recordNumber, mode);
    if (!target) {
        return -1;
    }
    if (!vx::seek(target->fd, target->offset) ||
        ::write(target->fd, buffer, static_cast<size_t>(length)) != length) {
        vx::failDescriptor(target->fileIndex);
        return -1;
    }
    // Order matters. The record is durable before its mirror changes, so that one side is whole
    // at any instant; the sequence number claims the change only after both hold it.
    (void)::fsync(target->fd);
    if (GetPeerStatus(PSST_PEER_MIRRORS) != 0) {
        (void)MirrorPsstFile(buffer, length, target->fileIndex, target->offset);
    }
    (void)UpdateSequenceNumber(1);
    (void)vxbackup_SetBackupBitmap(static_cast<uint32_t>(target->fileIndex));
    return 0;
}

int ReadPsstFile(void* buffer, int32_t length, uint32_t type, uint32_t recordNumber, int mode) {
    auto const target = vx::targetOf(length, type, recordNumber, mode);
    if (!target) {
        return -1;
    }
    if (!vx::seek(target->fd, target->offset) ||
        ::read(target->fd, buffer, static_cast<size_t>(length)) != length) {
        vx::failDescriptor(target->fileIndex);
        return -1;
    }
    return 0;
}

int MirrorPsstFile(const void* buffer, int32_t length, int fileIndex, int64_t offset) {
    if (fileIndex < PSST_FIRST_INDEX || fileIndex > PSST_LAST_INDEX || length < 0) {
        return -1;
    }
    // No O_CREAT: a mirror that holds one record of many would pass for the whole file.
    vx::Descriptor const mirror(vx::openFile(psstFileMirrorPaths[fileIndex], O_RDWR | O_SYNC));
    if (!mirror.ok() || !vx::seek(mirror.get(), offset) ||
        ::write(mirror.get(), buffer, static_cast<size_t>(length)) != length) {
        return -1;
    }
    (void)::fsync(mirror.get());
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
