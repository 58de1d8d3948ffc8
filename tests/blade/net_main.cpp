// Tests in a network namespace of their own: nothing that they do shows on the machine's network.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

constexpr int skipped = 77;

void writeFile(const char* path, const std::string& text) {
    std::ofstream(path) << text;
}

// Empty, or what is missing.
std::string enterNamespace() {
    uid_t const user = ::geteuid();
    gid_t const group = ::getegid();
    if (::unshare(CLONE_NEWNET | CLONE_NEWNS | (user == 0 ? 0 : CLONE_NEWUSER)) != 0) {
        return std::string("cannot make a network namespace: ") + std::strerror(errno);
    }
    if (user != 0) {
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return std::string("cannot make the mounts private: ") + std::strerror(errno);
    }
    if (std::system("ip link set lo up && ip link add eth0 type veth peer name peer0") != 0) {
        return "cannot make a pair of interfaces with ip (package iproute2)";
    }
    return "";
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string const missing = enterNamespace();
    if (!missing.empty()) {
        std::printf("SKIPPED: net_test: %s\n", missing.c_str());
        return skipped;
    }
    return RUN_ALL_TESTS();
}
