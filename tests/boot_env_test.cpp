// The boot environment in the NOR flash: which copy counts, what a save does, what a cut leaves.
#include "tests/devices.h"

#include <vxblade/common.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
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
constexpr const char* flashImage = "/dev/blade/nor.bin";
constexpr const char* configPath = "/etc/fw_env.config";
constexpr const char* toolConfig = "/mnt/nand0/tools.config";
constexpr const char* erasingNote = "/mnt/nand0/boot_env.erasing";

// A copy as the standard layout has it.
Bytes copyOf(int flag, const std::string& texts) {
    Bytes copy(copySize, 0);
    std::memcpy(copy.data() + 5, texts.data(), texts.size());
    uint32_t const crc = crc32(0, copy.data() + 5, copySize - 5);
    for (std::size_t i = 0; i < 4; ++i) {
        copy[i] = static_cast<unsigned char>(crc >> (8 * i));
    }
    copy[4] = static_cast<unsigned char>(flag);
    return copy;
}

std::string variables(const std::string& name) {
    using namespace std::string_literals;
    return "ChassisName=" + name + "\0other=kept\0"s;
}

class BootEnv : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        fs::remove(configPath);
        see([] { return vhnor_init(); });
    }
    void TearDown() override {
        fs::remove(configPath);
        DeviceTest::TearDown();
    }
    static void setFlash(std::size_t offset, const Bytes& bytes) {
        std::fstream file(flashImage, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(offset));
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    static Bytes flash(std::size_t offset, std::size_t size) {
        Bytes const all = readBytes(flashImage);
        return {all.begin() + static_cast<long>(offset),
                all.begin() + static_cast<long>(offset + size)};
    }
    static void blankFlash() { setFlash(places[0], Bytes(2 * blockSize, 0xFF)); }
    // No faults, and two copies of which the one at places[counts] counts.
    static void setCopies(const char* name, const char* obsolete, std::size_t counts = 0) {
        control("reset");
        blankFlash();
        setFlash(places[counts], copyOf(1, variables(name)));
        setFlash(places[1 - counts], copyOf(0, variables(obsolete)));
    }
    static Seen saveNamed(const char* name, const std::string& faults = "") {
        vornhal_setenv("ChassisName", name);
        control("reset\n" + faults);
        return see([] { return vornhal_saveenv(); });
    }
    static int load() {
        return static_cast<int>(see([] { return vornhal_init_env(0); }).result);
    }
    static int save() {
        return static_cast<int>(see([] { return vornhal_saveenv(); }).result);
    }
    static bool hasTools() {
        return std::system(
                   "command -v fw_printenv >/dev/null && command -v fw_setenv >/dev/null") == 0;
    }
    // The variables that the standard tool reads from the flash image, or what it says.
    static std::string printed() {
        std::ofstream(toolConfig) << flashImage << " 0x3e0000 0x4000 0x10000\n"
                                  << flashImage << " 0x3f0000 0x4000 0x10000\n";
        FILE* const pipe =
            ::popen((std::string("fw_printenv -c ") + toolConfig + " 2>&1 | sort").c_str(), "r");
        std::string text(1000, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), pipe));
        ::pclose(pipe);
        return text;
    }
    static std::string value(const char* name) {
        char text[100] = "";
        int const length = vornhal_getenv(name, text, sizeof text);
        EXPECT_EQ(length, static_cast<int>(std::strlen(text)));
        return text;
    }
    // Saves into both copies.
    static void expectSaves() {
        for (const char* const name : {"third", "fourth"}) {
            vornhal_setenv("ChassisName", name);
            EXPECT_EQ(save(), 0);
            ASSERT_EQ(load(), 0);
            EXPECT_EQ(value("ChassisName"), name);
        }
    }
};

