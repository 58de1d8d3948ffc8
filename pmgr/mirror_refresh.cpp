#include "pmgr/mirror_refresh.h"

#include "common/files.h"
#include "pmgr/psst_table.h"

#include <vxblade/pmgr.h>

#include <cstring>

#include <fcntl.h>

namespace vx {
namespace {

// What an upgrade writes record by record. The sequence number claims the state of the others.
constexpr uint32_t refreshed[] = {PSST_BRIDGE_CONFIG, PSST_HOST_GROUP, PSST_SEQUENCE_NUMBER};

Descriptor openForReading(const char* path) {
    return Descriptor(openFile(path, O_RDONLY | O_NONBLOCK));
}

void refreshMirror(int fileIndex) {
    Descriptor const primary = openForReading(psstFilePrimaryPaths[fileIndex]);
    Descriptor const mirror = openForReading(psstFileMirrorPaths[fileIndex]);
    unsigned char bytes[4096];
    unsigned char mirrored[sizeof bytes];
    off_t offset = 0;
    ssize_t count = 0;
    while (primary.ok() && mirror.ok() &&
           (count = ::read(primary.get(), bytes, sizeof bytes)) > 0) {
        auto const size = static_cast<std::size_t>(count);
        if (::pread(mirror.get(), mirrored, size, offset) != count ||
            std::memcmp(bytes, mirrored, size) != 0) {
            (void)MirrorPsstFile(bytes, static_cast<int32_t>(size), fileIndex, offset);
        }
        offset += count;
    }
}

} // namespace

void refreshMirrors() {
    for (uint32_t const type : refreshed) {
        refreshMirror(fileIndexOf(type));
    }
}

} // namespace vx
