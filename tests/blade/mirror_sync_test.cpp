#include "tests/support/blade_files.h"

#include <unistd.h>

namespace {

using Calls = std::vector<std::string>;

struct MirrorSync : BladeTest {
    void TearDown() override {
        systemCalls = {};
        BladeTest::TearDown();
    }
};

std::string ddOf(int index) {
    return "dd if=" + primary(index) + " of=" + mirror(index) + " bs=512k";
}

TEST_F(MirrorSync, Crc) {
    writeBytes("/mnt/nand0/data", Bytes(3000, 7));
    Bytes const part(1900, 7);
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 100, 2000), crc32(0, part.data(), 1900));
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 1100, 9999), crc32(0, part.data(), 1900));
}

// A runner that does nothing, then copies: order, repetition, the pause between attempts.
TEST_F(MirrorSync, OrderAndRepetition) {
    makeFiles({1, 8, 20, 42});
    fs::resize_file(mirror(42), 5000);
    fs::remove(mirror(1));
    fs::remove(primary(8)); // its mirror stays as it is
    setByte(mirror(21), 20, 0xEE);
    writeBytes(primary(22), Bytes(10, 1)); // no record file, synchronised all the same
    Calls commands;
    systemCalls.runner = [&](const std::string& command) {
        commands.push_back(command);
        return commands.size() <= 3 ? 0 : ::system(command.c_str());
    };
    EXPECT_EQ(vxpmgr_Sync(1, 2, 3, 4) + vxpmgr_Sync(0, 0, 0, 0), 0) << "nothing differs any more";
    EXPECT_EQ(commands, (Calls{ddOf(1), ddOf(1), ddOf(1), ddOf(1), ddOf(22), ddOf(42), ddOf(21)}));
    EXPECT_EQ(systemCalls.sleeps, 6) << "two seconds before every attempt but the first";
}

// A pair that never becomes equal is copied until a copy fails or a signal interrupts the pause.
TEST_F(MirrorSync, WhatEndsTheRepetition) {
    const struct {
        int differing, failing; // file; copy, counted from 1
        int result, copies;
        std::string errors;
    } cases[] = {
        {21, 1, 0, 1, ""}, // the sequence number's own result is ignored
        {8, 2, -1, 2, ddOf(8) + " failed\n"},
        {8, 51, -1, 50, ""}, // the pause is interrupted
    };
    makeFiles({8, 42});
    for (auto const& c : cases) {
        setByte(mirror(c.differing), 50, 0xEE);
        int copies = 0;
        systemCalls.runner = [&](const std::string&) {
            systemCalls.slept = ++copies == 50 ? 1 : 0;
            return copies < c.failing ? 0 : 1;
        };
        testing::internal::CaptureStderr();
        EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), c.result);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.errors);
        EXPECT_EQ(copies, c.copies);
    }
}

// Arguments go on, every file but the reserved ones is copied in its place, without comparing.
TEST_F(MirrorSync, ArgumentsAndCommands) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(callsOf([] { vxpmgr_Sync(1, 2, 3, 4); }), (Calls{"paths 1234"}));
    EXPECT_EQ(callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(2), -1); }), (Calls{"paths 2000"}));
    Calls const out = callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(0), 0); });
    Calls const in = callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(1), 0); });
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(out.size() == 1 + 39 && in.size() == out.size());
    EXPECT_EQ(out.front() + out[20] + out.back(), "paths 0000run " + ddOf(20) + "run " + ddOf(43));
    EXPECT_EQ(in.front() + in[20],
              "paths 1000run dd if=" + mirror(20) + " of=" + primary(20) + " bs=512k");
}

TEST_F(MirrorSync, PeerFiles) {
    makeFiles({20});
    EXPECT_EQ(CreatePeerPsstFile(20) + CreatePeerPsstFile(25), -2) << "it exists; no file";
    fs::remove(mirror(20));
    EXPECT_EQ(::close(CreatePeerPsstFile(20)), 0);
    EXPECT_TRUE(fs::exists(mirror(20)));
    Bytes bytes(64, 0); // neither magic nor type
    bytes[20] = 5;
    bytes[25] = 1;
    writeBytes(mirror(21), bytes);
    uint64_t number = 0;
    EXPECT_TRUE(vxpmgr_GetSequenceNumber(7, &number) == 0 && number == 0x10000000005ULL);
    fs::resize_file(mirror(21), 63);
    EXPECT_EQ(vxpmgr_GetSequenceNumber(7, &number), -1);
    EXPECT_EQ(vxpmgr_GetSequenceNumber(0, &number), 0);
    EXPECT_EQ(number, pmgr_cb->sequenceNumber);
}

TEST_F(MirrorSync, HeadersAreRewritten) {
    makeFiles(
        {1, 2, 3, 4, 5, 8, 10, 11, 13, 16, 17, 18, 35, 19, 20, 23, 24, 27, 29, 31, 30, 32, 33, 42});
    setByte(primary(33), 5, 0);
    auto const calls = callsOf([] { EXPECT_EQ(vxpmgr_validate_headers(), 0); });
    EXPECT_EQ(std::ranges::count(calls, "mark 21"), 23);
    EXPECT_EQ(std::ranges::count(calls, "mark 42"), 0) << "of later firmware";
    EXPECT_EQ(readBytes(primary(33)).at(5), 0xA5);
}

} // namespace
