// bladesim: runs a command on a simulated blade.
#include "sim/blade.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include <getopt.h>
#include <unistd.h>

namespace {

// As shells have it; a command's own status is its own.
constexpr int cannotSimulate = 125;
constexpr int cannotExecute = 126;
constexpr int notFound = 127;

constexpr const char* usage =
    "usage: bladesim --state DIR [--unmounted nandN]... [--] COMMAND [ARG...]\n"
    "\n"
    "Runs COMMAND on a simulated blade and exits with its status.\n"
    "\n"
    "  --state DIR        keeps the blade's volumes: DIR/nand0, nand1 and nand2 show at\n"
    "                     /mnt/nand0, nand1 and nand2; made when missing, kept between runs\n"
    "  --unmounted nandN  leaves that volume unmounted (an empty folder stands in its place)\n"
    "  --help             prints this text\n"
    "\n"
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

int run(const sim::BladeOptions& options, char** command) {
    // Before the namespace is entered: from inside it this program's own path may not be known.
    std::string const program = besideThisProgram(*command);
    try {
        sim::enterBlade(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bladesim: no simulated blade here: %s\n", error.what());
        return cannotSimulate;
    }
    ::execvp(program.c_str(), command);
    int const error = errno;
    std::fprintf(stderr, "bladesim: cannot run %s: %s\n", *command, std::strerror(error));
    return error == ENOENT ? notFound : cannotExecute;
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
