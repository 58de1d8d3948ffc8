// peak_memory COMMAND [ARG...]: runs a command and prints the peak of its own resident memory, in
// KiB, its page faults and its CPU time, in nanoseconds, on standard error. wait4's figures would
// include the commands that it starts.
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void printPeak(pid_t process) {
    std::string const folder = "/proc/" + std::to_string(process);
    std::ifstream status(folder + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            std::fprintf(stderr, "peak_memory: %ld\n", std::stol(line.substr(6)));
        }
    }
    std::ifstream stat(folder + "/stat");
    std::string faults;
    for (int field = 1; field <= 10; ++field) {
        stat >> faults;
    }
    std::string nanoseconds;
    std::ifstream(folder + "/schedstat") >> nanoseconds;
    std::fprintf(stderr, "page_faults: %s\nown_cpu: %s\n", faults.c_str(), nanoseconds.c_str());
}

} // namespace

int main(int argc, char** argv) {
    pid_t const child = argc > 1 ? ::fork() : -1;
    if (child == 0) {
        ::raise(SIGSTOP);
        ::execvp(argv[1], argv + 1);
        ::_exit(127);
    }
    if (child < 0) {
        return 1;
    }
    int status = 0;
    ::waitpid(child, &status, WUNTRACED);
    ::ptrace(PTRACE_SEIZE, child, nullptr, PTRACE_O_TRACEEXIT);
    ::kill(child, SIGCONT);
    while (::waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        int const event = status >> 16; // such a stop is no signal's
        if (event == PTRACE_EVENT_EXIT) {
            printPeak(child);
        }
        ::ptrace(PTRACE_CONT, child, nullptr, event == 0 ? WSTOPSIG(status) : 0);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
