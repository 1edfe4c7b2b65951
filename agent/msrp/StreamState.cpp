// The decisions for people and programs to read, and whether they agree with each other.

#include "agent/msrp/StreamState.h"

#include <algorithm>
#include <sstream>

#include "agent/msrp/StreamPropagation.h"

namespace Mrp::Streams {

std::vector<StreamState> StreamPropagation::streams() const {
  std::vector<StreamState> states;
  for (const auto& [id, stream] : streams_) {
    const bool listened = std::ranges::any_of(
        ports_, [&stream = stream, this](const auto& port) { return shown(stream, *port); });
    if (stream.in || listened) states.push_back(stateOf(stream));
  }
  return states;
}

std::optional<StreamState> StreamPropagation::stream(StreamId id) const {
  const Stream* stream = find(id);
  if (!stream) return std::nullopt;
  return stateOf(*stream);
}

// What is registered on a port that does not forward the stream counts for nothing.
bool StreamPropagation::shown(const Stream& stream, const Port& port) const {
  if (!port.open || stream.fate(port).listener() == MsrpListenerEvent::ignore) return false;
  const TalkerRegistration* t = stream.talker();
  return t ? port.forwards.has(t->talker().frame.vlanId) : !port.forwards.empty();
}

StreamState StreamPropagation::stateOf(const Stream& stream) const {
  StreamState state;
  state.id = stream.id;
  if (const TalkerRegistration* t = stream.talker()) {
    state.talker = t->port->intf;
    state.value = t->value;
    state.failed = t->failed;
  }
  state.srClass = stream.booked.srClass;
  state.need = stream.booked.need;
  state.merged = stream.merged;
  if (stream.changedAt != Seconds::never()) state.recoversAt = stream.changedAt + recovery_;
  for (const TalkerRegistration& t : stream.talkers) {
    if (t.port != stream.in && t.since) state.otherTalkers.push_back(t.port->intf);
  }
  for (const auto& port : ports_) {
    if (port.get() != stream.in) state.ports.push_back(stateOf(stream, *port));
  }
  return state;
}

StreamPortState StreamPropagation::stateOf(const Stream& stream, const Port& port) const {
  StreamPortState state;
  const Fate& fate = stream.fate(port);
  state.intf = port.intf;
  state.declared = fate.declared();
  if (stream.in && state.declared != TalkerKind::none) {
    const MsrpTalkerFailedAttribute value = declaredValue(stream, port);
    state.latency = value.talkerAdvertiseAttribute.accumulatedLatency;
    if (state.declared == TalkerKind::failed) {
      state.code = value.failureInformation.failureCode;
      state.bridgeId = value.failureInformation.bridgeId;
    }
  }
  if (shown(stream, port)) state.listener = fate.listener();
  state.reserved = fate.place() == Place::granted;
  if (const auto srClass = stream.booked.srClass) {
    state.allowed = port.bandwidth.limit(*srClass);
    state.inUse =
        *srClass == SrClass::a ? port.bandwidth.reserved(SrClass::a) : port.bandwidth.reserved();
    state.left = port.bandwidth.available(1, *srClass).ofClass;
  }
  return state;
}

std::optional<StreamId> StreamPropagation::owner(Platform::VlanId vlan,
                                                 Platform::EthAddr address) const {
  const Stream* const stream =
      addresses_.owner(std::uint64_t{vlan.value()} << 48 | address.number());
  return stream ? std::optional(stream->id) : std::nullopt;
}

std::vector<BandwidthState> StreamPropagation::bandwidths() const {
  std::vector<BandwidthState> states;
  for (const auto& port : ports_) {
    for (const SrClassInfo& c : kSrClassTable) {
      const std::size_t i = indexOf(c.id);
      states.push_back({port->intf, c.id, port->settings.rate, port->settings.ofClass[i].delta,
                        port->bandwidth.limit(c.id), port->bandwidth.reserved(c.id),
                        port->bandwidth.available(1, c.id).ofClass, port->slope[i],
                        port->boundaryOf(c.id)});
    }
  }
  return states;
}

std::vector<ReservationState> StreamPropagation::reservations() const {
  std::vector<ReservationState> states;
  for (const auto& [address, ports] : entries_.all()) {
    ReservationState state{
        static_cast<std::uint16_t>(address >> 48), Platform::EthAddr::fromNumber(address), {}};
    for (const Entries::Opened& opened : ports) state.ports.push_back(opened.port->intf);
    states.push_back(std::move(state));
  }
  return states;
}

std::vector<SlopeState> StreamPropagation::slopes() const {
  std::vector<SlopeState> states;
  for (const auto& port : ports_) {
    for (const SrClassInfo& c : kSrClassTable) {
      const BitsPerSecond slope = port->slope[indexOf(c.id)];
      if (slope > 0) states.push_back({port->intf, c.id, slope});
    }
  }
  return states;
}

std::vector<BoundaryState> StreamPropagation::boundaries() const {
  std::vector<BoundaryState> states;
  for (const auto& port : ports_) {
    for (const SrClassInfo& c : kSrClassTable) {
      if (port->boundary[indexOf(c.id)]) states.push_back({port->intf, c.id});
    }
  }
  return states;
}

// --- Invariants ----------------------------------------------------------------------------------

std::string StreamPropagation::review() const {
  std::ostringstream faults;
  std::map<std::uint64_t, std::vector<const Port*>> reserved;
  std::vector<std::array<BitsPerSecond, kSrClasses>> sums(ports_.size());
  for (const auto& [id, stream] : streams_) {
    ListenerCounts counts;
    for (const auto& port : ports_) {
      const Fate& fate = stream.fate(*port);
      counts.add(listenerBehind(fate.declared(), fate.listener()));
      const bool granted = fate.place() == Place::granted;
      const bool asked = fate.declared() == TalkerKind::advertise && fate.wanted();
      if (granted != asked) faults << "stream " << id << " on " << port->intf << " reserved, asked";
      if (!granted) continue;
      reserved[stream.booked.address].push_back(port.get());
      sums[port->index][indexOf(*stream.booked.srClass)] += stream.booked.need;
    }
    const MsrpListenerEvent merged = stream.in ? counts.merged() : MsrpListenerEvent::ignore;
    if (merged != stream.merged) faults << "stream " << id << " merged; ";
  }
  for (const auto& port : ports_) {
    for (const SrClassInfo& c : kSrClassTable) {
      const BitsPerSecond sum = sums[port->index][indexOf(c.id)];
      if (sum != port->bandwidth.reserved(c.id) || sum != port->slope[indexOf(c.id)]) {
        faults << "sum of " << port->intf << "; ";
      }
    }
    if (!port->bandwidth.withinLimits()) faults << port->intf << " above its limit; ";
  }
  for (const auto& [address, ports] : entries_.all()) {
    std::vector<const Port*> opened;
    for (const Entries::Opened& o : ports) opened.push_back(o.port);
    if (opened != reserved[address]) faults << "entry " << address << "; ";
  }
  if (std::ranges::count_if(reserved, [](const auto& r) { return !r.second.empty(); }) !=
      static_cast<std::ptrdiff_t>(entries_.all().size())) {
    faults << "entries missing; ";
  }
  return faults.str();
}

}  // namespace Mrp::Streams
