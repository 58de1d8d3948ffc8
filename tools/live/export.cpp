#include "tools/live/export.h"

#include "common/files.h"
#include "settings/loading.h"
#include "settings/saved_files.h"
#include "tools/base/forms.h"
#include "tools/base/values.h"
#include "tools/defaults/lint.h"
#include "tools/defaults/seal.h"
#include "tools/defaults/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>

namespace tools {

namespace {

namespace fs = std::filesystem;
using vx::Section;
using vx::Setting;

constexpr mode_t ownersFileMode = 0600;

// The text of the last upgrade's defaults, from the first copy that can be read.
std::string savedReference(const Place& place, std::vector<std::string>& problems) {
    for (const char* const copy : vx::savedPersonalityFiles) {
        try {
            return place.read(copy);
        } catch (const std::exception& error) {
            problems.emplace_back(error.what());
        }
    }
    return "";
}

std::string lineOf(const std::string& key, const std::string& value) {
    return key + " = \"" + value + "\"\n";
}

// A value between quotes on one line.
bool isOneLine(const std::string& value) {
    return value.find('"') == std::string::npos && value == printable(value);
}

class Writer {
  public:
    Writer(Export& settings, const std::string& reference)
        : export_(settings), reference_(reference) {
        for (const LiveSetting& setting : settings.settings) {
            live_[setting.key] = setting.value;
        }
        settings.settings.clear();
    }

    void add(const Section& section, uint32_t number) {
        if (number == 0 && !section.groups.empty()) {
            export_.text += std::string("\n# ") + section.title + '\n';
        }
        vx::forEachSetting(section, [&](const Setting& setting) {
            std::string const key = keyOf(section, number, setting);
            if (placeOf(section, number)) {
                addLive(key);
            } else if (const vx::Property* const property = reference_.find(key)) {
                add(key, std::string(property->value));
            }
        });
    }

    void addChassisName() {
        if (vx::ChassisName const name = vx::loadChassisName(reference_.handle()); name[0] != 0) {
            export_.text += "\n# Chassis\n";
            add(std::string(vx::chassisPrefix) + vx::chassisVariable, name.data());
        }
    }

  private:
    void addLive(const std::string& key) {
        auto const known = live_.find(key);
        if (known == live_.end()) {
            return; // of a file that cannot be read
        }
        if (isOneLine(known->second)) {
            add(key, known->second);
        } else {
            export_.problems.push_back(key + " is left out: no defaults file can hold " +
                                       inQuotes(known->second));
        }
    }

    void add(const std::string& key, const std::string& value) {
        export_.text += lineOf(key, value);
        export_.settings.push_back({key, value});
    }

    Export& export_;
    DefaultsText reference_;
    std::map<std::string, std::string> live_;
};

} // namespace

Export exportSettings(const Place& place) {
    LiveConfiguration live = liveSettings(place, "");
    LiveConfiguration const passwords = liveSettings(place, vx::passwordSection.prefix);
    Export settings{.text = "# Live settings of a blade, with its passwords.\n",
                    .settings = std::move(live.settings),
                    .unreadable = std::move(live.unreadable),
                    .problems = {},
                    .seal = 0};
    settings.settings.insert(settings.settings.end(), passwords.settings.begin(),
                             passwords.settings.end());
    settings.unreadable.insert(settings.unreadable.end(), passwords.unreadable.begin(),
                               passwords.unreadable.end());
    std::string const reference = savedReference(place, settings.problems);
    Writer writer(settings, reference);
    vx::forEachSection(vx::sections, [&](const Section& section, uint32_t number) {
        writer.add(section, number);
    });
    writer.addChassisName();
    settings.text += "\n# The seal\n";
    settings.text = sealText(settings.text);
    Lint const found = lint(DefaultsText(settings.text));
    settings.seal = found.computedSeal;
    for (const Finding& finding : found.findings) {
        if (finding.check->severity == Severity::error) {
            settings.problems.push_back("line " + std::to_string(finding.place.line) + ": " +
                                        finding.message);
        }
    }
    return settings;
}

void writeExport(const Export& settings, const std::string& path) {
    std::error_code error;
    fs::path const file = fs::weakly_canonical(path, error);
    fs::file_status const status = fs::status(file, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw std::runtime_error("cannot write " + path + ": it is no regular file");
    }
    if (vx::replaceFile(file.c_str(), settings.text.data(), settings.text.size(), ownersFileMode) !=
        0) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    }
}

} // namespace tools
