// The methods of the control socket, and those of them that change something.

#include "agent/daemon/Methods.h"

#include <algorithm>
#include <array>

#include "agent/daemon/Version.h"
#include "agent/daemon/config/VlanRanges.h"
#include "mrp/MrpMsrp/MsrpValues.h"

namespace Daemon {
namespace {

using Rpc::Error;
using Rpc::Json;

constexpr auto kTalker = static_cast<std::uint8_t>(Mrp::MsrpAttrType::talkerAdvertise);
constexpr auto kListenerType = static_cast<std::uint8_t>(Mrp::MsrpAttrType::listener);

std::uint64_t streamIdOf(const Json& text) {
  constexpr std::size_t kDigits = 16;
  const auto isHex = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  };
  if (!text.is_string() || text.get_ref<const std::string&>().size() != kDigits ||
      !std::ranges::all_of(text.get_ref<const std::string&>(), isHex)) {
    throw Error::params("\"streamId\" is a text of 16 hexadecimal digits");
  }
  return std::stoull(text.get<std::string>(), nullptr, 16);
}

template <class Value>
Requests::Image imageOf(const Value& value) {
  const auto* octets = reinterpret_cast<const std::uint8_t*>(&value);
  return {octets, octets + sizeof value};
}

// A declaration of MSRP as it was asked for; of one that is withdrawn the identifier is enough.
struct Stream {
  Requests::Id id;
  Requests::Image image;
};

Stream talkerOf(const Agent& agent, const Json& json, bool whole) {
  const Params params(agent, json);
  Mrp::MsrpTalkerAdvertiseAttribute value;
  value.streamId = streamIdOf(params.needed("streamId"));
  if (!whole) return {{kTalker, value.streamId}, {}};
  const auto dmac = Platform::EthAddr::parse(params.neededText("dmac"));
  if (!dmac) throw Error::params("\"dmac\" is an address: 91:e0:f0:00:fe:01");
  value.frame.dmac = *dmac;
  const auto number = [&](const char* name, std::int64_t least, std::int64_t most) {
    return static_cast<std::uint16_t>(params.neededNumber(name, least, most));
  };
  value.frame.vlanId = number("vlanId", Mrp::kMinVlan, Mrp::kMaxVlan);
  value.tSpec.maxFrameSize = number("maxFrameSize", 1, UINT16_MAX);
  value.tSpec.maxIntervalFrames = number("maxIntervalFrames", 1, UINT16_MAX);
  value.priorityAndRank = Mrp::PriorityAndRank::create(
      static_cast<std::uint8_t>(params.number("priority", 0, 7).value_or(3)),
      static_cast<std::uint8_t>(params.number("rank", 0, 1).value_or(1)));
  value.accumulatedLatency =
      static_cast<std::uint32_t>(params.number("accumulatedLatency", 0, UINT32_MAX).value_or(0));
  return {{kTalker, value.streamId}, imageOf(value)};
}

Stream listenerOf(const Agent& agent, const Json& json, bool whole) {
  const Params params(agent, json);
  Mrp::MsrpListenerAttribute value;
  value.streamId = streamIdOf(params.needed("streamId"));
  const std::string event = whole ? params.text("event").value_or("ready") : "ready";
  if (event == "ready") {
    value.listenerEventIs(Mrp::MsrpListenerEvent::ready);
  } else if (event == "ready-failed") {
    value.listenerEventIs(Mrp::MsrpListenerEvent::readyFailed);
  } else if (event == "asking-failed") {
    value.listenerEventIs(Mrp::MsrpListenerEvent::askingFailed);
  } else {
    throw Error::params("\"event\" is \"ready\", \"ready-failed\" or \"asking-failed\"");
  }
  return {{kListenerType, value.streamId}, imageOf(value)};
}

Json declareOrWithdraw(const Call& call, bool declare) {
  const Params& params = call.params;
  Agent& agent = call.agent();
  const bool stream = params.has("stream");
  const bool listener = params.has("listener");
  if (int(params.has("vlans")) + int(stream) + int(listener) != 1) {
    throw Error::params("one of \"vlans\", \"stream\" and \"listener\" is needed");
  }
  if (!stream && !listener) {
    const Mrp::VlanSet vlans = *params.vlans("vlans");
    params.instanceOf(Mrp::MrpApplication::mvrp);
    const std::string port = params.port();
    declare ? agent.requests().declare(agent.config(), port, vlans)
            : agent.requests().withdraw(agent.config(), port, vlans);
    agent.requestsChanged();
    return Json::object();
  }
  const Json& json = params.needed(stream ? "stream" : "listener");
  const Stream wanted = stream ? talkerOf(agent, json, declare) : listenerOf(agent, json, declare);
  params.instanceOf(Mrp::MrpApplication::msrp);
  const std::string port = params.port();
  if (agent.config().bridgeMode()) {
    throw Error::refused("not-allowed", "a bridge declares no streams of its own");
  }
  if (declare) {
    agent.requests().declare(port, wanted.id, wanted.image);
  } else {
    agent.requests().withdraw(port, wanted.id);
  }
  agent.requestsChanged();
  return Json::object();
}

Json callDeclare(const Call& call) { return declareOrWithdraw(call, true); }
Json callWithdraw(const Call& call) { return declareOrWithdraw(call, false); }

Json callRegistration(const Call& call) {
  call.params.neededText("port");
  const std::string mode = call.params.neededText("mode");
  const Mrp::VlanSet vlans = call.params.vlans("vlans").value_or(Mrp::VlanSet::all());
  const std::string port = call.params.port();
  call.params.instanceOf(Mrp::MrpApplication::mvrp);
  Requests& requests = call.agent().requests();
  if (mode == "normal") {
    requests.registrationIs(port, vlans, Mrp::Registration::normal);
  } else if (mode == "fixed") {
    requests.registrationIs(port, vlans, Mrp::Registration::fixed);
  } else if (mode == "forbidden") {
    requests.registrationIs(port, vlans, Mrp::Registration::forbidden);
  } else {
    throw Error::params("\"mode\" is \"normal\", \"fixed\" or \"forbidden\"");
  }
  call.agent().requestsChanged();
  return Json::object();
}

Json callLeaveAll(const Call& call) {
  const auto instances = call.params.instances();
  const std::string name = call.params.port();
  for (Instance* instance : instances) {
    for (const auto& [intf, port] : call.agent().ports()) {
      if (!name.empty() && intf.name() != name) continue;
      if (!instance->engine().endpoints().pam(intf)) continue;
      const auto because = instance->recorder().asked(Mrp::Accounts::Verb::leaveAll, {intf, 0, 0});
      instance->engine().sendLeaveAll(intf);
    }
  }
  return Json::object();
}

Json callActivate(const Call& call) {
  if (call.agent().active() || call.control.hooks().activate()) return Json::object();
  throw Error::refused("unavailable", "another agent leads");
}

Json callReload(const Call& call) {
  const std::string wrong = call.control.hooks().reload();
  if (!wrong.empty()) throw Error::params(wrong);
  return Json::object();
}

Json callTrace(const Call& call) {
  Instance& instance = call.params.neededInstance();
  constexpr int kMostDetail = 9;
  const auto level = static_cast<int>(call.params.neededNumber("level", 0, kMostDetail));
  call.control.trace(call.peer, instance, level);
  return Json::object();
}

Json callWatch(const Call& call) {
  constexpr std::array kKinds{"join",    "leave", "tx",      "log",        "port",
                              "program", "state", "overrun", "reservation"};
  std::set<std::string> kinds;
  if (call.params.has("kinds")) {
    const Json& list = call.params.needed("kinds");
    if (!list.is_array()) throw Error::params("\"kinds\" is an array");
    for (const Json& kind : list) {
      if (!kind.is_string() || std::ranges::count(kKinds, kind.get<std::string>()) == 0) {
        throw Error::params("there is no such kind of event: " + kind.dump());
      }
      kinds.insert(kind.get<std::string>());
    }
  }
  call.control.watch(call.peer, call.params.port(), std::move(kinds));
  return Json::object();
}

Json callVersion(const Call&) { return {{"version", kVersion}}; }

constexpr std::array kMethods{
    Method{"version", false, false, callVersion},
    Method{"status", false, false, callStatus},
    Method{"ports", false, false, callPorts},
    Method{"vlans", false, false, callVlans},
    Method{"streams", false, false, callStreams},
    Method{"domains", false, false, callDomains},
    Method{"bandwidth", false, false, callBandwidth},
    Method{"attributes", false, false, callAttributes},
    Method{"counters", false, false, callCounters},
    Method{"timers", false, false, callTimers},
    Method{"why", false, false, callWhy},
    Method{"account", false, false, callAccount},
    Method{"frames", false, false, callFrames},
    Method{"configuration", false, false, callConfiguration},
    Method{"get", false, false, callGet},
    Method{"set", true, false, callSet},
    Method{"declare", true, true, callDeclare},
    Method{"withdraw", true, true, callWithdraw},
    Method{"registration", true, true, callRegistration},
    Method{"leave-all", true, true, callLeaveAll},
    Method{"activate", true, false, callActivate},
    Method{"reload", true, false, callReload},
    Method{"trace", true, false, callTrace},
    Method{"watch", false, false, callWatch},
};

}  // namespace

const Method* methodNamed(const std::string& name) {
  const auto it = std::ranges::find_if(kMethods, [&](const Method& m) { return name == m.name; });
  return it == kMethods.end() ? nullptr : &*it;
}

std::string answerOf(const Method& method, const Call& call) {
  if (const auto* list = std::get_if<Rpc::ListText (*)(const Call&)>(&method.run)) {
    return (*list)(call).text();
  }
  return Rpc::textOf(std::get<Rpc::Json (*)(const Call&)>(method.run)(call));
}

Json vlansJson(const Mrp::VlanSet& vlans) {
  Json list = Json::array();
  for (const std::string& range : rangesOf(vlans)) list.push_back(range);
  return list;
}

}  // namespace Daemon
