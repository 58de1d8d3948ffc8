// What a medium may hold when the power goes.
#pragma once

#include "tests/reliability/upgrade_fixture.h"

#include <string>
#include <vector>

struct CutState {
    std::string where;
    Volumes volumes;
};

// Every state in which a run that made these changes may leave volumes that held `start`, each
// once. What was not synced may be there, missing, or there in some pages, also of a write under
// way; a name that was made, moved or removed counts only once its folder is synced, and names are
// lost alone, or all from one on, and a move may leave both.
[[nodiscard]] std::vector<CutState> cutStates(const Volumes& start, const Trace& trace);
