// The store's initialisation and readers over files of any content. Inputs edit a store that is
// whole, so that most of it is reached whatever they damage.
#include "store/psst_table.h"
#include "store/record_io.h"
#include "tests/fuzz/fuzz.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/record_files.h>

#include <filesystem>
#include <map>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// The files that initialisation and the readers look at, by index; the sequence number first.
constexpr int fileIndices[] = {
    PSST_SEQUENCE_INDEX, 1, 4, 6, 7, 8, 16, 18, 20, 27, 32, 33, 35, 36, 39, 40, 41, 42, 43};

// A file as the store makes it: a header, and zeros; of what is long, the first records.
std::string wholeFile(int index) {
    PsstHeader header;
    CreateHeader(&header, vx::fileTypeOf(index));
    std::string file(reinterpret_cast<const char*>(&header), sizeof header);
    file.resize(PSST_HEADER_LENGTH + std::min(vx::dataLengthOf(index), 50'000U));
    return file;
}

// Edits a file or its mirror; the length 255 removes it, 254 cuts it at the place, 253 gives its
// header the CRC of a VPD.
void applyEdit(std::string_view& edits, std::map<std::string, std::string>& files) {
    unsigned const selector = fuzz::takeNumber(edits, 1);
    int const index = fileIndices[selector % 0x80 % std::size(fileIndices)];
    std::string const path =
        selector < 0x80 ? psstFilePrimaryPaths[index] : psstFileMirrorPaths[index];
    fuzz::Edit const edit = fuzz::takeEdit(edits);
    std::string& file = files[path];
    std::size_t const end = edit.place + edit.bytes.size();
    file.resize(edit.length == 254 ? end : std::max(file.size(), end));
    file.replace(edit.place, edit.bytes.size(), edit.bytes);
    if (edit.length == 255) {
        files.erase(path);
    } else if (edit.length == 253 && file.size() >= PSST_HEADER_LENGTH + sizeof(VpdRecord)) {
        fuzz::putCrc(file, offsetof(PsstHeader, crc), PSST_HEADER_LENGTH, sizeof(VpdRecord));
    }
}

// What an initialised store holds, as bytes.
std::string everyRecord() {
    std::string bytes;
    auto const add = [&bytes](auto const&... records) {
        (bytes.append(reinterpret_cast<const char*>(&records), sizeof records), ...);
    };
    add(bridge_configuration, mgmt_port, port_configuration, HostGroups, vpd_info);
    return bytes;
}

} // namespace

// Shell commands take too long for a fuzz target, and the log too much room.
extern "C" int __wrap_system(const char* /*command*/) {
    return 0;
}
extern "C" void __wrap_syslog(int /*priority*/, const char* /*format*/, ...) {}

void fuzz::run(std::string_view edits) {
    for (const char* const volume : {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"}) {
        std::ranges::for_each(fs::directory_iterator(volume),
                              [](auto const& entry) { fs::remove_all(entry); });
    }
    vpd_info.record = {}; // for the CRC in the headers of its files
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
    std::map<std::string, std::string> files;
    for (int const index : fileIndices) {
        files[psstFilePrimaryPaths[index]] = wholeFile(index);
    }
    while (!edits.empty()) {
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
        require(vxpmgr_init_lite() == 0 && everyRecord() == records,
                "initialising again finds the same");
    } else {
        vxpmgr_create_files_on_upgrade();
    }
    close_all_files();
    require(::fcntl(STDIN_FILENO, F_GETFD) == 0, "only the store's descriptors are closed");
}
