#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "cli/replay/Inputs.h"

namespace Cli {

// What the command line of `mrp replay` says.
struct ReplayCommand {
  InputFiles files;
  double leaveTime = 0.6;
  double leaveAllTime = 10.0;
  std::optional<double> until;
  bool standby = false;
  std::string saveStatus;  // empty: not wanted; the same below
  std::string write;
  std::string html;
  std::optional<int> trace;
  bool json = false;
};

// Throws BadInput.
void replay(const ReplayCommand& command, std::ostream& out, std::ostream& err);

}  // namespace Cli
