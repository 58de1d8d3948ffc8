// The boot environment in the NOR flash: which copy counts, what a save does, what a cut leaves.
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/bootenv.h>
#include <vxblade/common.h>
#include <vxblade/nor.h>

#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t copySize = 16384;
constexpr std::size_t blockSize = 65536;
constexpr std::size_t places[] = {0x3E0000, 0x3F0000}; // the start of the last two blocks
constexpr const char* configPath = "/etc/fw_env.config";
constexpr const char* printedPath = "/mnt/nand0/printed";
constexpr const char* lockPath = "/var/lock/fw_printenv.lock";
constexpr const char* notePath = "/mnt/nand0/boot_env.erasing";

Bytes const blank(copySize, 0xFF);

// A copy as the standard layout has it.
Bytes copyOf(int flag, const std::string& strings) {
    Bytes copy(copySize, 0);
    std::ranges::copy(strings, copy.begin() + 5);
    uint32_t const crc = crc32(0, copy.data() + 5, copySize - 5);
    std::memcpy(copy.data(), &crc, sizeof crc);
    copy[4] = static_cast<unsigned char>(flag);
    return copy;
}

// Bytes with one of them set, blank ones before it where it is after their end.
Bytes with(Bytes bytes, std::size_t at, unsigned char value) {
    bytes.resize(std::max(bytes.size(), at + 1), 0xFF);
    bytes[at] = value;
    return bytes;
}

std::string variables(const std::string& name) {
    return "ChassisName=" + name + '\0' + "other=kept" + '\0';
}

std::string value(const std::string& name) {
    char text[100] = "";
    int const length = vornhal_getenv(name.c_str(), text, sizeof text);
    EXPECT_EQ(length, static_cast<int>(std::strlen(text)));
    return text;
}

class BootEnv : public DeviceTest {
  protected:
    // No faults, no note, and what the places hold.
    static void setPlaces(const Bytes& first, const Bytes& second) {
        control("reset");
        see(vhnor_init);
        fs::remove(notePath);
        setImage("nor", places[0], Bytes(2 * blockSize, 0xFF));
        setImage("nor", places[0], first);
        setImage("nor", places[1], second);
    }
    // Two copies, of which the one at places[counts] counts.
    static void setCopies(std::size_t counts = 0) {
        Bytes const old = copyOf(1, variables("old"));
        Bytes const older = copyOf(0, variables("older"));
        setPlaces(counts == 0 ? old : older, counts == 0 ? older : old);
    }
    static Seen load() {
        return see([] { return vornhal_init_env(0); });
    }
    static Seen save(const std::string& name, const std::string& faults = "") {
        vornhal_setenv("ChassisName", name.c_str());
        control("reset\n" + faults);
        return see(vornhal_saveenv);
    }
    // Saves into both copies.
    static void expectSaves() {
        for (const char* const name : {"third", "fourth"}) {
            EXPECT_EQ(save(name).result + load().result, 0);
            EXPECT_EQ(value("ChassisName"), name);
        }
    }
    // What a standard tool prints, sorted: by itself fw_printenv prints the variables.
    static std::string printed(const std::string& command = "fw_printenv") {
        std::ofstream(configPath) << "/dev/mtd0 0x3e0000 4000 10000\n"
                                  << "/dev/mtd0 4128768 0x4000 10000\n";
        std::string const run =
            "export LD_PRELOAD=" FLASH_FOR_TOOLS "; (" + command + ") 2>&1 | sort >";
        EXPECT_EQ(std::system((run + printedPath).c_str()), 0);
        Bytes const text = readBytes(printedPath);
        return {text.begin(), text.end()};
    }
    // Their absence is reported by StandardToolsAgree.
    const bool tools_ = std::system("command -v fw_setenv >/dev/null") == 0;
};

