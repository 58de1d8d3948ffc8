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

TEST_F(Seep, Transcript) {
    Calls calls = {NAMED(readBytesFromSeep),
                   NAMED(writeBytesToSeep),
                   NAMED(getPCIeRegsFromSeep),
                   NAMED(setPCIeRegsToSeep),
                   NAMED(getVhHwVersion),
                   NAMED(setVhHwVersion),
                   NAMED(getFwUpgradeFlagFromSeep),
                   NAMED(setFwUpgradeFlagToSeep),
                   NAMED(getOemSpace),
                   NAMED(setOemSpace),
                   NAMED(getMfgSpace),
                   NAMED(setMfgSpace),
                   NAMED(readBytesFromMfgSeep),
                   NAMED(writeBytesToMfgSeep),
                   NAMED(loadBladeSeep),
                   NAMED(calc_bist_cksum),
                   NAMED(setDefaultBist),
                   NAMED(getBistFromSeep),
                   NAMED(setBistToSeep),
                   NAMED(setBistTestModeAndExecCount),
                   NAMED(loadTolvaneStatsFromSeep),
                   NAMED(updateStatsToSeep),
                   NAMED(getFsResetStatsToSeep),
                   NAMED(getNVDIMMStatsFromSeep),
                   NAMED(getNvDimmSerialNumber),
                   NAMED(getNvDimmPartNumber),
                   NAMED(getNvDimmManufLocation),
                   NAMED(getNvDimmManufId),
                   NAMED(verifyAndInitNvDimmI2CregMap),
                   NAMED(getBoardTemp),
                   NAMED(getBladeSerialNum),
                   NAMED(getBladeModelNum),
                   NAMED(setBladeSerialNum),
                   NAMED(setBladeModelNum),
                   NAMED(vhnor_init),
                   NAMED(vornhal_init_env)};
    calls["image"] = [](const Words& w) {
        return hex(image(w[0], std::stoul(w[1], nullptr, 0), std::stoul(w[2])));
    };
    calls["setImage"] = [](const Words& w) {
        setImage(w[0], std::stoul(w[1], nullptr, 0), bytesOfWord(w[2]));
        return "done";
    };
    calls["sensor"] = setSensor;
    calls["vxTolvaneStats"] = [](auto&) { return hex(bytesOf(&vxTolvaneStats, 17)); };
    calls["forgetStats"] = [](auto&) { return vxTolvaneStats = {}, "done"; };
    calls["default_nvdimm_i2c_addr"] = [](auto&) {
        return std::to_string(default_nvdimm_i2c_addr);
    };
    expectTranscript("seep", calls);
}

} // namespace
