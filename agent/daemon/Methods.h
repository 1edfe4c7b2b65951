#pragma once

#include <string>
#include <variant>

#include "agent/daemon/Control.h"
#include "agent/daemon/Params.h"

namespace Daemon {

struct Call {
  Control& control;
  Rpc::Peer& peer;
  Params params;

  Agent& agent() const { return control.agent(); }
};

struct Method {
  const char* name;
  bool changes;    // refused on the query socket
  bool needsLead;  // refused in standby
  std::variant<Rpc::Json (*)(const Call& call), Rpc::ListText (*)(const Call& call)> run;
};

// What it answers a call with, as text.
std::string answerOf(const Method& method, const Call& call);

// Null when there is none of this name.
const Method* methodNamed(const std::string& name);

Rpc::Json vlansJson(const Mrp::VlanSet& vlans);

// Methods that show: agent/daemon/Queries.cpp, Streams.cpp and Figures.cpp.
Rpc::Json callStatus(const Call& call);
Rpc::Json callPorts(const Call& call);
Rpc::ListText callVlans(const Call& call);
Rpc::ListText callAttributes(const Call& call);
Rpc::Json callStreams(const Call& call);
Rpc::Json callDomains(const Call& call);
Rpc::Json callCounters(const Call& call);
Rpc::Json callTimers(const Call& call);
// agent/daemon/streams/FateJson.cpp
Rpc::Json callBandwidth(const Call& call);
// agent/daemon/WhyMethods.cpp
Rpc::Json callWhy(const Call& call);
Rpc::Json callAccount(const Call& call);
Rpc::Json callFrames(const Call& call);
Rpc::Json callConfiguration(const Call& call);
// agent/daemon/ByName.cpp
Rpc::Json callGet(const Call& call);
Rpc::Json callSet(const Call& call);

}  // namespace Daemon
