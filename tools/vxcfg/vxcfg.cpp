// vxcfg: what firmware and field engineers do with defaults files and stores.
#include "common/streams.h"
#include "tools/vxcfg/commands.h"

#include <vxblade/version.h>

#include <cstdio>
#include <exception>

namespace {

using tools::failed;
using tools::good;

int run(int argc, char** argv) {
    tools::Arguments arguments;
    CLI::App app{"Defaults files and stores of a storage bridge blade.", "vxcfg"};
    app.set_version_flag("--version", "vxcfg " VXBLADE_VERSION);
    app.footer(
        "Status: 0 good, 1 something was found, 2 bad usage or what cannot be read or done.");
    app.require_subcommand(1);
    tools::addDefaultsCommands(app, arguments);
    tools::addUpgradeCommands(app, arguments);
    tools::addSurveyCommand(app, arguments);
    tools::addStoreCommands(app, arguments);
    tools::addHardwareCommands(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? good : failed;
    }
    return arguments.action();
}

} // namespace

int main(int argc, char** argv) {
    vx::openStandardStreams();
    try {
        int const status = run(argc, argv);
        return std::fflush(stdout) == 0 ? status : failed;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "vxcfg: %s\n", error.what());
        return failed;
    }
}
