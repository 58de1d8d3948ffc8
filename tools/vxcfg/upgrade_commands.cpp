#include "tools/vxcfg/commands.h"

#include "tools/blade/open_place.h"
#include "tools/upgrades/account.h"
#include "tools/upgrades/last.h"
#include "tools/upgrades/merge.h"
#include "tools/upgrades/plan.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace tools::commands {

namespace {

int printed(const Account& account, const Arguments& arguments) {
    arguments.wantsJson() ? print(toJson(account)) : printText(account);
    return good;
}

} // namespace

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

} // namespace tools::commands
