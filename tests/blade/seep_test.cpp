// The serial EEPROM's records, the memory module, the sensors, serial and model number.
#include "tests/support/devices.h"

#include <vxblade/bootenv.h>
#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/seep.h>

#include <filesystem>
#include <fstream>
#include <regex>

namespace {

using Seep = DeviceTest;

// Writes a text to one sensor's file, and what is usual to the others'.
std::string setSensor(const Words& words) {
    const char* const files[][3] = {
        {"board", "/sys/class/hwmon/hwmon0/device/temp1_input", "38000\n"},
        {"front", "/sys/class/i2c-dev/i2c-1/device/1-004c/temp1_input", "31500\n"},
        {"rear", "/sys/class/i2c-dev/i2c-1/device/1-004c/temp2_input", "35200\n"},
        {"mem", "/sys/class/i2c-dev/i2c-0/device/0-001e/temp1_input", "40100\n"}};
    for (auto const& [name, path, usual] : files) {
        std::string const text = words[0] == name ? words[1] : usual;
        std::ofstream(path) << std::regex_replace(text, std::regex(R"(\\n)"), "\n");
        if (text == "none") {
            std::filesystem::remove(path);
        }
    }
    return "done";
}

Calls const named = {
    NAMED(vhnor_init),         NAMED(getNvDimmManufId),    NAMED(getFsResetStatsToSeep),
    NAMED(getOemSpace),        NAMED(getBladeModelNum),    NAMED(getNvDimmSerialNumber),
    NAMED(setOemSpace),        NAMED(setBladeModelNum),    NAMED(setFwUpgradeFlagToSeep),
    NAMED(getBoardTemp),       NAMED(vornhal_init_env),    NAMED(getNVDIMMStatsFromSeep),
    NAMED(setBistToSeep),      NAMED(readBytesFromSeep),   NAMED(getNvDimmManufLocation),
    NAMED(getVhHwVersion),     NAMED(setPCIeRegsToSeep),   NAMED(getFwUpgradeFlagFromSeep),
    NAMED(setVhHwVersion),     NAMED(updateStatsToSeep),   NAMED(loadTolvaneStatsFromSeep),
    NAMED(setDefaultBist),     NAMED(getBladeSerialNum),   NAMED(setBistTestModeAndExecCount),
    NAMED(calc_bist_cksum),    NAMED(setBladeSerialNum),   NAMED(verifyAndInitNvDimmI2CregMap),
    NAMED(getBistFromSeep),    NAMED(getPCIeRegsFromSeep), NAMED(writeBytesToSeep),
    NAMED(getNvDimmPartNumber)};

TEST_F(Seep, Transcript) {
    Calls calls = named;
    calls["setImage"] = [](const Words& w) {
        setImage(w[0], std::stoul(w[1], nullptr, 0), bytesOfWord(w[2]));
        return "done";
    };
    calls["sensor"] = setSensor;
    calls["vxTolvaneStats"] = [](auto&) { return hex(bytesOf(&vxTolvaneStats, 17)); };
    expectTranscript("seep", calls);
    EXPECT_EQ(default_nvdimm_i2c_addr, 0x58) << "the last one that answered";
}

} // namespace
