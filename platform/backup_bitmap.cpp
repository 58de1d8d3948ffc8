#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include "common/files.h"

#include <cerrno>
#include <cstdint>

namespace {
// Bit n stands for the file of index n. A backup program reads the word and removes the file.
constexpr const char* bitmapPath = "/mnt/nand0/backup_bitmap.bin";
constexpr uint64_t everyFile = (uint64_t{2} << PSST_LAST_INDEX) - (uint64_t{1} << PSST_FIRST_INDEX);
} // namespace

int vxbackup_SetBackupBitmap(uint32_t fileIndex) {
    if (fileIndex < PSST_FIRST_INDEX || fileIndex > PSST_LAST_INDEX) {
        return -1;
    }
    uint64_t marked = 0;
    errno = 0; // a short read sets none
    bool const isRead = vx::readFile(bitmapPath, &marked, sizeof marked) == sizeof marked;
    if (!isRead) {
        // Absent: nothing is marked. Unreadable: marks would be lost, so every file is.
        marked = errno == ENOENT ? 0 : everyFile;
    }
    uint64_t const bitmap = marked | uint64_t{1} << fileIndex;
    if (isRead && bitmap == marked) {
        return 0; // spares the flash a write for every further record of a file
    }
    return vx::replaceFile(bitmapPath, &bitmap, sizeof bitmap);
}
