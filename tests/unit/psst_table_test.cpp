#include "store/psst_table.h"

#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr uint32_t crcOfZeroVpd = 0x2FEFD946;

// The document's rows that begin with a number, under a heading.
std::vector<std::string> documented(const char* heading) {
    std::ifstream document(DOCS "/store-format.md");
    std::vector<std::string> rows;
    bool under = false;
    for (std::string line; std::getline(document, line);) {
        under = line.starts_with('#') ? line.starts_with(heading) : under;
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
    EXPECT_EQ(rows, documented("## Files"));
    EXPECT_STREQ(psstFileNames[41], "brapp_phys_stripe_table.bin");
}

TEST(PsstTable, RecordsOfTheConfigurationAreThoseOfTheDocument) {
    std::vector<std::string> rows;
    for (uint32_t const type : {2U, 3U, 4U}) {
        vx::RecordPlace const place = vx::placeOf(type).value();
        EXPECT_EQ(place.fileIndex, 1);
        uint32_t const width = type == 4 ? place.slotSize : place.end - place.first;
        std::string const last = std::to_string((place.end - place.first) / width - 1);
        std::string const ports = " + " + std::to_string(width) + " × *r*";
        const std::string records[] = {"bridge", "management port", "port slot *r*, 0 to " + last};
        rows.push_back("| " + std::to_string(place.first) + (type == 4 ? ports : "") + " | " +
                       std::to_string(width) + " | " + std::to_string(type) + " | " +
                       records[type - 2] + " |");
    }
    EXPECT_EQ(rows, documented("## Configuration"));
}

TEST(PsstHeader, BytesOfEveryCode) {
    for (uint32_t type = 0; type < 49; ++type) {
        std::array<uint32_t, 16> words;
        words.fill(0xEEEEEEEE);
        CreateHeader(reinterpret_cast<PsstHeader*>(words.data()), type);
        uint32_t const crc = type == 9 || type == 10 ? crcOfZeroVpd : 0;
        bool const hasFile = type == 2 || (type > 3 && type < 47);
        uint32_t const size = hasFile ? vx::psstFile(vx::fileIndexOf(type)).size : 64;
        EXPECT_EQ(words, (std::array<uint32_t, 16>{13, 0x1BADA555, crc, size, type, 0, 0, 64}));
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

TEST(PsstTable, FruFiles) {
    constexpr int files[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  10, 11, 12, 13, 14,
                             15, 16, 17, 18, 19, 20, 21, 0,  23, 24, 27, 29, 30, 31,
                             32, 33, 0,  35, 36, 0,  0,  39, 40, 41, 42, 43};
    std::size_t at = 0;
    for (int const index : files) {
        EXPECT_EQ(psstFruFiles[at++], psstFilePrimaryPaths + index) << at;
    }
    for (int const additional : {0, 1, 3, 4, 5}) {
        EXPECT_EQ(psstFruFiles[at++], psstAdditionalFilePrimaryPaths + additional) << at;
    }
    EXPECT_EQ(psstFruFiles[at], nullptr);
}

TEST(PsstTable, TypesWithoutRecordsAreRefused) {
    for (uint32_t const type : {0U, 1U, 24U, 25U, 28U, 29U, 31U, 37U, 40U, 41U, 47U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(vx::placeOf(type)) << type;
    }
}

} // namespace
