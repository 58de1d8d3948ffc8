// vxcfg: what firmware and field engineers do with personality files and stores.
#include "settings/saved_files.h"
#include "tools/live_config.h"
#include "tools/personality.h"
#include "tools/plan.h"
#include "tools/store_create.h"
#include "tools/values.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

namespace {

int checkPersonality(const std::string& file) {
    tools::PersonalityReport const report = tools::examinePersonality(tools::readText(file));
    std::printf("%s: version %s, %zu properties, CRC %08x (%s)\n", file.c_str(),
                report.version.c_str(), report.properties, report.computedCrc,
                report.sealed ? "sealed" : "not sealed");
    for (const std::string& problem : report.problems) {
        std::printf("  %s\n", problem.c_str());
    }
    return report.problems.empty() ? 0 : 1;
}

// Each command runs while the command line is parsed; options live as long as the parser.
struct Arguments {
    tools::CreateOptions create;
    std::string prefix = "config.";
    std::string key;
    std::string value;
    std::string file;
    std::string old;
    std::string volumes = "/mnt";
    int status = 0;
};

void addStoreCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* const store = app.add_subcommand("store", "Stores on the mounted volumes");
    store->require_subcommand(1);
    CLI::App* const create = store->add_subcommand("create", "Make a factory store");
    create
        ->add_option("--defaults", arguments.create.defaults, "Personality file with the defaults")
        ->required();
    create->add_flag("--full", arguments.create.full,
                     "Every file of the store, not only what start-up needs");
    create->add_flag("--force", arguments.create.force,
                     "Make these files anew in a store that is valid");
    create->callback([&arguments] { tools::createStore(arguments.create); });
}

void addSettingCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* const show = app.add_subcommand("show", "Print live settings");
    show->add_option("PREFIX", arguments.prefix, "Only keys that begin so");
    show->callback([&arguments] { tools::showConfiguration(arguments.prefix); });
    CLI::App* const set = app.add_subcommand("set", "Change one live setting");
    set->add_option("KEY", arguments.key)->required();
    set->add_option("VALUE", arguments.value)->required();
    set->callback([&arguments] { tools::setConfiguration(arguments.key, arguments.value); });
    app.add_subcommand("settings", "Describe every setting of defaults files")->callback([] {
        std::fputs(tools::describeSettings().c_str(), stdout);
    });
}

void addPersonalityCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* const check = app.add_subcommand("check", "Examine a personality file");
    check->add_option("FILE", arguments.file)->required();
    check->callback([&arguments] { arguments.status = checkPersonality(arguments.file); });
    CLI::App* const seal = app.add_subcommand("seal", "Write a personality file's CRC line");
    seal->add_option("FILE", arguments.file)->required();
    seal->callback([&arguments] { tools::sealPersonality(arguments.file); });
}

void addUpgradeCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* const plan = app.add_subcommand("plan", "Say what an upgrade would do");
    plan->add_option("NEW", arguments.file, "The new defaults file")->required();
    plan->add_option("--old", arguments.old, "The old one, where it is not the saved reference");
    plan->add_option("--volumes", arguments.volumes, "Folder of nand0, nand1 and nand2 (/mnt)");
    plan->callback([&arguments] {
        std::filesystem::path const volumes = arguments.volumes;
        std::filesystem::path const saved =
            volumes / "nand0" / std::filesystem::path(vx::savedPersonalityFiles[0]).filename();
        tools::printPlan(tools::planUpgrade(
            volumes, arguments.old.empty() ? saved : std::filesystem::path(arguments.old),
            arguments.file));
    });
}

int run(int argc, char** argv) {
    Arguments arguments;
    CLI::App app{"Personality files and stores of a storage bridge blade.", "vxcfg"};
    app.require_subcommand(1);
    addStoreCommands(app, arguments);
    addSettingCommands(app, arguments);
    addPersonalityCommands(app, arguments);
    addUpgradeCommands(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return arguments.status;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "vxcfg: %s\n", error.what());
        return 1;
    }
}
