// The power goes at every single point of an upgrade, and the next start makes good: it ends with
// the same bytes in the store, its mirrors and the saved copies as an upgrade that was never cut.
#include "tests/reliability/medium.h"
#include "tests/reliability/upgrade_fixture.h"

#include "tools/blade/backup.h"
#include "tools/blade/open_place.h"
#include "tools/defaults/seal.h"
#include "tools/live/settings.h"
#include "tools/stores/restore.h"
#include "tools/upgrades/merge.h"

#include <vxblade/pmgr.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

struct Arrangement {
    const char* name;
    void (*arrange)();
    bool isRestore = false;
};

// GigE defaults are merged into the iSCSI port of the same number. Here they move the value onto
// the old iSCSI default, which the iSCSI defaults would move on if they were merged once more.
void arrangeGige() {
    auto const file = [](const std::string& version, const char* iscsi, const char* gige) {
        return "properties.file.version = \"" + version + "\"\nconfig.port.is.0.TimeToLive = \"" +
               iscsi + "\"\nconfig.port.gi.0.TimeToLive = \"" + gige + "\"\n";
    };
    constexpr std::size_t timeToLive =
        3100 + 8 * sizeof(PortSlot) + offsetof(PortSlot, params) + offsetof(PortParams, TimeToLive);
    writeText(UpgradeTest::savedCopy, file("1", "10", "30"));
    writeText(UpgradeTest::newFile, file("2", "20", "10"));
    setByte(primary(1), timeToLive, 30); // the user's, and the old GigE default
}

// What is done already is refused.
int mergeByHand() {
    try {
        tools::mergeByHand(UpgradeTest::unmerged, UpgradeTest::newFile, true);
        return 0;
    } catch (const std::runtime_error&) {
        return fs::exists(UpgradeTest::unmerged) ? 1 : 0;
    }
}

constexpr const char* backup = "/var/lock/backup.tar.gz";
Volumes backedUp;
const std::string longName = "iqn.2004-08.example:" + std::string(200, 'x');

const Arrangement arrangements[] = {
    {"Plain", [] {}},
    {"FilesToBeMade",
     [] {
         for (int const file : {7, 32, 33, 36, 39, 42}) {
             fs::remove(primary(file)); // not their mirrors
         }
         fs::remove("/mnt/nand0/backup_bitmap.bin");
         PsstHeader header; // the remnant of a whole one must not come to life
         CreateHeader(&header, PSST_REGISTERED_CLIENTS);
         writeBytes(primary(33), bytesOf(&header, sizeof header - 1));
     }},
    {"NoSavedCopiesAndNoNumber",
     [] {
         fs::remove(UpgradeTest::savedCopy);
         fs::remove(UpgradeTest::secondSavedCopy);
         fs::remove(primary(PSST_SEQUENCE_INDEX)); // it starts at 0 again
         writeBytes(mirror(PSST_SEQUENCE_INDEX), Bytes(64));
     }},
    {"GigeBecomesOldIscsi", arrangeGige},
    {"MergeByHand",
     [] {
         arrangeGige();
         fs::rename(UpgradeTest::savedCopy, UpgradeTest::unmerged);
         UpgradeTest::work = mergeByHand;
     }},
    {"Set", // a text across two pages of its file
     [] {
         UpgradeTest::work = [] {
             tools::setConfiguration("config.port.is.2.iScsiNameString", longName, false);
             return 0;
         };
     }},
    {"Seal",
     [] {
         UpgradeTest::work = [] {
             return static_cast<int>(tools::sealFile(UpgradeTest::newFile).errors.size());
         };
     }},
    {"Restore",
     [] {
         tools::writeBackup(*tools::openPlace("/mnt"), true, backup);
         backedUp = volumesNow();
         for (const std::string& path : {primary(1), mirror(1), primary(20)}) {
             setByte(path, 5000, 77);
         }
         for (const std::string& path : {primary(21), mirror(21)}) {
             setByte(path, 21, 9); // its number is ahead
         }
         fs::remove(primary(33));
         fs::remove(mirror(7));
         writeText(UpgradeTest::unmerged, "no part of the backup");
         UpgradeTest::work = [] {
             tools::restoreBackup(backup, "/mnt", {});
             return 0;
         };
     },
     true},
};

struct PowerCut : UpgradeTest, testing::WithParamInterface<Arrangement> {
    void arrange() override { GetParam().arrange(); }

    // Every state in which a cut of an upgrade of these volumes may leave them.
    static std::vector<CutState> cutsOf(const Volumes& volumes) {
        restore(volumes);
        return cutStates(volumes, traceOfUpgrade());
    }

    void recover(const Volumes& cut, const std::string& in) {
        restore(cut);
        uint64_t const file = sequenceNumberOnFile();
        uint64_t const mirrored = sequenceNumberOnFile(mirror(PSST_SEQUENCE_INDEX));
        bool const isMirrored = readBytes(primary(1)) == readBytes(mirror(1));
        if (GetParam().name == std::string("Set")) { // an upgrade's own files are in the making
            expectWhole(in);
        }
        ASSERT_TRUE(upgrade().reachedEnd()) << in;
        if (GetParam().isRestore) {
            EXPECT_TRUE(file > mirrored || (file == mirrored && isMirrored)) << in;
            EXPECT_EQ(volumesNow(), backedUp) << in;
        } else {
            expectEnd(in, std::max(file, mirrored));
        }
    }
};

TEST_P(PowerCut, AnyPoint) {
    std::vector<CutState> const states = cutsOf(start);
    for (const CutState& state : chosen(states, SANITIZED ? 30 : everything)) {
        recover(state.volumes, state.where);
        ASSERT_FALSE(HasFailure());
    }
    std::printf("%zu states of a medium\n", states.size());
}

// The recovery is cut too.
TEST_P(PowerCut, AnyPointOfTheRecovery) {
    std::size_t const wanted = longRun() ? 100 : SANITIZED ? 2 : 10;
    std::size_t pairs = 0;
    for (const CutState& first : chosen(cutsOf(start), wanted)) {
        for (const CutState& second : chosen(cutsOf(first.volumes), wanted)) {
            recover(second.volumes, first.where + ", then " + second.where);
            ++pairs;
            ASSERT_FALSE(HasFailure());
        }
    }
    std::printf("%zu pairs of cuts\n", pairs);
}

INSTANTIATE_TEST_SUITE_P(Upgrade, PowerCut, testing::ValuesIn(arrangements),
                         [](auto const& one) { return one.param.name; });

} // namespace
