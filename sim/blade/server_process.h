// The process that serves a blade's device files.
#pragma once

#include <filesystem>
#include <string>

#include <sys/types.h>

namespace sim {

// It stays outside the blade's namespace: when the last process inside ends, the kernel unmounts
// the device files and waits for their server's answer, which must not be that last process.
class ServerProcess {
  public:
    // Starts it: it waits for the end of another blade on the same state, and loads the chips.
    // Throws std::runtime_error that says what is missing.
    explicit ServerProcess(const std::filesystem::path& state);
    ServerProcess(ServerProcess&& other) noexcept;
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ServerProcess& operator=(ServerProcess&&) = delete;
    // Ends it, once it has collected the system log. A forked child's copy does nothing.
    ~ServerProcess();

    // Has it serve the device files and collect what comes on the system log's socket: through the
    // hub of that name, or an own one for a FUSE connection. Returns the folder of the files in
    // their file system; empty where there is no such hub.
    [[nodiscard]] std::string joinHub(const std::string& hub, int log) const;
    [[nodiscard]] std::string startHub(int fuse, int log) const;

  private:
    [[nodiscard]] std::string ask(const std::string& hub, int descriptor, int log) const;

    pid_t owner_;
    pid_t process_ = -1;
    int line_ = -1; // to the server, which ends when it is closed
};

} // namespace sim
