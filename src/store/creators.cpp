#include "store/creators.h"

#include "common/files.h"
#include "store/control_block.h"
#include "store/psst_table.h"
#include "store/record_io.h"

#include <vxblade/creators.h>

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx {

namespace {

// Readers reject the header of an unfinished file: magic and size are 0.
int writeHeader(uint32_t type, bool finished) {
    PsstHeader header;
    CreateHeader(&header, type);
    if (!finished) {
        header.magic = 0;
        header.fileSize = 0;
    }
    return WriteHeader(&header);
}

// A header as writeHeader leaves it, not the zeros of a file that nobody wrote yet.
bool isOwnUnfinishedHeader(const PsstHeader& header, uint32_t type) {
    return header.version == PSST_HEADER_VERSION && isUnfinishedHeader(header) &&
           header.type == type;
}

// The order is what makes every instant safe: until the last write the header is one that every
// reader rejects, and that write comes after all that it vouches for is durable.
bool fillPsstFile(int fileIndex, RecordWriter writeRecords) {
    uint32_t const type = fileTypeOf(fileIndex);
    return WriteZeroFile(fileIndex, dataLengthOf(fileIndex)) == 0 &&
           writeHeader(type, false) == 0 && (writeRecords == nullptr || writeRecords(type) == 0) &&
           writeHeader(type, true) == 0;
}

int openOrCreate(int fileIndex, int create) {
    const char* const path = psstFilePrimaryPaths[fileIndex];
    return create == 0 && isUnfinished(path) ? -1 : CreatePsstFile(fileIndex);
}

} // namespace

bool isUnfinished(const char* path) {
    // Non-blocking: whatever is in the file's place must not hang the blade.
    Descriptor const file(openFile(path, O_RDONLY | O_NONBLOCK));
    PsstHeader header{};
    if (!file.ok()) {
        return !fileExists(path);
    }
    ssize_t const got = ::read(file.get(), &header, sizeof header);
    if (got == sizeof header) {
        return isUnfinishedHeader(header);
    }
    // Only a file that is known to be short is ours to replace: a read that fails, or that gives
    // less than there is, does not say so.
    struct stat status {};
    return got >= 0 && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size < PSST_HEADER_LENGTH;
}

void finishMirror(int fileIndex) {
    uint32_t const type = fileTypeOf(fileIndex);
    const char* const path = psstFileMirrorPaths[fileIndex];
    PsstHeader header{};
    if (readFile(path, &header, sizeof header) == sizeof header &&
        isOwnUnfinishedHeader(header, type) && ReadHeader(&header, type) == 0 &&
        isValidHeader(header, type)) {
        (void)MirrorPsstFile(&header, sizeof header, fileIndex, 0);
    }
}

int makePsstFile(int fileIndex, RecordWriter writeRecords) {
    if (refusesWrites()) {
        return -1;
    }
    // Truncated: the zeros that fill the file would else complete the remnant of a good header.
    if (openIntoSlot(fileIndex, O_RDWR | O_CREAT | O_TRUNC) != 0) {
        return -1;
    }
    const char* const path = psstFilePrimaryPaths[fileIndex];
    bool const filled = fillPsstFile(fileIndex, writeRecords);
    if (!filled) {
        closeDescriptor(fileIndex);
        ::unlink(path);
    }
    (void)syncFolderOf(path);
    return filled ? 0 : -1;
}

} // namespace vx

using namespace vx;

int CreatePsstFile(int fileIndex) {
    uint32_t const type = fileTypeOf(fileIndex);
    if (fileIndex < PSST_FIRST_INDEX || !placeOf(type) || type == PSST_VPD ||
        type == PSST_VPD_BACKUP) {
        return -1;
    }
    if (isUnfinished(psstFilePrimaryPaths[fileIndex])) {
        return makePsstFile(fileIndex, nullptr);
    }
    int const result = openIntoSlot(fileIndex, O_RDWR);
    finishMirror(fileIndex);
    return result;
}

int CreateEventNotifyPsst(void) {
    int const result = CreatePsstFile(fileIndexOf(PSST_EVENT_NOTIFY));
    if (result != 0) {
        std::printf("Cannot create EventNotifyPsst persistence file.");
    }
    return result;
}

int create_migration_param_file(void) {
    return CreatePsstFile(fileIndexOf(PSST_MIGRATION_PARAM));
}

int CreateRegisteredClientPsstFile(void) {
    return CreatePsstFile(fileIndexOf(PSST_REGISTERED_CLIENTS));
}

int CreateExtMigrationFile(void) {
    return CreatePsstFile(fileIndexOf(PSST_EXT_MIGRATION));
}

int CreateClusterMemberInfoPsstFile(int create) {
    return openOrCreate(fileIndexOf(PSST_CLUSTER_MEMBER), create);
}

int CreateCacheStorePhysLunInfoPsstFile(int create) {
    return openOrCreate(fileIndexOf(PSST_CACHE_STORE_DRIVES), create);
}

int CreatePhysLunStripeTableFile(int create) {
    return openOrCreate(fileIndexOf(PSST_STRIPE_TABLE), create);
}

int CreateClusterMetaDataPsstFile(int create) {
    return openOrCreate(fileIndexOf(PSST_CLUSTER_METADATA), create);
}

int CreateClusterCachedLunPsstFile(int create) {
    return openOrCreate(fileIndexOf(PSST_CACHED_LUN), create);
}
