#include "store/psst_header.h"

#include "store/control_block.h"
#include "store/psst_table.h"

#include <algorithm>
#include <cstdlib>

#include <unistd.h>

namespace vx {

namespace {

uint32_t headerSizeOf(uint32_t type) {
    // The management port's records are never announced by a header of their own; the sizes of
    // bare headers stand in for them and for codes that no file has.
    if (type == PSST_MGMT_PORT || type < PSST_BRIDGE_CONFIG || type > PSST_CACHED_LUN) {
        return PSST_HEADER_LENGTH;
    }
    return psstFile(fileIndexOf(type)).size;
}

} // namespace

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

} // namespace vx

void CreateHeader(PsstHeader* header, uint32_t type) {
    *header = {};
    header->version = PSST_HEADER_VERSION;
    header->magic = PSST_MAGIC;
    header->fileSize = vx::headerSizeOf(type);
    header->type = type;
    header->headerLength = PSST_HEADER_LENGTH;
    if (type == PSST_VPD || type == PSST_VPD_BACKUP) {
        header->crc = crc32(0, &vpd_info.record, sizeof vpd_info.record);
    }
}

int WriteHeader(const PsstHeader* header) {
    return WritePsstFile(header, sizeof *header, header->type, 0, PSST_MODE_HEADER);
}

int ReadHeader(PsstHeader* header, uint32_t type) {
    return ReadPsstFile(header, sizeof *header, type, 0, PSST_MODE_HEADER);
}

int WriteZeroFile(int fileIndex, uint32_t length) {
    constexpr uint32_t chunkSize = 131072;
    if (zero_scrath_pad == nullptr) {
        zero_scrath_pad = static_cast<uint8_t*>(std::calloc(1, chunkSize));
        if (zero_scrath_pad == nullptr) {
            return -1;
        }
    }
    int const fd = vx::descriptorOf(fileIndex);
    if (fd < 1) {
        return -1;
    }
    for (uint32_t done = 0; done < length;) {
        uint32_t const chunk = std::min(length - done, chunkSize);
        off_t const offset = off_t{PSST_HEADER_LENGTH} + done;
        if (::lseek(fd, offset, SEEK_SET) != offset ||
            ::write(fd, zero_scrath_pad, chunk) != static_cast<ssize_t>(chunk)) {
            return -1; // the caller removes what it could not finish
        }
        (void)::fsync(fd);
        done += chunk;
    }
    return 0;
}
