#include "tools/vxcfg/commands.h"

#include "tools/base/forms.h"
#include "tools/blade/environment.h"
#include "tools/blade/hardware.h"
#include "tools/blade/open_place.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace tools {

namespace {

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

} // namespace

void addHardwareCommands(CLI::App& app, Arguments& arguments) {
    CLI::App& asked =
        addCommand(app, arguments, "hw", "Say what the hardware says of itself", hardware);
    addPlace(asked, arguments);
    addFormat(asked, arguments);
    addVerbose(asked, arguments);
    CLI::App& env = addCommand(app, arguments, "env", "Print the boot environment", environment);
    addSource(env, arguments);
    CLI::App& got = addCommand(env, arguments, "get", "Print the value of a variable", getVariable);
    got.add_option("NAME", arguments.key)->required();
    addSource(got, arguments);
    CLI::App& set = addCommand(env, arguments, "set", "Set a variable of this blade, and save it",
                               changeVariable);
    set.add_option("NAME", arguments.key)->required();
    set.add_option("VALUE", arguments.value, "Empty: the variable is removed")->required();
    addFormat(set, arguments);
    addVerbose(set, arguments);
}

} // namespace tools
