#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/replay/Action.h"

namespace Cli {

// One line of a scenario. What it asks for is read once the application is known.
struct ScenarioLine {
  std::string where;  // file and line number
  Platform::Seconds at;
  nlohmann::ordered_json json;
  std::uint32_t number = 0;  // of the line
};

// The lines of a scenario file that are not blank, with their times. Throws BadInput for a file
// that cannot be read, a line that is not a JSON object or does not say when and what, an action
// that is unknown, or not one of a bridge where there is one, and a time before that of the line
// above.
std::vector<ScenarioLine> readScenario(const std::string& path, bool bridge);

// The frame that a line brings, if it brings one; its members are checked.
std::optional<FrameAction> frameOf(const ScenarioLine& line);
// What the line asks for; everything in it is checked.
Action actionOf(const ScenarioLine& line, Mrp::MrpApplication application);

}  // namespace Cli
