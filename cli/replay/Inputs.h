#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/replay/Action.h"
#include "cli/replay/FinalState.h"

namespace Cli {

// What a replay is to read.
struct InputFiles {
  std::vector<std::string> inputs;  // as given on the command line, PORT=FILE too
  std::optional<Mrp::MrpApplication> application;
  std::string status;  // empty: none
  bool bridge = false;
};

// All of it, read and checked.
struct Inputs {
  Mrp::MrpApplication application{};
  std::vector<Action> actions;  // in the order in which they happen
  std::vector<AttributeState> status;
  std::vector<std::string> ports;  // all that are named, in natural order
};

// Throws BadInput.
Inputs readInputs(const InputFiles& files);

}  // namespace Cli
