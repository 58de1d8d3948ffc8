// vxcfg: what firmware and field engineers do with defaults files and stores.
#include "common/streams.h"
#include "tools/base/output.h"
#include "tools/vxcfg/command_lines.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    vx::openStandardStreams();
    try {
        tools::Arguments arguments;
        std::optional<int> status = tools::readCommandLine(argc, argv, arguments);
        if (!status) {
            status = arguments.action();
        }
        return std::fflush(stdout) == 0 ? *status : tools::failed;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "vxcfg: %s\n", error.what());
        return tools::failed;
    }
}
