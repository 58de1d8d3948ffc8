#include "store/psst_table.h"

#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <sstream>

namespace {

std::string recordsOf(const vx::PsstFile& file) {
    std::string const size = std::to_string(file.recordSize);
    std::string const texts[] = {"", "header only",
                                 file.recordSize == 0 ? "one, not counted" : "one of " + size,
                                 std::to_string(file.slots) + " × " + size, "see below"};
    return texts[static_cast<std::size_t>(file.layout)];
}

TEST(PsstTable, FilesAreThoseOfTheDocument) {
    std::stringstream document;
    document << std::ifstream(DOCS "/store-format.md").rdbuf();
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        const vx::PsstFile& file = vx::psstFile(index);
        std::string const path = psstFilePrimaryPaths[index];
        std::string const types = index == 1 ? "2, 3, 4" : std::to_string(vx::fileTypeOf(index));
        std::string const row = "\n| " + std::to_string(index) + " | `" +
                                path.substr(path.rfind('/') + 1) + "` | " + types + " | " +
                                recordsOf(file) + " | " + std::to_string(file.size) + " |\n";
        bool const isFile = path.starts_with("/mnt/nand1/");
        EXPECT_EQ(document.str().find(row) != std::string::npos, isFile) << row;
        EXPECT_EQ(psstFileNames[index],
                  index == 41 ? "brapp_phys_stripe_table.bin" : path.substr(path.rfind('/') + 1));
        EXPECT_TRUE(isFile || (path == "Uknown" && file.layout == vx::Layout::reserved));
    }
}

// One type of each kind: of a file, of the VPD, of records within a file, of no file.
TEST(PsstTable, Headers) {
    constexpr uint32_t crcOfZeroVpd = 0x2FEFD946;
    using Words = std::array<uint32_t, 16>;
    for (Words const& expected : {Words{13, 0x1BADA555, 0, 7584, 23, 0, 0, 64},
                                  {13, 0x1BADA555, crcOfZeroVpd, 2288, 10, 0, 0, 64},
                                  {13, 0x1BADA555, 0, 64, 3, 0, 0, 64},
                                  {13, 0x1BADA555, 0, 64, 47, 0, 0, 64}}) {
        Words words;
        words.fill(0xEEEEEEEE);
        CreateHeader(reinterpret_cast<PsstHeader*>(words.data()), expected[4]);
        EXPECT_EQ(words, expected);
    }
}

TEST(PsstTable, FilesOfTheReplaceableUnit) {
    std::string fru;
    for (auto const* const* entry = psstFruFiles; *entry != nullptr; ++entry) {
        auto const index = *entry - psstFilePrimaryPaths;
        fru += index >= 0 && index < 44 ? std::to_string(index) + ' ' : **entry + std::string("\n");
    }
    EXPECT_EQ(fru, "0 1 2 3 4 5 6 7 8 10 11 12 13 14 15 16 17 18 19 20 21 0 23 24 27 29 30 31 32 "
                   "33 0 35 36 0 0 39 40 41 42 43 /mnt/nand1/migration_logv2\n"
                   "/mnt/nand1/brapp_psst_data.cfg\n/mnt/nand1/drivecfg.cfg\n"
                   "/mnt/nand1/drivecfg_bak.cfg\n/mnt/nand1/ftp.cfg\n");
}

} // namespace
