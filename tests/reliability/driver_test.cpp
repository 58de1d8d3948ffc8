// What an upgrade finds when it starts decides what it does: the mount check, the journal of an
// earlier run, mirrors that hold more than their files.
#include "tests/reliability/upgrade_fixture.h"

#include "tools/blade/open_place.h"
#include "tools/upgrades/last.h"
#include "upgrade/change_report.h"
#include "upgrade/journal.h"
#include "upgrade/merge.h"

#include <vxblade/common.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

struct Driver : UpgradeTest {
    void SetUp() override {
        UpgradeTest::SetUp();
        restore(start);
    }

    static Bytes journalOf(const char* version, vx::Phase phase) {
        vx::JournalRecord record{.version = {}, .phase = phase, .crc = 0};
        std::strcpy(record.version.version, version);
        std::strcpy(record.version.product, "VX2410 storage bridge blade");
        record.crc = crc32(0, &record, offsetof(vx::JournalRecord, crc));
        return bytesOf(&record, sizeof record);
    }

    // Runs an upgrade, which ends with the new defaults saved; whether it merged them.
    [[nodiscard]] bool merges() const {
        EXPECT_TRUE(upgrade().reachedEnd());
        EXPECT_EQ(readBytes(savedCopy), readBytes(newFile));
        return readBytes(primary(1)) == *end.at(primary(1));
    }
};

TEST_F(Driver, MountCheck) {
    for (int const status : {0, -1, 1, 256, -2, -256}) {
        bool const isMounted = status == 0 || status < -1;
        restore(start);
        systemCalls.mountStatus = status;
        EXPECT_EQ(merges(), isMounted) << status;
        EXPECT_EQ(says("/mnt/nand1 not mounted"), !isMounted) << status;
        EXPECT_EQ(readBytes(unmerged), isMounted ? Bytes() : *start.at(savedCopy));
    }
    systemCalls.mountStatus = 0;
}

// The devices that the boot environment needs are opened first.
TEST_F(Driver, Order) {
    auto place = operations.begin();
    for (std::string const name :
         {"/dev/vxgpdev", "/dev/mtd0", "/etc/fw_env.config", "/mnt/nand1/brapp_seqno.cfg"}) {
        place = std::find_if(place, operations.end(), [&](auto& one) { return one.name == name; });
        EXPECT_NE(place, operations.end()) << name;
    }
}

// Only a whole journal of the same upgrade shortens it.
TEST_F(Driver, JournalOfAnEarlierRun) {
    using enum vx::Phase;
    Bytes const copied = journalOf("5.3.0.12", copying);
    Bytes torn = copied;
    torn[offsetof(vx::JournalRecord, crc)] ^= 1;
    struct {
        const char* name;
        Bytes record;
        bool merges;
    } const cases[] = {
        {"copying", copied, false},
        {"merging", journalOf("5.3.0.12", merging), true},
        {"another version", journalOf("5.3.0.11", copying), true},
        {"torn", torn, true},
        {"short", {copied.begin(), copied.end() - 1}, true},
        {"an unknown phase", journalOf("5.3.0.12", vx::Phase{5}), true},
    };
    for (auto const& c : cases) {
        restore(start);
        writeBytes(journal, c.record);
        EXPECT_EQ(merges(), c.merges) << c.name;
        EXPECT_EQ(readBytes(secondSavedCopy), readBytes(newFile)) << c.name;
        EXPECT_FALSE(fs::exists(journal)) << c.name;
    }
    // The old defaults that were merged by hand are not there to be merged once more.
    restore(start);
    writeBytes(journal, journalOf("5.3.0.12", byHand));
    writeBytes(unmerged, *start.at(savedCopy));
    EXPECT_FALSE(merges());
    EXPECT_FALSE(fs::exists(unmerged) || fs::exists(journal));
    restore(start);
    fs::create_directory(journal);
    EXPECT_TRUE(merges());
    EXPECT_TRUE(says("could not be noted in /mnt/nand0/vxpvh.journal"));
    fs::remove(journal);
}

