#include "store/psst_table.h"

#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr uint32_t crcOfZeroVpd = 0x2FEFD946;

// The document's files, each a row that begins with a number.
std::vector<std::string> documented() {
    std::ifstream document(DOCS "/store-format.md");
    std::vector<std::string> rows;
    bool under = false;
    for (std::string line; std::getline(document, line);) {
        under = line.starts_with('#') ? line == "## Files" : under;
        if (under && line.starts_with("| ") && line.find_first_of("0123456789") == 2) {
            rows.push_back(line);
        }
    }
    return rows;
}

std::string recordsOf(const vx::PsstFile& file) {
    std::string const size = std::to_string(file.recordSize);
    std::string const texts[] = {"", "header only",
                                 file.recordSize == 0 ? "one, not counted" : "one of " + size,
                                 std::to_string(file.slots) + " × " + size, "see below"};
    return texts[static_cast<std::size_t>(file.layout)];
}

TEST(PsstTable, FilesAreThoseOfTheDocument) {
    std::vector<std::string> rows;
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        const vx::PsstFile& file = vx::psstFile(index);
        std::string const name =
            index == 41 ? "brapp_phys_lun_stripe_table.bin" : psstFileNames[index];
        std::string const types = index == 1 ? "2, 3, 4" : std::to_string(vx::fileTypeOf(index));
        if (file.layout != vx::Layout::reserved) {
            EXPECT_EQ(psstFilePrimaryPaths[index], "/mnt/nand1/" + name);
            rows.push_back("| " + std::to_string(index) + " | `" + name + "` | " + types + " | " +
                           recordsOf(file) + " | " + std::to_string(file.size) + " |");
        }
    }
    EXPECT_EQ(rows, documented());
    EXPECT_STREQ(psstFileNames[41], "brapp_phys_stripe_table.bin");
}

TEST(PsstTable, HeadersAndRecordsOfEveryType) {
    for (uint32_t type = 0; type < 49; ++type) {
        std::array<uint32_t, 16> words;
        words.fill(0xEEEEEEEE);
        CreateHeader(reinterpret_cast<PsstHeader*>(words.data()), type);
        uint32_t const crc = type == 9 || type == 10 ? crcOfZeroVpd : 0;
        bool const hasFile = type == 2 || (type > 3 && type < 47);
        uint32_t const size = hasFile ? vx::psstFile(vx::fileIndexOf(type)).size : 64;
        EXPECT_EQ(words, (std::array<uint32_t, 16>{13, 0x1BADA555, crc, size, type, 0, 0, 64}));
        constexpr uint32_t without[] = {0, 1, 24, 25, 28, 29, 31, 37, 40, 41, 47, 48};
        EXPECT_EQ(vx::placeOf(type).has_value(), std::ranges::count(without, type) == 0) << type;
    }
}

TEST(PsstTable, NamesAndPathsOfNoFile) {
    for (int const reserved : {0, 25, 26, 37, 38}) {
        EXPECT_STREQ(psstFileNames[reserved], "Uknown");
        EXPECT_STREQ(psstFilePrimaryPaths[reserved], "Uknown");
    }
    EXPECT_STREQ(psstFileNames[44], "");
    EXPECT_STREQ(psstFileMirrorPaths[0], "Uknown");
    EXPECT_STREQ(psstAdditionalFilePrimaryPaths[2], "/mnt/nand1/brapp_client_storage.bin");
}

TEST(PsstTable, ListsOfFiles) {
    std::string fru;
    for (auto const* const* entry = psstFruFiles; *entry != nullptr; ++entry) {
        auto const index = *entry - psstFilePrimaryPaths;
        fru += index >= 0 && index < 44
                   ? std::to_string(index) + ' '
                   : '+' + std::to_string(*entry - psstAdditionalFilePrimaryPaths) + ' ';
    }
    EXPECT_EQ(fru, "0 1 2 3 4 5 6 7 8 10 11 12 13 14 15 16 17 18 19 20 21 0 23 24 27 29 30 31 32 "
                   "33 0 35 36 0 0 39 40 41 42 43 +0 +1 +3 +4 +5 ");
    EXPECT_EQ(psstCfgFilesToDelete[0], psstFilePrimaryPaths[21]);
    EXPECT_EQ(psstCfgFilesToDelete[1], psstFilePrimaryPaths[29]);
    EXPECT_EQ(psstCfgFilesToDelete[2], psstFilePrimaryPaths[31]);
    EXPECT_EQ(psstCfgFilesToDelete[3], nullptr);
}

} // namespace
