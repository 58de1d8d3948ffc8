#include "tests/support/devices.h"
#include "tests/support/text.h"

#include <vxblade/bootenv.h>
#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/seep.h>

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <utility>

#include <unistd.h>

static std::size_t traceStart = 0;
static std::size_t logStart = 0;

constexpr const char* logPath = "/dev/blade/syslog";

void control(const std::string& commands) {
    std::ofstream file("/dev/blade/devices/control");
    file << commands << std::flush;
    EXPECT_TRUE(file) << commands;
}

std::string traced() {
    std::string const trace = readText("/dev/blade/trace");
    return folded(trace.substr(std::exchange(traceStart, trace.size())));
}

std::string logged() {
    control(""); // the server collects the log before it answers
    return readText(logPath).substr(logStart);
}

Bytes image(const std::string& device, std::size_t offset, std::size_t size) {
    Bytes const all = readBytes("/dev/blade/" + device + ".bin");
    return bytesOf(all.data() + offset, std::min(size, all.size() - offset));
}

void setImage(const std::string& device, std::size_t offset, const Bytes& bytes) {
    std::fstream file("/dev/blade/" + device + ".bin", std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
}

// Descriptors that this process has open.
static std::size_t openDescriptors() {
    auto const all = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

Seen see(const std::function<long()>& call) {
    traced();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    long const result = call();
    return {result, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr(),
            traced()};
}

std::string hex(const Bytes& bytes) {
    std::ostringstream digits;
    for (int const byte : bytes) {
        digits << std::hex << std::setfill('0') << std::setw(2) << byte;
    }
    return digits.str();
}

std::string told(const std::string& word, const Bytes& bytes, bool isText) {
    std::string text(bytes.begin(), bytes.end());
    std::ranges::replace(text, '\0', '.');
    return word.starts_with("[") || word.starts_with("*") ? " " + (isText ? text : hex(bytes)) : "";
}

Bytes bytesOfWord(const std::string& word) {
    if (word.starts_with("[")) {
        return Bytes(std::stoul(word.substr(1)), 'Z');
    }
    Bytes bytes;
    for (std::size_t i = word.starts_with("*") ? 1 : 0; i < word.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(word.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

// What differs from run to run, or is told by tests of its own.
static std::string steady(std::string text) {
    constexpr const char* changes[][2] = {
        {"(^|\n)([a-z0-9_]+: \\w+) [0-9]+:", "$1$2:"},
        {"[^\n]*map_driver[^\n]*\n", ""},
        {"[^\n]*Retrying[^\n]*\n(?=[^\n]*Retrying)", ""},
        {"i2cdrv: [0-9]+", "i2cdrv: N"},
        {":(?!822|1160)[0-9]+: ", ":N: "},
        {"initialized! [0-9]+", "initialized! N"},
        {"(00){16,}", "00…"},
    };
    for (auto const& [pattern, replacement] : changes) {
        text = replaced(text, pattern, replacement);
    }
    return text;
}

static std::string toldOf(const std::string& line, const Calls& calls) {
    std::istringstream stream(line);
    std::string name;
    stream >> name;
    Words words;
    for (std::string word; stream >> std::quoted(word);) {
        words.push_back(word);
    }
    std::size_t const open = openDescriptors();
    errno = EIO; // of some older call
    std::string result;
    Seen const seen = see([&] { return result = calls.at(name)(words), 0; });
    std::string const opened = openDescriptors() != open ? ", and a descriptor is open" : "";
    return steady("= " + result + opened + "\n" + seen.output + seen.errors) + seen.trace;
}

void expectTranscript(const std::string& name, const Calls& calls) {
    std::string const expected = readText(TESTS "/" + name + ".transcript");
    std::string actual;
    std::istringstream lines(expected);
    VX_openI2CLock(); // which one of the calls would do, and leave open
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("  ")) {
            continue;
        }
        actual += line + "\n";
        if (line.starts_with("! ")) {
            control("reset\n" + replaced(line.substr(2), "; ", "\n"));
        } else if (line.starts_with("> ")) {
            std::string const told = toldOf(line.substr(2), calls);
            actual += replaced(told, "[^\n]+", "  $&");
        }
    }
    EXPECT_EQ(actual, expected);
}

int reopenFlash() {
    ::close(std::exchange(vhnor_drv, -1));
    return vhnor_init();
}

void loadBlankEnvironment() {
    control("reset\nflash 65536x64");
    see([] { return vornhal_init_env(vhnor_init()); });
}

void DeviceTest::SetUp() {
    BladeTest::SetUp();
    openAtStart_ = openDescriptors();
    std::filesystem::remove("/etc/fw_env.config");
    control("reset\nflash 65536x64\n");
    for (const char* const chip : {"i2c-0-50", "i2c-0-56", "i2c-0-5e", "i2c-1-50"}) {
        setImage(chip, 0, Bytes(image(chip).size(), 0xFF));
    }
    vxTolvaneStats = {};
    bladeCurSlot = 255;
    traced();
    logStart = readText(logPath).size();
}

void DeviceTest::TearDown() {
    for (int32_t* const handle : {&gpDevHandle, &vhnor_drv, &BrAppHandle, &i2cLockFd}) {
        ::close(std::exchange(*handle, -1));
    }
    EXPECT_EQ(openDescriptors(), openAtStart_);
    control("reset");
    BladeTest::TearDown();
}
