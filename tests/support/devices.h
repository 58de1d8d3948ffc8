// The simulated blade's devices, as tests use them.
#pragma once

#include "tests/support/blade_files.h"

#include <string>
#include <vector>

// Gives the devices commands (bladesim --help lists them), one a line.
void control(const std::string& commands);
// Operations on the devices since the last call or test, "DEVICE OPERATION DETAIL = RESULT".
std::vector<std::string> traced();
// Records of the system log since the test began.
std::string logged();
// Lines joined, each ended by a newline.
std::string joined(const std::vector<std::string>& lines);

// Descriptors that this process has open.
std::size_t openDescriptors();

// What a call printed, left on standard error (without line numbers), and did to the devices.
struct Seen {
    long result;
    std::string output;
    std::string errors;
    std::string trace;
};

void beginSeeing();
Seen endSeeing(long result);
template <class Call>
Seen see(Call call) {
    beginSeeing();
    return endSeeing(static_cast<long>(call()));
}

// Loads the environment of a flash that holds none, which is opened if need be.
void loadBlankEnvironment();

// Each test starts with blank chips, no faults, nothing open and empty volumes.
class DeviceTest : public BladeTest {
  protected:
    void SetUp() override;
    void TearDown() override;
};
