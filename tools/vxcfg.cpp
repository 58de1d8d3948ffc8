// vxcfg: what firmware and field engineers do with defaults files and stores.
#include "common/streams.h"
#include "tools/commands.h"

#include <vxblade/version.h>

#include <cstdio>
#include <exception>

namespace tools {

void addFormat(CLI::App& command, Arguments& arguments) {
    command.add_option("--format", arguments.format, "How to print: text or json")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("FORMAT");
    command.add_flag("--json{json}", arguments.format, "The same as --format json");
}

void addPlace(CLI::App& command, Arguments& arguments) {
    command
        .add_option("--volumes", arguments.place,
                    "Folder of nand0, nand1 and nand2, by default /mnt, or a backup")
        ->type_name("PLACE");
}

void addVerbose(CLI::App& command, Arguments& arguments) {
    command.add_flag("--verbose", arguments.isVerbose, "Print what the layer below says too");
}

void addStrict(CLI::App& command, Arguments& arguments) {
    command.add_flag("--strict", arguments.isStrict, "Warnings are errors");
}

CLI::App& addCommand(CLI::App& app, Arguments& arguments, const char* name, const char* what,
                     int (*action)(const Arguments&)) {
    CLI::App* const command = app.add_subcommand(name, what);
    command->callback([&arguments, action, command] {
        if (command->get_subcommands().empty()) { // else the action is theirs
            arguments.action = [&arguments, action] { return action(arguments); };
        }
    });
    return *command;
}

} // namespace tools

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
