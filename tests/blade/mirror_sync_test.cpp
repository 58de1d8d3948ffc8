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
        BladeTest::TearDown();
    }

    static void spoil(const std::string& path, std::size_t offset) {
        setByte(path, offset, static_cast<unsigned char>(readBytes(path).at(offset) ^ 1));
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
    Bytes const part(1900, 7);
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 100, 2000), crc32(0, part.data(), 1900));
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 2000, 9999), crc32(0, part.data(), 1000));
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 5, 5) + ComputeFileCrc("none", 0, 5), 0U);
}

// A runner that does nothing, then copies: order, repetition, the pause between attempts.
TEST_F(MirrorSync, OrderAndRepetition) {
    fs::resize_file(mirror(42), 5000);
    fs::remove(mirror(1));
    fs::remove(primary(8)); // its mirror stays as it is
    spoil(mirror(21), 20);
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

// A pair that never becomes equal is copied until a signal interrupts the pause.
TEST_F(MirrorSync, SignalEndsTheRepetition) {
    spoil(mirror(42), 70);
    int runs = 0;
    systemCalls.runner = [&](const std::string&) {
        systemCalls.slept = ++runs == 50 ? 1 : 0;
        return runs > 50 ? 1 : 0;
    };
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), -1);
    EXPECT_EQ(runs, 50);
    systemCalls.slept = 0;
}

TEST_F(MirrorSync, FailedCopyEndsIt) {
    spoil(mirror(21), 20);
    int runs = 0;
    systemCalls.runner = [&](const std::string&) { return ++runs; };
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), 0) << "of the sequence number's own the result is ignored";
    spoil(mirror(8), 70);
    spoil(mirror(42), 70);
    testing::internal::CaptureStderr();
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), ddOf(8) + " failed\n");
    EXPECT_EQ(runs, 2);
}

// Arguments go on, every file but the reserved ones is copied in its place, without comparing.
TEST_F(MirrorSync, ArgumentsAndCommands) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(callsOf([] { vxpmgr_Sync(1, 2, 3, 4); }), (Calls{"paths 1234"}));
    EXPECT_EQ(callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(2), -1); }), (Calls{"paths 2000"}));
    Calls out = {"paths 0000"};
    Calls in = {"paths 1000"};
    for (int index = 1; index <= 43; ++index) {
        if (index != 25 && index != 26 && index != 37 && index != 38) {
            out.push_back("run " + ddOf(index));
            in.push_back("run " + copyOf(mirror(index), primary(index)));
        }
    }
    EXPECT_EQ(callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(0), 0); }), out);
    EXPECT_EQ(callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(1), 0); }), in);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(vxpmgr_mirror_path_init_done, 1U);
}

TEST_F(MirrorSync, SequenceNumbersOfBothSides) {
    Bytes bytes(64, 0); // neither magic nor type
    bytes[20] = 5;
    bytes[25] = 1;
    pmgr_cb->sequenceNumber = 0x123456789AULL;
    uint64_t numbers[2] = {};
    for (int const size : {64, 63}) {
        bytes.resize(static_cast<std::size_t>(size));
        writeBytes(mirror(21), bytes);
        EXPECT_EQ(vxpmgr_GetSequenceNumber(0, &numbers[0]), 0);
        EXPECT_EQ(vxpmgr_GetSequenceNumber(7, &numbers[1]), size - 64);
    }
    EXPECT_TRUE(numbers[0] == 0x123456789AULL && numbers[1] == 0x10000000005ULL);
}

TEST_F(MirrorSync, PeerFiles) {
    EXPECT_EQ(CreatePeerPsstFile(20), -1) << "it exists";
    EXPECT_EQ(CreatePeerPsstFile(25), -1);
    fs::remove(mirror(20));
    EXPECT_EQ(::close(CreatePeerPsstFile(20)), 0);
    EXPECT_TRUE(fs::exists(mirror(20)));
    EXPECT_EQ(VX_isPeerBladeOperational(), 0) << "no driver answers";
}

TEST_F(MirrorSync, HeadersAreRewritten) {
    BladeTest::SetUp();
    makeFiles(
        {1, 2, 3, 4, 5, 8, 10, 11, 13, 16, 17, 18, 35, 19, 20, 23, 24, 27, 29, 31, 30, 32, 33, 42});
    spoil(primary(35), 5);
    std::string marks;
    for (std::string const& call : callsOf([] { EXPECT_EQ(vxpmgr_validate_headers(), 0); })) {
        marks += call.starts_with("mark ") && call != "mark 21" ? call.substr(5) + ' ' : "";
    }
    EXPECT_EQ(marks, "1 2 3 4 5 8 10 11 13 16 17 18 35 19 20 23 24 27 29 31 30 32 33 ");
    EXPECT_EQ(readBytes(primary(35)).at(5), 0xA5);
}

} // namespace
