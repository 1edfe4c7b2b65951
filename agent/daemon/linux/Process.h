#pragma once

#include "agent/daemon/config/Check.h"

namespace Daemon {

// The agent, from its configuration to its end. Gives the exit status of the process, which is to
// end then: a writer that is stuck may still be there.
int runAgent(const std::string& file, std::span<const OptionText> options);

}  // namespace Daemon