TEST_F(BootEnv, CopyThatCounts) {
    Bytes const blank(copySize, 0xFF);
    Bytes damaged = copyOf(1, variables("damaged"));
    damaged[100] ^= 1;
    Bytes nearlyBlank = blank;
    nearlyBlank[2000] = 0;
    // clang-format off
    struct { Bytes first, second; const char* faults; int result; const char* name; } const cases[] = {
        {copyOf(1, variables("a")), copyOf(0, variables("b")), "", 0, "a"},
        {copyOf(0, variables("a")), copyOf(1, variables("b")), "", 0, "b"},
        {copyOf(0, variables("a")), copyOf(0, variables("b")), "", 0, "a"},
        {copyOf(0, variables("a")), blank, "", 0, "a"},
        {blank, copyOf(0, variables("b")), "", 0, "b"},
        {damaged, copyOf(0, variables("b")), "", 0, "b"},
        {copyOf(1, variables("a")), copyOf(2, variables("b")), "", 0, "b"},   // flags of tools that count
        {copyOf(255, variables("a")), copyOf(0, variables("b")), "", 0, "b"},
        {copyOf(1, variables("a")), copyOf(0, variables("b")), "fail mtd0 read EIO", 0, "b"},
        {copyOf(1, variables("a")), copyOf(0, variables("b")), "short mtd0 read", 0, "b"},
        {copyOf(0, variables("a")), copyOf(1, variables("b")), "fail mtd0 read EIO 1 1", 0, "a"},
        {copyOf(1, variables("a")), copyOf(0, variables("b")), "fail mtd0 read EIO 2", -1, ""},
        {copyOf(3, variables("a")), copyOf(1, variables("b")), "", 0, "a"},
        {copyOf(1, variables("a")), copyOf(3, variables("b")), "", 0, "b"},
        {copyOf(1, std::string(copySize - 5, 'x')), blank, "", 0, ""}, // a text without an end
        {blank, blank, "", 0, ""},
        {nearlyBlank, blank, "", -1, ""},
        {copyOf(1, variables("a")), blank, "fail mtd0 read EIO", -1, ""}, // not an empty environment
        {damaged, blank, "", -1, ""},
        {damaged, damaged, "", -1, ""},
    };
    // clang-format on
    for (auto const& c : cases) {
        blankFlash();
        setFlash(places[0], c.first);
        setFlash(places[1], c.second);
        control(std::string("reset\n") + c.faults);
        EXPECT_EQ(load(), c.result) << c.name << c.faults;
        EXPECT_EQ(value("ChassisName"), c.name) << c.faults;
        EXPECT_EQ(value("Chassis") + value("Name") + value("ChassisNome"), "") << "other names";
        EXPECT_EQ(vornhal_setenv("x", "y"), c.result) << "nothing to set where nothing is loaded";
    }
    control("reset");
    blankFlash();
    EXPECT_EQ(vornhal_init_env(-1), -1);
    EXPECT_EQ(save(), -1);
}

TEST_F(BootEnv, StepsOfASave) {
    setCopies("old", "older");
    ASSERT_EQ(load(), 0);
    std::string const reload =
        "mtd0 read 003e0000+65536 = 65536\nmtd0 read 003f0000+65536 = 65536\n";
    EXPECT_EQ(see([] { return vornhal_saveenv(); }).trace, reload) << "nothing was set";
    EXPECT_EQ(vornhal_setenv("ChassisName", "old"), 0);
    EXPECT_EQ(see([] { return vornhal_saveenv(); }).trace, reload) << "nothing changed";
    EXPECT_EQ(vornhal_setenv("ChassisName", "new"), 0);
    EXPECT_EQ(vornhal_setenv("bad=name", "x") + vornhal_setenv("", "x"), -2);
    EXPECT_EQ(value("ChassisName"), "new") << "before it is saved";
    // Another program saves in between: its variable stays.
    setFlash(places[0], copyOf(1, variables("old") + "theirs=1" + '\0'));
    Seen const seen = see([] { return vornhal_saveenv(); });
    EXPECT_EQ(seen.result, 0);
    EXPECT_EQ(seen.trace, reload + "mtd0 erase 003f0000+65536 = 0\n"
                                   "mtd0 program 003f0000+16384 = 16384\n"
                                   "mtd0 read 003f0000+16384 = 16384\n"
                                   "mtd0 program 003e0004+1 = 1\n");
    EXPECT_EQ(flash(places[1], copySize), copyOf(1, variables("new") + "theirs=1" + '\0'));
    EXPECT_EQ(flash(places[0] + 4, 1), Bytes{0});
    EXPECT_EQ(value("theirs"), "1");
    EXPECT_FALSE(fs::exists(erasingNote));
    // What another program saved since the last load is not undone by what was saved before.
    setFlash(places[0], copyOf(1, variables("theirs")));
    vornhal_setenv("mine", "1");
    EXPECT_EQ(save(), 0);
    EXPECT_EQ(value("ChassisName"), "theirs");
    // To the last byte, and no further; also where the others' texts have grown meanwhile.
    std::size_t const room = copySize - 5 - variables("theirs").size() - 7 - 1;
    EXPECT_EQ(vornhal_setenv("big", std::string(room - 4, 'x').c_str()), -1);
    EXPECT_EQ(vornhal_setenv("big", std::string(room - 5, 'x').c_str()), 0);
    setFlash(places[1], copyOf(1, variables("theirs") + "more=12345" + '\0'));
    EXPECT_EQ(save(), -1);
    setFlash(places[1], copyOf(1, variables("theirs") + "mine=1" + '\0'));
    EXPECT_EQ(save(), 0);
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(value("other"), "kept");
}

