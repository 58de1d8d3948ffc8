// Tests on the volumes and devices of a simulated blade.
#include "sim/blade/blade.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int skipped = 77;

// A state folder in memory where there is one: the store syncs every write.
std::filesystem::path makeState() {
    std::filesystem::path const parent =
        std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    std::string name = parent / "blade-test-XXXXXX";
    return ::mkdtemp(name.data());
}

int runOnBlade(const std::filesystem::path& state) {
    // The blade has a folder /etc of its own then, in which tests make the file as they like.
    constexpr const char* config = "/etc/fw_env.config";
    std::ofstream(state / "fw_env.config").flush();
    std::optional<sim::Blade> blade;
    try {
        blade.emplace(sim::enterBlade({state, {}}));
    } catch (const std::exception& error) {
        std::printf("SKIPPED: %s needs a simulated blade: %s\n", program_invocation_short_name,
                    error.what());
        return skipped;
    }
    ::umount(config);
    ::unlink(config);
    return RUN_ALL_TESTS();
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::filesystem::path const state = makeState();
    // A child enters the namespace, so that the parent can still remove the state folder.
    pid_t const child = ::fork();
    if (child == 0) {
        return runOnBlade(state);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    std::filesystem::remove_all(state);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
