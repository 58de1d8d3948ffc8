// The simulated blade's drivers, as tests of the requests to them see them.
#pragma once

#include "tests/blade_files.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

// Each test starts with both devices open and drivers that accept everything.
extern int closeErrno; // where not 0: what errno is after a close

class DriversTest : public testing::Test {
  protected:
    void SetUp() override {
        BrAppHandle = ::open("/dev/vxbrapp", O_RDWR | O_CLOEXEC);
        gpDevHandle = ::open("/dev/vxgpdev", O_RDWR | O_CLOEXEC);
        ASSERT_TRUE(BrAppHandle >= 0 && gpDevHandle >= 0);
        reset();
    }

    void TearDown() override {
        reset();
        ::close(BrAppHandle);
        ::close(gpDevHandle);
        BrAppHandle = gpDevHandle = -1;
    }

    // What the drivers do from now on, a command a line: "answer b18 0102ff" overwrites the
    // record's first bytes, "return b18 7" is the result, "fail vxbrapp b18 EINVAL 1" fails once.
    static void tell(const std::string& commands) {
        int const fd = ::open("/dev/blade/devices/control", O_WRONLY | O_CLOEXEC);
        std::string const lines = commands + "\n";
        EXPECT_EQ(::write(fd, lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
        ::close(fd);
    }

    // The drivers accept everything again; what they saw is forgotten.
    static void reset() {
        tell("reset");
        (void)issued();
    }

    // The requests that drivers saw since the last call: "vxbrapp b18 712 = 0\n" …
    static std::string issued() {
        static std::size_t seen = 0;
        std::ifstream trace("/dev/blade/trace");
        std::string lines;
        std::string line;
        std::size_t count = 0;
        while (std::getline(trace, line)) {
            std::istringstream words(line);
            std::string device;
            std::string request;
            words >> device >> request;
            bool const isRequest = request.size() > 1 && std::isdigit(request[1]) != 0;
            if (isRequest && ++count > seen) {
                lines += line + "\n";
            }
        }
        seen = count;
        return lines;
    }

    // The record of the last such request, as its caller passed it: "b18".
    static Bytes passed(const std::string& request) {
        return readBytes("/dev/blade/requests/" + request + ".bin");
    }
};
