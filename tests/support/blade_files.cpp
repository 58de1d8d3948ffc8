#include "tests/support/blade_files.h"

#include <fstream>

constexpr const char* volumes[] = {"/mnt/nand0", "/mnt/nand1", "/mnt/nand2"};

template <class Content>
static Content readWhole(const std::string& path) {
    std::error_code missing;
    auto const size = fs::file_size(path, missing);
    Content content(missing ? 0 : size, '\0');
    std::ifstream(path, std::ios::binary)
        .read(reinterpret_cast<char*>(content.data()), std::ssize(content));
    return content;
}

std::string readText(const std::string& path) {
    return readWhole<std::string>(path);
}

Bytes readBytes(const std::string& path) {
    return readWhole<Bytes>(path);
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

void writeBytes(const std::string& path, const Bytes& bytes) {
    writeText(path, {bytes.begin(), bytes.end()});
}

std::vector<std::string> volumeFiles() {
    std::vector<std::string> paths;
    for (const char* const volume : volumes) {
        for (fs::directory_entry const& entry : fs::recursive_directory_iterator(volume)) {
            if (entry.is_regular_file()) {
                paths.push_back(entry.path());
            }
        }
    }
    return paths;
}

void setByte(const std::string& path, std::size_t offset, unsigned char value) {
    Bytes bytes = readBytes(path);
    bytes.at(offset) = value;
    writeBytes(path, bytes);
}

std::string primary(int fileIndex) {
    return psstFilePrimaryPaths[fileIndex];
}

std::string mirror(int fileIndex) {
    return "/mnt/nand2/" + fs::path(primary(fileIndex)).filename().string();
}

uint64_t sequenceNumberOnFile(const std::string& path) {
    Bytes bytes = readBytes(path);
    bytes.resize(PSST_HEADER_LENGTH);
    uint64_t number = 0;
    std::memcpy(&number, &bytes[20], sizeof number);
    return number;
}

void BladeTest::SetUp() {
    for (const char* const volume : volumes) {
        for (fs::directory_entry const& entry : fs::directory_iterator(volume)) {
            fs::remove_all(entry);
        }
    }
    InitDatabaseLite();
}

void BladeTest::TearDown() {
    close_all_files();
}

void BladeTest::makeFiles(const std::vector<int>& indices) {
    vxpmgr_create_mirror_paths(0, 0, 0, 0);
    ASSERT_EQ(ReadSequenceNumber(), 0);
    for (int const index : indices) {
        bool const vpd = index == 6 || index == 7;
        ASSERT_EQ(vpd ? vxpmgr_create_vpd_psst() : CreatePsstFile(index), 0) << index;
        fs::copy_file(primary(index), mirror(index));
    }
    fs::copy_file(primary(PSST_SEQUENCE_INDEX), mirror(PSST_SEQUENCE_INDEX));
}

void BladeTest::makeStore() {
    makeFiles({1, 4, 6, 7, 8, 16, 18, 20, 27, 32, 33, 35, 36, 39, 40, 41, 42, 43});
    close_all_files();
}

void BladeTest::shortenFiles(std::size_t largest, std::size_t length) {
    for (std::string const& path : volumeFiles()) {
        if (fs::file_size(path) > largest) {
            fs::resize_file(path, length);
        }
    }
}
