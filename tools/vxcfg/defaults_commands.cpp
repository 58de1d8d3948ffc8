#include "tools/vxcfg/commands.h"

#include "tools/base/values.h"
#include "tools/live/settings.h"
#include "tools/vxcfg/defaults_files.h"

#include <cstdio>

namespace tools {

namespace {

int check(const Arguments& arguments) {
    return checkFiles(arguments.files, {arguments.isStrict, arguments.wantsJson()});
}

int seal(const Arguments& arguments) {
    return sealFiles(arguments.files);
}

int diff(const Arguments& arguments) {
    return diffFiles(arguments.old, arguments.file, {arguments.isStrict, arguments.wantsJson()});
}

int settings(const Arguments& arguments) {
    if (!arguments.wantsKeys) {
        std::fputs(describeSettings().c_str(), stdout);
        return good;
    }
    for (const std::string& key : liveKeys()) {
        std::puts(key.c_str());
    }
    return good;
}

} // namespace

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
    addCommand(app, arguments, "settings", "Describe every setting of defaults files", settings)
        .add_flag("--keys", arguments.wantsKeys, "Only the keys that show and set know");
}

} // namespace tools
