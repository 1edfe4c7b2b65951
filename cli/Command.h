#pragma once

#include <ostream>
#include <span>

namespace Cli {

// The command `mrp`. Gives its exit status: 0, or 2 after one line on `err` for bad input or bad
// options; commands that talk to an agent have further ones (cli/agent/AgentCommands.h). A replay
// writes nothing to `out` before all inputs are read and checked.
int run(std::span<const char* const> arguments, std::ostream& out, std::ostream& err);

}  // namespace Cli
