// The vital product data: two files with the same record, each guarded by a CRC, of which one is
// whole at any instant.
#include <vxblade/vpd.h>

#include "common/crc32.h"
#include "common/files.h"
#include "store/creators.h"
#include "store/psst_table.h"
#include "store/record_io.h"

#include <cstring>

#include <fcntl.h>

namespace vx {
namespace {

bool isMissing(uint32_t type) {
    return isUnfinished(psstFilePrimaryPaths[fileIndexOf(type)]);
}

// Opens the file of a type unless it is open, also after a read of it failed: a short file is
// repaired.
int makeOpen(uint32_t type) {
    int const index = fileIndexOf(type);
    if (descriptorOf(index) > 0) {
        return 0;
    }
    int const fd = openPsstFile(index, O_RDWR);
    if (fd < 0) {
        return -1;
    }
    keepDescriptor(index, fd);
    return 0;
}

// Reads a VPD file into `record`; -1 unless its header and its CRC hold.
int readChecked(uint32_t type, VpdRecord& record) {
    PsstHeader header{};
    if (isMissing(type) || makeOpen(type) != 0 || ReadHeader(&header, type) != 0 ||
        !isValidHeader(header, type) ||
        ReadPsstFile(&record, sizeof record, type, 0, PSST_MODE_RECORD) != 0) {
        return -1;
    }
    return header.crc == crc32Of(0, &record, sizeof record) ? 0 : -1;
}

// Data before header: a cut between them leaves a CRC that does not match, and the twin serves.
int writeVpd(uint32_t type) {
    PsstHeader header{};
    CreateHeader(&header, type);
    return WriteVpdFile(&vpd_info, type) == 0 ? WriteHeader(&header) : -1;
}

int makeVpd(uint32_t type) {
    return makePsstFile(fileIndexOf(type),
                        [](uint32_t made) { return WriteVpdFile(&vpd_info, made); });
}

// Writes the loaded record to the file of a type; a missing one is made where `create` says.
int rewriteVpd(uint32_t type, int create) {
    if (refusesWrites()) {
        return -1;
    }
    if (isMissing(type)) {
        return create != 0 ? makeVpd(type) : -1;
    }
    return makeOpen(type) == 0 ? writeVpd(type) : -1;
}

int copyVpd(uint32_t from, uint32_t to, int create) {
    if (refusesWrites()) {
        return -1;
    }
    VpdRecord record;
    if (readChecked(from, record) != 0) {
        return -1;
    }
    vpd_info.record = record;
    return rewriteVpd(to, create);
}

} // namespace
} // namespace vx

using namespace vx;

int WriteVpdFile(const VpdEntry* entry, uint32_t type) {
    return type == PSST_VPD || type == PSST_VPD_BACKUP ? writeEntry(*entry, type) : -1;
}

int vxpmgr_create_vpd_psst(void) {
    int result = 0;
    for (uint32_t const type : {PSST_VPD, PSST_VPD_BACKUP}) {
        if (isMissing(type) && makeVpd(type) != 0) {
            result = -1;
        }
    }
    return result;
}

int copy_vpd_psst(int create) {
    return copyVpd(PSST_VPD, PSST_VPD_BACKUP, create);
}

int copy_backup_vpd_psst(int create) {
    return copyVpd(PSST_VPD_BACKUP, PSST_VPD, create);
}

int vxpmgr_readVpdFile(void) {
    VpdRecord primary;
    VpdRecord backup;
    bool const primaryGood = readChecked(PSST_VPD, primary) == 0;
    bool const backupGood = readChecked(PSST_VPD_BACKUP, backup) == 0;
    if (!primaryGood && !backupGood) {
        return -1;
    }
    vpd_info.record = primaryGood ? primary : backup;
    if (!primaryGood) {
        (void)rewriteVpd(PSST_VPD, 1);
    } else if (!backupGood || std::memcmp(&primary, &backup, sizeof primary) != 0) {
        // Two good files differ after an update that was cut between them. The backup must not wait
        // for the next one: it would bring the old record back should the first be damaged.
        (void)rewriteVpd(PSST_VPD_BACKUP, 1);
    }
    return 0;
}

int vxpmgr_GetVpdInfo(VpdRecord* record) {
    *record = vpd_info.record;
    return 0;
}

int vxpmgr_UpdateVpdInfo(const VpdRecord* record) {
    if (refusesWrites()) {
        return -1;
    }
    vpd_info.record = *record;
    int const result = writeVpd(PSST_VPD);
    return result == 0 ? writeVpd(PSST_VPD_BACKUP) : result;
}
