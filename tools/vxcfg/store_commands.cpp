#include "tools/vxcfg/commands.h"

#include "tools/base/forms.h"
#include "tools/blade/backup.h"
#include "tools/blade/open_place.h"
#include "tools/defaults/lint.h"
#include "tools/live/export.h"
#include "tools/live/settings.h"
#include "tools/stores/restore.h"
#include "tools/stores/verify.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace tools::commands {

namespace {

Side sideOf(const Arguments& arguments) {
    return arguments.isMirror ? Side::mirrors : Side::files;
}

Json toJson(const Export& settings, const std::string& file) {
    Json list = Json::array();
    for (const LiveSetting& setting : settings.settings) {
        list.push_back(toJson(setting));
    }
    return {{"file", file.empty() ? Json(nullptr) : Json(file)},
            {"seal", sealDigits(settings.seal)},
            {"settings", list},
            {"unreadable", toJson(settings.unreadable)},
            {"problems", settings.problems}};
}

} // namespace

int show(const Arguments& arguments) {
    LiveConfiguration const live =
        liveSettings(*openPlace(arguments.place), arguments.prefix, sideOf(arguments));
    if (arguments.wantsJson()) {
        Json settings = Json::array();
        for (const LiveSetting& setting : live.settings) {
            settings.push_back(toJson(setting));
        }
        print({{"settings", settings}, {"unreadable", toJson(live.unreadable)}});
    } else {
        for (auto const& [key, value] : live.settings) {
            std::printf("%s = \"%s\"\n", key.c_str(), printable(value).c_str());
        }
    }
    std::fflush(stdout);
    report(live.unreadable);
    if (live.settings.empty() && live.unreadable.empty()) {
        std::fprintf(stderr, "vxcfg: no key of a live setting begins with %s\n",
                     arguments.prefix.c_str());
    }
    return live.settings.empty() || !live.unreadable.empty() ? found : good;
}

int get(const Arguments& arguments) {
    LiveSetting const setting =
        liveSetting(*openPlace(arguments.place), arguments.key, sideOf(arguments));
    arguments.wantsJson() ? print(toJson(setting))
                          : (void)std::puts(printable(setting.value).c_str());
    return good;
}

int set(const Arguments& arguments) {
    SettingChange const change =
        setConfiguration(arguments.key, arguments.value, arguments.isVerbose);
    bool const isNew = change.before != change.after;
    for (const std::string& warning : change.warnings) {
        std::fprintf(stderr, "vxcfg: warning: %s\n", warning.c_str());
    }
    if (arguments.wantsJson()) {
        print({{"key", change.key},
               {"old", change.before},
               {"new", change.after},
               {"changed", isNew},
               {"mended", change.isMended},
               {"warnings", change.warnings}});
    } else if (isNew) {
        std::printf("%s: \"%s\" -> \"%s\"\n", change.key.c_str(), printable(change.before).c_str(),
                    change.after.c_str());
    } else {
        std::printf("%s: unchanged, \"%s\"%s\n", change.key.c_str(), change.after.c_str(),
                    change.isMended ? "; its mirror, which an interrupted change left behind, is "
                                      "brought up to date"
                                    : "");
    }
    return good;
}

int exportAll(const Arguments& arguments) {
    Export const settings = exportSettings(*openPlace(arguments.place));
    if (!arguments.file.empty()) {
        writeExport(settings, arguments.file);
    }
    if (arguments.wantsJson()) {
        print(toJson(settings, arguments.file));
    } else if (arguments.file.empty()) {
        std::fputs(settings.text.c_str(), stdout);
    } else {
        std::printf("%s: %zu settings, seal %s\n", arguments.file.c_str(), settings.settings.size(),
                    sealDigits(settings.seal).c_str());
    }
    std::fflush(stdout);
    report(settings.unreadable);
    for (const std::string& problem : settings.problems) {
        std::fprintf(stderr, "vxcfg: %s\n", problem.c_str());
    }
    return settings.unreadable.empty() && settings.problems.empty() ? good : found;
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
    auto const report =
        restoreBackup(arguments.file, arguments.place, {arguments.isDry, arguments.isForced});
    arguments.wantsJson() ? print(toJson(report)) : printText(report);
    return report.isPartial ? found : good;
}

int verify(const Arguments& arguments) {
    auto const place = openPlace(arguments.place);
    Verification const verification = verifyStore(*place);
    arguments.wantsJson() ? print(toJson(verification, *place)) : printText(verification, *place);
    return verification.count(true) == 0 ? good : found;
}

} // namespace tools::commands
