// vxcfg: what firmware and field engineers do with defaults files and stores.
#include "common/streams.h"
#include "tools/defaults_files.h"
#include "tools/last.h"
#include "tools/live_config.h"
#include "tools/merge.h"
#include "tools/output.h"
#include "tools/plan.h"
#include "tools/silence.h"
#include "tools/store_create.h"
#include "tools/values.h"

#include <CLI/CLI.hpp>
#include <vxblade/version.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

using tools::failed;
using tools::found;
using tools::good;

// What command lines fill, and what is done with it: the action of the command that was given.
struct Arguments {
    tools::CreateOptions create;
    std::string prefix = "config.";
    std::string key;
    std::string value;
    std::vector<std::string> files;
    std::string file;
    std::string old;
    std::string volumes = "/mnt";
    std::string format = "text";
    bool isVerbose = false;
    bool isDry = false;
    bool isStrict = false;
    std::function<int()> action;

    [[nodiscard]] bool wantsJson() const { return format == "json"; }
};

// --- Options that several commands have.

void addFormat(CLI::App& command, Arguments& arguments) {
    command.add_option("--format", arguments.format, "How to print: text or json")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("FORMAT");
}

void addVolumes(CLI::App& command, Arguments& arguments) {
    command
        .add_option("--volumes", arguments.volumes,
                    "Folder of nand0, nand1 and nand2, by default /mnt")
        ->type_name("DIR");
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
    command->callback([&arguments, action] {
        arguments.action = [&arguments, action] { return action(arguments); };
    });
    return *command;
}

// --- Defaults files.

int check(const Arguments& arguments) {
    return tools::checkFiles(arguments.files, {arguments.isStrict, arguments.wantsJson()});
}

int seal(const Arguments& arguments) {
    return tools::sealFiles(arguments.files);
}

int diff(const Arguments& arguments) {
    return tools::diffFiles(arguments.old, arguments.file,
                            {arguments.isStrict, arguments.wantsJson()});
}

int settings(const Arguments& /*none*/) {
    std::fputs(tools::describeSettings().c_str(), stdout);
    return good;
}

void addDefaultsCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& checked = addCommand(app, arguments, "check", "Examine defaults files", check);
    checked.add_option("FILE", arguments.files)->required()->expected(1, -1);
    addStrict(checked, arguments);
    addFormat(checked, arguments);
    addCommand(app, arguments, "seal", "Give defaults files their seal, the CRC-32", seal)
        .add_option("FILE", arguments.files)
        ->required()
        ->expected(1, -1);
    CLI::App& compared =
        addCommand(app, arguments, "diff", "Say what a release's defaults do to the field", diff);
    compared.add_option("OLD", arguments.old, "The defaults file of the release before")
        ->required();
    compared.add_option("NEW", arguments.file, "That of the release")->required();
    addStrict(compared, arguments);
    addFormat(compared, arguments);
    addCommand(app, arguments, "settings", "Describe every setting of defaults files", settings);
}

// --- Upgrades.

int printed(const tools::Account& account, const Arguments& arguments) {
    arguments.wantsJson() ? tools::print(toJson(account)) : tools::printText(account);
    return good;
}

int plan(const Arguments& arguments) {
    return printed(tools::planUpgrade(arguments.volumes, arguments.old, arguments.file), arguments);
}

int last(const Arguments& arguments) {
    tools::Account const account = tools::lastUpgrade(arguments.volumes);
    (void)printed(account, arguments);
    return account.outcome->failed.empty() ? good : found;
}

int merge(const Arguments& arguments) {
    if (arguments.isDry) {
        return plan(arguments);
    }
    tools::mergeByHand(arguments.old, arguments.file, arguments.isVerbose);
    return last(arguments);
}

void addUpgradeCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& command = addCommand(app, arguments, "plan", "Say what an upgrade would do", plan);
    command.add_option("NEW", arguments.file, "The new defaults file")->required();
    command.add_option("--old", arguments.old, "The old one, where it is not the saved reference")
        ->type_name("FILE");
    addVolumes(command, arguments);
    addFormat(command, arguments);
    CLI::App& after = addCommand(app, arguments, "last", "Say what the last upgrade did", last);
    addVolumes(after, arguments);
    addFormat(after, arguments);
    CLI::App& byHand =
        addCommand(app, arguments, "merge",
                   "Merge what an upgrade could not, into the store of this blade", merge);
    byHand.add_option("NEW", arguments.file, "The new defaults file")->required();
    byHand.add_option("--old", arguments.old, "The old one, which the live settings come from")
        ->required()
        ->type_name("FILE");
    byHand.add_flag("--dry-run", arguments.isDry, "Only say what it would do");
    addFormat(byHand, arguments);
    addVerbose(byHand, arguments);
}

// --- The live configuration.

int show(const Arguments& arguments) {
    auto const settings = tools::liveSettings(arguments.volumes, arguments.prefix);
    tools::Json document = {{"settings", tools::Json::array()}};
    for (auto const& [key, value] : settings) {
        document["settings"].push_back({{"key", key}, {"value", value}});
        if (!arguments.wantsJson()) {
            std::printf("%s = \"%s\"\n", key.c_str(), value.c_str());
        }
    }
    if (arguments.wantsJson()) {
        tools::print(document);
    }
    return good;
}

int set(const Arguments& arguments) {
    tools::Silence const silence(arguments.isVerbose);
    tools::setConfiguration(arguments.key, arguments.value);
    return good;
}

int create(const Arguments& arguments) {
    auto const report = tools::createStore(arguments.create);
    std::printf("Store of %zu files made with the defaults of version %s (%zu properties).\n",
                report.files, report.version.c_str(), report.properties);
    if (!report.isNamed) {
        std::fprintf(stderr,
                     "vxcfg: the chassis name could not be saved in the boot environment\n");
    }
    return good;
}

void addStoreCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& shown = addCommand(app, arguments, "show", "Print live settings", show);
    shown.add_option("PREFIX", arguments.prefix, "Only keys that begin so");
    addVolumes(shown, arguments);
    addFormat(shown, arguments);
    CLI::App& setting = addCommand(app, arguments, "set", "Change one live setting", set);
    setting.add_option("KEY", arguments.key)->required();
    setting.add_option("VALUE", arguments.value)->required();
    addVerbose(setting, arguments);
    CLI::App* const store = app.add_subcommand("store", "Stores on the mounted volumes");
    store->require_subcommand(1);
    CLI::App& made = addCommand(*store, arguments, "create", "Make a factory store", create);
    made.add_option("--defaults", arguments.create.defaults, "Defaults file")
        ->required()
        ->type_name("FILE");
    made.add_flag("--full", arguments.create.full,
                  "Every file of the store, not only what start-up needs");
    made.add_flag("--force", arguments.create.force,
                  "Make these files anew in a store that is valid");
    made.add_flag("--verbose", arguments.create.isVerbose, "Print what the layer below says too");
}

int run(int argc, char** argv) {
    Arguments arguments;
    CLI::App app{"Defaults files and stores of a storage bridge blade.", "vxcfg"};
    app.set_version_flag("--version", "vxcfg " VXBLADE_VERSION);
    app.footer(
        "Status: 0 good, 1 something was found, 2 bad usage or what cannot be read or done.");
    app.require_subcommand(1);
    addDefaultsCommands(app, arguments);
    addUpgradeCommands(app, arguments);
    addStoreCommands(app, arguments);
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
