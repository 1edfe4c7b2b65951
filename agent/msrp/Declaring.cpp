// What the ports declare: found out for all of them first, then requested port by port, in the
// order in which one MRPDU carries it.

#include <algorithm>
#include <limits>

#include "agent/msrp/Checks.h"
#include "agent/msrp/StreamPropagation.h"

namespace Mrp::Streams {
namespace {

using Kind = TalkerKind;

std::uint32_t addedLatency(const Stream& stream, const Port& port) {
  return std::max(firstLatency(stream, port), latencyOf(stream, port.settings));
}

std::uint32_t saturated(std::uint64_t latency) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(latency, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

void StreamPropagation::declare() {
  for (Port* port : granting_.ports()) touchFlipped(*port);
  for (const auto& [stream, port] : granting_.moved()) touch(*stream, *port);
  if (account_) noteReservations();
  granting_.settled(std::exchange(opened_, {}));
  entries_.settled();
  for (const auto& port : ports_) declareOn(*port);
  declareMerged();
  for (Stream* stream : std::exchange(again_, {})) stream->again = false;
  unsettled_ = false;
  for (std::size_t i = 0; i < ports_.size(); ++i) send(*ports_[i]);
  dropLeftOver();
}

// Only those streams without a reservation whose need lies between what was available and what is
// now can have changed.
void StreamPropagation::touchFlipped(Port& port) {
  for (std::uint8_t rank = 0; rank < PortBandwidth::kRanks; ++rank) {
    for (const SrClassInfo& c : kSrClassTable) {
      const Available now = port.bandwidth.available(rank, c.id);
      const Available was = std::exchange(port.available[rank][indexOf(c.id)], now);
      const auto between = [&](BitsPerSecond a, BitsPerSecond b) {
        if (a == b) return;
        granting_.walkNeeds(rank, c.id, std::min(a, b), std::max(a, b),
                            [&](Stream& s) { touch(s, port); });
      };
      between(was.ofClass, now.ofClass);
      if (was.total != was.ofClass || now.total != now.ofClass) between(was.total, now.total);
    }
  }
}

bool StreamPropagation::latencyShifted(const Stream& stream, const Port& port) const {
  const Fate& fate = stream.fate(port);
  if (!fate.hasLatency || !stream.booked.srClass) return false;
  return std::max(firstLatency(stream, port), port.latency[indexOf(*stream.booked.srClass)]) !=
         addedLatency(stream, port);
}

void StreamPropagation::declareOn(Port& port) {
  std::ranges::sort(port.touched, std::less<>(), &Stream::id);
  std::vector<Operation>& operations = operations_[port.index];
  for (Stream* stream : std::exchange(port.touched, {})) {
    Fate& fate = stream->fate(port);
    fate.touched = 0;
    const Standing now = outcome(*stream, port);
    const Kind before = fate.declared();
    const bool same = now.kind == before && (now.kind != Kind::failed || now.code == fate.code) &&
                      !stream->again && !latencyShifted(*stream, port);
    if (now.kind != Kind::failed) fate.preempted = 0;
    if (now.kind == Kind::none) {
      fate.hasLatency = 0;
    } else if (!fate.hasLatency) {
      fate.hasLatency = 1;
      if (!port.firstLatencies.empty()) {
        port.firstLatencies[stream->number] = latencyOf(*stream, port.settings);
      }
    }
    if (same || (now.kind == Kind::none && before == Kind::none)) continue;
    contribute(*stream, listenerBehind(before, fate.listener()),
               listenerBehind(now.kind, fate.listener()));
    fate.declaredIs(now.kind);
    fate.code = now.code & 31;
    if (account_) note(*stream, port, before);
    using enum Operation::What;
    if (before != now.kind && before != Kind::none) {
      operations.push_back({stream, before == Kind::failed ? withdrawFail : withdrawAdvertise});
    }
    if (now.kind != Kind::none) {
      operations.push_back({stream, now.kind == Kind::failed ? fail : advertise});
    }
  }
  for (std::size_t c = 0; c < kSrClasses; ++c) {
    port.latency[c] = port.settings.ofClass[c].maxLatency;
  }
}

void StreamPropagation::note(const Stream& stream, const Port& port, Kind before) const {
  const StreamPortState now = stateOf(stream, port);
  account_->decision({{port.intf, 0, stream.id},
                      static_cast<std::uint8_t>(before),
                      static_cast<std::uint8_t>(now.declared),
                      now.code,
                      stream.booked.need,
                      now.allowed,
                      now.inUse});
}

void StreamPropagation::noteReservations() const {
  for (const auto& [stream, port] : granting_.moved()) {
    account_->reservation(port->intf, stream->id, stream->fate(*port).place() == Place::granted);
  }
}

// --- Listeners -----------------------------------------------------------------------------------

void StreamPropagation::mergeAgain(Stream& stream) {
  change();
  if (!std::exchange(stream.mergeDirty, true)) mergeDirty_.push_back(&stream);
}

void StreamPropagation::contribute(Stream& stream, MsrpListenerEvent before,
                                   MsrpListenerEvent after) {
  if (before == after) return;
  stream.counts.remove(before);
  stream.counts.add(after);
  mergeAgain(stream);
}

void StreamPropagation::declareMerged() {
  std::ranges::sort(mergeDirty_, std::less<>(), &Stream::id);
  for (Stream* stream : std::exchange(mergeDirty_, {})) {
    stream->mergeDirty = false;
    const MsrpListenerEvent event =
        stream->in ? stream->counts.merged() : MsrpListenerEvent::ignore;
    const bool none = event == MsrpListenerEvent::ignore;
    const bool repeat = std::exchange(stream->repeatMerged, false);
    using enum Operation::What;
    if (stream->mergedOn && (none || stream->mergedOn != stream->in)) {
      if (account_) account_->listener(stream->mergedOn->intf, stream->id, 0);
      operations_[stream->mergedOn->index].push_back({stream, withdrawListen});
      stream->mergedOn = nullptr;
      stream->merged = MsrpListenerEvent::ignore;
    }
    if (none || (event == stream->merged && !repeat)) continue;
    if (account_) {
      account_->listener(stream->in->intf, stream->id, static_cast<std::uint8_t>(event));
    }
    stream->merged = event;
    stream->mergedOn = stream->in;
    operations_[stream->in->index].push_back({stream, listen});
  }
}

// --- Requests ------------------------------------------------------------------------------------

// Messages of an MRPDU stand in ascending order of type, so all of one type are requested before
// any of the next: a Talker Advertise that becomes a Talker Failed, or the other way round, travels
// in one.
void StreamPropagation::send(Port& port) {
  const std::vector<Operation> operations = std::exchange(operations_[port.index], {});
  if (operations.empty() || !port.open) return;
  using What = Operation::What;
  const auto withdraws = [](const Operation& o) {
    return o.what == What::withdrawAdvertise || o.what == What::withdrawFail ||
           o.what == What::withdrawListen;
  };
  declarations_.beginPort(port.intf, std::ranges::any_of(operations, withdraws));
  constexpr What types[][2] = {{What::advertise, What::withdrawAdvertise},
                               {What::fail, What::withdrawFail},
                               {What::listen, What::withdrawListen}};
  for (const auto& type : types) {
    for (const Operation& o : operations) {
      if (o.what == type[0] || o.what == type[1]) send(port, o);
    }
  }
}

// A request may have made something happen to the stream already; then the next settlement
// corrects it.
void StreamPropagation::send(const Port& port, const Operation& operation) {
  const Stream& stream = *operation.stream;
  using enum Operation::What;
  switch (operation.what) {
    case advertise:
      if (!stream.talker()) return;
      return declarations_.advertise(port.intf,
                                     declaredValue(stream, port).talkerAdvertiseAttribute);
    case fail:
      if (!stream.talker()) return;
      return declarations_.fail(port.intf, declaredValue(stream, port));
    case withdrawAdvertise:
      return declarations_.withdrawTalker(port.intf, Kind::advertise, stream.id);
    case withdrawFail:
      return declarations_.withdrawTalker(port.intf, Kind::failed, stream.id);
    case listen:
      return declarations_.listen(port.intf, stream.id, stream.merged);
    case withdrawListen:
      return declarations_.withdrawListener(port.intf, stream.id);
  }
}

MsrpTalkerFailedAttribute StreamPropagation::declaredValue(const Stream& stream,
                                                           const Port& port) const {
  MsrpTalkerFailedAttribute value = stream.talker()->value;
  const std::uint16_t code = stream.fate(port).code;
  std::uint64_t latency = value.talkerAdvertiseAttribute.accumulatedLatency;
  latency += addedLatency(stream, port);
  value.talkerAdvertiseAttribute.accumulatedLatency = saturated(latency);
  if (code != Fate::kAsReceived) {
    value.failureInformation = {bridgeId_, static_cast<std::uint8_t>(code)};
  }
  return value;
}

void StreamPropagation::dropLeftOver() {
  const auto busy = [this](const Stream& s) {
    return !s.talkers.empty() || s.mergedOn || s.dirty || s.again || s.mergeDirty ||
           std::ranges::any_of(ports_, [&s](const auto& port) {
             const Fate& f = s.fate(*port);
             return f.listenerBits || f.declaredBits || f.touched;
           });
  };
  std::vector<Stream*> doubtful = std::exchange(doubtful_, {});
  std::ranges::sort(doubtful);
  const auto repeated = std::ranges::unique(doubtful);
  doubtful.erase(repeated.begin(), repeated.end());
  for (Stream* stream : doubtful) {
    if (busy(*stream)) continue;
    if (stream->repeatPending) repeating_.erase({stream->repeatAt, stream});
    for (const auto& port : ports_) stream->fate(*port) = {};
    free_.push_back(stream->number);
    streams_.erase(stream->id);
  }
}

}  // namespace Mrp::Streams
