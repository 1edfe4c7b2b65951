#include "agent/msrp/Granting.h"

#include <algorithm>

namespace Mrp::Streams {
namespace {

bool waits(const Stream& stream, const Port& port) {
  const Fate& fate = stream.fate(port);
  return fate.place() == Place::waiting && fate.refusal == 0;
}

bool fits(const Stream& stream, const Port& port) {
  const Booking& b = stream.booked;
  return port.bandwidth.available(b.rank, *b.srClass).fits(b.need);
}

}  // namespace

void Granting::bookingIs(Stream& stream, const Booking& booking) {
  const Booking old = stream.booked;
  if (old == booking) return;
  std::vector<Port*> held;
  // It becomes a candidate again where it is one.
  for (const auto& port : allPorts_) {
    Fate& fate = stream.fate(*port);
    if (fate.place() == Place::granted) {
      ungrant(stream, *port);
      held.push_back(port.get());
    }
    if (fate.refusal) --refused_;
    fate.refusal = 0;
    fate.placeIs(Place::none);
  }
  if (old.srClass) needs_[old.rank][indexOf(*old.srClass)].erase(&stream);
  stream.booked = booking;
  if (!booking.srClass) return;
  needs_[booking.rank][indexOf(*booking.srClass)].insert(&stream);
  // A place of an in-port is not taken along to another one.
  if (old.address != booking.address || (old.in != booking.in && fanIn_.limited())) return;
  for (Port* port : held) {
    grant(stream, *port);
    port->anew = true;
  }
}

void Granting::candidateIs(Stream& stream, Port& port, bool candidate) {
  Fate& fate = stream.fate(port);
  if (candidate == (fate.place() != Place::none)) return;
  if (fate.place() == Place::granted) ungrant(stream, port);
  fate.placeIs(candidate ? Place::waiting : Place::none);
  if (candidate) return arrives(stream, port);
  if (fate.refusal) --refused_;
  fate.refusal = 0;
}

void Granting::contend(Port& port) {
  port.released = true;
  if (std::exchange(port.contended, true)) return;
  contended_.push_back(&port);
  if (std::ranges::find(ports_, &port) == ports_.end()) ports_.push_back(&port);
}

void Granting::arrives(Stream& stream, Port& port) {
  const bool released = port.released;
  contend(port);
  port.released = released;
  port.arriving.push_back(&stream);
}

void Granting::grant(Stream& stream, Port& port) {
  const Booking& b = stream.booked;
  port.bandwidth.add(b.rank, *b.srClass, b.need);
  fanIn_.add(*b.in);
  stream.fate(port).placeIs(Place::granted);
  moved_.emplace_back(&stream, &port);
  addresses_.insert(b.address);
}

void Granting::ungrant(Stream& stream, Port& port) {
  const Booking& b = stream.booked;
  port.bandwidth.remove(b.rank, *b.srClass, b.need);
  fanIn_.remove(*b.in);
  stream.fate(port).placeIs(Place::waiting);
  moved_.emplace_back(&stream, &port);
  addresses_.insert(b.address);
  contend(port);
}

Granting::Contender Granting::contender(Stream& stream, Port& port) const {
  const Booking& b = stream.booked;
  const auto since = entries_.since(b.address, port);
  return {{b.rank, since.value_or(Seconds::never()), stream.id}, &stream, &port};
}

// --- Deciding ------------------------------------------------------------------------------------

void Granting::decide() {
  if (contended_.empty()) return;
  takeBackFresh();
  fanIn_.hold();
  Contenders holders, newcomers;
  for (std::size_t i = 0; i < contended_.size(); ++i) gather(*contended_[i], holders, newcomers);
  std::ranges::sort(holders, std::less<>());
  std::ranges::sort(newcomers, std::less<>());
  for (std::uint8_t rank = 0; rank < PortBandwidth::kRanks; ++rank) {
    regrantHolders(holders, rank);
    grantNewcomers(newcomers, rank);
  }
  for (Port* port : contended_) port->contended = port->released = port->anew = false;
  contended_.clear();
  fanIn_.release();
  again_ = true;
}

// What the switch has not been told competes again with whoever has come meanwhile.
void Granting::takeBackFresh() {
  for (const auto& [stream, port] : std::exchange(fresh_, {})) {
    if (stream->fate(*port).place() != Place::granted) continue;
    ungrant(*stream, *port);
    port->arriving.push_back(stream);
  }
}

// One of rank 0 that has waited for others of its rank has room now, which rank 1 may hold.
bool Granting::emergencyWaits(const Port& port) const {
  return std::ranges::any_of(kSrClassTable, [&](const SrClassInfo& c) {
    const Available available = port.bandwidth.available(0, c.id);
    for (const Stream* s : needs_[0][indexOf(c.id)]) {
      if (!available.fits(s->booked.need)) return false;
      if (waits(*s, port)) return true;
    }
    return false;
  });
}

// Most decisions leave what is granted alone; these may not.
bool Granting::toBeDecidedAnew(Port& port) const {
  return port.anew || again_ || !port.bandwidth.withinLimits() ||
         (port.released && emergencyWaits(port)) ||
         std::ranges::any_of(port.arriving, [&](Stream* s) {
           return waits(*s, port) &&
                  (s->booked.rank == 0 || entries_.since(s->booked.address, port));
         });
}

void Granting::gather(Port& port, Contenders& holders, Contenders& newcomers) {
  if (toBeDecidedAnew(port)) {
    gatherAll(port, holders, newcomers);
  } else if (port.released) {
    gatherWaiting(port, newcomers);
  } else {
    for (Stream* s : port.arriving) {
      if (waits(*s, port)) newcomers.push_back(contender(*s, port));
    }
  }
  port.arriving.clear();
}

void Granting::gatherAll(Port& port, Contenders& holders, Contenders& newcomers) {
  walkBooked([&](Stream& s) {
    if (s.fate(port).place() == Place::granted) ungrant(s, port);
    if (!waits(s, port)) return;
    const Contender c = contender(s, port);
    (c.importance.since == Seconds::never() ? newcomers : holders).push_back(c);
  });
}

void Granting::gatherWaiting(Port& port, Contenders& newcomers) {
  for (std::uint8_t rank = 0; rank < PortBandwidth::kRanks; ++rank) {
    for (const SrClassInfo& c : kSrClassTable) {
      for (Stream* s : needs_[rank][indexOf(c.id)]) {
        if (!port.bandwidth.available(rank, c.id).fits(s->booked.need)) break;
        if (!waits(*s, port)) continue;
        newcomers.push_back({{rank, Seconds::never(), s->id}, s, &port});
      }
    }
  }
}

void Granting::regrantHolders(const Contenders& holders, std::uint8_t rank) {
  for (const Contender& h : holders) {
    if (h.importance.rank != rank) continue;
    // Of one whose talker has moved, the in-port may be another.
    if (fanIn_.admits(*h.stream->booked.in) && fits(*h.stream, *h.port)) {
      grant(*h.stream, *h.port);
    } else {
      lost_.emplace_back(h.stream, h.port);
    }
  }
}

void Granting::grantNewcomers(const Contenders& newcomers, std::uint8_t rank) {
  for (const Contender& n : newcomers) {
    if (n.importance.rank != rank || !waits(*n.stream, *n.port)) continue;
    if (!fanIn_.admits(*n.stream->booked.in) || !fits(*n.stream, *n.port)) continue;
    grant(*n.stream, *n.port);
    fresh_.emplace_back(n.stream, n.port);
  }
}

// --- The switch's answers ------------------------------------------------------------------------

void Granting::refuse(Stream& stream, Port& port, ReservationResult result) {
  ungrant(stream, port);
  stream.fate(port).refusal = static_cast<std::uint16_t>(result) & 3;
  ++refused_;
}

void Granting::retry(const std::vector<Port*>& ports) {
  walkBooked([&](Stream& s) {
    for (Port* port : ports) {
      Fate& fate = s.fate(*port);
      if (fate.refusal == 0) continue;
      fate.refusal = 0;
      --refused_;
      moved_.emplace_back(&s, port);
      arrives(s, *port);
    }
  });
}

void Granting::settled(const std::vector<Grant>& granted) {
  for (const auto& [stream, port] : lost_) {
    const bool interrupted = std::ranges::any_of(granted, [on = port](const Grant& g) {
      return g.second == on && g.first->booked.rank == 0 &&
             g.first->fate(*on).place() == Place::granted;
    });
    if (interrupted && waits(*stream, *port)) stream->fate(*port).preempted = 1;
  }
  lost_.clear();
  moved_.clear();
  addresses_.clear();
  ports_.clear();
  again_ = false;
}

void Granting::portDel(Port& port) {
  std::erase(contended_, &port);
  std::erase(ports_, &port);
}

}  // namespace Mrp::Streams
