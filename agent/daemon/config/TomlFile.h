#pragma once

#include <string>

#include "agent/daemon/config/Load.h"

namespace Daemon {

// Reads a TOML file into `loaded`: what is right goes into the configuration, the rest to the
// errors.
void readToml(const std::string& file, Loaded& loaded);

}  // namespace Daemon
