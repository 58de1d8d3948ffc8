// The boot environment in the NOR flash: which copy counts, what a save does, what a cut leaves.
#include "tests/support/devices.h"
#include "tests/support/system_calls.h"

#include <vxblade/bootenv.h>
#include <vxblade/common.h>
#include <vxblade/nor.h>

#include <filesystem>
#include <tuple>

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
    vornhal_getenv(name.c_str(), text, sizeof text);
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
        Bytes const copies[] = {copyOf(1, variables("old")), copyOf(0, variables("older"))};
        setPlaces(copies[counts], copies[1 - counts]);
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
        writeText(configPath, "/dev/mtd0 0x3e0000 4000 10000\n/dev/mtd0 4128768 0x4000 10000\n");
        std::string const run = "export LD_PRELOAD=" FLASH_FOR_TOOLS "; (" + command + ") 2>&1";
        EXPECT_EQ(std::system((run + " | sort >/mnt/nand0/printed").c_str()), 0);
        return readText("/mnt/nand0/printed");
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
        writeText(notePath, *c.faults != '\0' ? "3e0000" : ""); // of what is not read
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
}

// The block that a save erases holds something else. A note there says that an earlier save was
// cut.
TEST_F(BootEnv, BlocksThatHoldSomethingElse) {
    Bytes const torn(copySize, 't');
    Bytes const whole = copyOf(0, variables("older"));
    Bytes const blankThenTorn = with(blank, blockSize - 1, 't');
    std::string const itself = "3f0000";
    // The note, what the block holds at the load and at the save, faults, whether it is saved.
    std::tuple<std::string, Bytes, Bytes, std::string, bool> const cases[] = {
        {"", torn, torn, "", false},
        {"", with(whole, copySize, 't'), with(whole, copySize, 't'), "", false},
        {"", blankThenTorn, blankThenTorn, "", false},
        {itself, torn, torn, "", true},
        {itself, blankThenTorn, blankThenTorn, "", true},
        {itself, whole, torn, "", false}, // the note goes when the block is whole
        {"3e0000", torn, torn, "", false},
        {itself, torn, torn, "fail mtd0 read EIO", false}, // of the copy that counts
        {itself, torn, torn, "fail mtd0 read EIO 1 1", false},
    };
    for (auto const& [note, loaded, saved, faults, isSaved] : cases) {
        SCOPED_TRACE(note + faults);
        setCopies();
        writeText(notePath, note);
        setImage("nor", places[1], loaded);
        ASSERT_EQ(load().result, 0);
        setImage("nor", places[1], saved);
        Seen const seen = save("new", faults);
        EXPECT_EQ(seen.result, isSaved ? 0 : -1);
        EXPECT_EQ(seen.trace.find("erase") != std::string::npos, isSaved);
        // What was set is not forgotten where the same program tries again.
        bool const canBeSaved = isSaved || !faults.empty();
        EXPECT_EQ(see(vornhal_saveenv).result, canBeSaved ? 0 : -1);
        load();
        EXPECT_EQ(value("ChassisName"), canBeSaved ? "new" : "old");
    }
    EXPECT_NE(logged().find("boot_env["), std::string::npos);
    // Where no copy counts, the one that was cut is replaced first: its note is lost then.
    setPlaces(blank, torn);
    writeText(notePath, itself);
    ASSERT_EQ(load().result, 0);
    expectSaves();
    // Without a note there is no erase.
    fs::create_directory(std::string(notePath) + ".new");
    EXPECT_EQ(save("newest").trace.find("erase"), std::string::npos);
    fs::remove(std::string(notePath) + ".new");
}

// The power goes at, or in the middle of, any operation of a load and a save; or one fails, comes
// short or only seems to be done. What is left is the old environment or the new one.
TEST_F(BootEnv, TroubleAtAnyOperation) {
    std::string const troubles[] = {
        // clang-format off
        "stop 1", "stop 2", "stop 3", "stop 4", "stop 5", "stop 6", "stop 7", "stop 8", "stop 9",
        "tear 1", "tear 2", "tear 3", "tear 4", "tear 5", "tear 6", "tear 7", "tear 8", "tear 9",
        "fail mtd0 read EIO", "fail mtd0 read EIO 1 1", "fail mtd0 read EIO 1 2", "fail mtd0 read EIO 1 3",
        "fail mtd0 read EIO 1 4", "short mtd0 read", "short mtd0 read 1 4", "fail mtd0 erase EIO", "skip mtd0 erase",
        "fail mtd0 program EIO", "fail mtd0 program EIO 1 1", "short mtd0 program", "skip mtd0 program",
        // clang-format on
    };
    // The status of a process that saves a name.
    auto const statusOf = [](const char* name, const std::string& trouble) {
        if (::fork() == 0) {
            see([&] { return control(trouble), vornhal_init_env(0); });
            vornhal_setenv("ChassisName", name);
            ::_exit(see(vornhal_saveenv).result == 0 ? 0 : 1);
        }
        int status = 0;
        ::wait(&status);
        control("reset");
        return status;
    };
    for (std::size_t i = 0; i < 3 * std::size(troubles); ++i) {
        std::string const old = i % 3 < 2 ? "old" : ""; // no environment yet
        std::string const& trouble = troubles[i / 3];
        SCOPED_TRACE(trouble + old);
        old.empty() ? setPlaces(blank, blank) : setCopies(i % 3);
        // Twice in a row, and then the way on is open, to both copies.
        for (const char* const name : {"new", "newer"}) {
            int const status = statusOf(name, trouble);
            EXPECT_TRUE(WIFEXITED(status) || !trouble.ends_with("9")) << "it goes on after that";
            ASSERT_EQ(load().result, 0);
            std::string const loaded = value("ChassisName");
            EXPECT_TRUE(loaded == name || (status != 0 && (loaded == old || loaded == "new")));
            EXPECT_EQ(value("other"), loaded.empty() || old.empty() ? "" : "kept");
            EXPECT_TRUE(!tools_ || loaded.empty() ||
                        printed().starts_with("ChassisName=" + loaded + "\n"));
        }
        expectSaves();
    }
}

