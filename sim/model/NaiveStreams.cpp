#include "sim/model/NaiveStreams.h"

#include <algorithm>
#include <sstream>
#include <tuple>

namespace Sim {

using Mrp::MsrpListenerEvent;
using Mrp::SrClass;
using Mrp::TalkerKind;

namespace {

constexpr const char* kLetters[] = {"-", "AF", "R", "RF"};

std::uint64_t addressOf(const NaiveStreams::Value& v) {
  const auto& frame = v.talkerAdvertiseAttribute.frame;
  return std::uint64_t{frame.vlanId} << 48 | frame.dmac.number();
}

int vlanOf(const NaiveStreams::Value& v) { return v.talkerAdvertiseAttribute.frame.vlanId; }

// Everything but latency and failure.
bool sameFirstValue(const NaiveStreams::Value& a, const NaiveStreams::Value& b) {
  auto plain = [](const NaiveStreams::Value& v) {
    auto talker = v.talkerAdvertiseAttribute;
    talker.accumulatedLatency = 0;
    return talker;
  };
  return plain(a) == plain(b);
}

}  // namespace

// --- What is registered --------------------------------------------------------------------------

bool NaiveStreams::takesPart(std::size_t port, const Value& value) const {
  return ports[port].open && ports[port].forwards.contains(vlanOf(value));
}

void NaiveStreams::refresh(Stream& s) {
  std::optional<std::size_t> first;
  for (auto& [port, talker] : s.talkers) {
    if (!takesPart(port, talker.value)) {
      talker.since = 0;
    } else if (talker.since == 0) {
      talker.since = ++order_;
    }
    if (talker.since && (!first || talker.since < s.talkers.at(*first).since)) first = port;
  }
  if (first != s.in) {
    s.in = first;
    s.changedAt.reset();
    for (auto& [port, on] : s.on) on.first.reset();
    s.keptOrder = first ? ++order_ : 0;
  }
  const std::uint64_t address = first ? addressOf(valueOf(s)) : 0;
  if (address != s.address) {
    s.address = address;
    s.addressOrder = ++order_;
  }
}

void NaiveStreams::partake(Seconds) {
  for (auto& [id, s] : streams_) refresh(s);
}

void NaiveStreams::close(std::size_t port) {
  for (auto& [id, s] : streams_) {
    s.on[port].declared = TalkerKind::none;
    s.on[port].first.reset();
    s.on[port].preempted = false;
  }
}

void NaiveStreams::talker(std::size_t port, const Value& value, bool failed, Seconds now) {
  Stream& s = streams_[keyOf(value)];
  for (std::size_t p = 0; p < ports.size(); ++p) s.on[p];
  const auto [found, isNew] = s.talkers.try_emplace(port, Talker{value, failed, 0});
  if (!isNew) {
    const Talker before = found->second;
    found->second.value = value;
    found->second.failed = failed;
    if (s.in == port) {
      if (before.failed != failed) {
        s.changedAt.reset();
      } else if (!sameFirstValue(before.value, value)) {
        s.changedAt = now;
      }
    }
  }
  refresh(s);
}

void NaiveStreams::talkerGone(std::size_t port, Id id, Seconds) {
  if (!streams_.contains(id)) return;
  Stream& s = streams_[id];
  s.talkers.erase(port);
  refresh(s);
}

void NaiveStreams::listener(std::size_t port, Id id, MsrpListenerEvent event) {
  Stream& s = streams_[id];
  for (std::size_t p = 0; p < ports.size(); ++p) s.on[p];
  s.listeners[port] = event;
}

void NaiveStreams::reserved(Id id, std::size_t port) {
  told_[streams_.at(id).address].insert({port, Seconds(0)});
}

void NaiveStreams::preempted(Id id, std::size_t port) {
  streams_.at(id).on.at(port).preempted = true;
}

// --- Conditions ----------------------------------------------------------------------------------

std::optional<SrClass> NaiveStreams::classOf(const Stream& s) const {
  const int priority = valueOf(s).talkerAdvertiseAttribute.priorityAndRank.priority();
  if (priority == 3) return SrClass::a;
  if (priority == 2) return SrClass::b;
  return std::nullopt;
}

int NaiveStreams::rankOf(const Stream& s) const {
  return valueOf(s).talkerAdvertiseAttribute.priorityAndRank.rank();
}

std::uint64_t NaiveStreams::need(const Stream& s) const {
  const Mrp::Tspec& t = valueOf(s).talkerAdvertiseAttribute.tSpec;
  const std::uint64_t octets = std::max<std::uint64_t>(t.maxFrameSize, 42) + settings.overhead;
  return octets * 8 * t.maxIntervalFrames * (classOf(s) == SrClass::a ? 8000 : 4000);
}

std::uint32_t NaiveStreams::figure(const Stream& s, std::size_t port) const {
  const auto c = classOf(s);
  return c ? ports[port].settings.ofClass[*c == SrClass::a ? 0 : 1].maxLatency : 0;
}

bool NaiveStreams::inDomain(std::size_t port, SrClass c) const {
  const auto found = ports[port].domain.find(c);
  return ports[port].open && ports[port].settings.capable && found != ports[port].domain.end() &&
         found->second == (c == SrClass::a ? 3 : 2);
}

int NaiveStreams::outsideCode(std::size_t port, SrClass c) const {
  const auto found = ports[port].domain.find(c);
  return found != ports[port].domain.end() && found->second != (c == SrClass::a ? 3 : 2) ? 19 : 8;
}

bool NaiveStreams::kept(const Stream& s) const {
  if (settings.streamLimit == 0) return true;
  const auto older = std::ranges::count_if(streams_, [&](const auto& other) {
    return other.second.keptOrder && other.second.keptOrder < s.keptOrder;
  });
  return static_cast<std::size_t>(older) < settings.streamLimit;
}

bool NaiveStreams::owns(const Stream& s) const {
  return std::ranges::none_of(streams_, [&](const auto& other) {
    return other.second.address == s.address && other.second.addressOrder < s.addressOrder;
  });
}

int NaiveStreams::standing(const Stream& s, std::size_t p) const {
  const Port& port = ports[p];
  if (!s.in || s.talkers.contains(p) || !takesPart(p, valueOf(s))) return -2;
  if (settings.pruning && !port.addresses.contains(s.address)) return -2;
  if (s.talkers.at(*s.in).failed) return -1;
  if (!kept(s)) return 10;
  if (!owns(s)) return 5;
  if (s.changedAt) return 16;
  const auto c = classOf(s);
  if (!c) return 13;
  if (!inDomain(*s.in, *c)) return outsideCode(*s.in, *c);
  if (s.blocked) return 15;
  if (!port.settings.capable || !port.domain.contains(*c)) return 8;
  if (!inDomain(p, *c)) return 19;
  const auto egress = port.egress.find(vlanOf(valueOf(s)));
  if (egress != port.egress.end() && egress->second == Mrp::VlanEgress::forbidden) return 17;
  if (egress != port.egress.end() && egress->second == Mrp::VlanEgress::untagged) return 18;
  if (valueOf(s).talkerAdvertiseAttribute.tSpec.maxFrameSize > port.settings.maxPayload) return 14;
  const auto& first = s.on.at(p).first;
  if (first && figure(s, p) > *first) return 7;
  return 0;
}

bool NaiveStreams::wanted(const Stream& s, std::size_t port) const {
  const auto found = s.listeners.find(port);
  return found != s.listeners.end() && (found->second == MsrpListenerEvent::ready ||
                                        found->second == MsrpListenerEvent::readyFailed);
}

bool NaiveStreams::candidate(const Stream& s, std::size_t port) const {
  return standing(s, port) == 0 && wanted(s, port);
}

std::optional<Platform::Seconds> NaiveStreams::since(const Stream& s, std::size_t port) const {
  for (const auto* entries : {&told_, &closed_}) {
    const auto entry = entries->find(s.address);
    if (entry == entries->end()) continue;
    const auto found = entry->second.find(port);
    if (found != entry->second.end()) return found->second;
  }
  return std::nullopt;
}

int NaiveStreams::excess(const Stream& s, std::size_t p) const {
  std::uint64_t a = 0, b = 0;
  for (const auto& [id, other] : streams_) {
    if (!other.on.at(p).granted || rankOf(other) > rankOf(s)) continue;
    (classOf(other) == SrClass::a ? a : b) += need(other);
  }
  if (need(s) == 0) return 0;
  const Mrp::StreamPort& port = ports[p].settings;
  const std::uint64_t deltaA = port.ofClass[0].delta, deltaB = port.ofClass[1].delta;
  if (100 * (a + b + need(s)) > port.rate * (deltaA + deltaB)) return 1;
  if (classOf(s) == SrClass::a && 100 * (a + need(s)) > port.rate * deltaA) return 3;
  return 0;
}

// --- Deciding ------------------------------------------------------------------------------------

std::set<std::size_t> NaiveStreams::inPorts() const {
  std::set<std::size_t> in;
  for (const auto& [id, s] : streams_) {
    for (const auto& [port, on] : s.on) {
      if (on.granted) in.insert(*s.in);
    }
  }
  return in;
}

// True when something more has to be decided.
bool NaiveStreams::decide(Seconds) {
  using Order = std::tuple<int, Seconds, Id, std::size_t>;
  std::set<std::size_t> places;
  std::vector<Order> holders, newcomers;
  for (auto& [id, s] : streams_) {
    for (auto& [port, on] : s.on) {
      if (!candidate(s, port)) {
        on.granted = on.refused = false;
        continue;
      }
      if (on.refused) continue;
      const auto held = since(s, port);
      const Order order{rankOf(s), held.value_or(Seconds::never()), id, port};
      (held ? holders : newcomers).push_back(order);
      if (held && on.granted) places.insert(*s.in);
    }
  }
  for (auto& [id, s] : streams_) {
    for (auto& [port, on] : s.on) on.granted = false;
  }
  std::ranges::sort(holders);
  std::ranges::sort(newcomers);
  for (const int rank : {0, 1}) {
    for (const auto* list : {&holders, &newcomers}) {
      for (const auto& [r, held, id, port] : *list) {
        Stream& s = streams_.at(id);
        if (r != rank || excess(s, port)) continue;
        if (settings.fanIn && !places.contains(*s.in) && places.size() >= settings.fanIn) continue;
        places.insert(*s.in);
        s.on[port].granted = true;
      }
    }
  }
  bool again = false;
  const std::set<std::size_t> in = inPorts();
  for (auto& [id, s] : streams_) {
    const bool blocked =
        s.in && settings.fanIn && !in.contains(*s.in) && in.size() >= settings.fanIn;
    again |= std::exchange(s.blocked, blocked) != blocked;
  }
  return again;
}

bool NaiveStreams::tell(Seconds now) {
  std::map<std::uint64_t, std::map<std::size_t, Seconds>> wanted;
  for (const auto& [id, s] : streams_) {
    for (const auto& [port, on] : s.on) {
      if (on.granted) wanted[s.address][port] = since(s, port).value_or(now);
    }
  }
  bool freed = false;
  for (auto entry = told_.begin(); entry != told_.end();) {
    std::erase_if(entry->second, [&](const auto& opened) {
      if (wanted[entry->first].contains(opened.first)) return false;
      closed_[entry->first].insert(opened);
      return true;
    });
    if (entry->second.empty()) {
      entry = told_.erase(entry);
      freed = true;
    } else {
      ++entry;
    }
  }
  bool again = false;
  for (auto& [id, s] : streams_) {
    for (auto& [port, on] : s.on) again |= freed && std::exchange(on.refused, false);
  }
  if (again) return true;
  std::set<std::pair<int, Id>> order;
  for (const auto& [id, s] : streams_) {
    if (s.in) order.insert({rankOf(s), id});
  }
  for (const auto& [rank, id] : order) {
    Stream& s = streams_.at(id);
    for (auto& [port, on] : s.on) {
      if (!on.granted) continue;
      const bool full = settings.entryLimit && told_.size() >= settings.entryLimit;
      if (full && !told_.contains(s.address)) {
        on.granted = false;
        on.refused = again = true;
      } else {
        told_[s.address].insert({port, wanted[s.address][port]});
      }
    }
  }
  return again;
}

void NaiveStreams::settle(Seconds now) {
  for (auto& [id, s] : streams_) {
    if (!s.changedAt || *s.changedAt + settings.recovery > now) continue;
    s.changedAt.reset();
    for (auto& [port, on] : s.on) on.first.reset();
  }
  std::set<Grant> before;
  for (const auto& [id, s] : streams_) {
    for (const auto& [port, on] : s.on) {
      if (s.in && since(s, port)) before.insert({id, port});
    }
  }
  if (settings.entryLimit == 0 || told_.size() < settings.entryLimit) {
    for (auto& [id, s] : streams_) {
      for (auto& [port, on] : s.on) on.refused = false;
    }
  }
  do {
    while (decide(now)) {
    }
  } while (tell(now));
  declare(before);
  closed_.clear();
}

void NaiveStreams::declare(const std::set<Grant>& before) {
  for (std::size_t p = 0; p < ports.size(); ++p) {
    const bool interrupted = std::ranges::any_of(streams_, [&](const auto& named) {
      const Stream& s = named.second;
      return s.in && s.on.at(p).granted && rankOf(s) == 0 && !before.contains({named.first, p});
    });
    for (auto& [id, s] : streams_) {
      OnPort& on = s.on[p];
      if (interrupted && before.contains({id, p}) && candidate(s, p) && !on.granted &&
          !on.refused) {
        on.preempted = true;
      }
      int code = standing(s, p);
      if (code == 0 && !on.granted) {
        code = excess(s, p);
        if (code && on.preempted) code = 6;
        if (!code && on.refused) code = 12;
      }
      on.declared = code == -2  ? TalkerKind::none
                    : code == 0 ? TalkerKind::advertise
                                : TalkerKind::failed;
      on.code = code;
      if (on.declared != TalkerKind::failed) on.preempted = false;
      if (on.declared == TalkerKind::none) {
        on.first.reset();
      } else if (!on.first) {
        on.first = figure(s, p);
      }
    }
  }
}

// --- Results -------------------------------------------------------------------------------------

std::uint32_t NaiveStreams::latency(const Stream& s, std::size_t port) const {
  const std::uint64_t sum = std::uint64_t{valueOf(s).talkerAdvertiseAttribute.accumulatedLatency} +
                            std::max(*s.on.at(port).first, figure(s, port));
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(sum, 0xffffffff));
}

