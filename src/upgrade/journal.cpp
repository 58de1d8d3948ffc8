#include "upgrade/journal.h"

#include "common/crc32.h"
#include "common/files.h"
#include "upgrade/report.h"

#include <array>
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

JournalRecord readJournal() {
    std::array<std::byte, sizeof(JournalRecord)> bytes;
    int const got = readFile(upgradeJournal, bytes.data(), bytes.size());
    return journalOf({bytes.data(), got > 0 ? static_cast<std::size_t>(got) : 0});
}

JournalRecord journalOf(std::span<const std::byte> content) {
    JournalRecord record{};
    if (content.size() >= sizeof record) {
        std::memcpy(&record, content.data(), sizeof record);
    }
    return isWhole(record) ? record : JournalRecord{};
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
