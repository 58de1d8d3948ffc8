// What an upgrade finds when it starts decides what it does: the mount check, the journal of an
// earlier run, mirrors that hold more than their files.
#include "tests/reliability/upgrade_fixture.h"

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
        start.restore();
    }
    void TearDown() override {
        systemCalls.shell = {};
        UpgradeTest::TearDown();
    }

    static vx::JournalRecord journalOf(const char* version, vx::Phase phase) {
        vx::JournalRecord record{};
        std::strcpy(record.version.version, version);
        std::strcpy(record.version.product, "VX2410 storage bridge blade");
        record.phase = phase;
        record.crc = crc32(0, &record, offsetof(vx::JournalRecord, crc));
        return record;
    }

    [[nodiscard]] bool isMerged() const { return readBytes(primary(1)) == *end.find(primary(1)); }
};

TEST_F(Driver, MountCheck) {
    struct {
        int status;
        bool isMounted;
    } const cases[] = {{0, true}, {-1, false}, {1, false}, {256, false}, {-2, true}, {-256, true}};
    for (auto const& c : cases) {
        start.restore();
        systemCalls.mountStatus = c.status;
        ASSERT_TRUE(upgrade().reachedEnd());
        EXPECT_EQ(isMerged(), c.isMounted) << c.status;
        EXPECT_EQ(says("/mnt/nand1 not mounted"), !c.isMounted) << c.status;
        EXPECT_EQ(readBytes(unmerged), c.isMounted ? Bytes() : *start.find(savedCopy));
        EXPECT_EQ(readBytes(savedCopy), readBytes(newFile)) << c.status;
    }
    systemCalls.mountStatus = 0;
}

// The devices that the boot environment needs are opened first.
TEST_F(Driver, Order) {
    auto const place = [this](const char* name) {
        return std::ranges::find_if(
            operations, [&](auto const& one) { return std::strcmp(one.name, name) == 0; });
    };
    EXPECT_LT(place("/dev/vxgpdev"), place("/dev/mtd0"));
    EXPECT_LT(place("/dev/mtd0"), place("/etc/fw_env.config"));
    EXPECT_LT(place("/etc/fw_env.config"), place("/mnt/nand1/brapp_seqno.cfg"));
    EXPECT_NE(place("/mnt/nand1/brapp_seqno.cfg"), operations.end());
}

// Only a whole journal of the same upgrade shortens it.
TEST_F(Driver, JournalOfAnEarlierRun) {
    using enum vx::Phase;
    vx::JournalRecord torn = journalOf("5.3.0.12", copying);
    torn.crc ^= 1;
    struct {
        const char* name;
        vx::JournalRecord record;
        std::size_t size;
        bool merges;
    } const cases[] = {
        {"copying", journalOf("5.3.0.12", copying), 280, false},
        {"merging", journalOf("5.3.0.12", merging), 280, true},
        {"another version", journalOf("5.3.0.11", copying), 280, true},
        {"torn", torn, 280, true},
        {"short", journalOf("5.3.0.12", copying), 279, true},
        {"an unknown phase", journalOf("5.3.0.12", vx::Phase{4}), 280, true},
    };
    for (auto const& c : cases) {
        start.restore();
        writeBytes(journal, bytesOf(&c.record, c.size));
        ASSERT_TRUE(upgrade().reachedEnd());
        EXPECT_EQ(isMerged(), c.merges) << c.name;
        EXPECT_EQ(readBytes(savedCopy), readBytes(newFile)) << c.name;
        EXPECT_EQ(readBytes(secondSavedCopy), readBytes(newFile)) << c.name;
        EXPECT_FALSE(fs::exists(journal)) << c.name;
    }
    start.restore();
    fs::create_directory(journal);
    ASSERT_TRUE(upgrade().reachedEnd());
    EXPECT_TRUE(says("could not be noted in /mnt/nand0/vxpvh.journal")) << said();
    EXPECT_TRUE(isMerged());
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
    EXPECT_TRUE(isMerged());
    setByte(primary(20), 64 + 2, 'U'); // a user's, since then
    Bytes const groups = readBytes(primary(20));
    systemCalls.shell = {};
    ASSERT_TRUE(upgrade().reachedEnd());
    EXPECT_TRUE(isMerged());
    EXPECT_EQ(readBytes(primary(20)), groups);
    EXPECT_EQ(readBytes(savedCopy), readBytes(newFile));
    EXPECT_FALSE(fs::exists(journal));
}

// What a mirror alone holds stays: no run without an unfinished one before it copies whole records
// there, and none does where the mirror's number is ahead.
TEST_F(Driver, MirrorsThatHoldMore) {
    struct {
        const char* name;
        bool isUnfinished;
        uint8_t number; // of the mirror; the file's is 100
        bool stays;
    } const cases[] = {
        {"no run before", false, 100, true},
        {"an unfinished run before", true, 100, false},
        {"an unfinished run before, and a mirror ahead", true, 101, true},
        {"an unfinished run before, and a mirror behind", true, 99, false},
    };
    constexpr std::size_t port = 3100 + 9 * sizeof(PortSlot); // an iSCSI port's
    vx::JournalRecord const record = journalOf("5.3.0.13", vx::Phase::merging);
    for (auto const& c : cases) {
        end.restore();
        Bytes file = readBytes(newFile);
        std::string const version = "version = \"5.3.0.12\"";
        auto const at = std::search(file.begin(), file.end(), version.begin(), version.end());
        at[18] = '3'; // another version with the same defaults: nothing moves
        writeBytes(newFile, file);
        setByte(primary(PSST_SEQUENCE_INDEX), 20, 100);
        setByte(mirror(PSST_SEQUENCE_INDEX), 20, c.number);
        setByte(mirror(1), port + 500, 0x99);
        if (c.isUnfinished) {
            writeBytes(journal, bytesOf(&record, sizeof record));
        }
        ASSERT_TRUE(upgrade().reachedEnd());
        EXPECT_EQ(readBytes(mirror(1)).at(port + 500) == 0x99, c.stays) << c.name;
        EXPECT_EQ(readBytes(primary(1)), *end.find(primary(1))) << c.name;
        EXPECT_EQ(readBytes(savedCopy), file) << c.name;
    }
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
    std::string const text = "config.hostgroup.0.Flags = \"1\"";
    PropertiesHandle const newFile =
        propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
    EXPECT_EQ(vx::mergeSection(section, nullptr, newFile), -5);
    EXPECT_EQ(puts, 0);
    propClosePropertiesFile(newFile);
}

} // namespace
