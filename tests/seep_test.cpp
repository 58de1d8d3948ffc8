// The serial EEPROM's records, the memory module, the sensors, serial and model number.
#include "tests/devices.h"

#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>
#include <vxblade/seep.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

namespace {

class Seep : public DeviceTest {
  protected:
    // Bytes of a chip's image, seen past the code under test.
    static Bytes chip(const char* name, std::size_t offset, std::size_t size) {
        Bytes const all = readBytes(std::string("/dev/blade/i2c-0-") + name + ".bin");
        return {all.begin() + static_cast<long>(offset),
                all.begin() + static_cast<long>(offset + size)};
    }
    static void setChip(const char* name, std::size_t offset, const Bytes& bytes) {
        std::fstream file(std::string("/dev/blade/i2c-0-") + name + ".bin",
                          std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(offset));
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
};

TEST_F(Seep, PlacesOfTheRecords) {
    Bytes bytes = {1, 2, 3};
    char text[8] = "";
    // clang-format off
    struct { std::function<int()> write; int result; std::size_t offset; Bytes stored; } const cases[] = {
        {[&] { return writeBytesToSeep(0x1234, bytes.data(), 3, 0x50); }, 3, 0x1234, {1, 2, 3}},
        {[&] { return setPCIeRegsToSeep(bytes.data(), 2, 0x10); }, 2, 0x10, {1, 2, 0xFF}},
        {[&] { return setVhHwVersion("3BC"); }, 3, 0x1E04, {'3', 'B', 'C', 0xFF}},
        {[&] { return setFwUpgradeFlagToSeep(9); }, 0, 0x1E06, {9, 0xFF}},
        {[&] { return setOemSpace(bytes.data(), 0); }, 0, 0x1B00, {0xFF}},
        {[&] { return writeBytesToMfgSeep(0, bytes.data(), 3, 0x50) + setMfgSpace(bytes.data(), 3); }, 0, 0, {0xFF}},
    };
    // clang-format on
    for (auto const& c : cases) {
        EXPECT_EQ(c.write(), c.result) << c.offset;
        EXPECT_EQ(chip("50", c.offset, c.stored.size()), c.stored) << c.offset;
    }
    setChip("50", 0, {7, 8});
    EXPECT_EQ(getPCIeRegsFromSeep(text, 2), 2);
    EXPECT_EQ(text[1], 8);
    EXPECT_EQ(readBytesFromSeep(0x1234, text, 3, 0x50), 3);
    EXPECT_EQ(text[2], 3);
    EXPECT_EQ(readBytesFromMfgSeep(0, text, 1, 0x50) + getMfgSpace(text, 1) + loadBladeSeep(), 0);
    Seen const refused = see([&] { return getOemSpace(text, 1) + setOemSpace(text, 16); });
    EXPECT_EQ(refused.result, 0);
    EXPECT_EQ(refused.errors, "i2c_access: getOemSpace: Invalid len 1!\n"
                              "i2c_access: setOemSpace: Invalid len 16!\n");
    EXPECT_EQ(refused.trace, "");
    uint16_t version = 0x5A5A;
    EXPECT_EQ(getVhHwVersion(&version), 0);
    EXPECT_EQ(version, '3' | 'B' << 8);
    EXPECT_EQ(getFwUpgradeFlagFromSeep(), 9);
    control("fail i2c-0 open EIO 9");
    version = 0x5A5A;
    see([&] {
        EXPECT_EQ(getVhHwVersion(&version), 0);
        EXPECT_EQ(getFwUpgradeFlagFromSeep(), 0);
        EXPECT_EQ(setFwUpgradeFlagToSeep(1), -1);
        return 0;
    });
    EXPECT_EQ(version, 0x5A5A);
}

TEST_F(Seep, SelfTestRecord) {
    Bytes defaults(64, 0xEE); // bytes without a default keep what they are
    BistRecord record;
    std::memcpy(&record, defaults.data(), sizeof record);
    uint8_t const sum = setDefaultBist(&record);
    // clang-format off
    struct { std::size_t at; Bytes bytes; } const set[] = {
        {0, {0x7C, 0x49, 3, 4}}, {8, {1, 0, 4}}, {57, {1, 0, 0, 0}}, {62, {0x53}}};
    // clang-format on
    for (auto const& [at, bytes] : set) {
        std::ranges::copy(bytes, defaults.begin() + static_cast<long>(at));
    }
    unsigned total = 0;
    for (std::size_t i = 0; i < 63; ++i) {
        total += defaults[i];
    }
    ASSERT_GT(total, 255U) << "the sum has to wrap";
    defaults[63] = static_cast<unsigned char>(total % 256);
    EXPECT_EQ(Bytes(reinterpret_cast<uint8_t*>(&record), reinterpret_cast<uint8_t*>(&record) + 64),
              defaults);
    EXPECT_EQ(sum, defaults[63]);
    EXPECT_EQ(calc_bist_cksum(defaults.data(), 2), 0x7C + 0x49);

    Bytes buffer(65, 0);
    EXPECT_EQ(see([&] { return getBistFromSeep(buffer.data(), 63); }).trace, "");
    EXPECT_EQ(see([&] { return setBistToSeep(buffer.data(), 65); }).trace, "");
    EXPECT_EQ(setBistToSeep(defaults.data(), 64), 64);
    EXPECT_EQ(chip("50", 0x1E18, 64), defaults);
    EXPECT_EQ(getBistFromSeep(buffer.data(), 65), 64);

    // A good record: the mode, perhaps the count, and the sum.
    EXPECT_EQ(setBistTestModeAndExecCount(0x1234, 0xFFFFFFFF), 0);
    Bytes expected = defaults;
    expected[8] = 0x34;
    expected[9] = 0x12;
    expected[63] = static_cast<unsigned char>(expected[63] + 0x34 + 0x12 - 1);
    EXPECT_EQ(chip("50", 0x1E18, 64), expected);
    EXPECT_EQ(setBistTestModeAndExecCount(0x1234, 0x04030201), 0);
    EXPECT_EQ(chip("50", 0x1E18 + 57, 4), (Bytes{1, 2, 3, 4}));

    // A damaged one gets the defaults first, and keeps what these do not cover.
    Bytes damaged(64, 0);
    damaged[5] = 0x77;
    damaged[63] = 1;
    setChip("50", 0x1E18, damaged);
    Seen const healed = see([] { return setBistTestModeAndExecCount(2, 0xFFFFFFFF); });
    EXPECT_EQ(healed.errors, "i2c_access: setBistTestModeAndExecCount: "
                             "Warning!!! Bist area not initialized 77 01\n");
    EXPECT_EQ(chip("50", 0x1E18, 11), (Bytes{0x7C, 0x49, 3, 4, 0, 0x77, 0, 0, 2, 0, 4}));
    EXPECT_EQ(chip("50", 0x1E18 + 57, 7)[0], 1);
    Bytes const stored = chip("50", 0x1E18, 64);
    EXPECT_EQ(calc_bist_cksum(stored.data(), 63), stored[63]);

    for (auto const& [fault, words] : {std::pair{"fail i2c-0 read ENXIO 1 3", "read"},
                                       std::pair{"fail i2c-0 write ENXIO 1 3", "write"}}) {
        control(fault);
        Seen const seen = see([] { return setBistTestModeAndExecCount(3, 3); });
        EXPECT_EQ(seen.result, -1) << fault;
        EXPECT_TRUE(seen.errors.ends_with("i2c_access: setBistTestModeAndExecCount: Failed to " +
                                          std::string(words) + " BIST Info\n"))
            << seen.errors;
    }
}

std::string countersLine(const char* counters) {
    return std::string("nand0_reset: ") + counters + "\n";
}

TEST_F(Seep, StatisticsAreInitialisedOnce) {
    Bytes const fresh = {0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xA5, 1, 0, 0, 0, 0};
    Bytes old = {0xC3, 0, 1, 2, 3, 4, 5, 6, 7, 8, 0xFF, 0xFF, 9, 10, 11, 12};
    Bytes marked = old;
    marked[10] = 0xA5;
    marked[11] = 1;
    // clang-format off
    struct { Bytes before, after; bool writes; const char* counters; } const cases[] = {
        {Bytes(16, 0xFF), fresh, true, "0 nand1_reset: 0 nand2_reset: 0 nand4_reset: 0"},
        {old, marked, true, "513 nand1_reset: 1027 nand2_reset: 1541 nand4_reset: 2055"},
        {marked, marked, false, "513 nand1_reset: 1027 nand2_reset: 1541 nand4_reset: 2055"},
    };
    // clang-format on
    for (auto const& c : cases) {
        setChip("50", 0x1D00, c.before);
        Seen const seen = see([] { return loadTolvaneStatsFromSeep(1); });
        EXPECT_EQ(seen.result, 0);
        EXPECT_TRUE(seen.output.starts_with("loadTolvaneStatsFromSeep:"));
        EXPECT_TRUE(seen.output.ends_with(countersLine(c.counters))) << seen.output;
        EXPECT_EQ(chip("50", 0x1D00, 17), [&] {
            Bytes b = c.after;
            b.push_back(0xFF);
            return b;
        }());
        EXPECT_EQ(seen.trace.find("write 1d02") != std::string::npos, c.writes);
        EXPECT_EQ(std::memcmp(&vxTolvaneStats, c.after.data(), 16), 0);
        EXPECT_EQ(vxTolvaneStats.unused16[0], 0);
    }
    Seen const cached = see([] { return loadTolvaneStatsFromSeep(0); });
    EXPECT_EQ(cached.trace + cached.output, "");
}

TEST_F(Seep, StatisticsAddUpAndChangeAsAWhole) {
    setChip("50", 0x1D00, {0xC3, 0, 0xFF, 0xFF, 1, 0, 2, 0, 3, 0, 0xA5, 1, 0xFF, 0xFF, 0xFF, 0xFF});
    TolvaneStats delta{};
    for (std::size_t i = 0; i < 4; ++i) {
        delta.nandResets[i] = static_cast<uint16_t>(i + 2);
    }
    delta.nvdimmCount = 2;
    EXPECT_EQ(updateStatsToSeep(nullptr, 0), -1);
    EXPECT_EQ(updateStatsToSeep(&delta, 0), 0);
    Bytes const sum = {0xC3, 0, 1, 0, 4, 0, 6, 0, 8, 0, 0xA5, 1, 1, 0, 0, 0};
    EXPECT_EQ(chip("50", 0x1D00, 16), sum) << "the counters wrap";

    TolvaneStats out;
    std::memset(&out, 0x5A, sizeof out);
    EXPECT_EQ(getFsResetStatsToSeep(&out), 0);
    Bytes expected(256, 0);
    std::copy_n(sum.begin() + 2, 8, expected.begin() + 2);
    EXPECT_EQ(std::memcmp(&out, expected.data(), 256), 0);
    EXPECT_EQ(getNVDIMMStatsFromSeep(&out), 0);
    expected.assign(256, 0);
    std::copy_n(sum.begin() + 10, 6, expected.begin() + 10);
    EXPECT_EQ(std::memcmp(&out, expected.data(), 256), 0);
    EXPECT_EQ(getFsResetStatsToSeep(nullptr) + getNVDIMMStatsFromSeep(nullptr), -2);

    // A write that fails half-way leaves memory as it was.
    control("fail i2c-0 write ENXIO 1 5");
    Seen const failed = see([&] { return updateStatsToSeep(&delta, 0); });
    EXPECT_EQ(failed.result, -1);
    EXPECT_EQ(failed.output, "Failed to update vxTolvaneStats to seep\n");
    EXPECT_EQ(std::memcmp(&vxTolvaneStats, sum.data(), 16), 0);
    for (const TolvaneStats* const unused : {&delta, static_cast<TolvaneStats*>(nullptr)}) {
        vxTolvaneStats.nandResets[0] = 5;
        EXPECT_EQ(updateStatsToSeep(unused, 1), 0);
    }
    EXPECT_EQ(chip("50", 0x1D00, 16),
              (Bytes{0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xA5, 1, 0, 0, 0, 0}));

    // So does a short read, after any of its pieces.
    control("fail i2c-0 read ENXIO 9 2");
    vxTolvaneStats = {};
    Seen const unread =
        see([&] { return updateStatsToSeep(&delta, 1) + getFsResetStatsToSeep(&out); });
    EXPECT_EQ(unread.result, -2);
    EXPECT_NE(unread.output.find("loadTolvaneStatsFromSeep:822: failed to read vxTolvaneStats(256) "
                                 "from 0x50 offset: 0x1d00\n"),
              std::string::npos);
    EXPECT_NE(unread.errors.find(": Failed to update the Seep\n"), std::string::npos);
    EXPECT_NE(unread.errors.find(": Failed to load the Seep\n"), std::string::npos);
    EXPECT_EQ(vxTolvaneStats.magic, 0);
    vxTolvaneStats = {};
    control("reset\nfail i2c-0 write ENXIO 1 1");
    setChip("50", 0x1D00, Bytes(16, 0xFF));
    EXPECT_EQ(see([] { return loadTolvaneStatsFromSeep(0); }).result, -1);
    EXPECT_EQ(vxTolvaneStats.magic, 0) << "not initialised before it is stored";
}

TEST_F(Seep, MemoryModule) {
    setChip("56", 0x75, {0x2C, 0x80, 0xAB, 0x15, 0x33, 0x00, 0x01, 0xE2, 0x40});
    Bytes part = {'P', 'A', 'R', 'T'};
    part.resize(18, 'x');
    setChip("56", 0x80, part);
    std::string const partText(part.begin(), part.end());
    std::string const zeros = "0000000000000";
    // clang-format off
    struct {
        int (*call)(char*, int); const char* faults; int size, result; std::string text;
    } const cases[] = {
        {getNvDimmSerialNumber, "", 32, 13, "2015000123456"},
        {getNvDimmSerialNumber, "", 8, 7, "2015000"},
        {getNvDimmSerialNumber, "fail i2c-0 open EIO", 32, 0, zeros},
        {getNvDimmSerialNumber, "short i2c-0 read 1 1", 5, 0, "0000"},
        {getNvDimmPartNumber, "", 32, 18, partText},
        {getNvDimmPartNumber, "", 19, 18, partText},
        {getNvDimmPartNumber, "", 18, 17, partText.substr(0, 17)},
        {getNvDimmPartNumber, "", 1, 0, ""},
        {getNvDimmPartNumber, "fail i2c-0 address EIO", 32, 0, zeros},
        {getNvDimmManufLocation, "", 32, 2, "AB"},
        {getNvDimmManufLocation, "", 2, 2, "A"},
        {getNvDimmManufLocation, "fail i2c-0 open EIO", 32, 2, "00"},
        {getNvDimmSerialNumber, "", 0, 0, "~"},
        {getNvDimmPartNumber, "", -1, 0, "~"},
    };
    // clang-format on
    for (auto const& c : cases) {
        control(std::string("reset\n") + c.faults);
        std::string text(40, '~');
        EXPECT_EQ(see([&] { return c.call(text.data(), c.size); }).result, c.result) << c.text;
        EXPECT_EQ(text.substr(0, c.text.size()), c.text);
        // Cleared to its size, and no byte more.
        for (std::size_t i = c.text.size(); i < text.size(); ++i) {
            EXPECT_EQ(text[i], static_cast<int>(i) < c.size ? '\0' : '~') << c.text << i;
        }
    }
    control("reset");
    for (auto const& [bytes, text] :
         {std::pair{Bytes{0x05, 0x33, 0x00, 0x01, 0xE2, 0x40}, "205000123456"},
          std::pair{Bytes{0x15, 0x33, 0xFF, 0xFF, 0xFF, 0xFE}, "2015-00000002"}}) {
        setChip("56", 0x78, bytes);
        char serial[32];
        getNvDimmSerialNumber(serial, sizeof serial);
        EXPECT_STREQ(serial, text);
    }
    uint16_t id = 0;
    Seen const seen = see([&] { return getNvDimmManufId(&id); });
    EXPECT_EQ(seen.result, 2);
    EXPECT_EQ(id, 0x802C);
    EXPECT_EQ(seen.output, "manufId: 802c\n");
    control("fail i2c-0 address EIO");
    EXPECT_EQ(see([&] { return getNvDimmManufId(&id); }).result, -1);
    EXPECT_EQ(id, 0x802C);

    Seen const map = see([] { return verifyAndInitNvDimmI2CregMap(); });
    EXPECT_EQ(map.result, 0x5E);
    EXPECT_EQ(map.output,
              "verifyAndInitNvDimmI2CregMap:1160: Using NVDIMM Register Map address: 5e\n");
    EXPECT_NE(map.trace.find("write 00 = 1\ni2c-0 read 4 = 4\n"), std::string::npos);
    control("fail i2c-0 write EIO 16");
    EXPECT_EQ(see([] { return verifyAndInitNvDimmI2CregMap(); }).result, 0x58);
    EXPECT_EQ(default_nvdimm_i2c_addr, 0x58);
    default_nvdimm_i2c_addr = 0x11;
    control("fail i2c-0 write EIO 32");
    Seen const none = see([] { return verifyAndInitNvDimmI2CregMap(); });
    EXPECT_EQ(none.result, 0);
    EXPECT_EQ(default_nvdimm_i2c_addr, 0x11);
    EXPECT_NE(none.trace.find("address 58 = 0\n"), std::string::npos) << "the second place";
}

TEST_F(Seep, Temperatures) {
    std::string const board = "/sys/class/hwmon/hwmon0/device/temp1_input";
    std::string const front = "/sys/class/i2c-dev/i2c-1/device/1-004c/temp1_input";
    std::string const rear = "/sys/class/i2c-dev/i2c-1/device/1-004c/temp2_input";
    std::string const mem = "/sys/class/i2c-dev/i2c-0/device/0-001e/temp1_input";
    std::string const at = "i2c_access: getBoardTemp: ";
    std::string const none = "(none)";
    auto const failure = [&](const char* name, int count, const char* text) {
        return at + "reading " + name + " temp failed! retval = " + std::to_string(count) +
               ", errno: 0 buf: " + text + "\n";
    };
    // A file's text, the results (7: untouched), what is reported.
    // clang-format off
    struct {
        std::string path, text; int result; uint16_t values[4]; std::string errors; // front, rear, board, mem
    } const cases[] = {
        {board, "38000\n", 0, {315, 352, 38000, 401}, ""},
        {front, "9500\n",  0, {95, 352, 38000, 401}, ""}, // five bytes, the end of line among them
        {front, "9500",   -1, {7, 7, 38000, 7}, failure("front", 4, "9500")},
        {front, none,     -1, {7, 7, 38000, 7}, at + "open " + front + " failed!\n"},
        {rear,  "1",      -1, {315, 7, 38000, 7}, failure("rear", 1, "1")},
        {board, "",       -1, {7, 7, 7, 7}, failure("board", 0, "")},
        {board, "380001\n", 0, {315, 352, 38000, 401}, ""}, // five characters are read
        {front, "none\n", 0, {0, 352, 38000, 401}, ""},
        {board, "9",       0, {315, 352, 9, 401}, ""},
        {board, none,     -1, {7, 7, 7, 7}, at + "open " + board + " failed!\n"},
        {mem,   "-5100\n", 0, {315, 352, 38000, 65535 - 50}, ""},
        {mem,   "51234",   0, {315, 352, 38000, 512}, ""},
        {mem,   "512",     0, {315, 352, 38000, 512}, failure("mem", 3, "512")}, // the last good one
        {mem,   none,      0, {315, 352, 38000, 0}, at + "stat: " + mem + " does not exist\n"},
    };
    // clang-format on
    for (auto const& c : cases) {
        for (auto const& [path, text] : {std::pair{board, "38000\n"}, std::pair{front, "31500\n"},
                                         std::pair{rear, "35200\n"}, std::pair{mem, "40100\n"}}) {
            if (path != c.path) {
                std::ofstream(path) << text;
            } else if (c.text == none) {
                std::filesystem::remove(path);
            } else {
                std::ofstream(path) << c.text;
            }
        }
        uint16_t values[4] = {7, 7, 7, 7};
        Seen const seen =
            see([&] { return getBoardTemp(&values[0], &values[1], &values[2], &values[3]); });
        EXPECT_EQ(seen.result, c.result) << c.path << c.text;
        EXPECT_TRUE(std::equal(std::begin(values), std::end(values), c.values))
            << c.path << c.text << " " << values[0] << " " << values[1] << " " << values[2] << " "
            << values[3];
        EXPECT_EQ(seen.errors, c.errors) << c.path << c.text;
    }
    std::ofstream(mem) << "40100\n";
    std::filesystem::remove(front);
    uint16_t value = 7;
    EXPECT_EQ(getBoardTemp(nullptr, nullptr, nullptr, &value), 0) << "a null pointer skips";
    EXPECT_EQ(value, 401);
    EXPECT_EQ(getBoardTemp(nullptr, nullptr, nullptr, nullptr), 0);
    std::ofstream(front) << "31500\n";
}

TEST_F(Seep, SerialAndModelNumber) {
    see([] { return vornhal_init_env(vhnor_init()); });
    struct {
        int (*get)(char*, int);
        int (*set)(const char*);
        const char* errors;
    } const cases[] = {
        {getBladeSerialNum, setBladeSerialNum,
         "i2c_access: getBladeSerialNum: Failed to read serial number! serialNum: SERIAL\n"},
        {getBladeModelNum, setBladeModelNum,
         "i2c_access: getBladeModelNum:  Failed to read model number modelNum! modelNum: \n"},
    };
    for (auto const& c : cases) {
        char text[80] = "?";
        Seen const unset = see([&] { return c.get(text, sizeof text); });
        EXPECT_EQ(unset.result, -1);
        EXPECT_EQ(unset.errors, c.errors);
        std::string const longText(70, 's');
        EXPECT_EQ(see([&] { return c.set(longText.c_str()); }).result, 0);
        see([] { return vornhal_init_env(0); }); // from the flash again
        EXPECT_EQ(c.get(text, sizeof text), 0);
        EXPECT_EQ(text, longText.substr(0, 63));
        EXPECT_EQ(c.get(text, 5), 0);
        EXPECT_STREQ(text, "ssss");
        control("fail mtd0 erase EIO");
        EXPECT_EQ(see([&] { return c.set("x"); }).result, 0) << "whatever becomes of the save";
        see([] { return vornhal_init_env(0); });
        EXPECT_EQ(c.get(text, sizeof text), 0);
        EXPECT_EQ(text, longText.substr(0, 63));
    }
}

} // namespace
