// What vxcfg's commands do, each with its arguments. They return the status to end with; what they
// throw is told and ends with failed (tools/base/output.h).
#pragma once

#include "tools/vxcfg/arguments.h"

namespace tools::commands {

int check(const Arguments& arguments);
int seal(const Arguments& arguments);
int diff(const Arguments& arguments);
int settings(const Arguments& arguments);

int plan(const Arguments& arguments);
int last(const Arguments& arguments);
int merge(const Arguments& arguments);

int survey(const Arguments& arguments);

int show(const Arguments& arguments);
int get(const Arguments& arguments);
int set(const Arguments& arguments);
int exportAll(const Arguments& arguments);
int create(const Arguments& arguments);
int backup(const Arguments& arguments);
int restore(const Arguments& arguments);
int verify(const Arguments& arguments);

int hardware(const Arguments& arguments);
int environment(const Arguments& arguments);
int getVariable(const Arguments& arguments);
int changeVariable(const Arguments& arguments);

} // namespace tools::commands