// A reference that the copy command left torn is made again, and nothing is merged with it.
TEST_F(Driver, FailedCopy) {
    systemCalls.shell = [](const std::string& command) {
        if (!command.ends_with("cfg.0")) {
            return runInProcess(command);
        }
        writeBytes(savedCopy, {});
        return 256;
    };
    ASSERT_TRUE(upgrade().reachedEnd());
    setByte(primary(20), 64 + 2, 'U'); // a user's, since then
    Bytes const groups = readBytes(primary(20));
    systemCalls.shell = runInProcess;
    EXPECT_TRUE(merges());
    EXPECT_EQ(readBytes(primary(20)), groups);
    EXPECT_FALSE(fs::exists(journal));
}

// What a mirror alone holds stays: no run without an unfinished one before it copies whole records
// there, and none does where the mirror's number is ahead.
TEST_F(Driver, MirrorsThatHoldMore) {
    struct {
        bool isUnfinished; // a run before
        uint8_t number;    // of the mirror; the file's is 100
        bool stays;
    } const cases[] = {
        {false, 100, true}, {true, 100, false}, {true, 101, true}, {true, 99, false}};
    constexpr std::size_t port = 3100 + 9 * sizeof(PortSlot); // an iSCSI port's
    for (auto const& c : cases) {
        SCOPED_TRACE(std::to_string(c.isUnfinished) + " " + std::to_string(c.number));
        restore(end);
        std::string file = readText(newFile);
        // Another version with the same defaults: nothing moves.
        file.replace(file.find("\"5.3.0.12\""), 10, "\"5.3.0.13\"");
        writeText(newFile, file);
        setByte(primary(PSST_SEQUENCE_INDEX), 20, 100);
        setByte(mirror(PSST_SEQUENCE_INDEX), 20, c.number);
        setByte(mirror(1), port + 500, 0x99);
        if (c.isUnfinished) {
            writeBytes(journal, journalOf("5.3.0.13", vx::Phase::merging));
        }
        EXPECT_TRUE(merges());
        EXPECT_EQ(readBytes(mirror(1)).at(port + 500) == 0x99, c.stays);
    }
}

// Lines that do not fit are left out, whole, and counted; what is in a line is read back as it was.
TEST_F(Driver, FullReport) {
    HostGroupConfig group{};
    std::memset(group.HostGroupName, '\\', sizeof group.HostGroupName - 1);
    vx::ChangeReport changes({"1", ""}, {"2", ""}, true);
    for (int i = 0; i < 1000; ++i) {
        changes.add({vx::hostGroupSection, 1, vx::hostGroupSettings[2], vx::Action::keep,
                     vx::hostGroupRecord, &group, &group, &group});
    }
    changes.install();
    tools::Account const account = tools::lastUpgrade(*tools::openPlace("/mnt"));
    EXPECT_LE(fs::file_size(vx::upgradeReport), vx::ChangeReport::largest);
    EXPECT_EQ(account.settings.size() + account.outcome->omitted, 1000U);
    EXPECT_GT(account.settings.size(), 50U);
    EXPECT_EQ(account.settings.back().newDefault, group.HostGroupName);
    EXPECT_TRUE(account.outcome->isResumed);
}

// A record that cannot be read is not written over.
TEST(MergeSection, EndsWhereTheRecordCannotBeRead) {
    static int puts;
    static constexpr vx::RecordAccess unreadable = {
        .size = sizeof(HostGroupConfig),
        .get = [](void*, uint32_t) { return -5; },
        .put = [](const void*, uint32_t) { return ++puts; }};
    vx::Section section = vx::hostGroupSection;
    section.merge.into = &unreadable;
    constexpr std::string_view text = "config.hostgroup.0.Flags = \"1\"";
    PropertiesHandle const newFile = propReadPropertiesBuffer(text.data(), text.size());
    EXPECT_EQ(vx::mergeSection(section, nullptr, newFile), -5);
    EXPECT_EQ(puts, 0);
    propClosePropertiesFile(newFile);
}

} // namespace
