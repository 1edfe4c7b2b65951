#pragma once

#include <string>

#include "agent/daemon/config/Config.h"

namespace Daemon {

// Every setting, as a configuration file would say it.
std::string configText(const Config& config);

}  // namespace Daemon
