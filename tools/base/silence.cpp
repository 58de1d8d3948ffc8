#include "tools/base/silence.h"

#include <cstdio>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace tools {

Silence::Silence(bool isVerbose) {
    std::fflush(nullptr);
    int const nowhere = isVerbose ? -1 : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    for (int stream : {0, 1}) {
        if (nowhere >= 0) {
            saved_[stream] = ::fcntl(STDOUT_FILENO + stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            ::dup2(nowhere, STDOUT_FILENO + stream);
        }
    }
    ::close(nowhere);
}

Silence::~Silence() {
    std::fflush(nullptr);
    for (int stream : {0, 1}) {
        if (saved_[stream] >= 0) {
            ::dup2(saved_[stream], STDOUT_FILENO + stream);
            ::close(saved_[stream]);
        }
    }
}

} // namespace tools
