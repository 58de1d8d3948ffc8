// The store's initialisation and readers over files of any content. Inputs edit a store that is
// whole, so that most of it is reached whatever they damage.
#include "store/psst_table.h"
#include "store/record_io.h"
#include "tests/fuzz/fuzz.h"

#include <vxblade/common.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/record_files.h>

#include <filesystem>
#include <map>

namespace fs = std::filesystem;

namespace {

// The files that initialisation and the readers look at, by index; the sequence number first.
constexpr int fileIndices[] = {
    PSST_SEQUENCE_INDEX, 1, 4, 6, 7, 8, 16, 18, 20, 27, 32, 33, 35, 36, 39, 40, 41, 42, 43};

// Files as the store makes them: a header, and zeros; of what is long, the first records.
std::map<std::string, std::string> wholeFiles() {
    std::map<std::string, std::string> files;
    for (int const index : fileIndices) {
        PsstHeader header;
        CreateHeader(&header, vx::fileTypeOf(index));
        std::string& file = files[psstFilePrimaryPaths[index]];
        file.assign(reinterpret_cast<const char*>(&header), sizeof header);
        file.resize(PSST_HEADER_LENGTH + std::min(vx::dataLengthOf(index), 50'000U));
    }
    return files;
}

// A file or its mirror, a place in it, and a length with that many bytes; 255 removes the file, 254
// cuts it there, 253 gives its header the CRC of a VPD.
void applyEdit(std::string_view& edits, std::map<std::string, std::string>& files) {
    unsigned const selector = fuzz::takeNumber(edits, 1);
    int const index = fileIndices[selector % 0x80 % std::size(fileIndices)];
    std::string const path =
        selector < 0x80 ? psstFilePrimaryPaths[index] : psstFileMirrorPaths[index];
    std::size_t const place = fuzz::takeNumber(edits, 2);
    unsigned const length = fuzz::takeNumber(edits, 1);
    std::string_view const bytes = length < 253 ? fuzz::take(edits, length) : "";
    std::string& file = files[path];
    file.resize(length == 254 ? place : std::max(file.size(), place + bytes.size()));
    file.replace(place, bytes.size(), bytes);
    if (length == 255) {
        files.erase(path);
    } else if (length == 253 && file.size() >= PSST_HEADER_LENGTH + sizeof(VpdRecord)) {
        uint32_t const crc = crc32(0, &file[PSST_HEADER_LENGTH], sizeof(VpdRecord));
        std::memcpy(&file[offsetof(PsstHeader, crc)], &crc, sizeof crc);
    }
}

// What callers get of an initialised store, as bytes.
std::string everyRecord() {
    std::string bytes;
    auto const add = [&bytes](auto record, auto get, auto... arguments) {
        (void)get(&record, arguments...);
        bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
    };
    add(BridgeConfig{}, vxpmgr_GetBridgeConfigInfo);
    add(PortParams{}, vxpmgr_GetPortParams, PORT_TYPE_ISCSI, 7U);
    add(HostGroupConfig{}, vxpmgr_GetHostGroup, 3U);
    add(EventNotifyInfo{}, vxpmgr_GetEventNotifyInfo, 1U);
    add(VpdRecord{}, vxpmgr_GetVpdInfo);
    return bytes;
}

} // namespace

// Shell commands take too long for a fuzz target, and the log too much room.
extern "C" int __wrap_system(const char* /*command*/) {
    return 0;
}
extern "C" void __wrap_syslog(int /*priority*/, const char* /*format*/, ...) {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const char* const volume : {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"}) {
        for (const fs::directory_entry& entry : fs::directory_iterator(volume)) {
            fs::remove_all(entry.path());
        }
    }
    vpd_info.record = {}; // for the CRC in the headers of its files
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
    auto files = wholeFiles();
    for (std::string_view edits(reinterpret_cast<const char*>(data), size); !edits.empty();) {
        applyEdit(edits, files);
    }
    for (auto const& [path, bytes] : files) {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    if (vxpmgr_init_lite() == 0) {
        std::string const records = everyRecord();
        for (auto const read : {ReadRegisteredClientInfo, ReadCacheStorePhysDrvInfo,
                                ReadPhysLunStripeTable, ReadClusterCachedLunAndPushToBA}) {
            (void)read();
        }
        fuzz::require(vxpmgr_init_lite() == 0 && everyRecord() == records,
                      "initialising again finds the same");
    } else {
        vxpmgr_create_files_on_upgrade();
    }
    close_all_files();
    return 0;
}
