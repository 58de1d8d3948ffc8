// The power goes at every single point of an upgrade, and the next start makes good.
#include "tests/upgrade_fixture.h"

#include <vxblade/pmgr.h>

#include <algorithm>
#include <cstdio>

namespace {

struct PowerCut : UpgradeTest {
    static std::string text(const Fault& fault,
                            const std::vector<OperationLog::Entry>& operations) {
        auto const& entry = operations.at(static_cast<std::size_t>(fault.at) - 1);
        return "cut at operation " + std::to_string(fault.at) + " (" + entry.name + ") after " +
               std::to_string(fault.bytes) + " bytes";
    }

    // Before each operation that changes a medium, and inside writes of up to `torn` bytes: at each
    // 512 bytes of what is written, and where a write crosses the 4096-byte pages in which the
    // blade's file systems keep files.
    static std::vector<Fault> cutsOf(const std::vector<OperationLog::Entry>& operations,
                                     std::size_t torn) {
        std::vector<Fault> cuts;
        for (int i = 1; i <= static_cast<int>(operations.size()); ++i) {
            auto const& entry = operations[static_cast<std::size_t>(i) - 1];
            if (!isDurable(entry.operation)) {
                continue;
            }
            cuts.push_back({Fault::Kind::powerCut, i, 0, 0});
            if (entry.operation != Operation::write || entry.size > torn) {
                continue;
            }
            for (std::size_t bytes = 1; bytes < entry.size; ++bytes) {
                if (bytes % 512 == 0 ||
                    (static_cast<std::size_t>(entry.offset) + bytes) % 4096 == 0) {
                    cuts.push_back({Fault::Kind::powerCut, i, 0, bytes});
                }
            }
        }
        return cuts;
    }

    static constexpr std::size_t timeToLive =
        3100 + 8 * sizeof(PortSlot) + offsetof(PortSlot, params) + offsetof(PortParams, TimeToLive);

    // From what the volumes hold: the cut, then what must hold.
    void cut(const Fault& fault, const std::string& in) {
        uint64_t const sequence = sequenceNumberOnFile();
        Run const run = upgrade(fault);
        ASSERT_TRUE(run.wasCut()) << in << ": status " << run.status;
        EXPECT_GE(sequenceNumberOnFile(), sequence) << in;
        expectWhole(in);
    }
    void recover(const std::string& in) {
        uint64_t const sequence = sequenceNumberOnFile();
        ASSERT_TRUE(upgrade().reachedEnd()) << in;
        expectEnd(in, sequence);
    }
};

TEST_F(PowerCut, EveryPoint) {
    std::vector<Fault> const cuts =
        chosen(cutsOf(operations, everything), SANITIZED ? 60 : everything);
    for (const Fault& fault : cuts) {
        std::string const in = text(fault, operations);
        start.restore();
        cut(fault, in);
        recover(in);
        ASSERT_FALSE(HasFailure());
    }
    std::printf("%zu cuts in an upgrade of %zu operations\n", cuts.size(), operations.size());
}

// The recovery is cut too. Cuts inside the files that are filled with zeros are left to the test
// above: there are many, and all leave the same.
TEST_F(PowerCut, SecondCutDuringRecovery) {
    constexpr std::size_t largestRecord = 4096;
    std::size_t const wanted = longRun() ? everything : SANITIZED ? 8 : 80;
    std::size_t pairs = 0;
    for (const Fault& first : chosen(cutsOf(operations, largestRecord), wanted)) {
        start.restore();
        std::string const in = text(first, operations);
        cut(first, in);
        Volumes const afterCut = Volumes::now();
        Run const recovery = upgrade();
        for (const Fault& second : chosen(cutsOf(recovery.operations, largestRecord), wanted / 8)) {
            std::string const inBoth = in + ", then " + text(second, recovery.operations);
            afterCut.restore();
            cut(second, inBoth);
            recover(inBoth);
            ++pairs;
            ASSERT_FALSE(HasFailure());
        }
    }
    std::printf("%zu pairs of cuts\n", pairs);
}

// What the tool leaves as the next upgrade's reference is on the medium when it ends.
TEST_F(PowerCut, SavedCopiesAreSynced) {
    std::string calls;
    for (auto const& entry : operations) {
        if (entry.operation == Operation::sync || entry.operation == Operation::shell) {
            calls += std::string(entry.name) + '\n';
        }
    }
    EXPECT_TRUE(calls.ends_with("cfg.1\n"
                                "nand0/default_bridge_config.cfg.0\n"
                                "nand0/default_bridge_config.cfg.1\n"
                                "nand0\n"))
        << calls;
}

// The one upgrade that ends elsewhere when it is repeated: GigE defaults are merged into the iSCSI
// port of the same number. Where they move a value onto the old iSCSI default, a second run takes
// it for an untouched one.
TEST_F(PowerCut, GigeDefaultThatBecomesTheOldIscsiDefault) {
    auto const file = [](const char* version, const char* iscsi, const char* gige) {
        std::string const text = std::string("properties.file.version = \"") + version +
                                 "\"\nconfig.port.is.0.TimeToLive = \"" + iscsi +
                                 "\"\nconfig.port.gi.0.TimeToLive = \"" + gige + "\"\n";
        return Bytes(text.begin(), text.end());
    };
    auto const prepare = [&] {
        start.restore();
        writeBytes(savedCopy, file("1", "10", "30"));
        writeBytes(newFile, file("2", "20", "10"));
        setByte(primary(1), timeToLive, 30); // the user's, and the old GigE default
    };
    auto const liveValue = [] { return int{readBytes(primary(1)).at(timeToLive)}; };
    prepare();
    Run const whole = upgrade();
    EXPECT_EQ(liveValue(), 10) << "carried over for GigE";
    auto const copies =
        std::find_if(whole.operations.begin(), whole.operations.end(), [](auto const& entry) {
            return entry.name[0] == 'c' && entry.name[1] == 'p';
        });
    ASSERT_NE(copies, whole.operations.end());
    prepare();
    int const at = static_cast<int>(copies - whole.operations.begin()) + 1;
    ASSERT_TRUE(upgrade({Fault::Kind::powerCut, at, 0, 0}).wasCut());
    EXPECT_EQ(liveValue(), 10);
    ASSERT_TRUE(upgrade().reachedEnd());
    EXPECT_EQ(liveValue(), 20) << "the repetition carries the iSCSI default over as well";
}

} // namespace
