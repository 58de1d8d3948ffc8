#include "store/record_io.h"

#include "common/crc32.h"
#include "common/files.h"
#include "store/psst_table.h"

#include <vxblade/platform.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

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

bool mirrorFailed = false;

bool readAt(int fd, off_t offset, void* data, std::size_t size) {
    return ::pread(fd, data, size, offset) == static_cast<ssize_t>(size);
}

// Writes, and returns when that is durable. The sync's own result is not looked at: the files are
// open with O_SYNC, so that the write has told of a failure.
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

// ---- Headers ----

uint32_t headerSizeOf(uint32_t type) {
    // The management port's records are never announced by a header of their own; the sizes of
    // bare headers are those of such codes and of codes that no file has.
    if (type == PSST_MGMT_PORT || type < PSST_BRIDGE_CONFIG || type > PSST_CACHED_LUN) {
        return PSST_HEADER_LENGTH;
    }
    return psstFile(fileIndexOf(type)).size;
}

// A power cut between the file's creation and its first write leaves it empty.
bool isMissing(const char* path) {
    struct stat status {};
    return ::stat(path, &status) != 0 || status.st_size == 0;
}

} // namespace

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

bool isValidHeader(const PsstHeader& header, uint32_t type) {
    return header.magic == PSST_MAGIC && header.fileSize != 0 && header.type == type;
}

int checkHeader(uint32_t type) {
    PsstHeader header{};
    int const result = ReadHeader(&header, type);
    if (result < 0) {
        return result;
    }
    return isValidHeader(header, type) ? 0 : -1;
}

int readRecords(uint32_t type, uint32_t number, const Records& into) {
    auto* to = static_cast<unsigned char*>(into.first);
    for (std::size_t left = into.count; left > 0;) {
        std::size_t const batch = std::min(left, sizeof scratch_pad / into.size);
        auto const length = static_cast<ssize_t>(batch * into.size);
        auto const target = targetOf(static_cast<int32_t>(length), type, number, PSST_MODE_RECORD);
        if (!target) {
            return -1;
        }
        ssize_t const got =
            ::pread(target->fd, scratch_pad, static_cast<std::size_t>(length), target->offset);
        for (ssize_t end = static_cast<ssize_t>(into.size); end <= got;
             end += static_cast<ssize_t>(into.size), to += into.stride) {
            copyChanged(to, scratch_pad + end - into.size, into.size, into.content);
        }
        if (got != length) {
            return failTransfer(target->fileIndex);
        }
        number += static_cast<uint32_t>(batch);
        left -= batch;
    }
    return 0;
}

bool takeMirrorFailure() {
    return std::exchange(mirrorFailed, false);
}

} // namespace vx

using namespace vx;

int WritePsstFile(const void* buffer, int32_t length, uint32_t type, uint32_t recordNumber,
                  int mode) {
    if (refusesWrites()) {
        return -1;
    }
    auto const target = targetOf(length, type, recordNumber, mode);
    if (!target) {
        return -1;
    }
    // The order makes every instant safe. First the record, durably, so that one side is whole
    // while the other changes.
    if (!writeSynced(target->fd, target->offset, buffer, static_cast<std::size_t>(length))) {
        return failTransfer(target->fileIndex);
    }
    // Then its mirror. From here on nothing fails the write: the record is there.
    if (GetPeerStatus(PSST_PEER_MIRRORS) != 0 &&
        MirrorPsstFile(buffer, length, target->fileIndex, target->offset) != 0) {
        mirrorFailed = true;
    }
    // Then the number, which claims the change for both sides.
    (void)UpdateSequenceNumber(1);
    // Last the mark for the next backup, which copies whole files.
    (void)vxbackup_SetBackupBitmap(static_cast<uint32_t>(target->fileIndex));
    return 0;
}

int MirrorPsstFile(const void* buffer, int32_t length, int fileIndex, int64_t offset) {
    if (refusesWrites()) {
        return -1;
    }
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
    if (refusesWrites()) {
        return -1;
    }
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

int WriteHeader(const PsstHeader* header) {
    return WritePsstFile(header, sizeof *header, header->type, 0, PSST_MODE_HEADER);
}

int WriteZeroFile(int fileIndex, uint32_t length) {
    if (refusesWrites()) {
        return -1;
    }
    constexpr uint32_t chunkSize = 131072;
    if (zero_scrath_pad == nullptr) {
        zero_scrath_pad = static_cast<uint8_t*>(std::calloc(1, chunkSize));
        if (zero_scrath_pad == nullptr) {
            return -1;
        }
    }
    int const fd = descriptorOf(fileIndex);
    if (fd < 1) {
        return -1;
    }
    for (uint32_t done = 0; done < length;) {
        uint32_t const chunk = std::min(length - done, chunkSize);
        if (!writeSynced(fd, off_t{PSST_HEADER_LENGTH} + done, zero_scrath_pad, chunk)) {
            return -1; // the caller removes what it could not finish
        }
        done += chunk;
    }
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

int ReadHeader(PsstHeader* header, uint32_t type) {
    return ReadPsstFile(header, sizeof *header, type, 0, PSST_MODE_HEADER);
}

int ReadSequenceNumber(void) {
    const char* const path = psstFilePrimaryPaths[PSST_SEQUENCE_INDEX];
    bool const create = isMissing(path);
    if ((create && refusesWrites()) ||
        openIntoSlot(PSST_SEQUENCE_INDEX, create ? O_RDWR | O_CREAT : O_RDWR) != 0) {
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

void CreateHeader(PsstHeader* header, uint32_t type) {
    *header = {};
    header->version = PSST_HEADER_VERSION;
    header->magic = PSST_MAGIC;
    header->fileSize = headerSizeOf(type);
    header->type = type;
    header->headerLength = PSST_HEADER_LENGTH;
    if (type == PSST_VPD || type == PSST_VPD_BACKUP) {
        header->crc = crc32Of(0, &vpd_info.record, sizeof vpd_info.record);
    }
}

int GetPeerStatus(int /*kind*/) {
    return 1;
}