TEST_F(BootEnv, WaitsForTheLockOfTheStandardTools) {
    constexpr unsigned patience = 5'000'000; // microseconds: a reader's, and until a wait is told
    setCopies();
    writeText(notePath, "3f0000"); // which is whole
    int const lock = ::open(lockPath, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    std::pair<bool, unsigned> const cases[] = {
        {true, 2 * patience}, {false, 300'000}, {false, 2 * patience}};
    for (auto const& [loads, held] : cases) {
        SCOPED_TRACE(held);
        ASSERT_EQ(::flock(lock, LOCK_SH), 0); // as weak as a lock can be
        unsigned waited = 0;
        systemCalls.pause = [&, lastly = held](unsigned microseconds) {
            EXPECT_EQ(traced(), "") << "it did not wait";
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
    std::string const good = AT "0x20000 0x4000\n";
    constexpr std::size_t none = 0;
    struct { std::string flash, config; std::size_t first; } const cases[] = {
        {"65536x64", "", 0x3E0000},
        {"4096x1024", "", 0x3F8000},       // a copy spans blocks
        {"65536x62 8192x3", "", 0x3D0000}, // … of two sizes
        {"65536x1", "", none},
        {"8192x3 65536x62", "", none},     // an erase would begin in another block
        {"8192x3 65536x62", AT "0x6000 0x2000\n" AT "0 0x2000\n", none}, // also at its start
        {"65536x62 8192x16", AT "0x3e0000 0x2000\n" AT "0x3e2000 0x2000\n", 0x3E0000},
        {"65536x64", "# comment\n" AT "0200000 4000 0x10000 1\n/dev/mtd0\t131072 0x4000\n", 0x10000},
        {"65536x64", AT "0x18000 2000\n" AT "0x20000 0x2000\n", 0x18000},
        {"65536x64", AT "0x20000 16384\n" AT "0x30000 16384\n", none},   // over its block
        {"65536x64", "/dev/mtd1 0 0x4000\n" AT "0x30000 0x4000\n" + good, 0x20000},
        {"65536x64", good, none},
        {"65536x64", good + AT "0x24000 0x4000\n", none},                // in one block
        {"65536x64", good + AT "0x30000 0x8000\n", none},                // of two sizes
        {"65536x64", good + AT "0x3fe000 0x4000\n", none},               // over the end
        {"65536x64", AT "0 0x110000\n" AT "0x200000 0x110000\n", none},  // too large
        {"65536x64", good + AT "0x30000 0x4000\n" AT "0x40000 0x4000\n", none},
    };
    // clang-format on
    for (auto const& [flash, config, first] : cases) {
        SCOPED_TRACE(flash + " " + config);
        control("flash " + flash);
        see(reopenFlash);
        config.empty() ? (void)fs::remove(configPath) : writeText(configPath, config);
        EXPECT_EQ(load().result, first == none ? -1 : 0);
        if (first != none) {
            expectSaves();
            EXPECT_EQ(image("nor", 0, first), Bytes(first, 0xFF));
            EXPECT_NE(image("nor", first, 1), Bytes(1, 0xFF));
        }
    }
    fs::remove(configPath);
    fs::create_symlink(configPath, configPath); // which nobody can read
    EXPECT_EQ(load().result, -1);
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
    // Tool and layer in turns: neither's copy hides the other's.
    for (std::string const round : {"0", "1", "2"}) {
        EXPECT_EQ(save("ours" + round).result, 0);
        EXPECT_EQ(printed("fw_printenv -n ChassisName; fw_setenv ChassisName theirs" + round),
                  "ours" + round + "\n");
        ASSERT_EQ(load().result, 0);
        EXPECT_EQ(value("ChassisName") + value("SERIAL"), "theirs" + round + "42");
    }
}

} // namespace
