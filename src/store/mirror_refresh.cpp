#include "store/mirror_refresh.h"

#include "common/files.h"
#include "store/psst_table.h"
#include "store/record_io.h"

#include <vxblade/mirror_sync.h>
#include <vxblade/platform.h>

#include <array>
#include <cstring>

#include <fcntl.h>

namespace vx {
namespace {

constexpr std::size_t largestRecord = sizeof(BridgeConfig);
using Record = std::array<unsigned char, largestRecord>;

bool readMirror(int fileIndex, off_t offset, Record& record, std::size_t size) {
    Descriptor const mirror(openFile(psstFileMirrorPaths[fileIndex], O_RDONLY | O_NONBLOCK));
    return mirror.ok() &&
           ::pread(mirror.get(), record.data(), size, offset) == static_cast<ssize_t>(size);
}

} // namespace

bool mirrorIsAhead() {
    if (vxpmgr_mirror_path_init_done == 0) {
        vxpmgr_create_mirror_paths(0, 0, 0, 0);
    }
    const char* const mirrorPath = psstFileMirrorPaths[PSST_SEQUENCE_INDEX];
    PsstHeader file{};
    PsstHeader mirror{};
    if (!fileExists(mirrorPath)) {
        return false;
    }
    if (readFile(mirrorPath, &mirror, sizeof mirror) != sizeof mirror) {
        return true;
    }
    (void)readFile(psstFilePrimaryPaths[PSST_SEQUENCE_INDEX], &file, sizeof file);
    return sequenceNumberOf(mirror) > sequenceNumberOf(file);
}

void refreshMirror(uint32_t type, uint32_t number, std::size_t size) {
    auto const place = placeOf(type);
    Record record;
    Record mirrored;
    if (!place || size > record.size() ||
        ReadPsstFile(record.data(), static_cast<int32_t>(size), type, number, PSST_MODE_RECORD) !=
            0) {
        return;
    }
    off_t const offset = place->first + off_t{place->slotSize} * number;
    if (readMirror(place->fileIndex, offset, mirrored, size) &&
        std::memcmp(record.data(), mirrored.data(), size) != 0) {
        (void)MirrorPsstFile(record.data(), static_cast<int32_t>(size), place->fileIndex, offset);
    }
}

void refreshSequenceMirror() {
    uint64_t mirrored = 0;
    if (vxpmgr_GetSequenceNumber(1, &mirrored) == 0 && mirrored != pmgr_cb->sequenceNumber) {
        (void)UpdateSequenceNumber(0);
    }
}

} // namespace vx
