// vxcfg's commands: their options and what is done with them. Each group is a file of its own.
#pragma once

#include "tools/vxcfg/options.h"

namespace tools {

void addDefaultsCommands(CLI::App& app, Arguments& arguments);
void addUpgradeCommands(CLI::App& app, Arguments& arguments);
void addSurveyCommand(CLI::App& app, Arguments& arguments);
void addStoreCommands(CLI::App& app, Arguments& arguments);
void addHardwareCommands(CLI::App& app, Arguments& arguments);

} // namespace tools
