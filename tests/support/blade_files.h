// The simulated blade's volumes, as tests see them.
#pragma once

#include "tests/support/system_calls.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;

// The content of a file, nothing where it is missing; and a file of such content.
[[nodiscard]] std::string readText(const std::string& path);
void writeText(const std::string& path, const std::string& text);
[[nodiscard]] Bytes readBytes(const std::string& path);
void writeBytes(const std::string& path, const Bytes& bytes);
// The paths of all files on the volumes.
[[nodiscard]] std::vector<std::string> volumeFiles();
[[nodiscard]] std::string primary(int fileIndex);
[[nodiscard]] std::string mirror(int fileIndex);
// Changes one byte of a file.
void setByte(const std::string& path, std::size_t offset, unsigned char value);
// The number in the sequence-number file or its mirror; 0 where there is none.
[[nodiscard]] uint64_t sequenceNumberOnFile(const std::string& path = primary(PSST_SEQUENCE_INDEX));

inline Bytes bytesOf(const void* data, std::size_t size) {
    auto const* const bytes = static_cast<const unsigned char*>(data);
    return {bytes, bytes + size};
}

// A record of equal bytes, one out of a file, and all bytes of two compared.
template <class Record>
Record filled(int value) {
    Record record;
    std::memset(&record, value, sizeof record);
    return record;
}
template <class Record>
Record onFile(int fileIndex, std::size_t offset) {
    Record record;
    Bytes bytes = readBytes(primary(fileIndex));
    bytes.resize(std::max(bytes.size(), offset + sizeof record)); // zeros behind a short file
    std::memcpy(&record, bytes.data() + offset, sizeof record);
    return record;
}
template <class Record>
bool equal(const Record& a, const Record& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// What a call prints on standard output.
std::string printedBy(const auto& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

// Each test starts with empty volumes and a store that is not initialised.
class BladeTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Files of these indices, made and open, each with a mirror; the sequence number at 0.
    void makeFiles(const std::vector<int>& indices);
    // Every file that initialisation wants, closed, with mirrors.
    void makeStore();
    // Leaves so many bytes of each that is longer than `largest`: megabytes that nothing reads.
    static void shortenFiles(std::size_t largest, std::size_t length);
};