TEST_F(BootEnv, CopyThatCounts) {
    Bytes const a = copyOf(1, variables("a"));
    Bytes const b = copyOf(0, variables("b"));
    // clang-format off
    struct { Bytes first, second; const char* faults; int result; const char* name; } const cases[] = {
        {a, blank, "", 0, "a"},
        {blank, b, "", 0, "b"},
        {with(a, 100, 1), b, "", 0, "b"},
        {a, b, "fail mtd0 read EIO", 0, "b"},
        {a, b, "short mtd0 read", 0, "b"},
        {b, a, "fail mtd0 read EIO 1 1", 0, "b"},
        {copyOf(1, std::string(copySize - 5, 'x')), blank, "", 0, ""}, // a string without an end
        {blank, blank, "", 0, ""},
        {with(blank, copySize, 0), blank, "", 0, ""},
        {with(blank, 2000, 0), blank, "", -1, ""},
        {a, blank, "fail mtd0 read EIO", -1, ""}, // not an empty environment
    };
    // clang-format on
    for (auto const& c : cases) {
        SCOPED_TRACE(&c - cases);
        setPlaces(c.first, c.second);
        control(c.faults);
        std::ofstream(notePath) << (*c.faults != '\0' ? "3e0000" : ""); // of what is not read
        EXPECT_EQ(load().result, c.result);
        EXPECT_EQ(value("ChassisName"), c.name);
        EXPECT_EQ(value("Chassis") + value("Name") + value("ChassisNome"), "") << "other names";
        EXPECT_EQ(vornhal_setenv("x", "y"), c.result) << "nothing to set where nothing is loaded";
    }
    EXPECT_EQ(vornhal_init_env(-1) + save("x").result, -2);
}

// Also other flags than a save leaves: as the standard tools choose on a NOR flash.
TEST_F(BootEnv, FlagsOfTwoWholeCopies) {
    constexpr int flags[] = {0, 1, 2, 255};
    std::string const chosen = "abbbaabbaaabaaab"; // by the first's flag, and the second's
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        SCOPED_TRACE(i);
        setPlaces(copyOf(flags[i / 4], variables("a")), copyOf(flags[i % 4], variables("b")));
        load();
        EXPECT_EQ(value("ChassisName"), chosen.substr(i, 1));
        EXPECT_TRUE(!tools_ || printed("fw_printenv -n ChassisName") == chosen.substr(i, 1) + "\n");
    }
}

TEST_F(BootEnv, StepsOfASave) {
    setCopies();
    EXPECT_EQ(load().trace, "mtd0 read 003e0000+16384 = 16384\nmtd0 read 003f0000+16384 = 16384\n");
    std::string const reload =
        "mtd0 read 003e0000+65536 = 65536\nmtd0 read 003f0000+65536 = 65536\n";
    EXPECT_EQ(save("old").trace, reload) << "nothing changed";
    EXPECT_EQ(vornhal_setenv("bad=name", "x") + vornhal_setenv("", "x"), -2);
    // Another program saves in between: its variable stays, and of each name one.
    setImage("nor", places[0],
             copyOf(1, variables("older") + variables("old") + "theirs=1" + '\0'));
    EXPECT_EQ(save("new").trace, reload + "mtd0 erase 003f0000+65536 = 0\n"
                                          "mtd0 program 003f0000+16384 = 16384\n"
                                          "mtd0 read 003f0000+16384 = 16384\n"
                                          "mtd0 program 003e0004+1 = 1\n");
    EXPECT_EQ(image("nor", places[1], copySize), copyOf(1, variables("new") + "theirs=1" + '\0'));
    // What another program saved since the last load is not undone by what was saved before.
    setImage("nor", places[0], copyOf(1, variables("theirs")));
    vornhal_setenv("mine", "1");
    EXPECT_EQ(value("mine"), "1") << "before it is saved";
    EXPECT_EQ(see(vornhal_saveenv).result, 0);
    EXPECT_EQ(value("ChassisName"), "theirs");
    // To the last byte, and no further; also where the others' strings have grown meanwhile.
    std::size_t const room = copySize - 5 - variables("theirs").size() - 7 - 1;
    EXPECT_EQ(vornhal_setenv("big", std::string(room - 4, 'x').c_str()), -1);
    EXPECT_EQ(vornhal_setenv("big", std::string(room - 5, 'x').c_str()), 0);
    setImage("nor", places[1], copyOf(1, variables("theirs") + "more=12345" + '\0'));
    EXPECT_EQ(see(vornhal_saveenv).result, -1);
    setImage("nor", places[1], copyOf(1, variables("theirs") + "mine=1" + '\0'));
    EXPECT_EQ(see(vornhal_saveenv).result, 0);
}

