// bladesim: runs a command on a simulated blade.
#include "sim/blade/blade.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include <getopt.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// As shells have it; a command's own status is its own.
constexpr int cannotSimulate = 125;
constexpr int cannotExecute = 126;
constexpr int notFound = 127;
constexpr int signalled = 128;

constexpr const char* usage =
    "usage: bladesim --state DIR [--unmounted nandN]... [--] COMMAND [ARG...]\n"
    "\n"
    "Runs COMMAND on a simulated blade and exits with its status.\n"
    "\n"
    "  --state DIR        keeps the blade between runs; made when missing\n"
    "  --unmounted nandN  leaves that volume unmounted (an empty folder stands in its place)\n"
    "  --help             prints this text\n"
    "\n"
    "DIR has nand0, nand1, nand2 (the volumes), nor.bin and i2c-*.bin (what the chips hold),\n"
    "sys (the sensors), requests (the last record of each), and of the last run syslog and trace\n"
    "(every operation on a device). Inside it is /dev/blade; commands for the devices go to /dev/blade/devices/control,\n"
    "one a line:\n"
    "\n"
    "  fail DEVICE OPERATION ERRNO [COUNT [AFTER]]   fail i2c-0 write EIO 15\n"
    "  short DEVICE OPERATION [COUNT [AFTER]]        short mtd0 program\n"
    "  skip DEVICE OPERATION [COUNT [AFTER]]         skip mtd0 erase (and say it is done)\n"
    "  stop N, tear N      the power goes at, or in the middle of, the N-th operation\n"
    "  flash BLOCKxCOUNT... [regions]                flash 65536x62 8192x16\n"
    "  answer REQUEST HEX, return REQUEST RESULT     answer h27 02\n"
    "  reset               all faults and answers as they were\n"
    "\n"
    "DEVICE and its OPERATIONs, besides open: mtd0: read program erase info regions region;\n"
    "i2c-0, i2c-1: read write address; vxgpdev, vxbrapp, vxllednode: a request, such as h27.\n"
    "\n"
    "Any number of blades run at once; a second one of the same DIR waits for the first to end.\n"
    "A COMMAND without a slash is looked for beside bladesim first, then on the PATH.\n"
    "Status 125: the blade cannot be simulated here; 126, 127: COMMAND cannot be run.\n";

// The program of that name beside this one, where there is one.
std::string besideThisProgram(const std::string& command) {
    if (command.find('/') != std::string::npos) {
        return command;
    }
    std::error_code error;
    auto const here = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    std::string const beside = here / command;
    return ::access(beside.c_str(), X_OK) == 0 ? beside : command;
}

// The command's process, for signals that are meant for it.
volatile sig_atomic_t commandProcess = 0;

void passOn(int signal) {
    if (commandProcess > 0) {
        ::kill(static_cast<pid_t>(commandProcess), signal);
    }
}

int statusOf(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? signalled + WTERMSIG(status) : WEXITSTATUS(status);
}

[[noreturn]] void execute(const std::string& program, char** command) {
    ::execvp(program.c_str(), command);
    int const error = errno;
    std::fprintf(stderr, "bladesim: cannot run %s: %s\n", *command, std::strerror(error));
    ::_exit(error == ENOENT ? notFound : cannotExecute);
}

int run(const sim::BladeOptions& options, char** command) {
    // Before the namespace is entered: from inside it this program's own path may not be known.
    std::string const program = besideThisProgram(*command);
    try {
        sim::Blade const blade = sim::enterBlade(options);
        pid_t const process = ::fork();
        if (process == 0) {
            execute(program, command);
        }
        commandProcess = process;
        // The terminal's signals reach the command by themselves.
        for (int const signal : {SIGINT, SIGQUIT}) {
            ::signal(signal, SIG_IGN);
        }
        for (int const signal : {SIGTERM, SIGHUP}) {
            ::signal(signal, passOn);
        }
        return statusOf(process);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bladesim: no simulated blade here: %s\n", error.what());
        return cannotSimulate;
    }
}

} // namespace

int main(int argc, char** argv) {
    enum { state = 1, unmounted, help };
    static const option options[] = {{"state", required_argument, nullptr, state},
                                     {"unmounted", required_argument, nullptr, unmounted},
                                     {"help", no_argument, nullptr, help},
                                     {nullptr, 0, nullptr, 0}};
    sim::BladeOptions blade;
    // "+": options end at the command, whose own options are not ours.
    for (int choice = 0; (choice = ::getopt_long(argc, argv, "+", options, nullptr)) != -1;) {
        switch (choice) {
        case state:
            blade.state = ::optarg;
            break;
        case unmounted:
            blade.unmounted.insert(::optarg);
            break;
        case help:
            std::fputs(usage, stdout);
            return 0;
        default:
            std::fputs(usage, stderr);
            return cannotSimulate;
        }
    }
    if (blade.state.empty() || ::optind == argc) {
        std::fprintf(stderr, "bladesim: %s is missing\n\n%s",
                     blade.state.empty() ? "--state DIR" : "COMMAND", usage);
        return cannotSimulate;
    }
    return run(blade, argv + ::optind);
}
