#include "upgrade/journal.h"

#include "common/crc32.h"
#include "common/files.h"
#include "upgrade/report.h"

#include <cerrno>
#include <cstring>

namespace vx {

namespace {

uint32_t crcOf(const JournalRecord& record) {
    return crc32Of(0, &record, offsetof(JournalRecord, crc));
}

bool isWhole(const JournalRecord& record) {
    return crcOf(record) == record.crc && record.phase >= Phase::merging &&
           record.phase <= Phase::byHand;
}

} // namespace

JournalRecord readJournal(const char* path) {
    JournalRecord record{};
    bool const isRead = readFile(path, &record, sizeof record) == sizeof record;
    return isRead && isWhole(record) ? record : JournalRecord{};
}

int noteProgress(const VersionBlock& version, Phase phase) {
    JournalRecord record{version, phase, 0};
    record.crc = crcOf(record);
    int const result = replaceFile(upgradeJournal, &record, sizeof record);
    if (result != 0) {
        report("noteProgress", 1560, "The progress of the upgrade could not be noted in %s: %s\n",
               upgradeJournal, std::strerror(errno));
    }
    return result;
}

void removeJournal() {
    removeTemporary(upgradeJournal);
    (void)removeFile(upgradeJournal);
}

} // namespace vx