TEST_F(BootEnv, FailedSaveLeavesOneWhole) {
    std::pair<const char*, bool> const cases[] = {
        // A fault, and whether what is new counts in spite of it.
        {"fail mtd0 read EIO", false}, // which copy counts is not known
        {"fail mtd0 read EIO 1 1", false},
        {"fail mtd0 erase EIO", false},
        {"skip mtd0 erase", false}, // a flash that only says that it did
        {"skip mtd0 program", false},
        {"fail mtd0 program EIO", false},
        {"short mtd0 program", false},
        {"fail mtd0 read EIO 1 2", true},    // to check what was programmed, which is whole
        {"fail mtd0 program EIO 1 1", true}, // the mark: the first of two counts
    };
    for (auto const& [faults, isWhole] : cases) {
        for (std::size_t const target : {0U, 1U}) {
            setCopies("old", "older", 1 - target);
            ASSERT_EQ(load(), 0);
            EXPECT_EQ(saveNamed("new", faults).result, -1) << faults;
            ASSERT_EQ(load(), 0);
            EXPECT_EQ(value("ChassisName"), isWhole && target == 0 ? "new" : "old") << faults;
            // What was set is not forgotten where the same program tries again.
            EXPECT_EQ(saveNamed("newer", "fail mtd0 erase EIO").result, -1);
            EXPECT_EQ(save(), 0) << faults;
            ASSERT_EQ(load(), 0);
            EXPECT_EQ(value("ChassisName") + value("other"), "newerkept") << faults;
        }
    }
}

TEST_F(BootEnv, NothingElseIsErased) {
    Bytes const foreign(copySize, 'f');
    std::pair<std::size_t, Bytes> const cases[] = {
        {places[1], foreign},
        {places[1] + blockSize - 1, Bytes{0}}, // behind the environment, in its block
        {places[1] + copySize, Bytes{0}}};
    for (auto const& [offset, bytes] : cases) {
        setCopies("old", "older");
        setFlash(offset, bytes);
        ASSERT_EQ(load(), 0);
        Seen const seen = saveNamed("new");
        EXPECT_EQ(seen.result, -1) << offset;
        EXPECT_EQ(seen.errors,
                  "boot_env: the block at 0x3f0000 holds something else and is not erased\n");
        EXPECT_EQ(flash(offset, bytes.size()), bytes);
        EXPECT_NE(logged().find("boot_env["), std::string::npos);
    }
}

TEST_F(BootEnv, NoteOfAnErase) {
    // Without a note there is no erase.
    setCopies("old", "older");
    ASSERT_EQ(load(), 0);
    fs::create_directory(std::string(erasingNote) + ".new");
    Seen const refused = saveNamed("new");
    EXPECT_EQ(refused.result, -1);
    EXPECT_EQ(refused.trace.find("erase"), std::string::npos);
    EXPECT_EQ(refused.errors, std::string("boot_env: cannot write ") + erasingNote + "\n");
    fs::remove(std::string(erasingNote) + ".new");
    // A noted block may hold anything, but only that block, and only until it is whole again.
    struct {
        const char* note;
        bool wholeAtFirst;
        int result;
    } const cases[] = {
        {"003f0000\n", false, 0}, {"003e0000\n", false, -1}, {"003f0000\n", true, -1}};
    for (auto const& c : cases) {
        Bytes const torn(copySize, 't');
        setCopies("old", "older");
        std::ofstream(erasingNote) << c.note;
        if (!c.wholeAtFirst) {
            setFlash(places[1], torn);
        }
        ASSERT_EQ(load(), 0);
        setFlash(places[1], torn);
        EXPECT_EQ(saveNamed("new").result, c.result) << c.note << c.wholeAtFirst;
        EXPECT_FALSE(fs::exists(erasingNote)) << c.note << c.wholeAtFirst;
    }
}

