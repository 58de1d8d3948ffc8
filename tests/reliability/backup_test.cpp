// Backups that are made beside an upgrade, and backups that are damaged or not ours.
#include "settings/saved_files.h"
#include "tests/reliability/upgrade_fixture.h"
#include "tools/blade/archive.h"
#include "tools/blade/backup.h"
#include "tools/blade/open_place.h"
#include "tools/blade/store_files.h"
#include "tools/stores/restore.h"

#include <functional>
#include <stdexcept>

namespace {

constexpr const char* file = "/var/lock/backup.tar.gz";

struct Backup : UpgradeTest {
    // The files of the store among these.
    static Volumes storeOf(const Volumes& volumes) {
        Volumes store;
        for (const std::string& path : tools::storeFiles()) {
            if (auto const found = volumes.find(path);
                found != volumes.end() && path != vx::upgradeReport) { // it tells the time
                store.insert(*found);
            }
        }
        return store;
    }

    static Volumes contentOf(const char* archive) {
        auto const backup = tools::openBackup(archive);
        Volumes volumes;
        for (const std::string& path : backup->files()) {
            std::string const content = backup->read(path);
            volumes[path] = kept({content.begin(), content.end()});
        }
        return storeOf(volumes);
    }
};

TEST_F(Backup, BesideAnUpgrade) {
    std::mt19937 random(20261123);
    for (int round = 0; round < (SANITIZED ? 3 : 20); ++round) {
        restore(start);
        pid_t const child = begin();
        ::usleep(static_cast<useconds_t>(random() % 30000));
        tools::writeBackup(*tools::openPlace("/mnt"), true, file);
        ASSERT_TRUE(await(child).reachedEnd());
        Volumes const found = contentOf(file);
        EXPECT_TRUE(found == storeOf(start) || found == storeOf(end)) << round;
    }
}

// A sum at the end, in front or in the middle: nothing is restored by halves.
TEST_F(Backup, Damaged) {
    tools::writeBackup(*tools::openPlace("/mnt"), true, file);
    Bytes const whole = readBytes(file);
    restore(start);
    std::mt19937 random(20261123);
    int refused = 0;
    for (int round = 0; round < (SANITIZED ? 30 : 300); ++round) {
        Bytes damaged = whole;
        if (round % 3 == 0) {
            damaged.resize(random() % whole.size());
        } else {
            damaged[random() % whole.size()] ^= static_cast<unsigned char>(1 << random() % 8);
        }
        writeBytes(file, damaged);
        try {
            tools::restoreBackup(file, "/mnt", {.isDry = true}); // all of it but the writes
            EXPECT_EQ(contentOf(file), storeOf(end)) << round;
        } catch (const std::runtime_error&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
    EXPECT_EQ(volumesNow(), start);
}

using Members = std::vector<std::pair<std::string, std::string>>;
struct Foreign {
    const char* what;
    Members members;
};
const std::string config = "mnt/nand1/brapp_config.bin";
const std::string sum = tools::sha256("text");
const std::string line = sum + "  " + config + "\n";
const Foreign foreigners[] = {
    {"empty", {}},
    {"no sums", {{config, "text"}}},
    {"no member", {{tools::sumsMember, line}}},
    {"another content", {{tools::sumsMember, line}, {config, "test"}}},
    {"no sum", {{tools::sumsMember, line}, {"mnt/nand1/brapp_lun.bin", ""}, {config, "text"}}},
    {"out of the volumes",
     {{tools::sumsMember, sum + "  mnt/nand1/../../etc/x\n"}, {"mnt/nand1/../../etc/x", "text"}}},
    {"no file of a store", {{tools::sumsMember, sum + "  mnt/nand0/x\n"}, {"mnt/nand0/x", "text"}}},
    {"twice", {{tools::sumsMember, line + line}, {config, "text"}}},
    {"short line", {{tools::sumsMember, "x\n"}}},
};

TEST_F(Backup, Foreign) {
    for (auto const& [what, members] : foreigners) {
        tools::ArchiveWriter archive(file);
        for (auto const& [name, content] : members) {
            archive.add({name, content.size(), 0644}, content);
        }
        archive.finish();
        EXPECT_THROW(tools::restoreBackup(file, "/mnt", {}), std::runtime_error) << what;
        EXPECT_EQ(volumesNow(), end) << what;
    }
}

} // namespace
