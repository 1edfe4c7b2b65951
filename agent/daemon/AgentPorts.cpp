// The agent's ports: which of the host's interfaces take part, what is wanted on them, and what the
// host is to do for them.

#include <algorithm>
#include <list>

#include "agent/daemon/Agent.h"

namespace Daemon {
namespace {

using Mrp::MrpApplication;
using StpRole = Stp::MstiPortStatus::Role;

constexpr const char* kStpInstance = "kernel";

StpRole stpRole(Agent::Role role) {
  switch (role) {
    case Agent::Role::root:
      return StpRole::root;
    case Agent::Role::designated:
      return StpRole::designated;
    case Agent::Role::alternate:
      return StpRole::alternate;
    case Agent::Role::none:
    case Agent::Role::disabled:
      return StpRole::none;
  }
  return StpRole::none;
}

}  // namespace

bool Agent::takesPart(const std::string& name, const Host::Link& link) const {
  const bool listed = std::ranges::count(config_.ports, name) > 0;
  if (!config_.bridgeMode()) return listed;
  return link.bridge == config_.bridge && (config_.ports.empty() || listed) &&
         std::ranges::count(config_.exclude, name) == 0;
}

void Agent::reviewPorts() {
  linksChanged_ = false;
  relayDue_ = true;
  if (config_.bridgeMode()) {
    if (const auto bridge = host_.bridge(config_.bridge)) {
      directories_.bridgingConfig()->bridgeMacAddrIs(bridge->mac);
    }
  }
  const auto& links = host_.links();
  // Another interface of the same name is another port.
  std::vector<IntfId> gone;
  for (const auto& [intf, port] : ports_) {
    const auto link = links.find(intf.name());
    if (link == links.end() || link->second.ifindex != port.link.ifindex ||
        !takesPart(intf.name(), link->second)) {
      gone.push_back(intf);
    }
  }
  for (const IntfId intf : gone) portDel(intf);
  for (const auto& [name, link] : links) {
    if (takesPart(name, link)) portIs(name, link);
  }
  applySettings();
}

void Agent::portIs(const std::string& name, const Host::Link& link) {
  const IntfId intf(name);
  const auto [it, isNew] = ports_.try_emplace(intf);
  Port& port = it->second;
  const Host::Link before = std::exchange(port.link, link);
  if (isNew) {
    port.intf = intf;
    portEvent(port, "added");
    applySettings(port);
  }
  const Role role = roleOf(link);
  // A role is known before the port opens, and until it has closed.
  if (link.up) roleIs(port, role);
  if (link.up && (isNew || !before.up || before.mac != link.mac || before.mtu != link.mtu)) {
    directories_.portIs(name, link.mac, link.mtu);
  } else if (!link.up && before.up) {
    directories_.portDel(intf);
  }
  if (!link.up) roleIs(port, role);
  if (link.up != before.up) portEvent(port, link.up ? "up" : "down");
}

// The neighbour is told as long as the endpoint is there.
void Agent::portDel(IntfId intf) {
  const auto it = ports_.find(intf);
  if (it == ports_.end()) return;
  for (const auto& instance : instances_) instance->portDel(intf);
  directories_.portDel(intf);
  if (auto* stpi = directories_.stpStatus()->child(kStpInstance)) {
    if (auto* cist = stpi->child(Stp::kCist)) cist->childDel(intf.name());
  }
  const Port port = it->second;
  ports_.erase(it);
  // Still a port of the bridge that is left alone from now on: what the agent made there goes.
  const auto link = host_.links().find(intf.name());
  if (link != host_.links().end() && link->second.ifindex == port.link.ifindex &&
      link->second.bridge == config_.bridge) {
    program_.review(intf.name(), {});
  }
  program_.portDel(intf.name());
  streamProgram_.portDel(intf.name());
  portEvent(port, "removed");
}

Agent::Role Agent::roleOf(const Host::Link& link) const {
  if (!config_.bridgeMode()) return Role::none;
  if (!link.up) return Role::disabled;
  if (config_.spanningTree == "none") return Role::designated;
  switch (link.state) {
    case Host::PortState::forwarding:
      return link.rootPort ? Role::root : Role::designated;
    case Host::PortState::disabled:
      return Role::disabled;
    default:
      return Role::alternate;
  }
}

void Agent::roleIs(Port& port, Role role) {
  if (role == port.role) return;
  const bool isNew = port.role == Role::none;
  port.role = role;
  if (role == Role::none) return;
  std::list<Mrp::Accounts::Because> because;
  for (const auto& instance : instances_) {
    if (auto* account = instance->recorder().account()) {
      because.emplace_back().emplace(
          *account, account->role(port.intf, static_cast<std::uint8_t>(stpRole(role))));
    }
  }
  auto& cist = directories_.stpStatus()->childIs(kStpInstance).childIs(Stp::kCist);
  auto made = Platform::makePtr<Stp::MstiPortStatus>();
  made->roleIs(stpRole(role));
  cist.childIs(port.intf.name(), made).roleIs(stpRole(role));
  if (!isNew) portEvent(port, "role");
  turnSoon();
}

// --- Settings ------------------------------------------------------------------------------------

RegistrationSets Agent::registrations(const std::string& port) const {
  RegistrationSets sets = requests_.registrations(config_, port);
  if (config_.bridgeMode() && config_.staticEntries == "fixed" && vlanFiltering() == true) {
    sets.fixed |= program_.foreign(port) - sets.forbidden;
  }
  return sets;
}

Instance::Settings Agent::settingsOf(const Instance& instance, const Port& port) const {
  const std::string& name = port.intf.name();
  const PortConfig& own = config_.portConfig(name);
  Instance::Settings settings;
  settings.leaveTime = own.leaveTime;
  settings.leaveAllTime = own.leaveAllTime;
  if (instance.application() == MrpApplication::mvrp) {
    settings.vlans = requests_.vlans(config_, name);
    settings.registrations = registrations(name);
    return settings;
  }
  if (!config_.bridgeMode()) settings.others = requests_.streams(name);
  for (const SrClass& c : config_.srClasses) {
    constexpr auto kDomain = static_cast<std::uint8_t>(Mrp::MsrpAttrType::domain);
    settings.others[{kDomain, c.id}] = {c.id, c.priority, static_cast<std::uint8_t>(c.vlan >> 8),
                                        static_cast<std::uint8_t>(c.vlan)};
  }
  return settings;
}

void Agent::applySettings() {
  Instance* const mvrp = instance(MrpApplication::mvrp);
  if (mvrp && config_.bridgeMode()) {
    const bool counts = config_.staticEntries == "fixed" && vlanFiltering() == true;
    mvrp->everywhereIs(counts ? host_.vlanEntries(config_.bridge).all : Mrp::VlanSet());
  }
  for (const auto& [intf, port] : ports_) {
    program_.observe(intf.name());
    applySettings(port);
  }
  reviewStreamPorts();
}

void Agent::applySettings(const Port& port) {
  const PortConfig& own = config_.portConfig(port.intf.name());
  for (const auto& instance : instances_) {
    const bool runs = instance->application() == MrpApplication::mvrp ? own.mvrp : own.msrp;
    if (runs) {
      instance->portIs(port.intf, settingsOf(*instance, port));
    } else {
      instance->portDel(port.intf);
    }
  }
}

// --- The host ------------------------------------------------------------------------------------

// A port that begins to forward asks its neighbour. A bridge does so itself; in station mode only
// what an earlier life has left is asked for.
void Agent::askNeighbours() {
  const bool all = std::exchange(restored_, false);
  for (const auto& instance : instances_) {
    for (const auto& [intf, port] : ports_) {
      const bool open =
          instance->active() && instance->portHas(intf) && instance->engine().endpoints().pam(intf);
      if (!open || (config_.bridgeMode() && !port.forwards())) {
        instance->askedIs(intf, false);
        if (open && all) instance->engine().sendLeaveAll(intf);
        continue;
      }
      if (instance->askedIs(intf, true)) continue;
      if (instance->propagates()) continue;
      if (all || config_.bridgeMode()) instance->engine().sendLeaveAll(intf);
    }
  }
}

void Agent::relayBlock() {
  if (!std::exchange(relayDue_, false) || !config_.bridgeMode()) return;
  const bool mvrp = instance(MrpApplication::mvrp) != nullptr;
  const bool msrp = instance(MrpApplication::msrp) != nullptr;
  // Every port of the bridge, those that are left alone too: no bridge relays these frames.
  std::vector<std::string> ports;
  std::string wanted = std::string(mvrp ? "v" : "") + (msrp ? "s" : "") + ":";
  for (const auto& [name, link] : host_.links()) {
    if (link.bridge != config_.bridge) continue;
    ports.push_back(name);
    (wanted += name) += '/';
  }
  if (wanted == relayState_) return;
  const bool first = relayState_.empty();
  relayState_ = wanted;
  std::string why;
  relayBlocked_ = host_.relayBlockIs(config_.bridge, ports, mvrp, msrp, why) && (mvrp || msrp);
  if (!why.empty() && first) {
    log_.warning("the bridge relays frames of the protocol between its ports: " + why);
  }
}

void Agent::program() {
  Instance* const mvrp = instance(MrpApplication::mvrp);
  if (!config_.bridgeMode()) return;
  if (vlanFiltering() != true) {
    if (mvrp && config_.program && host_.bridge(config_.bridge) && !warnedOfFiltering_) {
      warnedOfFiltering_ = true;
      log_.warning("bridge " + config_.bridge +
                   " does not filter VLANs: registrations are kept and shown, none is programmed");
    }
    return;
  }
  warnedOfFiltering_ = false;
  for (const auto& [intf, port] : ports_) {
    const bool on = mvrp && config_.program;
    program_.review(intf.name(), on ? mvrp->app().programmed(intf) : Mrp::VlanSet());
  }
}

void Agent::portEvent(const Port& port, const char* change) {
  const std::string& name = port.intf.name();
  log_.debug("port " + name + ": " + change);
  event("port", name, {{"port", name}, {"change", change}});
}

}  // namespace Daemon
