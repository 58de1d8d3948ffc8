// peak_memory COMMAND [ARG...]: runs a command and prints the peak of its own resident memory, in
// KiB, on standard error. wait4's figure would include the commands that it starts.
#include <cstdio>
#include <fstream>
#include <string>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool isAtExit(int status) {
    return status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8);
}

void printPeak(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("VmHWM:")) {
            std::fprintf(stderr, "peak_memory: %ld\n", std::stol(line.substr(6)));
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    pid_t const child = argc > 1 ? ::fork() : -1;
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::execvp(argv[1], argv + 1);
        ::_exit(127);
    }
    int status = 0;
    bool started = false;
    while (child > 0 && ::waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        if (!started) { // stopped by its exec
            ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT);
        }
        if (isAtExit(status)) {
            printPeak(child);
        }
        bool const passOn = started && WSTOPSIG(status) != SIGTRAP;
        started = true;
        ::ptrace(PTRACE_CONT, child, nullptr, passOn ? WSTOPSIG(status) : 0);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
