// vxcfg: what firmware and field engineers do with personality files and stores.
#include "tools/live_config.h"
#include "tools/personality.h"
#include "tools/store_create.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
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

int run(int argc, char** argv) {
    CLI::App app{"Personality files and stores of a storage bridge blade.", "vxcfg"};
    app.require_subcommand(1);
    int status = 0;

    CLI::App* const store = app.add_subcommand("store", "Stores on the mounted volumes");
    store->require_subcommand(1);
    CLI::App* const create = store->add_subcommand("create", "Make a factory store");
    tools::CreateOptions options;
    create->add_option("--defaults", options.defaults, "Personality file with the defaults")
        ->required();
    create->add_flag("--full", options.full, "Every record file, not only what start-up needs");
    create->add_flag("--force", options.force, "Replace a store that is valid");
    create->callback([&] { tools::createStore(options); });

    std::string prefix = "config.";
    CLI::App* const show = app.add_subcommand("show", "Print live settings");
    show->add_option("PREFIX", prefix, "Only keys that begin so");
    show->callback([&] { tools::showConfiguration(prefix); });

    std::string key;
    std::string value;
    CLI::App* const set = app.add_subcommand("set", "Change one live setting");
    set->add_option("KEY", key)->required();
    set->add_option("VALUE", value)->required();
    set->callback([&] { tools::setConfiguration(key, value); });

    std::string file;
    CLI::App* const check = app.add_subcommand("check", "Examine a personality file");
    check->add_option("FILE", file)->required();
    check->callback([&] { status = checkPersonality(file); });
    CLI::App* const seal = app.add_subcommand("seal", "Write a personality file's CRC line");
    seal->add_option("FILE", file)->required();
    seal->callback([&] { tools::sealPersonality(file); });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return status;
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
