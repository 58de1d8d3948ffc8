#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include "common/files.h"
#include "store/control_block.h"
#include "store/psst_header.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int sequenceIndex = PSST_SEQUENCE_INDEX;

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

bool writeAtStart(int fd, const PsstHeader& header) {
    return ::lseek(fd, 0, SEEK_SET) == 0 && ::write(fd, &header, sizeof header) == sizeof header;
}

int failRead() {
    vx::failDescriptor(sequenceIndex);
    return -1;
}

// A power cut between the file's creation and its first write leaves it empty.
bool isMissing(const char* path) {
    struct stat status {};
    return ::stat(path, &status) != 0 || status.st_size == 0;
}

} // namespace

int UpdateSequenceNumber(int increment) {
    if ((pmgr_cb->flags & PMGR_FLAG_SEQUENCE_STOPPED) != 0) {
        return 0;
    }
    if (increment != 0) {
        ++pmgr_cb->sequenceNumber;
    }
    int const fd = vx::descriptorOf(sequenceIndex);
    if (fd < 1) {
        return -1;
    }
    PsstHeader const header = sequenceHeader(pmgr_cb->sequenceNumber);
    if (!writeAtStart(fd, header)) {
        return -1;
    }
    (void)::fsync(fd);
    (void)MirrorPsstFile(&header, sizeof header, sequenceIndex, 0);
    (void)vxbackup_SetBackupBitmap(sequenceIndex);
    return 0;
}

int ReadSequenceNumber(void) {
    const char* const path = psstFilePrimaryPaths[sequenceIndex];
    bool const create = isMissing(path);
    if (vx::openIntoSlot(sequenceIndex, create ? O_RDWR | O_CREAT : O_RDWR) != 0) {
        return -1;
    }
    int const fd = vx::descriptorOf(sequenceIndex);
    if (create) {
        if (!writeAtStart(fd, sequenceHeader(0))) {
            return failRead();
        }
        (void)::fsync(fd);
        (void)vx::syncFolderOf(path);
        pmgr_cb->sequenceNumber = 0;
        return 0;
    }
    PsstHeader header{};
    if (::lseek(fd, 0, SEEK_SET) != 0 || ::read(fd, &header, sizeof header) != sizeof header) {
        return failRead();
    }
    pmgr_cb->sequenceNumber = vx::sequenceNumberOf(header);
    return 0;
}
