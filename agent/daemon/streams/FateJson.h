#pragma once

#include <cstdint>
#include <map>

#include "agent/daemon/Agent.h"

namespace Daemon {

// What the bridge has decided of each stream on one port, by identifier: empty where none decides.
std::map<std::uint64_t, Rpc::Json> fatesJson(const Agent& agent, IntfId intf);

// Classes for which a port is a boundary of the domain; null in a station.
Rpc::Json boundariesJson(const Agent& agent, IntfId intf);

// "ready", "ready-failed", "asking-failed"; "ignore" for none.
const char* listenerText(Mrp::MsrpListenerEvent event);

}  // namespace Daemon
