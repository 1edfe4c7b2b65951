#include "agent/daemon/streams/StreamProgram.h"

#include <algorithm>

namespace Daemon {

using Mrp::ReservationResult;

namespace {

bool isGroup(Platform::EthAddr address) { return (address.octets()[0] & 1) != 0; }

}  // namespace

StreamProgram::StreamProgram(StreamHost* host, Hooks hooks, const Log& log)
    : host_(host), hooks_(std::move(hooks)), log_(log) {}

StreamProgram::~StreamProgram() = default;

// --- Entries -------------------------------------------------------------------------------------

ReservationResult StreamProgram::reservationIs(Platform::VlanId vlan, Platform::EthAddr address,
                                               const Mrp::PortSet& ports) {
  const Address stream{vlan.value(), address};
  std::set<std::string> now;
  for (const IntfId intf : ports) now.insert(intf.name());
  if (now.size() > 1 && !isGroup(address)) {
    refused(Kind::entries, *now.rbegin(), "an individual address is behind one port");
    return ReservationResult::noResource;
  }
  const std::set<std::string> before = wanted_[stream];
  for (const std::string& port : before) {
    if (!now.contains(port)) close(port, stream);
  }
  std::vector<std::string> opened;
  for (const std::string& port : now) {
    if (before.contains(port)) continue;
    const ReservationResult result = open(port, stream);
    if (result != ReservationResult::ok) {
      for (const std::string& other : opened) close(other, stream);
      if (before.empty()) wanted_.erase(stream);
      return result;
    }
    opened.push_back(port);
  }
  if (now.empty()) {
    wanted_.erase(stream);
  } else {
    wanted_[stream] = std::move(now);
  }
  return ReservationResult::ok;
}

// A claim is noted before the entry is made and given up after it was removed, so that an agent
// that dies in between never takes somebody else's entry for its own for long.
ReservationResult StreamProgram::open(const std::string& port, const Address& stream) {
  if (working()) {
    const Address key = keyOf(stream);
    const bool known = inherited_[port].erase(key) > 0 || owned_[port].contains(key);
    if (!known) hooks_.claim(port, key, true);
    const StreamHost::Answer answer = host_->entryIs(port, key, true);
    const bool refusal = answer.result != ReservationResult::ok;
    if (refusal || (answer.others && !known)) {
      owned_[port].erase(key);
      hooks_.claim(port, key, false);
    } else {
      owned_[port].insert(key);
    }
    if (refusal) {
      refused(Kind::entries, port, answer.why);
      return answer.result;
    }
    refusals_.erase({Kind::entries, port});
  }
  hooks_.told(port, stream, true);
  return ReservationResult::ok;
}

void StreamProgram::close(const std::string& port, const Address& stream) {
  // In a bridge that does not filter VLANs, streams of several share one entry.
  const Address key = keyOf(stream);
  const bool shared = std::ranges::any_of(wanted_, [&](const auto& wanted) {
    return wanted.first != stream && keyOf(wanted.first) == key && wanted.second.contains(port);
  });
  if (!shared) dropEntry(port, key);
  hooks_.told(port, stream, false);
}

void StreamProgram::dropEntry(const std::string& port, const Address& key) {
  const auto owned = owned_.find(port);
  if (owned == owned_.end() || owned->second.erase(key) == 0) return;
  if (host_) host_->entryIs(port, key, false);
  hooks_.claim(port, key, false);
}

void StreamProgram::openAll() {
  for (const auto& [stream, ports] : wanted_) {
    for (const std::string& port : ports) open(port, stream);
  }
}

void StreamProgram::closeAll() {
  const auto owned = owned_;
  for (const auto& [port, keys] : owned) {
    for (const Address& key : keys) dropEntry(port, key);
  }
}

// --- Shapers -------------------------------------------------------------------------------------

bool StreamProgram::idleSlopeIs(IntfId intf, Mrp::SrClass srClass, Mrp::BitsPerSecond slope) {
  const std::string& port = intf.name();
  Mrp::BitsPerSecond& told = shaping_[port].slopes[Mrp::indexOf(srClass)];
  const Mrp::BitsPerSecond before = std::exchange(told, slope);
  const bool done = shape(port, srClass);
  if (!done && slope > before) {
    told = before;
    return false;
  }
  // What class B may have to wait for depends on class A.
  if (srClass == Mrp::SrClass::a && shaping_[port].slopes[Mrp::indexOf(Mrp::SrClass::b)] > 0) {
    shape(port, Mrp::SrClass::b);
  }
  return true;
}

bool StreamProgram::shape(const std::string& port, Mrp::SrClass srClass) {
  if (!working()) return true;
  Shaping& s = shaping_[port];
  const std::size_t c = Mrp::indexOf(srClass);
  std::optional<CreditShaper> shaper;
  if (s.slopes[c] > 0) {
    const Mrp::StreamPort settings = streamPort(IntfId(port));
    shaper = shaperOf(srClass, s.slopes, settings.rate, settings.maxPayload);
  }
  if (s.inherited) {
    s.shapers[c] = host_->shaper(port, srClass);
    const bool lower = s.shapers[c] && (!shaper || s.shapers[c]->idleSlope > shaper->idleSlope);
    if (lower && !confirmed_) return true;
  }
  if (shaper == s.shapers[c]) return true;
  std::string why;
  const bool ours = s.ours;
  if (!ours) hooks_.claim(port, std::nullopt, true);
  const bool done = host_->shaperIs(port, srClass, shaper, s.ours, why);
  if (!s.ours) hooks_.claim(port, std::nullopt, false);
  if (done) {
    s.shapers[c] = shaper;
    refusals_.erase({Kind::shapers, port});
  } else {
    refused(Kind::shapers, port, why);
  }
  return done;
}

void StreamProgram::shapeAgain(const std::string& port) {
  for (const Mrp::SrClassInfo& c : Mrp::kSrClassTable) shape(port, c.id);
}

void StreamProgram::releaseQueues(const std::string& port) {
  const auto found = shaping_.find(port);
  if (found == shaping_.end()) return;
  Shaping& s = found->second;
  if (host_) host_->queuesDel(port, s.ours);
  if (s.ours) hooks_.claim(port, std::nullopt, false);
  s.ours = s.inherited = false;
  s.shapers = {};
}

std::optional<CreditShaper> StreamProgram::shaper(IntfId intf, Mrp::SrClass srClass) const {
  const auto found = shaping_.find(intf.name());
  if (found == shaping_.end()) return std::nullopt;
  return found->second.shapers[Mrp::indexOf(srClass)];
}

// --- Boundaries ----------------------------------------------------------------------------------

void StreamProgram::domainBoundaryIs(IntfId intf, Mrp::SrClass srClass, bool boundary) {
  if (boundary) {
    inside_.erase({srClass, intf});
  } else {
    inside_.insert({srClass, intf});
  }
}

void StreamProgram::classesAre(const std::string& bridge) {
  if (!host_) return;
  StreamHost::ClassPorts now;
  if (enabled_) {
    for (const auto& [srClass, intf] : inside_) now[srClass].push_back(intf.name());
  }
  if (now == classPorts_.value_or(StreamHost::ClassPorts())) return;
  classPorts_ = now;
  std::string why;
  if (host_->classesAre(bridge, now, why)) {
    refusals_.erase({Kind::classes, bridge});
  } else {
    refused(Kind::classes, bridge, why);
  }
}

// --- Ports ---------------------------------------------------------------------------------------

Mrp::StreamPort StreamProgram::streamPort(IntfId intf) const {
  const auto found = ports_.find(intf);
  return found == ports_.end() ? Mrp::StreamPort() : found->second.settings;
}

Mrp::VlanEgress StreamProgram::vlanEgress(IntfId intf, Platform::VlanId vlan) const {
  const auto found = ports_.find(intf);
  if (found == ports_.end()) return Mrp::VlanEgress::allowed;
  if (found->second.forbidden.has(vlan.value())) return Mrp::VlanEgress::forbidden;
  const bool untagged = filters_ && found->second.untagged.has(vlan.value());
  return untagged ? Mrp::VlanEgress::untagged : Mrp::VlanEgress::allowed;
}

bool StreamProgram::addressRegistered(IntfId intf, Platform::VlanId vlan,
                                      Platform::EthAddr address) const {
  const Address key = keyOf({vlan.value(), address});
  const auto has = [&](const auto& entries) {
    const auto port = entries.find(intf.name());
    return port != entries.end() && port->second.contains(key);
  };
  return host_ && !has(owned_) && !has(inherited_) && host_->entry(intf.name(), key);
}

void StreamProgram::portsAre(const std::map<IntfId, Port>& ports, bool filters) {
  if (filters != filters_) {
    closeAll();
    filters_ = filters;
    openAll();
  }
  const auto before = std::exchange(ports_, ports);
  for (const auto& [intf, port] : ports) {
    const auto was = before.find(intf);
    if (was != before.end() && was->second == port) continue;
    if (!port.incapable.empty()) {
      refused(Kind::medium, intf.name(), port.incapable);
    } else {
      refusals_.erase({Kind::medium, intf.name()});
    }
    if (shaping_.contains(intf.name())) shapeAgain(intf.name());
    if (reactor_) reactor_->handleStreamPort(intf);
  }
}

void StreamProgram::portDel(const std::string& port) {
  if (const auto owned = owned_.extract(port)) {
    for (const Address& key : owned.mapped()) {
      if (host_) host_->entryIs(port, key, false);
      hooks_.claim(port, key, false);
    }
  }
  if (const auto inherited = inherited_.extract(port)) {
    for (const Address& key : inherited.mapped()) hooks_.claim(port, key, false);
  }
  releaseQueues(port);
  shaping_.erase(port);
  std::erase_if(refusals_, [&](const auto& r) { return r.first.second == port; });
}

void StreamProgram::enabledIs(bool enabled, const std::string& bridge) {
  if (enabled == enabled_) return;
  if (!enabled) {
    closeAll();
    for (auto& [port, shaping] : shaping_) releaseQueues(port);
  }
  enabled_ = enabled;
  if (enabled) {
    openAll();
    for (auto& [port, shaping] : shaping_) shapeAgain(port);
  }
  classesAre(bridge);
}

void StreamProgram::retry() {
  if (!reactor_) return;
  std::set<IntfId> ports;
  for (const auto& [of, why] : refusals_) {
    if (of.first == Kind::entries || of.first == Kind::shapers) ports.insert(IntfId(of.second));
  }
  for (const IntfId intf : ports) {
    if (ports_.contains(intf)) reactor_->handleStreamPort(intf);
  }
}

void StreamProgram::refused(Kind kind, const std::string& port, const std::string& why) {
  static const std::map<Kind, std::string> kWhat{
      {Kind::entries, "the bridge makes no entry for a stream"},
      {Kind::shapers, "the queues cannot be shaped"},
      {Kind::medium, "no streams"},
      {Kind::classes, "frames are not told apart by class"}};
  const std::string text = port + ": " + kWhat.at(kind) + ": " + why;
  if (std::exchange(refusals_[{kind, port}], text) != text) log_.warning(text);
}

std::vector<std::string> StreamProgram::refusals() const {
  std::vector<std::string> texts;
  for (const auto& [of, text] : refusals_) texts.push_back(text);
  return texts;
}

// --- Lives ---------------------------------------------------------------------------------------

void StreamProgram::claimIs(const std::string& port, const std::optional<Address>& address) {
  if (address) {
    inherited_[port].insert(*address);
  } else {
    shaping_[port].ours = shaping_[port].inherited = true;
  }
}

void StreamProgram::confirmedIs() {
  if (std::exchange(confirmed_, true)) return;
  for (const auto& [port, keys] : std::exchange(inherited_, {})) {
    for (const Address& key : keys) {
      if (host_) host_->entryIs(port, key, false);
      hooks_.claim(port, key, false);
    }
  }
  for (auto& [port, shaping] : shaping_) {
    if (!shaping.inherited) continue;
    shapeAgain(port);
    shaping.inherited = false;
  }
}

void StreamProgram::repeatClaims() const {
  for (const auto* entries : {&owned_, &inherited_}) {
    for (const auto& [port, keys] : *entries) {
      for (const Address& key : keys) hooks_.claim(port, key, true);
    }
  }
  for (const auto& [port, shaping] : shaping_) {
    if (shaping.ours) hooks_.claim(port, std::nullopt, true);
  }
}

void StreamProgram::end(const std::string& bridge) {
  confirmedIs();
  closeAll();
  for (auto& [port, shaping] : shaping_) releaseQueues(port);
  inside_.clear();
  classesAre(bridge);
}

}  // namespace Daemon
