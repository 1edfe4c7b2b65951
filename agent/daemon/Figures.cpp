// Methods that show counters and timers.

#include <algorithm>

#include "agent/daemon/Methods.h"
#include "mrp/types/MrpCounters.h"

namespace Daemon {
namespace {

using Rpc::Json;

Json eventsJson(const Monitor::Events& events) {
  Json json = Json::object();
  for (std::size_t i = 0; i < events.size(); ++i) json[Monitor::kEventNames[i]] = events[i];
  return json;
}

Json portRow(const Agent& agent, const Instance& instance, IntfId intf) {
  const Monitor::Port* seen = instance.monitor().port(intf);
  const Monitor::Port counts = seen ? *seen : Monitor::Port();
  const Host::FrameCounters host = agent.host().frameCounters(instance.application(), intf);
  Json discards = Json::object();
  for (const auto& [reason, count] : counts.discards) discards[stringValue(reason)] = count;
  return {
      {"port", intf.name()},
      {"application", instance.name()},
      {"frames",
       {{"received", counts.framesReceived},
        {"sent", counts.framesSent},
        {"filtered", counts.filtered},
        {"dropped", host.dropped},
        {"sendErrors", host.sendErrors}}},
      {"events", {{"received", eventsJson(counts.received)}, {"sent", eventsJson(counts.sent)}}},
      {"transitions", counts.transitions},
      {"discards", std::move(discards)}};
}

Json engineRow(const Instance& instance) {
  Json row{{"application", instance.name()}};
  const Mrp::MrpCounters* counters = instance.engine().counters();
  if (!counters) return row;
  const Platform::Described described = counters->describe();
  for (const Platform::AttributeInfo& attribute : described.attributes) {
    const Platform::Value value = attribute.get(described.object);
    if (const auto* count = value.as<std::uint64_t>()) row[std::string(attribute.name)] = *count;
  }
  return row;
}

}  // namespace

Json callCounters(const Call& call) {
  const std::string only = call.params.port();
  Json rows = Json::array();
  for (const auto& [intf, port] : call.agent().ports()) {
    if (!only.empty() && intf.name() != only) continue;
    for (const auto& instance : call.agent().instances()) {
      if (instance->portHas(intf)) rows.push_back(portRow(call.agent(), *instance, intf));
    }
  }
  if (!only.empty()) return rows;
  Json engines = Json::array();
  for (const auto& instance : call.agent().instances()) engines.push_back(engineRow(*instance));
  return {{"ports", std::move(rows)}, {"engines", std::move(engines)}};
}

Json callTimers(const Call& call) {
  const std::string only = call.params.port();
  const Agent& agent = call.agent();
  Json rows = Json::array();
  for (const auto& [intf, port] : agent.ports()) {
    if (!only.empty() && intf.name() != only) continue;
    for (const auto& instance : agent.instances()) {
      if (!instance->portHas(intf) || !instance->active()) continue;
      const auto& periods = instance->engine().database().leaveAllTime();
      for (std::uint8_t type = 1; type <= instance->types(); ++type) {
        const auto period = periods.find({intf, type});
        const auto due = instance->engine().leaveAllDue({intf, type});
        rows.push_back(
            {{"port", intf.name()},
             {"application", instance->name()},
             {"type", type},
             {"leaveAllTime", period == periods.end() ? Json() : Json(period->second.value())},
             {"due", due ? Json(std::max(0.0, (*due - agent.now()).value())) : Json()}});
      }
    }
  }
  return rows;
}

}  // namespace Daemon