MsrpListenerEvent NaiveStreams::merged(const Stream& s) const {
  bool served = false, unserved = false;
  for (const auto& [port, on] : s.on) {
    const auto found = s.listeners.find(port);
    if (found == s.listeners.end() || found->second == MsrpListenerEvent::ignore) continue;
    if (on.declared == TalkerKind::none) continue;
    const bool failed = on.declared == TalkerKind::failed;
    served |= !failed && found->second != MsrpListenerEvent::askingFailed;
    unserved |= failed || found->second != MsrpListenerEvent::ready;
  }
  if (!s.in || (!served && !unserved)) return MsrpListenerEvent::ignore;
  if (!served) return MsrpListenerEvent::askingFailed;
  return unserved ? MsrpListenerEvent::readyFailed : MsrpListenerEvent::ready;
}

std::string NaiveStreams::streams() const {
  std::ostringstream text;
  for (const auto& [id, s] : streams_) {
    std::ostringstream list;
    bool listened = false;
    for (std::size_t p = 0; p < ports.size(); ++p) {
      if (s.in == p) continue;
      const OnPort& on = s.on.at(p);
      const auto found = s.listeners.find(p);
      const bool forwards =
          ports[p].open && (s.in ? takesPart(p, valueOf(s)) : !ports[p].forwards.empty());
      const auto event =
          forwards && found != s.listeners.end() ? found->second : MsrpListenerEvent::ignore;
      listened |= event != MsrpListenerEvent::ignore;
      list << " " << p << "=";
      if (on.declared == TalkerKind::none) list << "-";
      if (on.declared == TalkerKind::advertise) list << "A" << latency(s, p);
      if (on.declared == TalkerKind::failed) {
        list << "F" << (on.code == -1 ? valueOf(s).failureInformation.failureCode : on.code) << "/"
             << latency(s, p);
      }
      list << "/" << kLetters[static_cast<int>(event)] << (on.granted ? "*" : "");
    }
    if (!s.in && !listened) continue;
    text << id << " from " << (s.in ? std::to_string(*s.in) : "-") << ":" << list.str() << " > "
         << kLetters[static_cast<int>(merged(s))] << "\n";
  }
  return std::move(text).str();
}