// Faults, and blocks that hold something else: what is left is the old environment or the new one.
TEST_F(BootEnv, SavesThatFail) {
    enum Noted { none, itself, other };
    Bytes const torn(copySize, 't');
    Bytes const whole = copyOf(0, variables("older"));
    Bytes const wholeThenTorn = with(whole, copySize, 't');
    Bytes const blankThenTorn = with(blank, blockSize - 1, 't');
    std::string const foreign = "holds something else";
    std::string const unread = "a copy cannot be read";
    std::string const different = "not what was programmed";
    // clang-format off
    struct {
        const char* faults; std::string error; bool isWhole; // the new environment
        Noted note; Bytes loaded, saved; // what the block to be erased holds before
    } const cases[] = {
        {"fail mtd0 erase EIO", "cannot erase", false, none, {}, {}},
        {"skip mtd0 erase", different, false, none, {}, {}}, // it only says that it did
        {"skip mtd0 program", different, false, none, {}, {}},
        {"fail mtd0 program EIO", "cannot program", false, none, {}, {}},
        {"short mtd0 program", "cannot program", false, none, {}, {}},
        {"fail mtd0 read EIO 1 2", different, true, none, {}, {}},
        {"fail mtd0 program EIO 1 1", "cannot mark", true, none, {}, {}},
        {"", foreign, false, none, torn, torn},
        {"", foreign, false, none, wholeThenTorn, wholeThenTorn},
        {"", foreign, false, none, blankThenTorn, blankThenTorn},
        // A block that a note names may hold anything, but only until it is whole again.
        {"", "", true, itself, torn, torn},
        {"", "", true, itself, blankThenTorn, blankThenTorn},
        {"", foreign, false, itself, whole, torn},
        {"", foreign, false, other, torn, torn},
        // Where the copy that counts cannot be read, not even that.
        {"fail mtd0 read EIO", unread, false, itself, torn, torn},
        {"fail mtd0 read EIO 1 1", unread, false, itself, torn, torn},
    };
    // clang-format on
    for (std::size_t i = 0; i < 2 * std::size(cases); ++i) {
        auto const& c = cases[i / 2];
        std::size_t const target = i % 2;
        SCOPED_TRACE(i);
        setCopies(1 - target);
        if (c.note != none) {
            std::ofstream(notePath) << std::hex << places[c.note == itself ? target : 1 - target];
        }
        setImage("nor", places[target], c.loaded);
        ASSERT_EQ(load().result, 0);
        setImage("nor", places[target], c.saved);
        Seen const seen = save("new", c.faults);
        EXPECT_EQ(seen.result, c.error.empty() ? 0 : -1);
        EXPECT_NE(seen.errors.find(c.error), std::string::npos) << seen.errors;
        bool const keeps = c.error == foreign || c.error == unread;
        EXPECT_EQ(seen.trace.find("erase") == std::string::npos, keeps);
        load();
        bool const isFirst = c.error.empty() || target == 0; // of two that are active
        EXPECT_EQ(value("ChassisName"), c.isWhole && isFirst ? "new" : "old");
        // What was set is not forgotten where the same program tries again.
        EXPECT_EQ(save("newer", "fail mtd0 erase EIO").result, -1);
        EXPECT_EQ(see(vornhal_saveenv).result, c.error == foreign ? -1 : 0);
        load();
        EXPECT_EQ(value("ChassisName"), c.error == foreign ? "old" : "newer");
    }
    EXPECT_NE(logged().find("boot_env["), std::string::npos);
    // Where no copy counts, the one that was cut is replaced first: its note is lost then.
    setPlaces(blank, torn);
    std::ofstream(notePath) << "3f0000";
    ASSERT_EQ(load().result, 0);
    expectSaves();
    // Without a note there is no erase.
    fs::create_directory(std::string(notePath) + ".new");
    EXPECT_EQ(save("newest").trace.find("erase"), std::string::npos);
    fs::remove(std::string(notePath) + ".new");
}

