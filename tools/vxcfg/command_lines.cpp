#include "tools/vxcfg/command_lines.h"

#include "tools/vxcfg/commands.h"

#include <vxblade/version.h>

#include <CLI/CLI.hpp>

namespace tools {

namespace {

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

void addMirror(CLI::App& command, Arguments& arguments) {
    command.add_flag("--mirror", arguments.isMirror, "What the mirrors on nand2 hold");
}

void addSource(CLI::App& command, Arguments& arguments) {
    EnvironmentSource& source = arguments.environment;
    auto* const image =
        command.add_option("--image", source.image, "Image of the flash, in place of this blade's");
    image->type_name("FILE");
    command
        .add_option("--config", source.config,
                    "Where the copies are in an image, as fw_printenv -c takes it; by default at "
                    "its end")
        ->type_name("FILE")
        ->needs(image);
    command.add_option("--block-size", source.blockSize, "Of an image, in bytes; by default 65536")
        ->needs(image);
    addFormat(command, arguments);
}

void addDefaultsCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& checked =
        addCommand(app, arguments, "check", "Examine defaults files", commands::check);
    checked.add_option("FILE", arguments.files)->required()->expected(1, -1);
    addStrict(checked, arguments);
    addFormat(checked, arguments);
    addCommand(app, arguments, "seal", "Give defaults files their seal, the CRC-32", commands::seal)
        .add_option("FILE", arguments.files)
        ->required()
        ->expected(1, -1);
    CLI::App& compared = addCommand(
        app, arguments, "diff", "Say what a release's defaults do to the field", commands::diff);
    compared.add_option("OLD", arguments.old, "The defaults file of the release before")
        ->required();
    compared.add_option("NEW", arguments.file, "That of the release")->required();
    addStrict(compared, arguments);
    addFormat(compared, arguments);
    addCommand(app, arguments, "settings", "Describe every setting of defaults files",
               commands::settings)
        .add_flag("--keys", arguments.wantsKeys, "Only the keys that show and set know");
}

void addUpgradeCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& command =
        addCommand(app, arguments, "plan", "Say what an upgrade would do", commands::plan);
    command.add_option("NEW", arguments.file, "The new defaults file")->required();
    command.add_option("--old", arguments.old, "The old one, where it is not the saved reference")
        ->type_name("FILE");
    addPlace(command, arguments);
    addFormat(command, arguments);
    CLI::App& after =
        addCommand(app, arguments, "last", "Say what the last upgrade did", commands::last);
    addPlace(after, arguments);
    addFormat(after, arguments);
    CLI::App& byHand = addCommand(app, arguments, "merge",
                                  "Merge what an upgrade could not, into the store of this blade",
                                  commands::merge);
    byHand.add_option("NEW", arguments.file, "The new defaults file")->required();
    byHand.add_option("--old", arguments.old, "The old one, which the live settings come from")
        ->required()
        ->type_name("FILE");
    byHand.add_flag("--dry-run", arguments.isDry, "Only say what it would do");
    addFormat(byHand, arguments);
    addVerbose(byHand, arguments);
}

void addSurveyCommand(CLI::App& app, Arguments& arguments) {
    CLI::App& command = addCommand(app, arguments, "survey",
                                   "Say what an upgrade would do to many blades, by a plan of each",
                                   commands::survey);
    command
        .add_option("FILE", arguments.files,
                    "The new defaults file, then places: backups, folders of volumes, folders that "
                    "are searched for both, \"-\" for names from standard input, one a line")
        ->required();
    command
        .add_option("--old", arguments.old, "The old defaults, where they are not each blade's own")
        ->type_name("FILE");
    command.add_flag("--merge", arguments.isMerge,
                     "Add results of surveys (json or jsonl) that the files hold");
    command
        .add_option("--accept", arguments.accepted,
                    "A key whose forced default may overwrite users' values")
        ->type_name("KEY")
        ->allow_extra_args(false);
    command.add_option("--html", arguments.page, "Write it as a page for a browser, too")
        ->type_name("FILE");
    command.add_option("--jobs", arguments.jobs, "Threads, by default one for each core")
        ->type_name("N")
        ->check(CLI::Range(1, 1024));
    command
        .add_option("--format", arguments.format,
                    "How to print: text, json (one document) or jsonl (a line for each blade)")
        ->check(CLI::IsMember({"text", "json", "jsonl"}))
        ->type_name("FORMAT");
}

void addStoreCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& shown = addCommand(app, arguments, "show", "Print live settings", commands::show);
    shown.add_option("PREFIX", arguments.prefix,
                     "Only keys that begin so; passwords where that is config.passwd.");
    addMirror(shown, arguments);
    addPlace(shown, arguments);
    addFormat(shown, arguments);
    CLI::App& got =
        addCommand(app, arguments, "get", "Print the value of one live setting", commands::get);
    got.add_option("KEY", arguments.key)->required();
    addMirror(got, arguments);
    addPlace(got, arguments);
    addFormat(got, arguments);
    CLI::App& setting = addCommand(app, arguments, "set", "Change one live setting", commands::set);
    setting.add_option("KEY", arguments.key)->required();
    setting.add_option("VALUE", arguments.value, "Also with 0x for hexadecimal digits")->required();
    addFormat(setting, arguments);
    addVerbose(setting, arguments);
    CLI::App& exported =
        addCommand(app, arguments, "export", "Write all live settings as a defaults file",
                   commands::exportAll);
    exported.add_option("FILE", arguments.file, "By default standard output; has passwords");
    addPlace(exported, arguments);
    addFormat(exported, arguments);
    CLI::App* const store = app.add_subcommand("store", "Stores on the mounted volumes");
    store->require_subcommand(1);
    CLI::App& made =
        addCommand(*store, arguments, "create", "Make a factory store", commands::create);
    made.add_option("--defaults", arguments.create.defaults, "Defaults file")
        ->required()
        ->type_name("FILE");
    made.add_flag("--full", arguments.create.full,
                  "Every file of the store, not only what start-up needs");
    made.add_flag("--force", arguments.create.force,
                  "Make these files anew in a store that is valid");
    made.add_flag("--verbose", arguments.create.isVerbose, "Print what the layer below says too");
    CLI::App& backedUp =
        addCommand(*store, arguments, "backup", "Write a store into one archive", commands::backup);
    backedUp.add_option("FILE", arguments.file, "The archive")->required();
    addPlace(backedUp, arguments);
    CLI::App& restored =
        addCommand(*store, arguments, "restore", "Put a backup back", commands::restore);
    restored.add_option("FILE", arguments.file, "The archive")->required();
    restored.add_flag("--dry-run", arguments.isDry, "Only say what it would change");
    restored.add_flag("--force", arguments.isForced, "Also a backup of another blade");
    addPlace(restored, arguments);
    addFormat(restored, arguments);
    CLI::App& verified =
        addCommand(*store, arguments, "verify", "Hold every file against its format and its twin",
                   commands::verify);
    addPlace(verified, arguments);
    addFormat(verified, arguments);
}

void addHardwareCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& asked = addCommand(app, arguments, "hw", "Say what the hardware says of itself",
                                 commands::hardware);
    addPlace(asked, arguments);
    addFormat(asked, arguments);
    addVerbose(asked, arguments);
    CLI::App& env =
        addCommand(app, arguments, "env", "Print the boot environment", commands::environment);
    addSource(env, arguments);
    CLI::App& got =
        addCommand(env, arguments, "get", "Print the value of a variable", commands::getVariable);
    got.add_option("NAME", arguments.key)->required();
    addSource(got, arguments);
    CLI::App& set = addCommand(env, arguments, "set", "Set a variable of this blade, and save it",
                               commands::changeVariable);
    set.add_option("NAME", arguments.key)->required();
    set.add_option("VALUE", arguments.value, "Empty: the variable is removed")->required();
    addFormat(set, arguments);
    addVerbose(set, arguments);
}

} // namespace

std::optional<int> readCommandLine(int argc, char** argv, Arguments& arguments) {
    CLI::App app{"Defaults files and stores of a storage bridge blade.", "vxcfg"};
    app.set_version_flag("--version", "vxcfg " VXBLADE_VERSION);
    app.footer(
        "Status: 0 good, 1 something was found, 2 bad usage or what cannot be read or done.");
    app.require_subcommand(1);
    addDefaultsCommands(app, arguments);
    addUpgradeCommands(app, arguments);
    addSurveyCommand(app, arguments);
    addStoreCommands(app, arguments);
    addHardwareCommands(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? good : failed;
    }
    return {};
}

} // namespace tools
