#include "tools/vxcfg/commands.h"

#include "tools/base/forms.h"
#include "tools/blade/environment.h"
#include "tools/blade/hardware.h"
#include "tools/blade/open_place.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace tools::commands {

int hardware(const Arguments& arguments) {
    Hardware const read =
        readHardware(*openPlace(arguments.place), arguments.place == "/mnt", arguments.isVerbose);
    arguments.wantsJson() ? print(toJson(read)) : printText(read);
    return isGood(read) ? good : found;
}

// A blank copy is one that no save has reached yet.
int environment(const Arguments& arguments) {
    Environment const read = readEnvironment(arguments.environment);
    arguments.wantsJson() ? print(toJson(read)) : printText(read);
    auto const isWell = [](const EnvironmentCopy& copy) {
        return copy.state == CopyState::good || copy.state == CopyState::blank;
    };
    return read.remark.empty() && std::ranges::all_of(read.copies, isWell) ? good : found;
}

int getVariable(const Arguments& arguments) {
    Environment const read = readEnvironment(arguments.environment);
    const std::string* const value = findVariable(read, arguments.key);
    if (value == nullptr) {
        std::fprintf(stderr, "vxcfg: %s is not set%s%s\n", arguments.key.c_str(),
                     read.remark.empty() ? "" : ": ", read.remark.c_str());
        return found;
    }
    arguments.wantsJson() ? print({{"name", arguments.key}, {"value", *value}})
                          : (void)std::puts(printable(*value).c_str());
    return good;
}

int changeVariable(const Arguments& arguments) {
    VariableChange const change = setVariable(arguments.key, arguments.value, arguments.isVerbose);
    bool const isNew = change.before != change.after;
    if (arguments.wantsJson()) {
        print({{"name", arguments.key},
               {"old", change.before},
               {"new", change.after},
               {"changed", isNew}});
    } else if (isNew) {
        std::printf("%s: %s -> %s\n", arguments.key.c_str(), inQuotes(change.before).c_str(),
                    change.after.empty() ? "removed" : inQuotes(change.after).c_str());
    } else {
        std::printf("%s: unchanged, %s\n", arguments.key.c_str(), inQuotes(change.after).c_str());
    }
    return good;
}

} // namespace tools::commands
