#include "tools/vxcfg/commands.h"

#include "tools/base/values.h"
#include "tools/live/settings.h"
#include "tools/vxcfg/defaults_files.h"

#include <cstdio>

namespace tools::commands {

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

} // namespace tools::commands
