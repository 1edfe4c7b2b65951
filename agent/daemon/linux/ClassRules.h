#pragma once

#include <string>

#include "agent/daemon/streams/StreamHost.h"

namespace Daemon {

// The rules by which frames that a bridge forwards get the priority of their class inside of the
// host, and with it a queue: of those that come in on a port inside the domain of the class. Empty
// when there are none.
std::string classRules(const std::string& bridge, const StreamHost::ClassPorts& ports);

// Makes them, or takes them away where there are none. False when the host cannot, and `why` says
// so.
bool tellClasses(const std::string& bridge, const StreamHost::ClassPorts& ports, std::string& why);

}  // namespace Daemon
