#include "tests/support/devices.h"

#include <vxblade/bootenv.h>
#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/seep.h>

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <regex>
#include <sstream>
#include <utility>

#include <unistd.h>

namespace {

std::size_t traceStart = 0;
std::size_t logStart = 0;

constexpr const char* tracePath = "/dev/blade/trace";
constexpr const char* logPath = "/dev/blade/syslog";

std::string textOf(const std::string& path) {
    Bytes const bytes = readBytes(path);
    return {bytes.begin(), bytes.end()};
}

} // namespace

void control(const std::string& commands) {
    std::ofstream file("/dev/blade/devices/control");
    file << commands << std::flush;
    EXPECT_TRUE(file) << commands;
}

std::vector<std::string> traced() {
    std::istringstream trace(textOf(tracePath).substr(traceStart));
    std::vector<std::string> lines;
    for (std::string line; std::getline(trace, line);) {
        traceStart += line.size() + 1;
        lines.push_back(line);
    }
    return lines;
}

std::string logged() {
    control(""); // the server collects the log before it answers
    return textOf(logPath).substr(logStart);
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

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (std::string const& line : lines) {
        text += line + "\n";
    }
    return text;
}

std::size_t openDescriptors() {
    auto const all = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

namespace {

// Lines, and how often those come that follow their like.
std::string folded(const std::vector<std::string>& lines) {
    std::string all;
    for (auto line = lines.begin(); line != lines.end();) {
        auto const next = std::find_if(line, lines.end(), [&](auto& l) { return l != *line; });
        all += *line + (next - line > 1 ? " ×" + std::to_string(next - line) : "") + "\n";
        line = next;
    }
    return all;
}

} // namespace

Seen see(const std::function<long()>& call) {
    static const std::regex lineNumber("(^|\n)([a-z0-9_]+: \\w+) [0-9]+:");
    traced();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    long const result = call();
    std::string const errors = testing::internal::GetCapturedStderr();
    return {result, testing::internal::GetCapturedStdout(),
            std::regex_replace(errors, lineNumber, "$1$2:"), folded(traced())};
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
    return word.starts_with("[") ? " " + (isText ? text : hex(bytes)) : "";
}

Bytes bytesOfWord(const std::string& word) {
    if (word.starts_with("[")) {
        return Bytes(std::stoul(word.substr(1)), 'Z');
    }
    Bytes bytes;
    for (std::size_t i = 0; i < word.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(word.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

namespace {

// What differs from run to run, or is told by tests of its own.
std::string steady(std::string text) {
    constexpr const char* changes[][2] = {
        {"[^\n]*map_driver[^\n]*\n", ""},          {"[^\n]*Retrying[^\n]*\n(?=[^\n]*Retrying)", ""},
        {"i2cdrv: [0-9]+", "i2cdrv: N"},           {":(?!822|1160)[0-9]+: ", ":N: "},
        {"initialized! [0-9]+", "initialized! N"}, {"(00){16,}", "00…"},
    };
    for (auto const& [pattern, replacement] : changes) {
        text = std::regex_replace(text, std::regex(pattern), replacement);
    }
    return text;
}

std::string toldOf(const std::string& line, const Calls& calls) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> std::quoted(word);) {
        words.push_back(word);
    }
    auto const& call = calls.at(words.at(0));
    words.erase(words.begin());
    std::size_t const open = openDescriptors();
    errno = EIO; // of some older call
    std::string result;
    Seen const seen = see([&] { return result = call(words), 0; });
    std::string const opened = openDescriptors() != open ? ", and a descriptor is open" : "";
    return steady("= " + result + opened + "\n" + seen.output + seen.errors) + seen.trace;
}

} // namespace

void expectTranscript(const std::string& name, const Calls& calls) {
    std::string const expected = textOf(TESTS "/" + name + ".transcript");
    std::string actual;
    std::istringstream lines(expected);
    VX_openI2CLock(); // which one of the calls would do, and leave open
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("  ")) {
            continue;
        }
        actual += line + "\n";
        if (line.starts_with("! ")) {
            control("reset\n" + std::regex_replace(line.substr(2), std::regex("; "), "\n"));
        } else if (line.starts_with("> ")) {
            std::string const told = toldOf(line.substr(2), calls);
            actual += std::regex_replace(told, std::regex("[^\n]+"), "  $&");
        }
    }
    EXPECT_EQ(actual, expected);
}

void loadBlankEnvironment() {
    control("reset\nflash 65536x64");
    see([] { return vornhal_init_env(vhnor_init()); });
}

void DeviceTest::SetUp() {
    BladeTest::SetUp();
    std::filesystem::remove("/etc/fw_env.config");
    control("reset\nflash 65536x64\n");
    for (const char* const chip : {"i2c-0-50", "i2c-0-56", "i2c-0-5e", "i2c-1-50"}) {
        setImage(chip, 0, Bytes(image(chip).size(), 0xFF));
    }
    vxTolvaneStats = {};
    bladeCurSlot = 255;
    traceStart = textOf(tracePath).size();
    logStart = textOf(logPath).size();
}

void DeviceTest::TearDown() {
    for (int32_t* const handle : {&gpDevHandle, &vhnor_drv, &BrAppHandle}) {
        ::close(std::exchange(*handle, -1));
    }
    control("reset");
    BladeTest::TearDown();
}
