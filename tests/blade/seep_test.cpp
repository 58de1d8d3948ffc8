// The serial EEPROM's records, the memory module, the sensors, serial and model number.
#include "tests/support/devices.h"

#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>
#include <vxblade/seep.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <tuple>

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
    char text[32] = "";
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
    EXPECT_EQ(getPCIeRegsFromSeep(text, 0x12), 0x12);
    EXPECT_EQ(text[0x11], 2);
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
    Bytes record(64, 0xEE); // bytes without a default keep what they are
    uint8_t const sum = setDefaultBist(reinterpret_cast<BistRecord*>(record.data()));
    Bytes expected(64, 0xEE);
    std::ranges::copy(Bytes{0x7C, 0x49, 3, 4}, expected.begin());
    std::ranges::copy(Bytes{1, 0, 4}, expected.begin() + 8);
    std::ranges::copy(Bytes{1, 0, 0, 0, 0xEE, 0x53, sum}, expected.begin() + 57);
    EXPECT_EQ(record, expected);
    EXPECT_EQ(sum, std::accumulate(expected.begin(), expected.end() - 1, 0U) % 256);
    EXPECT_EQ(calc_bist_cksum(record.data(), 2), 0x7C + 0x49);

    Bytes buffer(65, 0);
    EXPECT_EQ(getBistFromSeep(buffer.data(), 63), 0);
    EXPECT_EQ(setBistToSeep(buffer.data(), 65), 0);
    EXPECT_EQ(setBistToSeep(record.data(), 64), 64);
    EXPECT_EQ(getBistFromSeep(buffer.data(), 65), 64);
    EXPECT_EQ(chip("50", 0x1E18, 64), record);

    // A good record: the mode, perhaps the count, and the sum.
    EXPECT_EQ(setBistTestModeAndExecCount(0x1234, 0xFFFFFFFF), 0);
    expected[8] = 0x34;
    expected[9] = 0x12;
    expected[63] = static_cast<unsigned char>(sum + 0x34 + 0x12 - 1);
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
    EXPECT_EQ(chip("50", 0x1E18 + 57, 1), Bytes{1});

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

TEST_F(Seep, StatisticsAreInitialisedOnce) {
    Bytes const old = {0xC3, 0, 1, 2, 3, 4, 5, 6, 7, 8, 0xFF, 0xFF, 9, 10, 11, 12};
    Bytes const marked = {0xC3, 0, 1, 2, 3, 4, 5, 6, 7, 8, 0xA5, 1, 9, 10, 11, 12};
    const char* const counters = "513 nand1_reset: 1027 nand2_reset: 1541 nand4_reset: 2055\n";
    // clang-format off
    struct { Bytes before, after; bool writes; const char* counters; } const cases[] = {
        {Bytes(16, 0xFF), {0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xA5, 1, 0, 0, 0, 0}, true,
         "0 nand1_reset: 0 nand2_reset: 0 nand4_reset: 0\n"},
        {old, marked, true, counters},
        {marked, marked, false, counters},
    };
    // clang-format on
    for (auto const& c : cases) {
        setChip("50", 0x1D00, c.before);
        Seen const seen = see([] { return loadTolvaneStatsFromSeep(1); });
        EXPECT_EQ(seen.result, 0);
        EXPECT_TRUE(seen.output.starts_with("loadTolvaneStatsFromSeep:"));
        EXPECT_TRUE(seen.output.ends_with(std::string("nand0_reset: ") + c.counters));
        EXPECT_EQ(chip("50", 0x1D00, 16), c.after);
        EXPECT_EQ(chip("50", 0x1D10, 1), Bytes{0xFF}) << "no more is stored";
        EXPECT_EQ(seen.trace.find("write 1d02") != std::string::npos, c.writes);
        EXPECT_EQ(std::memcmp(&vxTolvaneStats, c.after.data(), 16), 0);
    }
    Seen const cached = see([] { return loadTolvaneStatsFromSeep(0); });
    EXPECT_EQ(cached.trace + cached.output, "");
}

TEST_F(Seep, StatisticsAddUpAndChangeAsAWhole) {
    setChip("50", 0x1D00, {0xC3, 0, 0xFF, 0xFF, 1, 0, 2, 0, 3, 0, 0xA5, 1, 0xFF, 0xFF, 0xFF, 0xFF});
    TolvaneStats delta{};
    std::ranges::copy(std::array<uint16_t, 4>{2, 3, 4, 5}, delta.nandResets);
    delta.nvdimmCount = 2;
    EXPECT_EQ(updateStatsToSeep(nullptr, 0), -1);
    EXPECT_EQ(updateStatsToSeep(&delta, 0), 0);
    Bytes const sum = {0xC3, 0, 1, 0, 4, 0, 6, 0, 8, 0, 0xA5, 1, 1, 0, 0, 0};
    EXPECT_EQ(chip("50", 0x1D00, 16), sum) << "the counters wrap";

    // Each takes its part, and the rest of the caller's record is cleared.
    for (auto const& [get, start, size] :
         {std::tuple{&getFsResetStatsToSeep, 2, 8}, {&getNVDIMMStatsFromSeep, 10, 6}}) {
        auto out = filled<TolvaneStats>(0x5A);
        EXPECT_EQ(get(&out), 0);
        Bytes expected(256, 0);
        std::copy_n(sum.begin() + start, size, expected.begin() + start);
        EXPECT_EQ(bytesOf(&out, sizeof out), expected);
        EXPECT_EQ(get(nullptr), -1);
    }

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
        see([&] { return updateStatsToSeep(&delta, 1) + getFsResetStatsToSeep(&delta); });
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
    std::string const part = "PARTxxxxxxxxxxxxxx";
    setChip("56", 0x80, Bytes(part.begin(), part.end()));
    std::string const zeros = "0000000000000";
    // clang-format off
    struct {
        int (*call)(char*, int); const char* faults; int size, result; std::string text;
    } const cases[] = {
        {getNvDimmSerialNumber, "", 32, 13, "2015000123456"},
        {getNvDimmSerialNumber, "", 8, 7, "2015000"},
        {getNvDimmSerialNumber, "short i2c-0 read 1 1", 5, 0, "0000"},
        {getNvDimmPartNumber, "", 32, 18, part},
        {getNvDimmPartNumber, "", 18, 17, part.substr(0, 17)},
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
        // Cleared to its size, and no byte more.
        auto const size = static_cast<std::size_t>(std::max(c.size, 0));
        std::string expected = c.text;
        expected.resize(std::max(size, c.text.size()), '\0');
        expected.resize(40, '~');
        EXPECT_EQ(text, expected);
    }
    control("reset");
    char serial[32];
    setChip("56", 0x78, {0x05, 0x33, 0xFF, 0xFF, 0xFF, 0xFE});
    getNvDimmSerialNumber(serial, sizeof serial);
    EXPECT_STREQ(serial, "205-00000002");
    uint16_t id = 0;
    Seen const seen = see([&] { return getNvDimmManufId(&id); });
    EXPECT_EQ(seen.result, 2);
    EXPECT_EQ(seen.output, "manufId: 802c\n");
    control("fail i2c-0 address EIO");
    EXPECT_EQ(see([&] { return getNvDimmManufId(&id); }).result, -1);
    EXPECT_EQ(id, 0x802C);
}

