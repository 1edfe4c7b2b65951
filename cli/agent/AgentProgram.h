#pragma once

#include <span>
#include <string>

namespace Cli {

// Becomes the agent's own program, with these arguments: it is a process that stays, and carries
// none of what the other commands need. Comes back only when there is no such program, and gives
// the reason.
std::string becomeAgent(std::span<const char* const> arguments);

}  // namespace Cli
