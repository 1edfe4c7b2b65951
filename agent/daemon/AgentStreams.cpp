// Streams through the agent's bridge: what its ports can do for them, and which entries and shapers
// of the kernel are the agent's.

#include <algorithm>

#include "agent/daemon/Agent.h"
#include "agent/daemon/Values.h"
#include "agent/daemon/streams/StreamApplication.h"

namespace Daemon {
namespace {

using Mrp::MrpApplication;

// IEEE 802.1Q-2018 34.5: slower media carry no streams.
constexpr Mrp::BitsPerSecond kLeastRate = 100'000'000;

std::uint64_t numberOf(const std::optional<StreamProgram::Address>& address) {
  return address ? std::uint64_t{address->vlan} << 48 | address->mac.number() : 0;
}

std::optional<StreamProgram::Address> addressOf(std::uint64_t number) {
  if (number == 0) return std::nullopt;
  return StreamProgram::Address{static_cast<std::uint16_t>(number >> 48),
                                EthAddr::fromNumber(number)};
}

}  // namespace

StreamProgram::Hooks Agent::streamHooks() {
  return {[this](const std::string& port, const std::optional<StreamProgram::Address>& address,
                 bool on) { storeStreamClaim(port, address, on); },
          [this](const std::string& port, const StreamProgram::Address& address, bool on) {
            reservationEvent(port, address, on);
          }};
}

const Mrp::Streams::StreamPropagation* Agent::streams() const {
  const Instance* const msrp = instance(MrpApplication::msrp);
  return msrp ? msrp->app().streams() : nullptr;
}

StreamProgram::Port Agent::streamPort(const std::string& name, const Host::Link& link) const {
  const PortConfig& own = config_.portConfig(name);
  StreamProgram::Port port;
  const StreamHost* const host = host_.streams();
  const StreamHost::Medium medium =
      host ? host->medium(name) : StreamHost::Medium{port.settings.rate};
  port.settings.rate = own.rate.value_or(medium.rate);
  port.settings.maxPayload = link.mtu;
  port.settings.ofClass = {
      {{config_.delta.a, config_.latency.a}, {config_.delta.b, config_.latency.b}}};
  if (own.boundary) {
    port.settings.capable = false;
  } else if (port.settings.rate == 0) {
    if (link.up) port.incapable = "the rate of the link is not known; set port." + name + ".rate";
  } else if (port.settings.rate < kLeastRate) {
    port.incapable = "the link is slower than 100 Mb/s";
  } else if (!medium.fullDuplex) {
    port.incapable = "the link is not full duplex";
  }
  if (!port.incapable.empty() || port.settings.rate == 0) port.settings.capable = false;
  port.forbidden = registrations(name).forbidden;
  port.untagged = host_.vlanEntries(name).untagged;
  return port;
}

void Agent::reviewStreamPorts() {
  Instance* const msrp = instance(MrpApplication::msrp);
  if (!msrp || !msrp->streamApp()) return;
  std::map<IntfId, StreamProgram::Port> ports;
  for (const auto& [intf, port] : ports_) {
    if (msrp->portHas(intf)) ports[intf] = streamPort(intf.name(), port.link);
  }
  streamProgram_.enabledIs(config_.program, config_.bridge);
  streamProgram_.portsAre(ports, vlanFiltering() == true);
  // A configuration may name classes that a bridge does not have.
  const Config standard;
  if (config_.srClasses != standard.srClasses && !std::exchange(warnedOfClasses_, true)) {
    log_.warning("msrp.sr-classes: a bridge declares classes 6 and 5, with priorities 3 and 2");
  }
}

void Agent::handleStreamHost() {
  streamHostChanged_ = true;
  turnSoon();
}

// At the end of a turn: everything that the engines had to say has been said.
void Agent::programStreams() {
  if (!config_.bridgeMode()) return;
  if (std::exchange(streamHostChanged_, false)) streamProgram_.retry();
  streamProgram_.classesAre(config_.bridge);
}

// What an earlier life had reserved is asked for again while its registrations are in doubt; what
// nobody confirms by then is over.
void Agent::confirmStreamsLater() {
  constexpr Platform::Seconds kDoubted = 1.0;
  streamAlarm_.dueIs(clock_->now() + Platform::Seconds(config_.msrpLeaveTime) + kDoubted);
}

void Agent::handleStreamsConfirmed() {
  if (active_ && !withdrawn_) streamProgram_.confirmedIs();
}

// A stream that has gone is told of as it was.
void Agent::reservationEvent(const std::string& port, const StreamProgram::Address& address,
                             bool on) {
  turnSoon();
  Rpc::Json& members = reservations_[{port, address}];
  if (on) {
    const auto* const propagation = streams();
    const auto id = propagation ? propagation->owner(Platform::VlanId(address.vlan), address.mac)
                                : std::nullopt;
    const auto stream = id ? propagation->stream(*id) : std::nullopt;
    const bool known = stream && stream->srClass;
    members = {{"port", port},
               {"streamId", id ? Rpc::Json(streamIdText(*id)) : Rpc::Json()},
               {"vlanId", address.vlan},
               {"dmac", address.mac.stringValue()},
               {"srClassId", known ? Rpc::Json(static_cast<int>(*stream->srClass)) : Rpc::Json()},
               {"bandwidth", known ? Rpc::Json(stream->need) : Rpc::Json()}};
  }
  members["on"] = on;
  event("reservation", port, members);
  if (!on) reservations_.erase({port, address});
}

// --- Stored state --------------------------------------------------------------------------------

void Agent::storeStreamClaim(const std::string& port,
                             const std::optional<StreamProgram::Address>& address, bool on) {
  if (!store_ || !active_ || (withdrawn_ && on)) return;
  const auto link = host_.links().find(port);
  Entry entry{.kind = on ? Entry::Kind::streamClaim : Entry::Kind::streamClaimGone};
  entry.ifindex = link == host_.links().end() ? 0 : link->second.ifindex;
  entry.name = port;
  entry.key = numberOf(address);
  store_->put(entry);
  turnSoon();
}

void Agent::restoreStreamClaim(Entry entry) {
  const auto port = ports_.find(IntfId(entry.name));
  if (port != ports_.end() && port->second.link.ifindex == entry.ifindex) {
    streamProgram_.claimIs(entry.name, addressOf(entry.key));
  } else {
    entry.kind = Entry::Kind::streamClaimGone;
    store_->put(entry);
  }
}

}  // namespace Daemon
