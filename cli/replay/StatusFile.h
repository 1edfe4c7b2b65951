#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "cli/replay/FinalState.h"

namespace Cli {

// The attributes of a status file. Throws BadInput for anything that the file format does not
// allow: another application, a value that does not fit its type, a key that is not the value's.
std::vector<AttributeState> readStatus(const std::string& path, Mrp::MrpApplication application);
// Text of a status file.
std::string statusText(const std::vector<AttributeState>& attributes,
                       Mrp::MrpApplication application);
// The same form is printed at the end of a run.
nlohmann::ordered_json attributesJson(const std::vector<AttributeState>& attributes);

}  // namespace Cli
