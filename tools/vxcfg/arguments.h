#pragma once

#include "tools/blade/environment.h"
#include "tools/stores/create.h"

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

} // namespace tools
