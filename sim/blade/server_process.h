// The process that serves a blade's device files.
#pragma once

#include <filesystem>

#include <sys/types.h>

namespace sim {

// It stays outside the blade's namespace: when the last process inside ends, the kernel unmounts
// the device files and waits for their server's answer, which must not be that last process.
class ServerProcess {
  public:
    // Starts it: it waits for the blade's turn among those of the machine, and loads the chips.
    // Throws std::runtime_error that says what is missing.
    explicit ServerProcess(const std::filesystem::path& state);
    ServerProcess(ServerProcess&& other) noexcept;
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ServerProcess& operator=(ServerProcess&&) = delete;
    // Ends it, once it has collected the system log. A forked child's copy does nothing.
    ~ServerProcess();

    // Has it serve the FUSE connection and collect what comes on the system log's socket.
    void serve(int fuse, int log) const;

  private:
    pid_t owner_;
    pid_t process_ = -1;
    int line_ = -1; // to the server, which ends when it is closed
};

} // namespace sim
