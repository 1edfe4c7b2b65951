#pragma once

#include <string>
#include <vector>

#include "cli/replay/Application.h"

namespace Cli {

// The vectors of an MRPDU in words, one a line: attribute type, LeaveAll, FirstValue, events. Reads
// whole Ethernet frames of either application on its own account, so that it can contradict the
// engine; where a frame cannot be understood a line says so and ends the list.
std::vector<std::string> mrpduText(OctetSpan frame);

}  // namespace Cli