// The power goes at, and in the middle of, every operation of a save.
TEST_F(BootEnv, CutAtEveryOperation) {
    bool const tools = hasTools(); // their absence is reported by StandardToolsAgree
    // Saves a name in a process of its own, which the cut may end; true when it did not.
    auto const saveIn = [](const char* name) {
        pid_t const child = ::fork();
        if (child == 0) {
            see([name] {
                vornhal_init_env(0);
                vornhal_setenv("ChassisName", name);
                return vornhal_saveenv();
            });
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status);
    };
    for (const char* const cut : {"stop ", "tear "}) {
        for (bool const first : {false, true}) { // no environment yet
            int operations = 0;
            for (bool finished = false; !finished; ++operations) {
                setCopies("old", "older");
                fs::remove(erasingNote);
                if (first) {
                    blankFlash();
                }
                std::string const where = cut + std::to_string(operations + 1);
                SCOPED_TRACE(where);
                // Twice in a row, and then the way on is open, to both copies.
                for (const char* const name : {"new", "newer"}) {
                    control("reset\n" + where);
                    finished = saveIn(name);
                    control("reset");
                    ASSERT_EQ(load(), 0);
                    std::string const loaded = value("ChassisName");
                    EXPECT_TRUE(loaded == (first ? "" : "old") || loaded == "new" ||
                                loaded == name);
                    EXPECT_EQ(value("other"), first ? "" : "kept");
                    EXPECT_TRUE(!tools || loaded.empty() ||
                                printed().starts_with("ChassisName=" + loaded + "\n"));
                }
                expectSaves();
            }
            EXPECT_EQ(operations, 9) << "eight, and the run that none of them cuts";
        }
    }
}

