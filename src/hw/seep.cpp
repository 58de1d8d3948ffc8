#include <vxblade/seep.h>

#include "hw/diagnostics.h"

#include <vxblade/i2c.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

TolvaneStats vxTolvaneStats;

namespace {

constexpr const char* sourceName = "i2c_access";

constexpr int addressBits = 16;
constexpr uint8_t bistSignature[] = {0x7C, 0x49};
constexpr uint8_t bistFormat[] = {3, 4};
constexpr uint8_t bistByte10 = 4;
constexpr uint8_t bistTrailer = 0x53;
constexpr uint32_t keepExecCount = 0xFFFFFFFF;
constexpr int bistSize = sizeof(BistRecord);
constexpr int summedBytes = offsetof(BistRecord, checksum);

constexpr uint8_t statsMagic = 0xC3;
constexpr uint8_t nvdimmMarker = 0xA5;

bool writeStats(const TolvaneStats& stats) {
    if (writeBytesToSeep(SEEP_HARDWARE_STATS, &stats, TOLVANE_STATS_STORED, SEEP_DEVICE) ==
        TOLVANE_STATS_STORED) {
        return true;
    }
    std::printf("Failed to update vxTolvaneStats to seep\n");
    return false;
}

// Gives a record what it lacks. False when it was complete.
bool initialise(TolvaneStats& stats) {
    if (stats.magic == statsMagic && stats.nvdimmMarker == nvdimmMarker) {
        return false;
    }
    if (stats.magic != statsMagic) {
        stats = {};
        stats.magic = statsMagic;
    }
    stats.nvdimmMarker = nvdimmMarker;
    stats.nvdimmField = 1;
    return true;
}

// Clears `out` and fills it by `copy` from the statistics. 0 or -1.
template <class Copy>
int copyStats(const char* function, TolvaneStats* out, Copy copy) {
    if (out == nullptr) {
        return -1;
    }
    *out = {};
    if (loadTolvaneStatsFromSeep(0) != 0) {
        VX_REPORT(function, "%s:%d: Failed to load the Seep\n", function, __LINE__);
        return -1;
    }
    copy(vxTolvaneStats);
    return 0;
}

int refuseOemLength(const char* function, int length) {
    VX_REPORT(function, "Invalid len %d!\n", length);
    return 0;
}

} // namespace

int readBytesFromSeep(int offset, void* buffer, int length, int devAddr) {
    return readI2cDev(SEEP_BUS, devAddr, offset, buffer, length, addressBits);
}

int writeBytesToSeep(int offset, const void* buffer, int length, int devAddr) {
    return writeI2cDev(SEEP_BUS, devAddr, offset, buffer, length, addressBits);
}

int getPCIeRegsFromSeep(void* buffer, int length) {
    return readBytesFromSeep(SEEP_PCIE_REGISTERS, buffer, length, SEEP_DEVICE);
}

int setPCIeRegsToSeep(const void* buffer, int length, int offset) {
    return writeBytesToSeep(SEEP_PCIE_REGISTERS + offset, buffer, length, SEEP_DEVICE);
}

// --- Built-in self-test.

uint8_t calc_bist_cksum(const void* record, int count) {
    const auto* const bytes = static_cast<const uint8_t*>(record);
    uint8_t sum = 0;
    for (int i = 0; i < count; ++i) {
        sum = static_cast<uint8_t>(sum + bytes[i]);
    }
    return sum;
}

int getBistFromSeep(void* buffer, int size) {
    return size < bistSize ? 0 : readBytesFromSeep(SEEP_BIST, buffer, bistSize, SEEP_DEVICE);
}

int setBistToSeep(const void* buffer, int size) {
    return size != bistSize ? 0 : writeBytesToSeep(SEEP_BIST, buffer, bistSize, SEEP_DEVICE);
}

uint8_t setDefaultBist(BistRecord* record) {
    std::memcpy(record->signature, bistSignature, sizeof bistSignature);
    std::memcpy(record->format, bistFormat, sizeof bistFormat);
    record->testMode = 1;
    record->byte10 = bistByte10;
    record->execCount = 1;
    record->trailer = bistTrailer;
    record->checksum = calc_bist_cksum(record, summedBytes);
    return record->checksum;
}

int setBistTestModeAndExecCount(uint16_t testMode, uint32_t execCount) {
    BistRecord record{};
    if (getBistFromSeep(&record, bistSize) != bistSize) {
        VX_REPORT(__func__, "Failed to read BIST Info\n");
        return -1;
    }
    uint8_t const sum = calc_bist_cksum(&record, summedBytes);
    if (sum != record.checksum) {
        VX_REPORT(__func__, "Warning!!! Bist area not initialized %02x %02x\n", sum,
                  record.checksum);
        setDefaultBist(&record);
    }
    record.testMode = testMode;
    if (execCount != keepExecCount) {
        record.execCount = execCount;
    }
    record.checksum = calc_bist_cksum(&record, summedBytes);
    if (setBistToSeep(&record, bistSize) < bistSize) {
        VX_REPORT(__func__, "Failed to write BIST Info\n");
        return -1;
    }
    return 0;
}

