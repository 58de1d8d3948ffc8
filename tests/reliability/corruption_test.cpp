// Damaged store files: what readers must refuse is refused, what has a twin is healed, and nothing
// else changes.
#include "tests/reliability/upgrade_fixture.h"
#include "tools/blade/open_place.h"
#include "tools/live/records.h"

#include <vxblade/pmgr.h>

#include <cstdio>
#include <filesystem>
#include <random>

namespace fs = std::filesystem;

namespace {

enum class Outcome : uint8_t {
    refused,   // initialisation fails, the file stays as it is
    ignored,   // it succeeds, the file stays as it is
    healed,    // it succeeds, the file is as it was before the damage
    remade,    // it succeeds, the file is complete and empty
    movedAside // it fails and the next one succeeds with a new file; the old one stays beside it
};

// Which outcome damage has, by file, kind and place: a byte whose bits are flipped, or the length
// that a file is cut to. The first row that holds counts.
struct Rule {
    std::vector<int> files;
    bool flip;
    std::size_t begin, end; // of the place
    Outcome outcome;
};
constexpr std::size_t records = 64; // their start, after the header
constexpr std::size_t anywhere = SIZE_MAX;
const Rule rules[] = {
    // clang-format off
    // A header is held against its magic and type; only the configuration's version counts.
    {{1},               true,  0,       8,        Outcome::refused},
    {{1, 4, 8, 16, 20, 32}, true, 4,    8,        Outcome::refused},
    {{1, 4, 8, 16, 20, 32}, true, 16,   20,       Outcome::refused},
    {{36},              true,  4,       8,        Outcome::movedAside},
    {{36},              true,  16,      20,       Outcome::movedAside},
    {{6, 7},            true,  4,       12,       Outcome::healed}, // magic, CRC
    {{6, 7},            true,  16,      20,       Outcome::healed},
    {{6, 7},            true,  records, anywhere, Outcome::healed},
    // Files under a header's length are unfinished.
    {{1, 4, 8, 16, 20}, false, 0,       records,  Outcome::refused},
    {{32, 33, 36, 39, 42}, false, 0,    records,  Outcome::remade},
    {{6, 7},            false, 0,       anywhere, Outcome::healed},
    {{21},              false, 0,       1,        Outcome::remade},
    {{1},               false, records, 44572,    Outcome::refused}, // up to the last port
    // clang-format on
};

struct Damage {
    int file;
    bool flip;
    std::size_t place;
    int bit;
};

Outcome outcomeOf(const Damage& damage) {
    auto const rule = std::ranges::find_if(rules, [&](const Rule& one) {
        return one.flip == damage.flip && damage.place >= one.begin && damage.place < one.end &&
               std::ranges::count(one.files, damage.file) != 0;
    });
    return rule != std::end(rules) ? rule->outcome : Outcome::ignored;
}

struct Corruption : BladeTest {
    static constexpr int damagedFiles[] = {1, 4, 6, 7, 8, 16, 20, 21, 32, 33, 36, 39, 42};

    void SetUp() override {
        BladeTest::SetUp();
        makeStore();
        systemCalls.shell = runInProcess;
        shortenFiles(200000, 10000);
        // An empty sequence number file starts at 0 again, as this one does.
        fs::remove(primary(PSST_SEQUENCE_INDEX));
        ReadSequenceNumber();
        close_all_files();
        good = volumesNow();
    }

    static int initialise() {
        int const result = vxpmgr_init_lite();
        close_all_files();
        return result;
    }

    void expectOutcome(const Damage& damage) const {
        std::string const path = primary(damage.file);
        SCOPED_TRACE(path + (damage.flip ? ": flip at " : ": cut to ") +
                     std::to_string(damage.place) + " bit " + std::to_string(damage.bit));
        Bytes damaged = *good.at(path);
        if (damage.flip) {
            damaged.at(damage.place) ^= static_cast<unsigned char>(1 << damage.bit);
        } else {
            damaged.resize(damage.place);
        }
        writeBytes(path, damaged);
        Outcome const outcome = outcomeOf(damage);
        bool const isAside = outcome == Outcome::movedAside;
        bool const stays = outcome == Outcome::refused || outcome == Outcome::ignored;
        bool const isUsable = outcome != Outcome::refused && !isAside;
        EXPECT_EQ(tools::whyUnusable(*tools::openPlace("/mnt")).empty(), isUsable);
        EXPECT_EQ(initialise(), isUsable ? 0 : -1);
        EXPECT_EQ(readBytes(path), stays ? damaged : *good.at(path));
        for (auto const& [other, bytes] : volumesNow()) {
            if (other.starts_with(path + ".")) {
                EXPECT_TRUE(isAside && *bytes == damaged) << other;
            } else if (other != path && other != mirror(damage.file) && !isBookkeeping(other)) {
                EXPECT_TRUE(good.contains(other) && good.at(other) == bytes) << other;
            }
        }
        EXPECT_TRUE(!isAside || initialise() == 0);
        restore(good);
    }

    // What any write changes; a configuration of another version moves it aside.
    static bool isBookkeeping(const std::string& path) {
        return path.find("brapp_seqno.cfg") != std::string::npos ||
               path == "/mnt/nand0/backup_bitmap.bin";
    }

    Volumes good;
};

TEST_F(Corruption, EveryBitAndEveryLengthOfHeadersAndSomeOfRecords) {
    std::vector<Damage> damages;
    for (int const file : damagedFiles) {
        for (std::size_t place = 0; place < records; ++place) {
            damages.push_back({file, false, place, 0});
            for (int bit = 0; bit < (SANITIZED ? 1 : 8); ++bit) {
                damages.push_back({file, true, place, bit});
            }
        }
    }
    std::mt19937 random(20260412);
    for (int i = 0; i < (SANITIZED ? 200 : 2000); ++i) {
        int const file = damagedFiles[random() % std::size(damagedFiles)];
        std::size_t const size = std::max(good.at(primary(file))->size(), records + 1);
        damages.push_back({file, random() % 4 != 0 && size > records + 1,
                           records + random() % (size - records), static_cast<int>(random() % 8)});
    }
    for (const Damage& damage : damages) {
        expectOutcome(damage);
        ASSERT_FALSE(HasFailure());
    }
    std::printf("%zu damaged stores\n", damages.size());
}

} // namespace
