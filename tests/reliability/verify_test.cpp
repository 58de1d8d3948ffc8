// Random damage to a store that is whole: every file whose header, CRC, size or twin betrays it is
// named, and no other; no command of a reader comes to harm.
#include "tests/reliability/upgrade_fixture.h"

#include "settings/saved_files.h"
#include "tools/blade/open_place.h"
#include "tools/live/records.h"
#include "tools/live/settings.h"
#include "tools/stores/create.h"
#include "tools/stores/verify.h"
#include "tools/upgrades/last.h"
#include "tools/upgrades/plan.h"
#include "upgrade/driver.h"
#include "upgrade/journal.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

using Content = std::shared_ptr<const std::string>; // null: is there and cannot be read
using Files = std::map<std::string, Content>;
using Paths = std::set<std::string>;

Content contentOf(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

class Memory : public tools::Place {
  public:
    explicit Memory(const Files& files) : files_(files) {}
    [[nodiscard]] tools::FileStatus statusOf(const std::string& path) const override {
        auto const found = files_.find(path);
        return found == files_.end() ? tools::FileStatus{}
                                     : tools::FileStatus{tools::FileKind::regular,
                                                         found->second ? found->second->size() : 0};
    }
    using Place::read;
    [[nodiscard]] std::string read(const std::string& path, std::size_t limit) const override {
        auto const found = files_.find(path);
        if (found == files_.end() || found->second == nullptr) {
            throw std::runtime_error("cannot read");
        }
        return found->second->substr(0, limit);
    }
    [[nodiscard]] std::vector<std::string> files() const override {
        std::vector<std::string> paths;
        for (auto const& file : files_) {
            paths.push_back(file.first);
        }
        return paths;
    }
    [[nodiscard]] bool hasVolume(const std::string&) const override { return true; }
    [[nodiscard]] std::string nameOf(const std::string& path) const override { return path; }

  private:
    const Files& files_;
};

// The files that findings name.
Paths namedBy(const tools::Verification& verification) {
    Paths paths;
    for (const tools::VerifiedFile& file : verification.files) {
        for (const tools::Note& note : file.notes) {
            if (note.isFinding) {
                paths.insert(note.path);
            }
        }
    }
    return paths;
}

// --- What a store betrays, judged by one that is whole.

// The properties of a text, line by line; nothing where a line is neither that nor a comment.
std::optional<std::string> propertiesIn(const std::string& text) {
    static const std::regex form(R"re(([\w.-]+ = "[^"]*")?|#.*)re");
    std::istringstream lines(text);
    std::string properties;
    for (std::string line; std::getline(lines, line);) {
        if (!std::regex_match(line, form) || line.find('\0') != line.npos) {
            return std::nullopt;
        }
        properties += line.empty() || line[0] == '#' ? "" : line + '\n';
    }
    return properties;
}

class Judge {
  public:
    Judge(const Files& good, const Files& other) : good_(good) {
        for (const Files* const files : {&good, &other}) {
            known_.insert(*propertiesIn(*files->at(UpgradeTest::savedCopy)));
        }
    }

    [[nodiscard]] Paths operator()(const Files& files) const {
        Paths wrong;
        for (auto const& [path, content] : files) {
            if (content == nullptr || isWrong(path, *content)) {
                wrong.insert(path);
            }
        }
        for (int index = 1; index <= 43; ++index) {
            bool const isForeign = index == 22 || index == 28 || index == 34;
            if (primary(index) != "Uknown" && !isForeign) {
                judgePair(index, files, wrong);
            }
        }
        if (!wrong.contains(primary(6)) && !wrong.contains(primary(7)) &&
            differ(files, primary(6), primary(7), 64)) {
            wrong.insert(primary(7));
        }
        for (const char* const copy : {UpgradeTest::savedCopy, UpgradeTest::secondSavedCopy}) {
            if (!files.contains(copy)) {
                wrong.insert(copy);
            }
        }
        if (!wrong.contains(UpgradeTest::savedCopy) &&
            differ(files, UpgradeTest::savedCopy, UpgradeTest::secondSavedCopy, 0)) {
            wrong.insert(UpgradeTest::secondSavedCopy);
        }
        return wrong;
    }

    // Of a VPD record, as its header has it.
    static std::string crcOf(const std::string& file) {
        uint32_t const crc = crc32(0, file.data() + 64, 2224);
        return {reinterpret_cast<const char*>(&crc), sizeof crc};
    }

  private:
    static bool differ(const Files& files, const std::string& a, const std::string& b,
                       std::size_t from) {
        return files.contains(a) && files.contains(b) && files.at(a) && files.at(b) &&
               files.at(a)->substr(from) != files.at(b)->substr(from);
    }

    // Judged by itself: size, header and CRC.
    [[nodiscard]] bool isWrong(const std::string& path, const std::string& content) const {
        std::string const name = fs::path(path).filename();
        if (name == "backup_bitmap.bin") {
            return content.size() != 8 || (content[0] & 1) != 0 || (content[5] & 0xf0) != 0 ||
                   content[6] != 0 || content[7] != 0;
        }
        if (name.starts_with("default_")) {
            if (content == *good_.at(path)) {
                return false;
            }
            auto const properties = propertiesIn(content);
            bool const isSealed = properties && properties->find("crc32 = ") != properties->npos;
            return !properties || properties->empty() ||
                   (isSealed && !known_.contains(*properties));
        }
        bool const isBare = name.starts_with("migration_") || name == "brapp_data_mgmt_lun.bin";
        if (!name.starts_with("brapp_") || isBare || name == "brapp_psst_data.cfg") {
            return name == "brapp_psst_data.cfg" && content.size() < 20;
        }
        const std::string& good = *good_.at("/mnt/nand1/" + name);
        bool const isLonger = name.starts_with("brapp_key") && content.size() > good.size();
        bool const isVpd = name.starts_with("brapp_vpd");
        auto const masked = [&](const std::string& text) { // what may be anything
            return isVpd                       ? text.substr(0, 8) + text.substr(12, 52)
                   : name == "brapp_seqno.cfg" ? text.substr(0, 20) + text.substr(28, 36)
                                               : text.substr(0, 64);
        };
        return (content.size() != good.size() && !isLonger) || masked(content) != masked(good) ||
               (isVpd && content.substr(8, 4) != crcOf(content));
    }

    static void judgePair(int index, const Files& files, Paths& wrong) {
        static const std::set<int> needed = {1, 4, 8, 16, 20};
        static const std::set<int> withoutMirror = {6,  7,  18, 21, 24, 27, 29, 31, 32,
                                                    33, 35, 36, 39, 40, 41, 42, 43};
        bool const hasMirror = files.contains(mirror(index));
        if (!files.contains(primary(index))) {
            if (hasMirror || needed.contains(index)) {
                wrong.insert(primary(index));
            }
        } else if (hasMirror ? !wrong.contains(primary(index)) &&
                                   differ(files, primary(index), mirror(index), 0)
                             : !withoutMirror.contains(index)) {
            wrong.insert(mirror(index));
        }
    }

    const Files& good_;
    Paths known_;
};

// --- Damage.

class Vandal {
  public:
    Vandal(const Files& good, const Files& other) : other_(other) {
        for (auto const& [path, content] : good) {
            if (path != vx::upgradeReport) { // its bits are nobody else's
                paths_.push_back(path);
            }
        }
    }

    void damage(Files& files) {
        auto const found = files.find(anyPath());
        if (found == files.end() || found->second == nullptr) {
            return;
        }
        std::size_t const kind = below(100);
        if (kind < 10) {
            files.erase(found);
        } else if (kind < 13) {
            found->second = nullptr;
        } else if (kind < 25) {
            found->second = other_.at(found->first);
        } else if (auto const second = files.find(anyPath()); kind < 35 && second != files.end()) {
            std::swap(found->second, second->second);
        } else {
            std::string text = *found->second;
            change(text, kind);
            found->second = contentOf(std::move(text));
        }
    }

    std::size_t below(std::size_t end) { return engine_() % end; }

  private:
    const std::string& anyPath() { return paths_[below(paths_.size())]; }

    void change(std::string& text, std::size_t kind) {
        if (kind < 55) {
            text.resize(kind < 45 ? below(text.size() + 1) : text.size() + 1 + below(300));
        } else if (kind < 70 && text.size() >= 64) { // a field of the header
            text.replace(4 * below(16), 4, 4, static_cast<char>(engine_()));
        } else if (!text.empty()) {
            std::size_t const end = kind < 85 ? text.size() : std::min(text.size(), headerLength);
            text[below(end)] ^= static_cast<char>(1 << below(8));
        }
    }

    static constexpr std::size_t headerLength = 64;
    const Files& other_;
    std::vector<std::string> paths_;
    std::mt19937 engine_{20261123};
};

// --- Stores.

struct Verify : BladeTest {
    static Files filesNow() {
        Files files;
        for (std::string const& path : tools::openPlace("/mnt")->files()) {
            files[path] = contentOf(readText(path));
        }
        return files;
    }

    // At no step of a life there is anything to find.
    static void expectNothing(const char* step) {
        EXPECT_EQ(namedBy(tools::verifyStore(*tools::openPlace("/mnt"))), Paths{}) << step;
    }

    static void live() {
        tools::createStore({SAMPLES "/personality-5.2.1.cfg", true, false});
        expectNothing("made");
        tools::setConfiguration("config.bridge.BridgeLogSize", "9999", false);
        close_all_files();
        expectNothing("set");
        for (int const file : {7, 33, 36, 42}) { // an upgrade makes these, without mirrors
            fs::remove(primary(file));
            fs::remove(mirror(file));
        }
        fs::create_directory("/mnt/nand0/firmware");
        fs::current_path("/mnt/nand0/firmware");
        writeText("default_bridge_config.cfg", readText(SAMPLES "/personality-5.3.0.cfg"));
        EXPECT_EQ(vx::runUpgrade(), 0);
        close_all_files();
        expectNothing("upgraded");
    }

    // Another that is whole too: the first bytes of all its records are others.
    static Files anotherOf(const Files& files) {
        Files others = files;
        for (auto& [path, content] : others) {
            std::string bytes = *content;
            if (path.find("brapp_") != path.npos && bytes.size() > 64) {
                bytes.replace(64, 40, 40, 'x');
            }
            if (path.find("brapp_vpd") != path.npos) {
                bytes.replace(8, 4, Judge::crcOf(bytes));
            } else if (path.ends_with("brapp_seqno.cfg")) {
                bytes[20] = 'x';
            } else if (path.find("default_bridge") != path.npos) {
                bytes = readText(SAMPLES "/personality-5.2.1.cfg");
            }
            content = contentOf(bytes);
        }
        return others;
    }

    void SetUp() override {
        BladeTest::SetUp();
        systemCalls.shell = runInProcess;
        std::string const printed = printedBy(live);
        ASSERT_FALSE(HasFailure()) << printed;
        good = filesNow();
    }

    Files good;
};

// Whatever a file holds, a terminal obeys none of it.
void expectPlain(const tools::Verification& verification, const tools::Place& place) {
    std::string const text = printedBy([&] {
        printText(verification, place);
        (void)toJson(verification, place)
            .dump(2, ' ', false, tools::Json::error_handler_t::replace);
    });
    EXPECT_EQ(std::ranges::count_if(text, [](unsigned char c) { return c < ' ' && c != '\n'; }), 0);
}

// What a command does is its own tests' affair: here, that it does no harm.
void expectNoHarm(const tools::Place& place, bool isFound) {
    for (auto const command : std::initializer_list<void (*)(const tools::Place&)>{
             [](auto const& of) { (void)tools::liveSettings(of, "config."); },
             [](auto const& of) { (void)tools::lastUpgrade(of); },
             [](auto const& of) {
                 (void)tools::planUpgrade(of, "", SAMPLES "/personality-5.2.1.cfg");
             }}) {
        try {
            command(place);
        } catch (const std::exception&) { // for status 2
        }
    }
    try {
        EXPECT_TRUE(isFound || tools::whyUnusable(place).empty())
            << "unusable, and nothing is found";
    } catch (const std::exception&) {
        EXPECT_TRUE(isFound);
    }
}

TEST_F(Verify, TenThousandDamages) {
    Files const others = anotherOf(good);
    EXPECT_EQ(namedBy(tools::verifyStore(Memory(others))), Paths{});
    auto const vandalise = [&](const Files& start, int damages) {
        Vandal vandal(start, others);
        Judge const judge(start, others);
        for (int done = 0; done < damages && !HasFailure();) {
            Files files = start;
            for (std::size_t i = 1 + vandal.below(9); i > 0; --i, ++done) {
                vandal.damage(files);
            }
            Memory const place(files);
            auto const verification = tools::verifyStore(place);
            EXPECT_EQ(namedBy(verification), judge(files)) << "after " << done << " damages";
            expectPlain(verification, place);
            expectNoHarm(place, verification.count(true) > 0);
        }
    };
    vandalise(good, SANITIZED ? 10 : 50);
    Files small = good;
    std::erase_if(small, [](auto const& file) {
        return file.second->size() > 200000 && !file.first.ends_with("brapp_device.bin");
    });
    vandalise(small, SANITIZED ? 500 : 10000);
}

// What no bit betrays but its presence, and what lies where.
TEST_F(Verify, NamesWhatItIs) {
    vx::JournalRecord journal{{"5.4.0.1", "x"}, vx::Phase::copying, 0};
    journal.crc = crc32(0, &journal, offsetof(vx::JournalRecord, crc));
    std::string const whole(reinterpret_cast<const char*>(&journal), sizeof journal);
    auto const& config = *good.at(primary(1));
    auto const& groups = *good.at(primary(20));
    auto const changed = [](std::string bytes, std::size_t offset) {
        bytes[offset] ^= 1;
        return bytes;
    };
    struct Case {
        std::string path;
        std::string content;
        const char* says; // "finding" or "remark", the check and a part of the message
    };
    Case const cases[] = {
        // clang-format off
        {UpgradeTest::journal, whole, "finding unfinished-upgrade"},
        {UpgradeTest::journal, changed(whole, 3), "finding torn"},
        {UpgradeTest::unmerged, *good.at(UpgradeTest::savedCopy), "finding unmerged"},
        {"/mnt/nand0/upgrade.report", "vxpvh upgrade report 1\n", "finding torn"},
        {"/mnt/nand0/boot_env.erasing", "003e0000\n", "finding erasing"},
        {"/mnt/nand0/boot_env.erasing", "003e", "finding torn"},
        {"/mnt/nand0/backup_bitmap.bin", std::string(7, '\0') + "\x80", "finding marks"},
        {std::string(UpgradeTest::savedCopy) + ".new", "", "remark leftover"},
        {mirror(1) + ".new", "", "remark leftover"},
        {"/mnt/nand0/default_bridge_config.cfg.1.replacing", "", "remark leftover"},
        {primary(21) + ".1700000000", "", "remark moved-aside"},
        {primary(1) + ".1700000000", "", "finding unknown"},
        {"/mnt/nand1/x\x1b[2J.new", "", "finding unknown"},
        {"/mnt/nand2/ssh.cfg", "", "finding unknown"},
        {"/mnt/nand0/notes", "", "remark unknown"},
        {mirror(21), changed(*good.at(mirror(21)), 20), "finding mirror: differs from the file at byte 20 (header, sequence number)"},
        {mirror(1), changed(config, 704), "byte 704 (config.bridge.BridgeLogSize): \"9998\" instead of \"9999\""},
        {mirror(1), config.substr(0, 64) + "\x1b[2J" + config.substr(68), "(config.bridge.BridgeProductName)"},
        {mirror(1), changed(config, 64 + 1064), "(config.cli.BridgeCliPrompt)"},
        {mirror(1), changed(config, 3100 + 1296 * 9 + 8 + 504), "(config.port.is.1.TcpMaxWinSize)"},
        {mirror(1), changed(config, 2768 + 90), "(management port, byte 90)"},
        {mirror(1), changed(config, 3100 + 1296 * 31 + 900), "(port slot 31, byte 900)"},
        {mirror(1), config.substr(0, 3100), "nothing instead of \"0x00\""},
        {mirror(20), changed(groups, 64 + 940 + 5), "(config.hostgroup.1.Flags)"},
        {mirror(11), changed(*good.at(mirror(11)), 64 + 2 * 1244 + 7), "(record 2, byte 7)"},
        {mirror(8), changed(*good.at(mirror(8)), 64 + 7), "(record, byte 7)"},
        // clang-format on
    };
    for (const Case& one : cases) {
        Files files = good;
        files[one.path] = contentOf(one.content);
        Memory const place(files);
        auto const verification = tools::verifyStore(place);
        expectPlain(verification, place);
        std::string notes;
        for (const tools::VerifiedFile& file : verification.files) {
            for (const tools::Note& note : file.notes) {
                notes += note.path != one.path ? ""
                                               : (note.isFinding ? "finding " : "remark ") +
                                                     (note.check + (": " + note.message)) + '\n';
            }
        }
        EXPECT_NE(notes.find(one.says), notes.npos) << one.says << " is not among\n" << notes;
        bool const isRemark = std::string_view(one.says).starts_with("remark");
        EXPECT_EQ(namedBy(verification), isRemark ? Paths{} : Paths{one.path});
    }
    // With its number the mirror tells which side is the newer one.
    Files files = good;
    files[mirror(21)] = contentOf(changed(*good.at(mirror(21)), 24));
    EXPECT_EQ(toJson(tools::verifyStore(Memory(files)), Memory(files))["sequence"]["newer"],
              "mirrors");
}

} // namespace
