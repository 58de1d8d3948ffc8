#include "tests/support/devices.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>
#include <vxblade/i2c.h>
#include <vxblade/nor.h>
#include <vxblade/platform.h>
#include <vxblade/seep.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include <unistd.h>

namespace {

std::streamoff traceStart = 0;
std::streamoff logStart = 0;

std::streamoff sizeOf(const char* path) {
    return std::ifstream(path, std::ios::ate).tellg();
}

constexpr const char* tracePath = "/dev/blade/trace";
constexpr const char* logPath = "/dev/blade/syslog";

} // namespace

void control(const std::string& commands) {
    std::ofstream file("/dev/blade/devices/control");
    file << commands << std::flush;
    EXPECT_TRUE(file) << commands;
}

std::vector<std::string> traced() {
    std::ifstream file(tracePath);
    file.seekg(traceStart);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    traceStart = sizeOf(tracePath);
    return lines;
}

std::string logged() {
    control(""); // the server collects the log before it answers
    Bytes const all = readBytes(logPath);
    return {all.begin() + logStart, all.end()};
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

void beginSeeing() {
    traced();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
}

Seen endSeeing(long result) {
    static const std::regex lineNumber("(^|\n)([a-z0-9_]+: \\w+) [0-9]+:");
    std::string const errors = testing::internal::GetCapturedStderr();
    return {result, testing::internal::GetCapturedStdout(),
            std::regex_replace(errors, lineNumber, "$1$2:"), joined(traced())};
}

void loadBlankEnvironment() {
    control("reset\nflash 65536x64");
    see([] { return vornhal_init_env(vhnor_init()); });
}

void DeviceTest::SetUp() {
    BladeTest::SetUp();
    control("reset\nflash 65536x64\n");
    for (const char* const chip : {"i2c-0-50", "i2c-0-56", "i2c-0-5e", "i2c-1-50"}) {
        std::string const path = std::string("/dev/blade/") + chip + ".bin";
        Bytes const blank(readBytes(path).size(), 0xFF);
        std::fstream(path, std::ios::in | std::ios::out | std::ios::binary)
            .write(reinterpret_cast<const char*>(blank.data()),
                   static_cast<std::streamsize>(blank.size()));
    }
    vxTolvaneStats = {};
    bladeCurSlot = 255;
    traceStart = sizeOf(tracePath);
    logStart = sizeOf(logPath);
}

void DeviceTest::TearDown() {
    for (int32_t* const handle : {&gpDevHandle, &vhnor_drv, &BrAppHandle}) {
        if (*handle >= 0) {
            ::close(*handle);
            *handle = -1;
        }
    }
    control("reset");
    BladeTest::TearDown();
}
