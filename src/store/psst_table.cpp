#include "store/psst_table.h"

#include <vxblade/platform.h>
#include <vxblade/records.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>

// Every file of the store, by index. Indices never change, since file-type codes follow from them;
// a file that went away leaves its index reserved. FRU: whether the file travels with the
// field-replaceable unit, "gap" where that list has a place-holder instead. Reset: whether the
// selective reset moves the file aside.
//
// clang-format off
//   index short name                               file under /mnt/nand1                    layout      record   slots      size FRU  reset
#define PSST_FILES(X, RESERVED)                                                                                                            \
    X(1,  "brapp_config.bin",                      "brapp_config.bin",                      config,         0,      0,    44240, yes, no)  \
    X(2,  "brapp_initiator.bin",                   "brapp_initiator.bin",                   slots,       1396,   2048,  2859072, yes, no)  \
    X(3,  "brapp_node.bin",                        "brapp_node.bin",                        slots,       1404,    512,   718912, yes, no)  \
    X(4,  "brapp_device.bin",                      "brapp_device.bin",                      slots,       2576,    512,  1318976, yes, no)  \
    X(5,  "brapp_lun.bin",                         "brapp_lun.bin",                         slots,        672,   4096,  2752576, yes, no)  \
    X(6,  "brapp_vpd.cfg",                         "brapp_vpd.cfg",                         whole,       2224,      1,     2288, yes, no)  \
    X(7,  "brapp_vpd_bak.cfg",                     "brapp_vpd_bak.cfg",                     whole,       2224,      1,     2288, yes, no)  \
    X(8,  "brapp_passwd.bin",                      "brapp_passwd.bin",                      whole,       2112,      1,     2176, yes, no)  \
    X(9,  "brapp_snmp.bin",                        "brapp_snmp.bin",                        whole,       7076,      1,     7140, no,  no)  \
    X(10, "brapp_virtual_initiator.bin",           "brapp_virtual_initiator.bin",           slots,       1296,   2048,  2654272, yes, no)  \
    X(11, "brapp_remote.bin",                      "brapp_remote.bin",                      slots,       1244,     16,    19968, yes, no)  \
    X(12, "brapp_mirror_map.bin",                  "brapp_mirror_map.bin",                  slots,       1408,    512,   720960, yes, no)  \
    X(13, "brapp_remote_map.bin",                  "brapp_remote_map.bin",                  slots,       1424,    512,   729152, yes, no)  \
    X(14, "brapp_key.cfg",                         "brapp_key.cfg",                         whole,          0,      1,       64, yes, no)  \
    X(15, "brapp_key_bak.cfg",                     "brapp_key_bak.cfg",                     whole,          0,      1,       64, yes, no)  \
    X(16, "brapp_fcip.bin",                        "brapp_fcip.bin",                        slots,        900,     16,    14464, yes, no)  \
    X(17, "brapp_lun_info.bin",                    "brapp_lun_info.bin",                    slots,        758,   4096,  3104832, yes, no)  \
    X(18, "brapp_migration.bin",                   "brapp_migration.bin",                   slots,        344,    512,   176192, yes, no)  \
    X(19, "brapp_lun_map.bin",                     "brapp_lun_map.bin",                     slots,         72, 131072,  9437248, yes, no)  \
    X(20, "brapp_hostgroup.bin",                   "brapp_hostgroup.bin",                   slots,        940,      8,     7584, yes, no)  \
    X(21, "brapp_seqno.cfg",                       "brapp_seqno.cfg",                       headerOnly,     0,      0,       64, yes, yes) \
    X(22, "migration_log",                         "migration_log",                         headerOnly,     0,      0,       64, gap, no)  \
    X(23, "brapp_migr_group.bin",                  "brapp_migr_group.bin",                  slots,        392,      9,     3592, yes, no)  \
    X(24, "brapp_dm_globals.bin",                  "brapp_dm_globals.bin",                  whole,        512,      1,      576, yes, no)  \
    RESERVED(no)                                                                                                                           \
    RESERVED(no)                                                                                                                           \
    X(27, "brapp_logical_lun.bin",                 "brapp_logical_lun.bin",                 slots,      33096,    256,  8472640, yes, no)  \
    X(28, "brapp_data_mgmt_lun.bin",               "brapp_data_mgmt_lun.bin",               headerOnly,     0,      0,       64, no,  no)  \
    X(29, "brapp_write_cache_marker.cfg",          "brapp_write_cache_marker.cfg",          slots,        520,      1,      584, yes, yes) \
    X(30, "brapp_connections.bin",                 "brapp_connections.bin",                 slots,       2136,    512,  1093696, yes, no)  \
    X(31, "brapp_storage_pool_info.cfg",           "brapp_storage_pool_info.cfg",           slots,        512,     32,    16448, yes, yes) \
    X(32, "brapp_event_notify.bin",                "brapp_event_notify.bin",                slots,      93992,      1,    94056, yes, no)  \
    X(33, "brapp_registered_clients.bin",          "brapp_registered_clients.bin",          slots,        588,    256,   150592, yes, no)  \
    X(34, "migration_report",                      "migration_report",                      headerOnly,     0,      0,       64, gap, no)  \
    X(35, "brapp_ext_migration.bin",               "brapp_ext_migration.bin",               slots,       1088,    512,   557120, yes, no)  \
    X(36, "brapp_migration_param.cfg",             "brapp_migration_param.cfg",             whole,        516,      1,      580, yes, no)  \
    RESERVED(gap)                                                                                                                          \
    RESERVED(gap)                                                                                                                          \
    X(39, "brapp_cluster_member_info.bin",         "brapp_cluster_member_info.bin",         slots,        256,      1,      320, yes, no)  \
    X(40, "brapp_cache_store_phys_drive_info.bin", "brapp_cache_store_phys_drive_info.bin", slots,        128,     36,     4672, yes, no)  \
    X(41, "brapp_phys_stripe_table.bin",           "brapp_phys_lun_stripe_table.bin",       slots,       8200,   1536, 12595264, yes, no)  \
    X(42, "brapp_cluster_metadata.bin",            "brapp_cluster_metadata.bin",            whole,        128,      1,      192, yes, no)  \
    X(43, "brapp_cluster_cached_lun_info.bin",     "brapp_cluster_cached_lun_info.bin",     slots,        368,   4096,  1507392, yes, no)
