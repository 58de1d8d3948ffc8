// What the command lines of vxcfg fill, and the options that several commands have.
#pragma once

#include "tools/base/output.h"
#include "tools/blade/environment.h"
#include "tools/stores/create.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tools {

// What command lines fill, and what is done with it: the action of the command that was given.
struct Arguments {
    CreateOptions create;
    EnvironmentSource environment;
    std::string prefix = "config.";
    std::string key;
    std::string value;
    std::vector<std::string> files;
    std::string file;
    std::string old;
    std::string place = "/mnt";
    std::string page;
    std::string format = "text";
    std::vector<std::string> accepted; // keys
    unsigned jobs = 0;                 // 0: one for each core
    bool isMerge = false;
    bool isVerbose = false;
    bool isDry = false;
    bool isStrict = false;
    bool isForced = false;
    bool isMirror = false;
    bool wantsKeys = false;
    std::function<int()> action;

    [[nodiscard]] bool wantsJson() const { return format == "json"; }
};

// Options that several commands have.
void addFormat(CLI::App& command, Arguments& arguments);
void addPlace(CLI::App& command, Arguments& arguments);
void addVerbose(CLI::App& command, Arguments& arguments);
void addStrict(CLI::App& command, Arguments& arguments);

// A command, or one of another's, whose action is run after the command line was read.
CLI::App& addCommand(CLI::App& app, Arguments& arguments, const char* name, const char* what,
                     int (*action)(const Arguments&));

} // namespace tools
