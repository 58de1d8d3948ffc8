// The simulated blade's volumes, as tests see them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using Bytes = std::vector<unsigned char>;

[[nodiscard]] Bytes readBytes(const std::string& path);
void writeBytes(const std::string& path, const Bytes& bytes);
[[nodiscard]] std::string primary(int fileIndex);
[[nodiscard]] std::string mirror(int fileIndex);
// The number in the sequence-number file.
[[nodiscard]] uint64_t sequenceNumberOnFile();

// Each test starts with empty volumes and a store that is not initialised.
class BladeTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Files of these indices, made and open, each with a mirror; the sequence number at 0.
    void makeFiles(const std::vector<int>& indices);
    // Every file that initialisation wants, closed, with mirrors.
    void makeStore();
};
