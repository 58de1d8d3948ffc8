// Common to the tests of network queries.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>

using Address6 = std::array<uint8_t, 16>;

inline Address6 address6(const char* text) {
    Address6 bytes{};
    EXPECT_EQ(::inet_pton(AF_INET6, text, bytes.data()), 1) << text;
    return bytes;
}

// What `run` prints on standard output.
std::string captured(const auto& run) {
    testing::internal::CaptureStdout();
    run();
    return testing::internal::GetCapturedStdout();
}
