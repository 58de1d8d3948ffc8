// layer write|read: what another program of the blade does with the platform layer's library.
// "write" stores values on the devices, "read" prints what they hold, so that the second has
// nothing but the devices to know them from. Status 0 when every call succeeded.
#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>
#include <vxblade/seep.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace {

int failures = 0;

void expect(bool good, const char* call) {
    if (!good) {
        std::printf("layer: %s failed\n", call);
        ++failures;
    }
}
#define EXPECT(call) expect(call, #call)

// Five saves: from the third on each erases the block of an obsolete copy.
void writeEnvironment() {
    for (const char* const serial : {"VXB0001", "VXB0002", "VXB0003", "VXB0004"}) {
        EXPECT(setBladeSerialNum(serial) == 0);
    }
    EXPECT(vornhal_setenv("bootdelay", "5") == 0);
    EXPECT(setBladeModelNum("VX-2410 rev C") == 0);
}

void writeEeprom() {
    uint8_t const registers[] = {0x11, 0x22, 0x33, 0x44, 0x55};
    TolvaneStats delta{};
    for (uint16_t i = 0; i < 4; ++i) {
        delta.nandResets[i] = static_cast<uint16_t>(0x0102 + i);
    }
    delta.nvdimmCount = 0x01020304;
    EXPECT(setPCIeRegsToSeep(registers, sizeof registers, 0x1F7) == sizeof registers);
    EXPECT(setBistTestModeAndExecCount(0x0203, 0x04050607) == 0);
    EXPECT(setVhHwVersion("C7") == 2);
    EXPECT(setFwUpgradeFlagToSeep(0xA1) == 0);
    EXPECT(updateStatsToSeep(&delta, 0) == 0);
    EXPECT(updateStatsToSeep(&delta, 0) == 0); // added, not replaced
}

void readEnvironment() {
    char serial[64] = "";
    char model[64] = "";
    EXPECT(getBladeSerialNum(serial, sizeof serial) == 0);
    EXPECT(getBladeModelNum(model, sizeof model) == 0);
    std::printf("flash: %u bytes in %d regions of %u\n", nor_info.size, nor_num_regions,
                nor_info.erasesize);
    std::printf("environment: serial %s, model %s\n", serial, model);
}

void readEeprom() {
    BistRecord bist{};
    TolvaneStats stats{};
    uint16_t version = 0;
    EXPECT(getBistFromSeep(&bist, sizeof bist) == sizeof bist);
    EXPECT(bist.checksum == calc_bist_cksum(&bist, sizeof bist - 1));
    EXPECT(getVhHwVersion(&version) == 0);
    EXPECT(getFsResetStatsToSeep(&stats) == 0);
    std::printf("self-test: mode 0x%04x, count 0x%08x\n", unsigned{bist.testMode}, bist.execCount);
    std::printf("hardware version 0x%04x, upgrade flag 0x%02x\n", unsigned{version},
                unsigned{getFwUpgradeFlagFromSeep()});
    std::printf("volume resets: %d %d %d %d\n", stats.nandResets[0], stats.nandResets[1],
                stats.nandResets[2], stats.nandResets[3]);
}

void readMemoryModule() {
    char serial[16] = "";
    char part[32] = "";
    EXPECT(getNvDimmSerialNumber(serial, sizeof serial) > 0);
    EXPECT(getNvDimmPartNumber(part, sizeof part) > 0);
    std::printf("memory module: %s, serial %s, registers at 0x%x\n", part, serial,
                static_cast<unsigned>(verifyAndInitNvDimmI2CregMap()));
}

void readSensors() {
    uint16_t front = 0;
    uint16_t rear = 0;
    uint16_t board = 0;
    uint16_t mem = 0;
    EXPECT(getBoardTemp(&front, &rear, &board, &mem) == 0);
    std::printf("temperatures: front %d, rear %d, board %d, memory %d\n", front, rear, board, mem);
}

// The driver inverts what it is sent: a record of zeros comes back as ones, to its size and no
// further.
void readDrivers() {
    static BridgeConfig record{};
    uint8_t bytes[sizeof record];
    EXPECT(XBMGT_OpenBridgeApp("vxbrapp") > 0);
    EXPECT(XBMGT_GetBridgeBasicInfo(&record) == 0);
    std::memcpy(bytes, &record, sizeof bytes);
    std::size_t count = 0;
    while (count < sizeof bytes && bytes[count] == 0xFF) {
        ++count;
    }
    EXPECT(bytes[sizeof bytes - 1] == 0);
    std::printf("slot %" PRIu64 "; the bridge application wrote %zu bytes\n",
                VX_getMySlotPosition(), count);
}

} // namespace

int main(int argc, char** argv) {
    bool const isWrite = argc > 1 && std::strcmp(argv[1], "write") == 0;
    EXPECT(vornhal_init_env(vhnor_init()) == 0);
    if (isWrite) {
        writeEnvironment();
        writeEeprom();
    } else {
        readEnvironment();
        readEeprom();
        readMemoryModule();
        readSensors();
        readDrivers();
    }
    return failures == 0 ? 0 : 1;
}
