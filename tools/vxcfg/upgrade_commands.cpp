#include "tools/vxcfg/commands.h"

#include "tools/blade/open_place.h"
#include "tools/upgrades/account.h"
#include "tools/upgrades/last.h"
#include "tools/upgrades/merge.h"
#include "tools/upgrades/plan.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace tools {

namespace {

int printed(const Account& account, const Arguments& arguments) {
    arguments.wantsJson() ? print(toJson(account)) : printText(account);
    return good;
}

int plan(const Arguments& arguments) {
    return printed(planUpgrade(*openPlace(arguments.place), arguments.old, arguments.file),
                   arguments);
}

int last(const Arguments& arguments) {
    Account const account = lastUpgrade(*openPlace(arguments.place));
    (void)printed(account, arguments);
    return account.outcome->failed.empty() ? good : found;
}

int merge(const Arguments& arguments) {
    if (arguments.isDry) {
        return plan(arguments);
    }
    mergeByHand(arguments.old, arguments.file, arguments.isVerbose);
    return last(arguments);
}

} // namespace

void addUpgradeCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& command = addCommand(app, arguments, "plan", "Say what an upgrade would do", plan);
    command.add_option("NEW", arguments.file, "The new defaults file")->required();
    command.add_option("--old", arguments.old, "The old one, where it is not the saved reference")
        ->type_name("FILE");
    addPlace(command, arguments);
    addFormat(command, arguments);
    CLI::App& after = addCommand(app, arguments, "last", "Say what the last upgrade did", last);
    addPlace(after, arguments);
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

} // namespace tools
