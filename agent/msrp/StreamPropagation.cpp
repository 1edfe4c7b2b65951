// What has happened: ports, registrations and settings as they change. Deciding waits for settle().

#include "agent/msrp/StreamPropagation.h"

#include <algorithm>

#include "agent/msrp/Checks.h"

namespace Mrp::Streams {
namespace {

// All of a value that belongs to the FirstValue that must not change (IEEE 802.1Q-2018 35.2.2.8.7,
// code 16): not its latency, nor why it failed.
bool sameStream(const MsrpTalkerAdvertiseAttribute& a, const MsrpTalkerAdvertiseAttribute& b) {
  return a.frame == b.frame && a.tSpec == b.tSpec && a.priorityAndRank == b.priorityAndRank;
}

}  // namespace

StreamPropagation::StreamPropagation(StreamForwarding& forwarding, const Platform::Clock& clock,
                                     Declarations& declarations)
    : forwarding_(forwarding), clock_(clock), declarations_(declarations) {}

StreamPropagation::~StreamPropagation() = default;

Port* StreamPropagation::find(IntfId intf) const {
  const auto found = std::ranges::lower_bound(ports_, intf, std::less<>(),
                                              [](const auto& port) { return port->intf; });
  return found != ports_.end() && (*found)->intf == intf ? found->get() : nullptr;
}

Stream* StreamPropagation::find(StreamId id) const {
  const auto found = streams_.find(id);
  return found == streams_.end() ? nullptr : const_cast<Stream*>(&found->second);
}

Stream& StreamPropagation::streamIs(StreamId id) {
  const auto [found, isNew] = streams_.try_emplace(id, id);
  if (isNew) found->second.number = freeNumber();
  return found->second;
}

// Tables grow by an eighth: doubled, they might be half empty.
std::uint32_t StreamPropagation::freeNumber() {
  if (!free_.empty()) {
    const std::uint32_t number = free_.back();
    free_.pop_back();
    return number;
  }
  // Each number below is some other stream's.
  const std::size_t number = streams_.size() - 1;
  const auto grow = [number](auto& table) {
    if (table.size() == table.capacity()) table.reserve(number + number / 8 + 16);
    table.resize(number + 1);
  };
  for (const auto& port : ports_) {
    grow(port->fates);
    if (!port->firstLatencies.empty()) grow(port->firstLatencies);
  }
  return static_cast<std::uint32_t>(number);
}

void StreamPropagation::change() { unsettled_ = true; }

void StreamPropagation::dirty(Stream& stream) {
  change();
  if (!std::exchange(stream.dirty, true)) dirty_.push_back(&stream);
}

void StreamPropagation::touch(Stream& stream, Port& port) {
  change();
  Fate& fate = stream.fate(port);
  if (fate.touched) return;
  fate.touched = 1;
  port.touched.push_back(&stream);
}

void StreamPropagation::changed(Port& port) {
  change();
  port.changed = true;
}

// --- Ports ---------------------------------------------------------------------------------------

void StreamPropagation::portIs(IntfId intf) {
  if (find(intf)) return;
  const auto at = std::ranges::lower_bound(ports_, intf, std::less<>(),
                                           [](const auto& port) { return port->intf; });
  const auto port = ports_.insert(at, std::make_unique<Port>(intf));
  (*port)->fates.resize(streams_.size() + free_.size());
  for (std::size_t i = 0; i < ports_.size(); ++i) ports_[i]->index = i;
  operations_.resize(ports_.size());
  portChanged(intf);
}

void StreamPropagation::portDel(IntfId intf) {
  const Port* port = find(intf);
  if (!port) return;
  const auto index = static_cast<std::ptrdiff_t>(port->index);
  granting_.portDel(*find(intf));
  ports_.erase(ports_.begin() + index);
  for (std::size_t i = 0; i < ports_.size(); ++i) ports_[i]->index = i;
}

void StreamPropagation::openIs(IntfId intf, bool open) {
  Port* const port = find(intf);
  if (!port || port->open == open) return;
  port->open = open;
  if (!open) forgetDeclared(*port);
  takePart(*port);
}

void StreamPropagation::forgetDeclared(Port& port) {
  for (auto& [id, stream] : streams_) {
    forgetDeclared(port.intf, id);
    if (stream.mergedOn != &port) continue;
    stream.mergedOn = nullptr;
    stream.merged = MsrpListenerEvent::ignore;
    mergeAgain(stream);
  }
}

void StreamPropagation::forwardsIs(IntfId intf, const VlanSet& vlans) {
  Port* const port = find(intf);
  if (!port || port->forwards == vlans) return;
  port->forwards = vlans;
  takePart(*port);
}

// Talkers that begin to take part at one moment do so by ascending identifier.
void StreamPropagation::takePart(Port& port) {
  changed(port);
  for (auto& [id, stream] : streams_) refresh(stream);
}

void StreamPropagation::portChanged(IntfId intf) {
  Port* const port = find(intf);
  if (!port) return;
  const StreamPort settings = forwarding_.streamPort(intf);
  for (std::size_t c = 0; c < kSrClasses; ++c) {
    if (settings.ofClass[c].maxLatency != port->settings.ofClass[c].maxLatency) {
      keepFirstLatencies(*port);
    }
  }
  port->settings = settings;
  port->bandwidth.limitsIs(port->settings);
  granting_.contend(*port);
  changed(*port);
}

// --- Registrations -------------------------------------------------------------------------------

void StreamPropagation::domainIs(IntfId intf, SrClass srClass,
                                 std::optional<std::uint8_t> priority) {
  Port* const port = find(intf);
  if (!port || port->domain[indexOf(srClass)] == priority) return;
  port->domain[indexOf(srClass)] = priority;
  changed(*port);
}

void StreamPropagation::talkerIs(IntfId intf, const MsrpTalkerFailedAttribute& value, bool failed) {
  Port* const port = find(intf);
  if (!port) return;
  Stream& stream = streamIs(keyOf(value));
  const auto found = std::ranges::find(stream.talkers, port, &TalkerRegistration::port);
  if (found == stream.talkers.end()) {
    stream.talkers.push_back({port, 0, failed, value});
  } else {
    const bool sameType = found->failed == failed;
    if (sameType && found->value == value) return changes_.forget({intf, false, stream.id});
    if (!changes_.admits({intf, false, stream.id}, {value, failed}, clock_.now())) return change();
    const TalkerRegistration before = std::exchange(*found, {port, found->since, failed, value});
    if (stream.in == port) {
      // Of the other type it is another registration.
      const bool same = sameStream(before.talker(), found->talker());
      if (!sameType) firstValueChanged(stream, false);
      if (sameType && !same) firstValueChanged(stream, true);
      if (!std::exchange(stream.again, true)) again_.push_back(&stream);
    }
  }
  dirty(stream);
  refresh(stream);
}

void StreamPropagation::talkerDel(IntfId intf, StreamId id) {
  const Port* const port = find(intf);
  Stream* const stream = find(id);
  if (!port || !stream) return;
  changes_.forget({intf, false, id});
  if (std::erase_if(stream->talkers, [&](const auto& t) { return t.port == port; }) == 0) return;
  doubtful_.push_back(stream);
  dirty(*stream);
  refresh(*stream);
}

TalkerKind StreamPropagation::talker(IntfId intf, StreamId id) const {
  const Stream* stream = find(id);
  const TalkerRegistration* talker = stream ? stream->on(find(intf)) : nullptr;
  if (!talker) return TalkerKind::none;
  const RegisteredValue* held = changes_.held({intf, false, id});
  return (held ? held->failed : talker->failed) ? TalkerKind::failed : TalkerKind::advertise;
}

// Of several talkers of one stream the one that takes part longest is the talker.
void StreamPropagation::refresh(Stream& stream) {
  const TalkerRegistration* first = nullptr;
  for (TalkerRegistration& t : stream.talkers) {
    const bool part = t.port->open && t.port->forwards.has(t.talker().frame.vlanId);
    if (!part) t.since = 0;
    if (part && t.since == 0) t.since = ++order_;
    if (part && (!first || t.since < first->since)) first = &t;
  }
  Port* const in = first ? first->port : nullptr;
  if (in != stream.in) moved(stream, in);
  addresses_.addressIs(stream, first ? addressOf(first->talker()) : 0,
                       [this](Stream& s) { dirty(s); });
}

void StreamPropagation::moved(Stream& stream, Port* in) {
  stream.in = in;
  dirty(stream);
  firstValueChanged(stream, false);
  forgetLatencies(stream);
  mergeAgain(stream);
  const auto reviewed = [this](Stream& s) { dirty(s); };
  if (in) {
    kept_.join(stream, ++order_, reviewed);
  } else {
    kept_.leave(stream, reviewed);
  }
}

void StreamPropagation::firstValueChanged(Stream& stream, bool is) {
  recovering_.erase({stream.changedAt, &stream});
  stream.changedAt = is ? clock_.now() : Seconds::never();
  if (is) recovering_.emplace(stream.changedAt, &stream);
}

void StreamPropagation::forgetLatencies(Stream& stream) {
  for (const auto& port : ports_) stream.fate(*port).hasLatency = 0;
  if (!std::exchange(stream.again, true)) again_.push_back(&stream);
}

// What the port adds to streams, or to one of them, is about to change.
void StreamPropagation::keepFirstLatencies(Port& port) {
  if (!port.firstLatencies.empty()) return;
  if (std::ranges::none_of(port.fates, [](const Fate& f) { return f.hasLatency == 1; })) return;
  port.firstLatencies.resize(port.fates.size());
  for (const auto& [id, stream] : streams_) {
    port.firstLatencies[stream.number] = latencyOf(stream, port.settings);
  }
}

void StreamPropagation::keepFirstLatencies(const Stream& stream, std::optional<SrClass> next) {
  for (const auto& port : ports_) {
    if (!stream.fate(*port).hasLatency) continue;
    if (latencyOf(next, port->settings) == latencyOf(stream, port->settings)) continue;
    keepFirstLatencies(*port);
  }
}

void StreamPropagation::listenerIs(IntfId intf, StreamId id, MsrpListenerEvent event) {
  Port* const port = find(intf);
  if (!port) return;
  if (event == MsrpListenerEvent::ignore && !find(id)) return;
  Stream& stream = streamIs(id);
  Fate& fate = stream.fate(*port);
  if (stream.mergedOn == port && event != stream.merged) repeatMerged(stream);
  const ChangeLimit::Registration registration{intf, true, id};
  if (fate.listener() == event || event == MsrpListenerEvent::ignore) changes_.forget(registration);
  if (fate.listener() == event) return;
  const bool replaces = fate.listenerBits && event != MsrpListenerEvent::ignore;
  if (replaces && !changes_.admits(registration, {{}, false, event}, clock_.now())) return change();
  const MsrpListenerEvent before = listenerBehind(fate.declared(), fate.listener());
  fate.listenerIs(event);
  contribute(stream, before, listenerBehind(fate.declared(), event));
  touch(stream, *port);
  if (event == MsrpListenerEvent::ignore) doubtful_.push_back(&stream);
}

// One record holds what the neighbour declares and what we declare, whichever came last. Two
// bridges that each take the other's side for the talker's would go on answering each other, so
// what has been repeated waits a while.
void StreamPropagation::repeatMerged(Stream& stream) {
  if (std::exchange(stream.repeatPending, true)) return;
  stream.repeatAt = std::max(stream.repeatAt, clock_.now());
  repeating_.emplace(stream.repeatAt, &stream);
  if (stream.repeatAt <= clock_.now()) change();
}

std::vector<StreamId> StreamPropagation::streamsOn(IntfId intf) const {
  std::vector<StreamId> ids;
  const Port* const port = find(intf);
  if (!port) return ids;
  for (const auto& [id, stream] : streams_) {
    if (stream.on(port) || stream.fate(*port).listener() != MsrpListenerEvent::ignore) {
      ids.push_back(id);
    }
  }
  return ids;
}

void StreamPropagation::restart() {
  changes_.forgetAll();
  for (const auto& port : ports_) {
    port->open = false;
    port->forwards = {};
    port->domain = {};
    changed(*port);
  }
  for (auto& [id, stream] : streams_) {
    stream.talkers.clear();
    refresh(stream);
    for (const auto& port : ports_) {
      Fate& fate = stream.fate(*port);
      fate.listenerIs(MsrpListenerEvent::ignore);
      fate.declaredIs(TalkerKind::none);
    }
    stream.counts = {};
    stream.mergedOn = nullptr;
    stream.merged = MsrpListenerEvent::ignore;
    doubtful_.push_back(&stream);
  }
}

void StreamPropagation::declaredIs(IntfId intf, StreamId id, TalkerKind kind) {
  Port* const port = find(intf);
  if (!port) return;
  Stream& stream = streamIs(id);
  stream.fate(*port).declaredIs(kind);
  doubtful_.push_back(&stream);
  touch(stream, *port);
  if (!std::exchange(stream.again, true)) again_.push_back(&stream);
}

void StreamPropagation::mergedIs(IntfId intf, StreamId id, MsrpListenerEvent event) {
  Port* const port = find(intf);
  if (!port) return;
  Stream& stream = streamIs(id);
  stream.mergedOn = port;
  stream.merged = event;
  doubtful_.push_back(&stream);
  mergeAgain(stream);
}

TalkerKind StreamPropagation::declared(IntfId intf, StreamId id) const {
  const Stream* stream = find(id);
  const Port* port = find(intf);
  return stream && port ? stream->fate(*port).declared() : TalkerKind::none;
}

IntfId StreamPropagation::mergedOn(StreamId id) const {
  const Stream* stream = find(id);
  return stream && stream->mergedOn ? stream->mergedOn->intf : IntfId();
}

void StreamPropagation::forgetDeclared(IntfId intf, StreamId id) {
  Stream* stream = find(id);
  Port* port = find(intf);
  if (!stream || !port) return;
  Fate& fate = stream->fate(*port);
  const MsrpListenerEvent before = listenerBehind(fate.declared(), fate.listener());
  fate.declaredIs(TalkerKind::none);
  fate.hasLatency = fate.preempted = 0;
  contribute(*stream, before, MsrpListenerEvent::ignore);
  touch(*stream, *port);
}

// --- Settings ------------------------------------------------------------------------------------

void StreamPropagation::bridgeIdIs(std::uint64_t id) {
  bridgeId_ = id;
  for (auto& [streamId, stream] : streams_) {
    if (!std::exchange(stream.again, true)) again_.push_back(&stream);
    dirty(stream);
  }
}

void StreamPropagation::talkerPruningIs(bool pruning) {
  talkerPruning_ = pruning;
  for (const auto& port : ports_) changed(*port);
}

void StreamPropagation::fanInLimitIs(std::uint32_t ports) {
  fanIn_.limitIs(ports);
  change();
  reviewFanIn();
}

void StreamPropagation::overheadIs(std::uint32_t octets) {
  overhead_ = octets;
  for (auto& [id, stream] : streams_) dirty(stream);
}

void StreamPropagation::streamLimitIs(std::uint32_t streams) {
  kept_.limitIs(streams, streams_, [this](Stream& s) { dirty(s); });
}

void StreamPropagation::recoveryIs(Seconds time) {
  recovery_ = time;
  change();
}

Seconds StreamPropagation::deadline() const {
  const Seconds recovered =
      recovering_.empty() ? Seconds::never() : recovering_.begin()->first + recovery_;
  const Seconds repeated = repeating_.empty() ? Seconds::never() : repeating_.begin()->first;
  return std::min({recovered, repeated, changes_.deadline()});
}

}  // namespace Mrp::Streams