std::string NaiveStreams::reservations() const {
  std::ostringstream text;
  for (const auto& [address, opened] : told_) {
    text << std::hex << address << std::dec << ":";
    for (const auto& [port, since] : opened) text << " " << port;
    text << "\n";
  }
  return std::move(text).str();
}

std::string NaiveStreams::slopes() const {
  std::ostringstream text;
  for (std::size_t p = 0; p < ports.size(); ++p) {
    for (const SrClass c : {SrClass::a, SrClass::b}) {
      std::uint64_t sum = 0;
      for (const auto& [id, s] : streams_) {
        if (s.in && s.on.at(p).granted && classOf(s) == c) sum += need(s);
      }
      if (sum > 0) text << p << "/" << static_cast<int>(c) << ": " << sum << "\n";
    }
  }
  return std::move(text).str();
}

// --- Of a bridge ---------------------------------------------------------------------------------

std::string difference(const StreamWords& is, const StreamWords& shouldBe) {
  for (const auto part :
       {&StreamWords::streams, &StreamWords::reservations, &StreamWords::slopes}) {
    if (is.*part != shouldBe.*part) return "is\n" + is.*part + "should be\n" + shouldBe.*part;
  }
  return {};
}

std::string wordOf(const Mrp::StreamPortState& port) {
  if (port.declared == TalkerKind::none) return "-";
  if (port.declared == TalkerKind::advertise) return "A" + std::to_string(port.latency);
  return "F" + std::to_string(port.code) + "/" + std::to_string(port.latency);
}