TEST_F(BootEnv, TakesTheLockOfTheStandardTools) {
    ASSERT_EQ(load(), 0);
    vornhal_setenv("ChassisName", "x");
    int const lock = ::open("/var/lock/fw_printenv.lock", O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    traced();
    for (bool const loads : {true, false}) {
        ASSERT_EQ(::flock(lock, LOCK_SH), 0); // as weak as a lock can be
        pid_t const child = ::fork();
        if (child == 0) {
            see([loads] { return loads ? vornhal_init_env(0) : vornhal_saveenv(); });
            ::_exit(0);
        }
        ::usleep(50000);
        EXPECT_EQ(joined(traced()), "") << "it did not wait";
        ::flock(lock, LOCK_UN);
        ::waitpid(child, nullptr, 0);
        EXPECT_NE(joined(traced()), "");
    }
    ::close(lock);
    // Without the lock nothing is read or written.
    fs::rename("/var/lock/fw_printenv.lock", "/var/lock/away");
    fs::create_directory("/var/lock/fw_printenv.lock");
    Seen const locked = see([] { return vornhal_saveenv() + vornhal_init_env(0); });
    EXPECT_EQ(locked.result, -2);
    EXPECT_EQ(locked.trace, "");
    fs::remove("/var/lock/fw_printenv.lock");
    fs::rename("/var/lock/away", "/var/lock/fw_printenv.lock");
}

TEST_F(BootEnv, PlacesFromTheConfiguration) {
    // clang-format off
    struct { const char* flash; const char* config; int result; long first; } const cases[] = {
        {"65536x64", nullptr, 0, 0x3E0000},
        {"131072x32", nullptr, 0, 0x3C0000},
        {"4096x1024", nullptr, 0, 0x3F8000},     // a copy spans blocks
        {"65536x62 8192x16", nullptr, 0, 0x3F8000},
        {"65536x62 8192x3", nullptr, 0, 0x3D0000}, // … of two sizes
        {"65536x1", nullptr, -1, 0},
        {"8192x3 65536x62", nullptr, -1, 0},     // an erase would begin in another block
        {"65536x64", "(a link to itself)", -1, 0},
        {"65536x64", "# comment\n/dev/mtd0 0x10000 0x4000 0x10000\n/dev/mtd0\t0x20000 0x4000\n", 0, 0x10000},
        {"65536x64", "/dev/mtd0 0x18000 0x2000\n/dev/mtd0 0x20000 0x2000\n", 0, 0x18000},
        {"65536x64", "/dev/mtd1 0 0x4000\n/dev/mtd0 0x30000 0x4000\n/dev/mtd0 0x20000 0x4000\n", 0, 0x20000},
        {"65536x64", "/dev/mtd0 0x20000 0x4000\n", -1, 0},                                 // one copy
        {"65536x64", "/dev/mtd0 0x20000 0x4000\n/dev/mtd0 0x24000 0x4000\n", -1, 0},       // in one block
        {"65536x64", "/dev/mtd0 0x20000 0x4000\n/dev/mtd0 0x30000 0x8000\n", -1, 0},       // of two sizes
        {"65536x64", "/dev/mtd0 0x20000 0x4000\n/dev/mtd0 0x3fe000 0x4000\n", -1, 0},      // over the end
        {"65536x64", "/dev/mtd0 0 0x110000\n/dev/mtd0 0x200000 0x110000\n", -1, 0},        // too large
        {"65536x64", "/dev/mtd0 -0x20000 0x4000\n/dev/mtd0 0x30000 0x4000\n", -1, 0},
        {"65536x64", "/dev/mtd0 0x20000 0x4000\n/dev/mtd0 0x30000 0x4000\n/dev/mtd0 0x40000 0x4000\n", -1, 0},
        {"65536x64", "", -1, 0},
    };
    // clang-format on
    for (auto const& c : cases) {
        control(std::string("flash ") + c.flash);
        ::close(std::exchange(vhnor_drv, -1));
        see([] { return vhnor_init(); });
        fs::remove(configPath);
        if (c.config != nullptr && *c.config == '(') {
            fs::create_symlink(configPath, configPath);
        } else if (c.config != nullptr) {
            std::ofstream(configPath) << c.config;
        }
        std::size_t const open = openDescriptors();
        SCOPED_TRACE(std::string(c.flash) + (c.config != nullptr ? c.config : ""));
        EXPECT_EQ(load(), c.result);
        if (c.result != 0) {
            continue;
        }
        expectSaves();
        EXPECT_EQ(openDescriptors(), open);
        Bytes const image = readBytes(flashImage);
        auto const first = std::ranges::find_if(image, [](unsigned char b) { return b != 0xFF; });
        EXPECT_EQ(first - image.begin(), c.first);
    }
}

// What the standard tools read from the flash image, and write into it.
TEST_F(BootEnv, StandardToolsAgree) {
    if (!hasTools()) {
        GTEST_SKIP() << "SKIPPED: BootEnv.StandardToolsAgree: libubootenv-tool is not installed";
    }
    ASSERT_EQ(load(), 0);
    vornhal_setenv("ChassisName", "rack 7");
    vornhal_setenv("SERIAL", "42");
    ASSERT_EQ(save(), 0);
    EXPECT_EQ(printed(), "ChassisName=rack 7\nSERIAL=42\n");
    // Tool and layer in turns: neither's copy hides the other's.
    for (int round = 0; round < 3; ++round) {
        std::string const theirs = "theirs" + std::to_string(round);
        for (const char* const variable : {"ChassisName ", "extra "}) {
            ASSERT_EQ(
                std::system(
                    (std::string("fw_setenv -c ") + toolConfig + " " + variable + theirs).c_str()),
                0);
        }
        ASSERT_EQ(load(), 0);
        EXPECT_EQ(value("ChassisName") + value("extra") + value("SERIAL"), theirs + theirs + "42");
        vornhal_setenv("ChassisName", ("ours" + std::to_string(round)).c_str());
        ASSERT_EQ(save(), 0);
        EXPECT_EQ(printed(), "ChassisName=ours" + std::to_string(round) +
                                 "\nSERIAL=42\nextra=" + theirs + "\n");
    }
}

} // namespace