// clang-format on

#define UNKNOWN "Uknown" // spelled so wherever the blade's programs look for it

#define NAME(index, name, ...) name,
#define PATH(index, name, file, ...) "/mnt/nand1/" file,
#define RESERVED_NAME(fru) UNKNOWN,
const char* const psstFileNames[] = {UNKNOWN, PSST_FILES(NAME, RESERVED_NAME) ""};
constexpr const char* const psstFilePrimaryPaths[] = {UNKNOWN, PSST_FILES(PATH, RESERVED_NAME)};
static_assert(std::size(psstFileNames) == 45 && std::size(psstFilePrimaryPaths) == 44);

char psstFileMirrorPaths[46][256];
uint32_t vxpmgr_mirror_path_init_done = 0;

constexpr const char* const psstAdditionalFilePrimaryPaths[] = {
    "/mnt/nand1/migration_logv2",          "/mnt/nand1/brapp_psst_data.cfg",
    "/mnt/nand1/brapp_client_storage.bin", "/mnt/nand1/drivecfg.cfg",
    "/mnt/nand1/drivecfg_bak.cfg",         VX_FTP_CONFIG_PATH,
};
static_assert(std::size(psstAdditionalFilePrimaryPaths) == PSST_ADDITIONAL_COUNT);

// A file that does not travel has no entry, or one that points at "Uknown".
#define FRU_yes(index) &psstFilePrimaryPaths[index],
#define FRU_gap(index) &psstFilePrimaryPaths[0],
#define FRU_no(index)
#define FRU(index, name, file, layout, record, slots, size, fru, reset) FRU_##fru(index)
#define RESERVED_FRU(fru) FRU_##fru(0)
#define FRU_ADDITIONAL(number) &psstAdditionalFilePrimaryPaths[number]
// clang-format off
const char* const* const psstFruFiles[48] = {
    FRU_gap(0)
    PSST_FILES(FRU, RESERVED_FRU)
    FRU_ADDITIONAL(PSST_ADDITIONAL_MIGRATION_LOG),
    FRU_ADDITIONAL(PSST_ADDITIONAL_DATA),
    FRU_ADDITIONAL(PSST_ADDITIONAL_DRIVES),
    FRU_ADDITIONAL(PSST_ADDITIONAL_DRIVES_BACKUP),
    FRU_ADDITIONAL(PSST_ADDITIONAL_FTP),
    nullptr,
};
// clang-format on

