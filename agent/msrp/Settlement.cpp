// From what has changed to what is decided: what each touched stream amounts to on each port, and
// who is granted.

#include <algorithm>

#include "agent/msrp/Checks.h"
#include "agent/msrp/StreamPropagation.h"

namespace Mrp::Streams {

// What the switch refuses, and who is blocked by the fan-in limit, changes what was decided before.
void StreamPropagation::settle() {
  release();
  const Accounts::Number recovered = recover();
  if (!unsettled_) return;
  const bool unasked = account_ && account_->because() == 0;
  const auto because = Accounts::because(unasked ? account_ : nullptr,
                                         [&](const Accounts::Account&) { return recovered; });
  do {
    do {
      absorb();
      granting_.decide();
      reviewFanIn();
    } while (!dirty_.empty());
  } while (!tell());
  unsettled_ = false;
  declare();
}

// What has changed too often within the last second.
void StreamPropagation::release() {
  for (const auto& [of, value] : changes_.release(clock_.now())) {
    if (of.listener) {
      listenerIs(of.intf, of.stream, value.listener);
    } else {
      talkerIs(of.intf, value.talker, value.failed);
    }
  }
}

// The first record of a recovery; 0 for none.
Accounts::Number StreamPropagation::recover() {
  Accounts::Number first = 0;
  constexpr Seconds kRepeatInterval{1.0};
  const Seconds now = clock_.now();
  while (!repeating_.empty() && repeating_.begin()->first <= now) {
    Stream& stream = *repeating_.extract(repeating_.begin()).value().second;
    stream.repeatPending = false;
    stream.repeatMerged = true;
    stream.repeatAt = now + kRepeatInterval;
    mergeAgain(stream);
  }
  while (!recovering_.empty() && recovering_.begin()->first + recovery_ <= now) {
    Stream& stream = *recovering_.begin()->second;
    firstValueChanged(stream, false);
    forgetLatencies(stream);
    dirty(stream);
    if (!account_) continue;
    const Accounts::Number record = account_->recovered(stream.id);
    if (first == 0) first = record;
  }
  return first;
}

void StreamPropagation::absorb() {
  for (const auto& port : ports_) {
    if (std::exchange(port->changed, false)) absorbPort(*port);
  }
  for (Stream* stream : std::exchange(dirty_, {})) absorbStream(*stream);
  for (const auto& port : ports_) {
    for (Stream* stream : port->touched) {
      const bool eligible = standing(*stream, *port).kind == TalkerKind::advertise;
      granting_.candidateIs(*stream, *port, eligible && stream->fate(*port).wanted());
    }
  }
}

void StreamPropagation::absorbPort(Port& port) {
  for (const SrClassInfo& c : kSrClassTable) {
    const bool boundary = port.boundaryOf(c.id);
    if (std::exchange(port.boundary[indexOf(c.id)], boundary) == boundary) continue;
    forwarding_.domainBoundaryIs(port.intf, c.id, boundary);
  }
  // Also room that the switch may have for entries again.
  if (granting_.anyRefused()) granting_.retry({&port});
  for (auto& [id, stream] : streams_) {
    touch(stream, port);
    if (stream.in == &port) dirty(stream);
  }
}

void StreamPropagation::absorbStream(Stream& stream) {
  stream.dirty = false;
  const Booking booking = bookingOf(stream);
  if (booking.srClass != stream.booked.srClass) keepFirstLatencies(stream, booking.srClass);
  granting_.bookingIs(stream, booking);
  stream.verdict = 0;
  if (const TalkerRegistration* t = stream.talker()) {
    stream.fanBlocked = !fanIn_.admits(*stream.in);
    stream.verdict = static_cast<std::uint8_t>(
        firstFailure(bridgeChecks(), {stream, t->talker(), forwarding_, nullptr, nullptr}));
  }
  for (const auto& port : ports_) touch(stream, *port);
}

Booking StreamPropagation::bookingOf(const Stream& stream) const {
  const TalkerRegistration* t = stream.talker();
  if (!t) return {};
  const PriorityAndRank& rank = t->talker().priorityAndRank;
  const auto srClass = srClassOfPriority(rank.priority());
  const BitsPerSecond need = srClass ? bandwidthNeeded(t->talker().tSpec, *srClass, overhead_) : 0;
  return {srClass, rank.rank(), need, addressOf(t->talker()), stream.in};
}

void StreamPropagation::reviewFanIn() {
  if (!fanIn_.limited() && !fanBlocks_) return;
  fanBlocks_ = fanIn_.limited();
  for (auto& [id, stream] : streams_) {
    const bool blocked = stream.in && !fanIn_.admits(*stream.in);
    if (std::exchange(stream.fanBlocked, blocked) != blocked) dirty(stream);
  }
}

// A port declares no talker of a stream that has one registered there: one record would hold both
// values.
StreamPropagation::Standing StreamPropagation::standing(const Stream& stream,
                                                        const Port& port) const {
  constexpr Standing nothing{TalkerKind::none, 0};
  const auto failed = [](std::uint16_t code) { return Standing{TalkerKind::failed, code}; };
  const TalkerRegistration* t = stream.talker();
  if (!t || !port.open || !port.forwards.has(t->talker().frame.vlanId) || stream.on(&port)) {
    return nothing;
  }
  const DataFrameParameters& frame = t->talker().frame;
  if (talkerPruning_ &&
      !forwarding_.addressRegistered(port.intf, Platform::VlanId(frame.vlanId), frame.dmac)) {
    return nothing;
  }
  if (t->failed) return failed(Fate::kAsReceived);
  if (stream.verdict) return failed(stream.verdict);
  const FailureCode code =
      firstFailure(portChecks(), {stream, t->talker(), forwarding_, &port, &stream.fate(port)});
  if (code != FailureCode::none) return failed(static_cast<std::uint16_t>(code));
  return {TalkerKind::advertise, 0};
}

namespace {

FailureCode codeOf(ReservationResult refusal) {
  switch (refusal) {
    case ReservationResult::hashFull:
      return FailureCode::useAnotherAddress;
    case ReservationResult::tableFull:
      return FailureCode::addressTableFull;
    case ReservationResult::ok:
    case ReservationResult::noResource:
      break;
  }
  return FailureCode::bridgeResources;
}

}  // namespace

// The rest of the order of failures: the switch is asked only for what fits, so bandwidth has its
// say before it. Whoever nobody listens to is measured against more important reservations alone;
// otherwise a stream of rank 0 could never be asked for and would interrupt nobody.
StreamPropagation::Standing StreamPropagation::outcome(const Stream& stream,
                                                       const Port& port) const {
  Standing s = standing(stream, port);
  const Fate& fate = stream.fate(port);
  if (s.kind != TalkerKind::advertise || fate.place() == Place::granted) return s;
  const Booking& b = stream.booked;
  const Available available = port.bandwidth.available(b.rank, *b.srClass);
  FailureCode code = available.excess(b.need);
  if (code != FailureCode::none && fate.preempted) code = FailureCode::preempted;
  if (code == FailureCode::none && fate.place() == Place::waiting) {
    code = codeOf(static_cast<ReservationResult>(fate.refusal));
  }
  if (code != FailureCode::none) s = {TalkerKind::failed, static_cast<std::uint16_t>(code)};
  return s;
}

}  // namespace Mrp::Streams
