#pragma once

#include <string>

#include "agent/daemon/config/Config.h"

namespace Daemon {

// As a configuration file would say it: every setting, or those that are not as they are at first,
// which reads back as the same.
enum class Settings : bool { all, changed };
std::string configText(const Config& config, Settings which);

}  // namespace Daemon
