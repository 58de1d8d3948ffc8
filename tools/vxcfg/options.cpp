#include "tools/vxcfg/options.h"

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
