#include "pmgr/psst_table.h"

#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <array>
#include <iterator>

namespace {

constexpr uint32_t crcOfZeroVpd = 0x2FEFD946;

// Sizes as a blade's headers hold them, by file-type code from 0.
constexpr uint32_t sizes[] = {
    64,      64,     44240,   64,      44240,    2859072, 718912,  1318976, 2752576, 2288,
    2288,    2176,   7140,    2654272, 19968,    720960,  729152,  64,      64,      14464,
    3104832, 176192, 9437248, 7584,    64,       64,      3592,    576,     64,      64,
    8472640, 64,     584,     1093696, 16448,    94056,   150592,  64,      557120,  580,
    64,      64,     320,     4672,    12595264, 192,     1507392, 64,      64,
};

TEST(PsstHeader, BytesOfEveryCode) {
    for (uint32_t type = 0; type < std::size(sizes); ++type) {
        std::array<uint32_t, 16> words;
        words.fill(0xEEEEEEEE);
        CreateHeader(reinterpret_cast<PsstHeader*>(words.data()), type);
        uint32_t const crc = type == 9 || type == 10 ? crcOfZeroVpd : 0;
        EXPECT_EQ(words,
                  (std::array<uint32_t, 16>{13, 0x1BADA555, crc, sizes[type], type, 0, 0, 64}));
    }
}

TEST(PsstTable, NamesAndPaths) {
    EXPECT_STREQ(psstFileNames[0], "Uknown");
    EXPECT_STREQ(psstFileNames[44], "");
    for (int const reserved : {25, 26, 37, 38}) {
        EXPECT_STREQ(psstFileNames[reserved], "Uknown");
        EXPECT_STREQ(psstFilePrimaryPaths[reserved], "Uknown");
    }
    EXPECT_STREQ(psstFileNames[41], "brapp_phys_stripe_table.bin");
    EXPECT_STREQ(psstFilePrimaryPaths[41], "/mnt/nand1/brapp_phys_lun_stripe_table.bin");
    EXPECT_STREQ(psstFilePrimaryPaths[43], "/mnt/nand1/brapp_cluster_cached_lun_info.bin");
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