// --- Single values.

int getVhHwVersion(uint16_t* result) {
    uint8_t bytes[2];
    if (readBytesFromSeep(SEEP_HARDWARE_VERSION, bytes, sizeof bytes, SEEP_DEVICE) ==
        sizeof bytes) {
        *result = static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
    }
    return 0;
}

int setVhHwVersion(const char* text) {
    auto const length = static_cast<int>(::strnlen(text, I2C_WRITE_LIMIT));
    return writeBytesToSeep(SEEP_HARDWARE_VERSION, text, length, SEEP_DEVICE);
}

uint8_t getFwUpgradeFlagFromSeep(void) {
    uint8_t flag = 0;
    return readBytesFromSeep(SEEP_FW_UPGRADE_FLAG, &flag, sizeof flag, SEEP_DEVICE) == 1 ? flag : 0;
}

int setFwUpgradeFlagToSeep(uint8_t flag) {
    return writeBytesToSeep(SEEP_FW_UPGRADE_FLAG, &flag, sizeof flag, SEEP_DEVICE) == 1 ? 0 : -1;
}

int getOemSpace(void* buffer, int length) {
    return length >= 1 ? refuseOemLength(__func__, length)
                       : readBytesFromSeep(SEEP_OEM_SPACE, buffer, length, SEEP_DEVICE);
}

int setOemSpace(const void* buffer, int length) {
    return length >= 1 ? refuseOemLength(__func__, length)
                       : writeBytesToSeep(SEEP_OEM_SPACE, buffer, length, SEEP_DEVICE);
}

int readBytesFromMfgSeep(int /*offset*/, void* /*buffer*/, int /*length*/, int /*devAddr*/) {
    return 0;
}

int writeBytesToMfgSeep(int /*offset*/, const void* /*buffer*/, int /*length*/, int /*devAddr*/) {
    return 0;
}

int getMfgSpace(void* /*buffer*/, int /*length*/) {
    return 0;
}

int setMfgSpace(const void* /*buffer*/, int /*length*/) {
    return 0;
}

int loadBladeSeep(void) {
    return 0;
}

// --- Statistics.

int loadTolvaneStatsFromSeep(int force) {
    if (vxTolvaneStats.magic == statsMagic && force == 0) {
        return 0;
    }
    TolvaneStats stats{};
    if (readBytesFromSeep(SEEP_HARDWARE_STATS, &stats, TOLVANE_STATS_STORED, SEEP_DEVICE) !=
        TOLVANE_STATS_STORED) {
        std::printf("%s:%d: failed to read vxTolvaneStats(%d) from 0x%x offset: 0x%x\n", __func__,
                    822, static_cast<int>(sizeof stats), static_cast<unsigned>(SEEP_DEVICE),
                    static_cast<unsigned>(SEEP_HARDWARE_STATS));
        return -1;
    }
    if (initialise(stats) && !writeStats(stats)) {
        return -1;
    }
    vxTolvaneStats = stats;
    std::printf("%s:%d: nand0_reset: %d nand1_reset: %d nand2_reset: %d nand4_reset: %d\n",
                __func__, __LINE__, stats.nandResets[0], stats.nandResets[1], stats.nandResets[2],
                stats.nandResets[3]);
    return 0;
}

int updateStatsToSeep(const TolvaneStats* delta, int reset) {
    if (delta == nullptr && reset == 0) {
        return -1;
    }
    if (loadTolvaneStatsFromSeep(0) != 0) {
        VX_REPORT(__func__, "%s:%d: Failed to update the Seep\n", __func__, __LINE__);
        return -1;
    }
    TolvaneStats stats = vxTolvaneStats;
    for (std::size_t i = 0; i < std::size(stats.nandResets); ++i) {
        stats.nandResets[i] =
            reset != 0 ? uint16_t{0}
                       : static_cast<uint16_t>(stats.nandResets[i] + delta->nandResets[i]);
    }
    stats.nvdimmCount = reset != 0 ? 0 : stats.nvdimmCount + delta->nvdimmCount;
    if (!writeStats(stats)) {
        return -1;
    }
    vxTolvaneStats = stats;
    return 0;
}

int getFsResetStatsToSeep(TolvaneStats* out) {
    return copyStats(__func__, out, [out](const TolvaneStats& stats) {
        std::copy_n(stats.nandResets, std::size(stats.nandResets), out->nandResets);
    });
}

int getNVDIMMStatsFromSeep(TolvaneStats* out) {
    return copyStats(__func__, out, [out](const TolvaneStats& stats) {
        out->nvdimmMarker = stats.nvdimmMarker;
        out->nvdimmField = stats.nvdimmField;
        out->nvdimmCount = stats.nvdimmCount;
    });
}
