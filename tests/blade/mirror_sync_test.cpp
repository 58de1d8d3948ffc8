#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include <vxblade/platform.h>

#include <filesystem>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Calls = std::vector<std::string>;

struct MirrorSync : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        makeFiles({1, 8, 20, 42});
    }
    void TearDown() override {
        systemCalls.runner = nullptr;
        systemCalls.slept = 0;
        BladeTest::TearDown();
    }
};

std::string copyOf(const std::string& from, const std::string& to) {
    return "dd if=" + from + " of=" + to + " bs=512k";
}
std::string ddOf(int index) {
    return copyOf(primary(index), mirror(index));
}

TEST_F(MirrorSync, Crc) {
    writeBytes("/mnt/nand0/data", Bytes(3000, 7));
    for (auto const& [begin, end, size] :
         {std::tuple(100, 2000, 1900), {2000, 9999, 1000}, {5, 5, 0}}) {
        Bytes const part(static_cast<std::size_t>(size), 7);
        EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", begin, end), crc32(0, part.data(), size));
    }
}

// A runner that does nothing, then copies: order, repetition, the pause between attempts.
TEST_F(MirrorSync, OrderAndRepetition) {
    fs::resize_file(mirror(42), 5000);
    fs::remove(mirror(1));
    fs::remove(primary(8)); // its mirror stays as it is
    setByte(mirror(21), 20, 0xEE);
    writeBytes(primary(22), Bytes(10, 1)); // no record file, synchronised all the same
    Calls commands;
    int refusals = 3;
    systemCalls.runner = [&](const std::string& command) {
        commands.push_back(command);
        return refusals-- > 0 ? 0 : ::system(command.c_str());
    };
    systemCalls.sleeps = 0;
    EXPECT_EQ(vxpmgr_Sync(1, 2, 3, 4) + vxpmgr_Sync(0, 0, 0, 0), 0) << "nothing differs any more";
    EXPECT_EQ(commands, (Calls{ddOf(1), ddOf(1), ddOf(1), ddOf(1), ddOf(22), ddOf(42), ddOf(21)}));
    EXPECT_EQ(systemCalls.sleeps, 6) << "two seconds before every attempt but the first";
}

// A pair that never becomes equal is copied until a copy fails or a signal interrupts the pause.
TEST_F(MirrorSync, WhatEndsTheRepetition) {
    int runs = 0;
    int failing = 1;
    systemCalls.runner = [&](const std::string&) {
        systemCalls.slept = ++runs == 50 ? 1 : 0;
        return runs == failing || runs > 50 ? 1 : 0;
    };
    setByte(mirror(21), 20, 0xEE);
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), 0) << "of the sequence number's own the result is ignored";
    EXPECT_EQ(runs, 1);
    setByte(mirror(8), 70, 0xEE);
    setByte(mirror(42), 70, 0xEE);
    failing = 2;
    testing::internal::CaptureStderr();
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), ddOf(8) + " failed\n");
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), -1);
    EXPECT_EQ(runs, 50);
}

// Arguments go on, every file but the reserved ones is copied in its place, without comparing.
TEST_F(MirrorSync, ArgumentsAndCommands) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(callsOf([] { vxpmgr_Sync(1, 2, 3, 4); }), (Calls{"paths 1234"}));
    EXPECT_EQ(callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(2), -1); }), (Calls{"paths 2000"}));
    for (uint32_t const direction : {0U, 1U}) {
        Calls expected = {"paths " + std::to_string(direction) + "000"};
        for (int index = 1; index <= 43; ++index) {
            if (index != 25 && index != 26 && index != 37 && index != 38) {
                expected.push_back("run " + (direction == 0
                                                 ? ddOf(index)
                                                 : copyOf(mirror(index), primary(index))));
            }
        }
        EXPECT_EQ(callsOf([&] { EXPECT_EQ(vxpmgr_CopyFiles(direction), 0); }), expected);
    }
    testing::internal::GetCapturedStderr();
}

TEST_F(MirrorSync, SequenceNumbersOfBothSides) {
    Bytes bytes(64, 0); // neither magic nor type
    bytes[20] = 5;
    bytes[25] = 1;
    writeBytes(mirror(21), bytes);
    pmgr_cb->sequenceNumber = 7;
    uint64_t numbers[2] = {};
    EXPECT_EQ(vxpmgr_GetSequenceNumber(0, &numbers[0]) + vxpmgr_GetSequenceNumber(7, &numbers[1]),
              0);
    EXPECT_TRUE(numbers[0] == 7 && numbers[1] == 0x10000000005ULL);
    fs::resize_file(mirror(21), 63);
    EXPECT_EQ(vxpmgr_GetSequenceNumber(7, &numbers[1]), -1);
}

TEST_F(MirrorSync, PeerFiles) {
    EXPECT_EQ(CreatePeerPsstFile(20) + CreatePeerPsstFile(25), -2) << "it exists; no file";
    fs::remove(mirror(20));
    EXPECT_EQ(::close(CreatePeerPsstFile(20)), 0);
    EXPECT_TRUE(fs::exists(mirror(20)));
    EXPECT_EQ(VX_isPeerBladeOperational(), 0) << "no driver answers";
}

TEST_F(MirrorSync, HeadersAreRewritten) {
    BladeTest::SetUp();
    std::vector<int> const files = {1,  2,  3,  4,  5,  8,  10, 11, 13, 16, 17, 18,
                                    35, 19, 20, 23, 24, 27, 29, 31, 30, 32, 33};
    makeFiles(files);
    setByte(primary(35), 5, 0);
    Calls expected;
    for (int const index : files) {
        expected.push_back("mark " + std::to_string(index));
    }
    Calls calls = callsOf([] { EXPECT_EQ(vxpmgr_validate_headers(), 0); });
    std::erase_if(calls,
                  [](auto const& call) { return !call.starts_with("mark ") || call == "mark 21"; });
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(readBytes(primary(35)).at(5), 0xA5);
}

} // namespace
