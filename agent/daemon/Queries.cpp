// Methods that show the agent, its ports and their VLANs.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>

#include "agent/daemon/Methods.h"
#include "agent/daemon/streams/FateJson.h"
#include "mrp/types/MrpAttrDatabase.h"
#include "platform/host/JsonDump.h"

namespace Daemon {
namespace {

using Rpc::Json;

const char* roleText(Agent::Role role) {
  switch (role) {
    case Agent::Role::root:
      return "root";
    case Agent::Role::designated:
      return "designated";
    case Agent::Role::alternate:
      return "alternate";
    case Agent::Role::disabled:
      return "disabled";
    case Agent::Role::none:
      break;
  }
  return nullptr;
}

Json roleJson(Agent::Role role) {
  const char* text = roleText(role);
  return text ? Json(text) : Json();
}

// Seconds until the first LeaveAll of any type is due.
Json dueJson(const Agent& agent, const Instance& instance, IntfId intf) {
  std::optional<Platform::Seconds> first;
  for (std::uint8_t type = 1; type <= instance.types(); ++type) {
    const auto due = instance.engine().leaveAllDue({intf, type});
    if (due && (!first || *due < *first)) first = due;
  }
  if (!first) return nullptr;
  return std::max(0.0, (*first - agent.now()).value());
}

Json timesJson(const Agent& agent, const Instance& instance, IntfId intf) {
  const Mrp::MrpConfig& config = instance.config();
  const auto own = [](Platform::Seconds port, Platform::Seconds global) {
    return (port == Platform::Seconds() ? global : port).value();
  };
  const Monitor::Port* seen = instance.monitor().port(intf);
  return {
      {"leaveTime", own(config.intfLeaveTime(intf), config.leaveTime())},
      {"leaveAllTime", own(config.intfLeaveAllTime(intf), config.leaveAllTime())},
      {"leaveAllDue", dueJson(agent, instance, intf)},
      {"lastOrigin", seen && seen->lastOrigin ? Json(seen->lastOrigin->stringValue()) : Json()}};
}

Json mvrpJson(const Agent& agent, const Instance& instance, IntfId intf) {
  const RegistrationSets sets = agent.registrations(intf.name());
  const bool station = !agent.config().bridgeMode();
  Json json{
      {"registered", vlansJson((instance.registered(intf) | sets.fixed) - sets.forbidden)},
      {"declared", vlansJson(instance.declared(intf))},
      {"programmed", station ? Json() : vlansJson(agent.programmed(intf.name()))},
      {"fixed", vlansJson(sets.fixed)},
      {"forbidden", vlansJson(sets.forbidden)},
  };
  json.update(timesJson(agent, instance, intf));
  return json;
}

// Records of one type, counted by what they stand for.
Json msrpJson(const Agent& agent, const Instance& instance, IntfId intf) {
  std::uint64_t registered = 0;
  std::uint64_t declared = 0;
  for (std::uint8_t type = 1; type <= instance.types(); ++type) {
    instance.engine().walkRecords(intf, type, [&](const Mrp::MrpAttrDatabase& record) {
      registered += record.registrarState() != Mrp::MrpRegistrarState::mt;
      declared += declares(record.applicantState());
    });
  }
  Json json{{"registered", registered},
            {"declared", declared},
            {"boundary", boundariesJson(agent, intf)}};
  json.update(timesJson(agent, instance, intf));
  return json;
}

Json portJson(const Agent& agent, const Agent::Port& port) {
  Json applications = Json::array();
  Json mvrp;
  Json msrp;
  for (const auto& instance : agent.instances()) {
    if (!instance->portHas(port.intf)) continue;
    applications.push_back(instance->name());
    const bool isMvrp = instance->application() == Mrp::MrpApplication::mvrp;
    (isMvrp ? mvrp : msrp) =
        isMvrp ? mvrpJson(agent, *instance, port.intf) : msrpJson(agent, *instance, port.intf);
  }
  const bool bridge = agent.config().bridgeMode();
  return {{"port", port.intf.name()},
          {"ifindex", port.link.ifindex},
          {"mac", port.link.mac.stringValue()},
          {"mtu", port.link.mtu},
          {"link", port.link.up ? "up" : "down"},
          {"role", bridge ? roleJson(port.role) : Json()},
          {"forwarding", bridge ? port.forwards() : true},
          {"applications", std::move(applications)},
          {"mvrp", std::move(mvrp)},
          {"msrp", std::move(msrp)}};
}

Json absentJson(const std::string& name) {
  return {{"port", name},          {"ifindex", nullptr},
          {"mac", nullptr},        {"mtu", nullptr},
          {"link", "absent"},      {"role", nullptr},
          {"forwarding", nullptr}, {"applications", Json::array()},
          {"mvrp", nullptr},       {"msrp", nullptr}};
}

const char* registrationText(const RegistrationSets& sets, std::uint16_t vlan) {
  if (sets.forbidden.has(vlan)) return "forbidden";
  return sets.fixed.has(vlan) ? "fixed" : "normal";
}

void vlanRows(const Agent& agent, const Instance& mvrp, IntfId intf,
              std::optional<std::uint16_t> only, Rpc::ListText& rows) {
  struct States {
    Mrp::MrpApplicantState applicant;
    Mrp::MrpRegistrarState registrar;
  };
  std::array<std::optional<States>, Platform::kMaxVlan + 1> known;
  mvrp.engine().walkRecords(intf, 1, [&](const Mrp::MrpAttrDatabase& record) {
    if (!Mrp::VlanSet::valid(record.attributeKey())) return;
    known[record.attributeKey()] = {record.applicantState(), record.registrarState()};
  });
  const RegistrationSets sets = agent.registrations(intf.name());
  const Mrp::VlanSet programmed = agent.programmed(intf.name());
  const bool station = !agent.config().bridgeMode();
  Mrp::VlanSet shown = sets.fixed | sets.forbidden;
  for (std::size_t vlan = 0; vlan < known.size(); ++vlan) {
    if (known[vlan]) shown.put(static_cast<std::uint16_t>(vlan), true);
  }
  // One row serves all: its members cost as much to make as to write.
  Json row{{"port", intf.name()},  {"vlan", nullptr},       {"registered", nullptr},
           {"declared", nullptr},  {"programmed", nullptr}, {"registration", nullptr},
           {"applicant", nullptr}, {"registrar", nullptr}};
  Json& number = row["vlan"];
  Json& isRegistered = row["registered"];
  Json& isDeclared = row["declared"];
  Json& isProgrammed = row["programmed"];
  Json& registration = row["registration"];
  Json& applicant = row["applicant"];
  Json& registrar = row["registrar"];
  shown.walk([&](std::uint16_t vlan) {
    if (only && *only != vlan) return;
    const std::optional<States>& states = known[vlan];
    const bool registered = states && states->registrar != Mrp::MrpRegistrarState::mt;
    number = vlan;
    isRegistered = (registered || sets.fixed.has(vlan)) && !sets.forbidden.has(vlan);
    isDeclared = states && declares(states->applicant);
    if (!station) isProgrammed = programmed.has(vlan);
    registration = registrationText(sets, vlan);
    applicant = states ? Json(stringValue(states->applicant)) : Json();
    registrar = states ? Json(stringValue(states->registrar)) : Json();
    rows.add(row);
  });
}

}  // namespace

Json callStatus(const Call& call) {
  const Agent& agent = call.agent();
  const Config& config = agent.config();
  Json applications = Json::array();
  Json propagated = Json::array();
  for (const auto& instance : agent.instances()) {
    applications.push_back(instance->name());
    if (instance->propagates()) propagated.push_back(instance->name());
  }
  const Store* store = agent.store();
  const auto filtering = agent.vlanFiltering();
  return {
      {"pid", ::getpid()},
      {"uptime", (agent.now() - agent.started()).value()},
      {"mode", config.bridgeMode() ? "bridge" : "station"},
      {"bridge", config.bridgeMode() ? Json(config.bridge) : Json()},
      {"active", agent.active()},
      {"applications", std::move(applications)},
      {"propagated", std::move(propagated)},
      {"state",
       {{"kind", store ? "sqlite" : "memory"},
        {"path", store ? Json(store->path()) : Json()},
        {"healthy", !store || store->healthy()},
        {"behind", store ? store->behind() : 0}}},
      {"kernel",
       {{"vlanFiltering", filtering ? Json(*filtering) : Json()},
        {"relayBlocked", filtering ? Json(agent.relayBlocked()) : Json()},
        {"refused", filtering ? Json(agent.streamProgram().refusals()) : Json()}}},
  };
}

Json callPorts(const Call& call) {
  const Agent& agent = call.agent();
  const std::string only = call.params.port();
  std::map<IntfId, Json> rows;
  for (const auto& [intf, port] : agent.ports()) {
    if (only.empty() || intf.name() == only) rows[intf] = portJson(agent, port);
  }
  for (const std::string& name : agent.config().ports) {
    if (agent.port(name) || (!only.empty() && name != only)) continue;
    rows[IntfId(name)] = absentJson(name);
  }
  Json list = Json::array();
  for (auto& [intf, row] : rows) list.push_back(std::move(row));
  return list;
}

Rpc::ListText callVlans(const Call& call) {
  const std::string only = call.params.port();
  const auto vlan = call.params.number("vlan", Mrp::kMinVlan, Mrp::kMaxVlan);
  const Instance& mvrp = call.params.instanceOf(Mrp::MrpApplication::mvrp);
  Rpc::ListText rows;
  for (const auto& [intf, port] : call.agent().ports()) {
    if ((!only.empty() && intf.name() != only) || !mvrp.portHas(intf)) continue;
    vlanRows(call.agent(), mvrp, intf,
             vlan ? std::optional(static_cast<std::uint16_t>(*vlan)) : std::nullopt, rows);
  }
  return rows;
}

Rpc::ListText callAttributes(const Call& call) {
  const auto instances = call.params.instances();
  const std::string only = call.params.port();
  const auto type = call.params.number("type", 0, UINT8_MAX);
  Rpc::ListText rows;
  for (const Instance* instance : instances) {
    for (const auto& [intf, port] : call.agent().ports()) {
      if (!only.empty() && intf.name() != only) continue;
      for (std::uint8_t t = 1; t <= instance->types(); ++t) {
        if (type && *type != t) continue;
        instance->engine().walkRecords(
            intf, t, [&, &at = intf](const Mrp::MrpAttrDatabase& record) {
              rows.add({{"port", at.name()},
                        {"type", t},
                        {"key", std::to_string(record.attributeKey())},
                        {"applicant", stringValue(record.applicantState())},
                        {"registrar", stringValue(record.registrarState())},
                        {"value", Platform::Host::hexText(record.value())},
                        {"application", instance->name()}});
            });
      }
    }
  }
  return rows;
}

}  // namespace Daemon