// The power goes at, and in the middle of, every operation of a save.
TEST_F(BootEnv, CutAtEveryOperation) {
    // Saves a name in a process of its own, which the cut may end; true when it did not.
    auto const saveIn = [](const char* name, const std::string& cut) {
        if (::fork() == 0) {
            see([&] { return control("reset\n" + cut), vornhal_init_env(0); });
            vornhal_setenv("ChassisName", name);
            see(vornhal_saveenv);
            ::_exit(0);
        }
        int status = 0;
        ::wait(&status);
        control("reset");
        return WIFEXITED(status);
    };
    constexpr int operations = 8;
    for (int i = 0; i < 4 * (operations + 1); ++i) {
        std::string const old = i % 2 == 0 ? "old" : ""; // no environment yet
        std::string const cut = (i % 4 < 2 ? "stop " : "tear ") + std::to_string(i / 4 + 1);
        SCOPED_TRACE(cut + old);
        old.empty() ? setPlaces(blank, blank) : setCopies();
        bool finished = false;
        // Twice in a row, and then the way on is open, to both copies.
        for (const char* const name : {"new", "newer"}) {
            finished = saveIn(name, cut);
            ASSERT_EQ(load().result, 0);
            std::string const loaded = value("ChassisName");
            EXPECT_TRUE(loaded == old || loaded == "new" || loaded == name) << loaded;
            EXPECT_EQ(value("other"), old.empty() ? "" : "kept");
            EXPECT_TRUE(!tools_ || loaded.empty() ||
                        printed().starts_with("ChassisName=" + loaded + "\n"));
        }
        EXPECT_EQ(finished, i / 4 == operations) << "each of a save's is cut, and no other";
        expectSaves();
    }
}

