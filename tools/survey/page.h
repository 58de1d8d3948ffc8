// A survey as one page for a browser: nothing is fetched, and without scripts all of it is there.
#pragma once

#include "tools/base/output.h"

#include <string>

namespace tools {

// The page of a survey's document, as docs/vxcfg.schema.json describes that.
[[nodiscard]] std::string surveyPage(const Json& survey);

} // namespace tools
