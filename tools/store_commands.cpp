#include "tools/commands.h"

#include "tools/backup.h"
#include "tools/live_config.h"
#include "tools/place.h"
#include "tools/restore.h"
#include "tools/silence.h"
#include "tools/verify.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace tools {

namespace {

int show(const Arguments& arguments) {
    auto const settings = liveSettings(*openPlace(arguments.place), arguments.prefix);
    Json document = {{"settings", Json::array()}};
    for (auto const& [key, value] : settings) {
        document["settings"].push_back({{"key", key}, {"value", value}});
        if (!arguments.wantsJson()) {
            std::printf("%s = \"%s\"\n", key.c_str(), value.c_str());
        }
    }
    if (arguments.wantsJson()) {
        print(document);
    }
    return good;
}

int set(const Arguments& arguments) {
    Silence const silence(arguments.isVerbose);
    setConfiguration(arguments.key, arguments.value);
    return good;
}

int create(const Arguments& arguments) {
    auto const report = createStore(arguments.create);
    std::printf("Store of %zu files made with the defaults of version %s (%zu properties).\n",
                report.files, report.version.c_str(), report.properties);
    if (!report.isNamed) {
        std::fprintf(stderr,
                     "vxcfg: the chassis name could not be saved in the boot environment\n");
    }
    return good;
}

int backup(const Arguments& arguments) {
    auto const place = openPlace(arguments.place);
    auto const report = writeBackup(*place, arguments.place == "/mnt", arguments.file);
    std::printf("%s: %zu files of %ju bytes in %ju\n", arguments.file.c_str(), report.files,
                uintmax_t{report.bytes}, uintmax_t{report.archiveSize});
    return good;
}

int restore(const Arguments& arguments) {
    auto const report = restoreBackup(arguments.file, arguments.place, arguments.isDry);
    arguments.wantsJson() ? print(toJson(report)) : printText(report);
    return good;
}

int verify(const Arguments& arguments) {
    auto const place = openPlace(arguments.place);
    Verification const verification = verifyStore(*place);
    arguments.wantsJson() ? print(toJson(verification, *place)) : printText(verification, *place);
    return verification.count(true) == 0 ? good : found;
}

} // namespace

void addStoreCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& shown = addCommand(app, arguments, "show", "Print live settings", show);
    shown.add_option("PREFIX", arguments.prefix, "Only keys that begin so");
    addPlace(shown, arguments);
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
    CLI::App& backedUp =
        addCommand(*store, arguments, "backup", "Write a store into one archive", backup);
    backedUp.add_option("FILE", arguments.file, "The archive")->required();
    addPlace(backedUp, arguments);
    CLI::App& restored = addCommand(*store, arguments, "restore", "Put a backup back", restore);
    restored.add_option("FILE", arguments.file, "The archive")->required();
    restored.add_flag("--dry-run", arguments.isDry, "Only say what it would change");
    addPlace(restored, arguments);
    addFormat(restored, arguments);
    made.add_flag("--verbose", arguments.create.isVerbose, "Print what the layer below says too");
    CLI::App& verified = addCommand(*store, arguments, "verify",
                                    "Hold every file against its format and its twin", verify);
    addPlace(verified, arguments);
    addFormat(verified, arguments);
}

} // namespace tools
