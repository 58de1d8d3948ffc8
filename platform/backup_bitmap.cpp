#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include "platform/files.h"

#include <cstdint>

namespace {
// Bit n stands for the file of index n. A backup program reads the word and removes the file.
constexpr const char* bitmapPath = "/mnt/nand0/backup_bitmap.bin";
} // namespace

int vxbackup_SetBackupBitmap(uint32_t fileIndex) {
    if (fileIndex < PSST_FIRST_INDEX || fileIndex > PSST_LAST_INDEX) {
        return -1;
    }
    uint64_t bitmap = 0;
    (void)vxplatform::readFile(bitmapPath, &bitmap, sizeof bitmap); // absent: nothing is marked
    uint64_t const bit = uint64_t{1} << fileIndex;
    if ((bitmap & bit) != 0) {
        return 0; // spares the flash a write for every further record of a file
    }
    bitmap |= bit;
    return vxplatform::replaceFile(bitmapPath, &bitmap, sizeof bitmap);
}