StreamWords wordsOf(const Mrp::Streams::StreamPropagation& bridge,
                    const Mrp::StreamSwitch& forwarding,
                    const std::vector<Platform::IntfId>& ports) {
  const auto number = [&](Platform::IntfId intf) {
    return std::ranges::find(ports, intf) - ports.begin();
  };
  std::ostringstream streams, reservations, slopes;
  for (const Mrp::StreamState& s : bridge.streams()) {
    streams << s.id << " from " << (s.talker ? std::to_string(number(*s.talker)) : "-") << ":";
    for (const Mrp::StreamPortState& p : s.ports) {
      streams << " " << number(p.intf) << "=" << wordOf(p) << "/"
              << kLetters[static_cast<int>(p.listener)] << (p.reserved ? "*" : "");
    }
    streams << " > " << kLetters[static_cast<int>(s.merged)] << "\n";
  }
  for (const auto& [address, opened] : forwarding.reservations()) {
    reservations << std::hex << (std::uint64_t{address.first} << 48 | address.second.number())
                 << std::dec << ":";
    for (const Platform::IntfId port : opened) reservations << " " << number(port);
    reservations << "\n";
  }
  for (const Mrp::SlopeState& s : bridge.slopes()) {
    slopes << number(s.intf) << "/" << static_cast<int>(s.srClass) << ": "
           << forwarding.slope(s.intf, s.srClass) << "\n";
  }
  return {std::move(streams).str(), std::move(reservations).str(), std::move(slopes).str()};
}

}  // namespace Sim
