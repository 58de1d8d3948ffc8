#include "pmgr/psst_table.h"

#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <iterator>
#include <string>

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
    std::string list;
    int entries = 0;
    for (; psstFruFiles[entries] != nullptr; ++entries) {
        const char* const slash = std::strrchr(*psstFruFiles[entries], '/');
        list += slash != nullptr ? slash + 1 : "-";
        list += ' ';
    }
    EXPECT_EQ(entries, 45);
    EXPECT_EQ(
        list,
        "- brapp_config.bin brapp_initiator.bin brapp_node.bin brapp_device.bin brapp_lun.bin "
        "brapp_vpd.cfg brapp_vpd_bak.cfg brapp_passwd.bin brapp_virtual_initiator.bin "
        "brapp_remote.bin brapp_mirror_map.bin brapp_remote_map.bin brapp_key.cfg "
        "brapp_key_bak.cfg brapp_fcip.bin brapp_lun_info.bin brapp_migration.bin "
        "brapp_lun_map.bin brapp_hostgroup.bin brapp_seqno.cfg - brapp_migr_group.bin "
        "brapp_dm_globals.bin brapp_logical_lun.bin brapp_write_cache_marker.cfg "
        "brapp_connections.bin brapp_storage_pool_info.cfg brapp_event_notify.bin "
        "brapp_registered_clients.bin - brapp_ext_migration.bin brapp_migration_param.cfg - - "
        "brapp_cluster_member_info.bin brapp_cache_store_phys_drive_info.bin "
        "brapp_phys_lun_stripe_table.bin brapp_cluster_metadata.bin "
        "brapp_cluster_cached_lun_info.bin migration_logv2 brapp_psst_data.cfg drivecfg.cfg "
        "drivecfg_bak.cfg ftp.cfg ");
}

TEST(PsstTable, TypesWithoutRecordsAreRefused) {
    for (uint32_t const type : {0U, 1U, 24U, 25U, 28U, 29U, 31U, 37U, 40U, 41U, 47U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(vx::placeOf(type)) << type;
    }
}

} // namespace