TEST_F(BootEnv, WaitsForTheLockOfTheStandardTools) {
    constexpr unsigned patience = 5'000'000; // microseconds: a reader's, and until a wait is told
    setCopies();
    std::ofstream(notePath) << "3f0000"; // which is whole
    int const lock = ::open(lockPath, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    std::pair<bool, unsigned> const cases[] = {
        {true, 2 * patience}, {false, 300'000}, {false, 2 * patience}};
    for (auto const& [loads, held] : cases) {
        SCOPED_TRACE(held);
        ASSERT_EQ(::flock(lock, LOCK_SH), 0); // as weak as a lock can be
        unsigned waited = 0;
        systemCalls.pause = [&, lastly = held](unsigned microseconds) {
            EXPECT_EQ(joined(traced()), "") << "it did not wait";
            waited += microseconds;
            ::flock(lock, waited >= lastly ? LOCK_UN : LOCK_SH);
        };
        Seen const seen = loads ? load() : save(std::to_string(held));
        EXPECT_EQ(seen.result, 0);
        EXPECT_EQ(waited, loads ? patience : held);
        EXPECT_EQ(seen.errors.find("another program") != std::string::npos, held > patience);
        EXPECT_EQ(fs::exists(notePath), loads) << "removed with the lock only";
    }
    systemCalls.pause = nullptr;
    ::close(lock);
    // Where no lock can be had nothing is written.
    fs::remove(lockPath);
    fs::create_directory(lockPath);
    EXPECT_EQ(load().result, 0);
    EXPECT_EQ(save("x").trace, "");
    fs::remove(lockPath);
}

TEST_F(BootEnv, PlacesFromTheConfiguration) {
#define AT "/dev/mtd0 "
    // clang-format off
    std::string const none;
    std::string const aLink = "a link to itself";
    std::string const good = AT "0x20000 0x4000\n";
    struct { const char* flash; std::string config; int result; std::size_t first; } const cases[] = {
        {"65536x64", none, 0, 0x3E0000},
        {"4096x1024", none, 0, 0x3F8000},       // a copy spans blocks
        {"65536x62 8192x3", none, 0, 0x3D0000}, // … of two sizes
        {"65536x1", none, -1, 0},
        {"8192x3 65536x62", none, -1, 0},       // an erase would begin in another block
        {"8192x3 65536x62", AT "0x6000 0x2000\n" AT "0 0x2000\n", -1, 0}, // also at its start
        {"65536x62 8192x16", AT "0x3e0000 0x2000\n" AT "0x3e2000 0x2000\n", 0, 0x3E0000},
        {"65536x64", aLink, -1, 0},
        {"65536x64", "# comment\n" AT "0200000 4000 0x10000 1\n/dev/mtd0\t131072 0x4000\n", 0, 0x10000},
        {"65536x64", AT "0x18000 2000\n" AT "0x20000 0x2000\n", 0, 0x18000},
        {"65536x64", AT "0x20000 16384\n" AT "0x30000 16384\n", -1, 0},   // over its block
        {"65536x64", "/dev/mtd1 0 0x4000\n" AT "0x30000 0x4000\n" + good, 0, 0x20000},
        {"65536x64", good, -1, 0},
        {"65536x64", good + AT "0x24000 0x4000\n", -1, 0},                // in one block
        {"65536x64", good + AT "0x30000 0x8000\n", -1, 0},                // of two sizes
        {"65536x64", good + AT "0x3fe000 0x4000\n", -1, 0},               // over the end
        {"65536x64", AT "0 0x110000\n" AT "0x200000 0x110000\n", -1, 0},  // too large
        {"65536x64", good + AT "0x30000 0x4000\n" AT "0x40000 0x4000\n", -1, 0},
    };
    // clang-format on
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.flash) + c.config);
        control(std::string("flash ") + c.flash);
        ::close(std::exchange(vhnor_drv, -1));
        see(vhnor_init);
        fs::remove(configPath);
        if (c.config == aLink) {
            fs::create_symlink(configPath, configPath);
        } else if (c.config != none) {
            std::ofstream(configPath) << c.config;
        }
        EXPECT_EQ(load().result, c.result);
        if (c.result == 0) {
            std::size_t const open = openDescriptors();
            expectSaves();
            EXPECT_EQ(openDescriptors(), open);
            EXPECT_EQ(image("nor", 0, c.first), Bytes(c.first, 0xFF));
            EXPECT_NE(image("nor", c.first, 1), Bytes(1, 0xFF));
        }
    }
}

// What the standard tools read from the flash, and write into it, by the same lines of places.
TEST_F(BootEnv, StandardToolsAgree) {
    if (!tools_) {
        GTEST_SKIP() << "SKIPPED: BootEnv.StandardToolsAgree: libubootenv-tool is not installed";
    }
    setPlaces(copyOf(1, variables("first") + "SERIAL=42" + '\0' + variables("rack 7")), blank);
    EXPECT_EQ(printed(), "ChassisName=rack 7\nSERIAL=42\nother=kept\n");
    ASSERT_EQ(load().result, 0);
    EXPECT_EQ(value("ChassisName"), "rack 7");
    vornhal_setenv("other", "");
    // Tool and layer in turns: neither's copy hides the other's.
    for (std::string const round : {"0", "1", "2"}) {
        EXPECT_EQ(save("ours" + round).result, 0);
        EXPECT_EQ(printed("fw_printenv -n ChassisName"), "ours" + round + "\n");
        EXPECT_EQ(printed("fw_setenv ChassisName theirs" + round + "; fw_setenv extra " + round),
                  "");
        ASSERT_EQ(load().result, 0);
        EXPECT_EQ(value("ChassisName") + value("extra") + value("SERIAL"),
                  "theirs" + round + round + "42");
    }
}

} // namespace
