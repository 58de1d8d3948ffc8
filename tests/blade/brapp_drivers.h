// The simulated blade's drivers, as tests of the requests to them see them.
#pragma once

#include "tests/support/devices.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>

#include <cctype>
#include <string>

#include <fcntl.h>

// Each test starts with both devices open and drivers that accept everything.
class DriversTest : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        BrAppHandle = ::open("/dev/vxbrapp", O_RDWR | O_CLOEXEC);
        gpDevHandle = ::open("/dev/vxgpdev", O_RDWR | O_CLOEXEC);
        ASSERT_TRUE(BrAppHandle >= 0 && gpDevHandle >= 0);
    }

    // The requests that drivers saw since the last call: "vxbrapp b18 712 = 0\n" …
    static std::string issued() {
        std::string lines;
        for (std::string const& line : traced()) {
            std::size_t const request = line.find(' ') + 1;
            lines += std::isdigit(line[request + 1]) != 0 ? line + "\n" : "";
        }
        return lines;
    }

    // The record of the last such request, as its caller passed it: "b18".
    static Bytes passed(const std::string& request) {
        return readBytes("/dev/blade/requests/" + request + ".bin");
    }
};