#define RESET_yes(index) psstFilePrimaryPaths[index],
#define RESET_no(index)
#define RESET(index, name, file, layout, record, slots, size, fru, reset) RESET_##reset(index)
#define RESERVED_RESET(fru)
const char* const psstCfgFilesToDelete[] = {PSST_FILES(RESET, RESERVED_RESET) nullptr};

namespace vx {

namespace {

// The only path that is not filled at initialisation. As an initial value it would take the whole
// array's room, 11.5 KiB, in the program's file; this runs at load, before any program's own code,
// of whose constructors those without a priority come later.
[[gnu::constructor(101)]] void nameMirrorOfNoFile() {
    std::memcpy(psstFileMirrorPaths[0], UNKNOWN, sizeof UNKNOWN);
}

#define ROW(index, name, file, layout, record, slots, size, ...)                                   \
    PsstFile{Layout::layout, record, slots, size},
#define RESERVED_ROW(fru) PsstFile{Layout::reserved, 0, 0, PSST_HEADER_LENGTH},
constexpr auto files = std::to_array<PsstFile>({RESERVED_ROW(no) PSST_FILES(ROW, RESERVED_ROW)});
static_assert(files.size() == PSST_LAST_INDEX + 1);

#define INDEX(index, ...) index,
#define RESERVED_INDEX(fru) 0,
constexpr int indices[] = {0, PSST_FILES(INDEX, RESERVED_INDEX)};

// Rows are at their index, and sizes follow from the geometry.
constexpr bool tableIsConsistent() {
    for (std::size_t i = 0; i < files.size(); ++i) {
        const PsstFile& file = files[i];
        if (indices[i] != (file.layout == Layout::reserved ? 0 : static_cast<int>(i))) {
            return false;
        }
        if (file.layout != Layout::config &&
            file.size != PSST_HEADER_LENGTH + file.recordSize * file.slots) {
            return false;
        }
    }
    return true;
}
static_assert(tableIsConsistent());

constexpr uint32_t bridgeOffset = PSST_HEADER_LENGTH;
constexpr uint32_t mgmtPortOffset = bridgeOffset + sizeof(BridgeConfig);
constexpr uint32_t portOffset = mgmtPortOffset + sizeof(MgmtPortSlot);
constexpr uint32_t configEnd = portOffset + sizeof(PortSlot) * std::size_t{PORT_SLOTS};
static_assert(mgmtPortOffset == 2768 && portOffset == 3100 && configEnd == 44572);

constexpr bool isInRange(int fileIndex) {
    return fileIndex >= PSST_FIRST_INDEX && fileIndex <= PSST_LAST_INDEX;
}

} // namespace

const PsstFile& psstFile(int fileIndex) {
    return files[isInRange(fileIndex) ? static_cast<std::size_t>(fileIndex) : 0];
}

std::optional<RecordPlace> placeOf(uint32_t type) {
    switch (type) {
    case PSST_BRIDGE_CONFIG:
        return RecordPlace{PSST_CONFIG_INDEX, bridgeOffset, 0, mgmtPortOffset};
    case PSST_MGMT_PORT:
        return RecordPlace{PSST_CONFIG_INDEX, mgmtPortOffset, 0, portOffset};
    case PSST_PORT_CONFIG:
        return RecordPlace{PSST_CONFIG_INDEX, portOffset, sizeof(PortSlot), configEnd};
    default:
        break;
    }
    if (type < PSST_BRIDGE_CONFIG || type > PSST_CACHED_LUN) {
        return std::nullopt;
    }
    int const index = fileIndexOf(type);
    const PsstFile& file = psstFile(index);
    if (file.layout != Layout::whole && file.layout != Layout::slots) {
        return std::nullopt;
    }
    // The keys are another program's, and it alone knows how long they are.
    return RecordPlace{index, PSST_HEADER_LENGTH,
                       file.layout == Layout::slots ? file.recordSize : 0,
                       file.recordSize != 0 ? file.size : UINT32_MAX};
}

uint32_t dataLengthOf(int fileIndex) {
    const PsstFile& file = psstFile(fileIndex);
    uint32_t const end = file.layout == Layout::config ? configEnd : file.size;
    return end - PSST_HEADER_LENGTH;
}

} // namespace vx