TEST_F(Seep, RegisterMapOfTheMemoryModule) {
    std::string const use =
        "verifyAndInitNvDimmI2CregMap:1160: Using NVDIMM Register Map address: ";
    struct {
        const char* faults;
        int result, address;
        std::string output;
    } const cases[] = {{"", 0x5E, 0x5E, use + "5e\n"},
                       {"fail i2c-0 write EIO 16", 0x58, 0x58, use + "58\n"},
                       {"fail i2c-0 write EIO 32", 0, 0x58, ""}};
    for (auto const& c : cases) {
        control(std::string("reset\n") + c.faults);
        Seen const seen = see([] { return verifyAndInitNvDimmI2CregMap(); });
        EXPECT_EQ(seen.result, c.result);
        EXPECT_EQ(seen.output, c.output);
        EXPECT_EQ(default_nvdimm_i2c_addr, c.address);
    }
}

TEST_F(Seep, Temperatures) {
    std::string const board = "/sys/class/hwmon/hwmon0/device/temp1_input";
    std::string const front = "/sys/class/i2c-dev/i2c-1/device/1-004c/temp1_input";
    std::string const rear = "/sys/class/i2c-dev/i2c-1/device/1-004c/temp2_input";
    std::string const mem = "/sys/class/i2c-dev/i2c-0/device/0-001e/temp1_input";
    std::string const none = "(none)";
    using Values = std::array<uint16_t, 4>; // front, rear, board, mem
    // A file's text, what comes of it (7: untouched), what is reported.
    // clang-format off
    struct { std::string path, text; int result; Values values; std::string errors; } const cases[] = {
        {board, "380001\n", 0, {315, 352, 38000, 401}, ""}, // five characters are read
        {board, "9",       0, {315, 352, 9, 401}, ""},
        {board, "",       -1, {7, 7, 7, 7}, "reading board temp failed! retval = 0, errno: 0 buf: \n"},
        {board, none,     -1, {7, 7, 7, 7}, "open " + board + " failed!\n"},
        {front, "9500\n",  0, {95, 352, 38000, 401}, ""}, // the end of line is a character
        {front, "9500",   -1, {7, 7, 38000, 7}, "reading front temp failed! retval = 4, errno: 0 buf: 9500\n"},
        {front, "none\n",  0, {0, 352, 38000, 401}, ""},
        {rear,  "1",      -1, {315, 7, 38000, 7}, "reading rear temp failed! retval = 1, errno: 0 buf: 1\n"},
        {mem,   "-5100\n", 0, {315, 352, 38000, 65535 - 50}, ""},
        {mem,   "51234",   0, {315, 352, 38000, 512}, ""},
        {mem,   "512",     0, {315, 352, 38000, 512}, "reading mem temp failed! retval = 3, errno: 0 buf: 512\n"}, // the last good one
        {mem,   none,      0, {315, 352, 38000, 0}, "stat: " + mem + " does not exist\n"},
    };
    // clang-format on
    for (auto const& c : cases) {
        SCOPED_TRACE(c.path + c.text);
        for (auto const& [path, text] : {std::pair{board, "38000\n"}, std::pair{front, "31500\n"},
                                         std::pair{rear, "35200\n"}, std::pair{mem, "40100\n"}}) {
            std::ofstream(path) << (path == c.path ? c.text : text);
        }
        if (c.text == none) {
            std::filesystem::remove(c.path);
        }
        Values v = {7, 7, 7, 7};
        Seen const seen = see([&] { return getBoardTemp(&v[0], &v[1], &v[2], &v[3]); });
        EXPECT_EQ(seen.result, c.result);
        EXPECT_EQ(v, c.values);
        EXPECT_EQ(seen.errors, c.errors.empty() ? "" : "i2c_access: getBoardTemp: " + c.errors);
    }
    std::ofstream(mem) << "40100\n";
    std::filesystem::remove(front);
    uint16_t value = 7;
    EXPECT_EQ(getBoardTemp(nullptr, nullptr, nullptr, &value), 0) << "a null pointer skips";
    EXPECT_EQ(value, 401);
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
    }
}

} // namespace
