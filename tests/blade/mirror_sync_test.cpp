#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include <vxblade/mirror_sync.h>
#include <vxblade/platform.h>

#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

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

std::string ddOf(int index) {
    return "dd if=" + primary(index) + " of=" + mirror(index) + " bs=512k";
}

TEST_F(MirrorSync, Crc) {
    writeBytes("/mnt/nand0/data", Bytes(3000, 7));
    Bytes const part(1900, 7);
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 100, 2000), crc32(0, part.data(), 1900));
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 2000, 9999), crc32(0, part.data(), 1000));
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/data", 5, 5), 0U);
    EXPECT_EQ(ComputeFileCrc("/mnt/nand0/none", 0, 5), 0U);
}

// A runner that does nothing, then copies: order, repetition, the pause between attempts.
TEST_F(MirrorSync, OrderAndRepetition) {
    fs::resize_file(mirror(42), 5000);
    fs::remove(mirror(1));
    fs::remove(primary(8)); // its mirror stays as it is
    spoil(mirror(21), 20);
    writeBytes(primary(22), Bytes(10, 1)); // no record file, synchronised all the same
    std::vector<std::string> commands;
    int refusals = 3;
    systemCalls.runner = [&](const std::string& command) {
        commands.push_back(command);
        return refusals-- > 0 ? 0 : ::system(command.c_str());
    };
    systemCalls.sleeps = 0;
    EXPECT_EQ(vxpmgr_Sync(1, 2, 3, 4), 0);
    EXPECT_EQ(commands, (std::vector<std::string>{ddOf(1), ddOf(1), ddOf(1), ddOf(1), ddOf(22),
                                                  ddOf(42), ddOf(21)}));
    EXPECT_EQ(systemCalls.sleeps, 6) << "two seconds before every attempt but the first";
    commands.clear();
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), 0);
    EXPECT_EQ(commands, std::vector<std::string>{}) << "nothing differs any more";
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

// Arguments go on, every file but the reserved ones is copied in its place, without comparing.
TEST_F(MirrorSync, ArgumentsAndCommands) {
    using Calls = std::vector<std::string>;
    testing::internal::CaptureStderr();
    EXPECT_EQ(callsOf([] { vxpmgr_Sync(1, 2, 3, 4); }), (Calls{"paths 1234"}));
    EXPECT_EQ(callsOf([] { EXPECT_EQ(vxpmgr_CopyFiles(2), -1); }), (Calls{"paths 2000"}));
    for (uint32_t const direction : {0U, 1U}) {
        Calls expected = {direction == 0 ? "paths 0000" : "paths 1000"};
        for (int index = 1; index <= 43; ++index) {
            std::string const from = direction == 0 ? primary(index) : mirror(index);
            std::string const to = direction == 0 ? mirror(index) : primary(index);
            if (index != 25 && index != 26 && index != 37 && index != 38) {
                expected.push_back("run dd if=" + from + " of=" + to + " bs=512k");
            }
        }
        EXPECT_EQ(callsOf([direction] { vxpmgr_CopyFiles(direction); }), expected);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(vxpmgr_mirror_path_init_done, 1U);
}

TEST_F(MirrorSync, FailedCopyEndsIt) {
    spoil(mirror(8), 70);
    spoil(mirror(42), 70);
    spoil(mirror(21), 20);
    int runs = 0;
    systemCalls.runner = [&](const std::string&) { return ++runs; };
    testing::internal::CaptureStderr();
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), ddOf(8) + " failed\n");
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(ComparePsst(primary(8).c_str(), mirror(8).c_str()), -1);
    // Of the sequence number's own copy the result is ignored.
    fs::copy_file(primary(8), mirror(8), fs::copy_options::overwrite_existing);
    fs::copy_file(primary(42), mirror(42), fs::copy_options::overwrite_existing);
    EXPECT_EQ(vxpmgr_Sync(0, 0, 0, 0), 0);
    EXPECT_EQ(runs, 2);
}

TEST_F(MirrorSync, SequenceNumbersOfBothSides) {
    uint64_t number = 0;
    pmgr_cb->sequenceNumber = 0x123456789AULL;
    EXPECT_EQ(vxpmgr_GetSequenceNumber(0, &number), 0);
    EXPECT_EQ(number, 0x123456789AULL);
    Bytes bytes(64, 0); // neither magic nor type
    bytes[20] = 5;
    bytes[25] = 1;
    writeBytes(mirror(21), bytes);
    EXPECT_EQ(vxpmgr_GetSequenceNumber(1, &number), 0);
    EXPECT_EQ(number, 0x10000000005ULL);
    fs::resize_file(mirror(21), 63);
    EXPECT_EQ(vxpmgr_GetSequenceNumber(1, &number), -1);
    fs::remove(mirror(21));
    EXPECT_EQ(vxpmgr_GetSequenceNumber(7, &number), -1);
}

TEST_F(MirrorSync, PeerFiles) {
    EXPECT_EQ(CreatePeerPsstFile(20), -1) << "it exists";
    EXPECT_EQ(CreatePeerPsstFile(25), -1);
    fs::remove(mirror(20));
    int const fd = CreatePeerPsstFile(20);
    EXPECT_GE(fd, 3);
    ::close(fd);
    EXPECT_EQ(fs::file_size(mirror(20)), 0U);
}

TEST_F(MirrorSync, HeadersAreRewritten) {
    BladeTest::SetUp();
    makeFiles(
        {1, 2, 3, 4, 5, 8, 10, 11, 13, 16, 17, 18, 35, 19, 20, 23, 24, 27, 29, 31, 30, 32, 33, 42});
    for (int const index : {1, 35, 42}) {
        spoil(primary(index), 5);
    }
    std::string marks;
    for (std::string const& call : callsOf([] { EXPECT_EQ(vxpmgr_validate_headers(), 0); })) {
        marks += call.starts_with("mark ") && call != "mark 21" ? call.substr(5) + ' ' : "";
    }
    EXPECT_EQ(marks, "1 2 3 4 5 8 10 11 13 16 17 18 35 19 20 23 24 27 29 31 30 32 33 ");
    for (int const index : {1, 35, 42}) {
        bool const listed = index != 42;
        EXPECT_EQ(readBytes(primary(index)).at(5), listed ? 0xA5 : 0xA4) << index;
        EXPECT_EQ(readBytes(mirror(index)).at(5), 0xA5) << index;
    }
}

} // namespace
