#include "sim/msrp/StreamNetwork.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "agent/msrp/MsrpBridge.h"
#include "agent/msrp/StreamSwitch.h"
#include "mrp/types/MrpCounters.h"
#include "mrp/types/MrpStatus.h"
#include "sim/model/NaiveStreams.h"
#include "sim/network/Participant.h"

namespace Sim {
namespace {

using Mrp::MrpThreePackedEvent;
using Platform::makePtr;

constexpr std::uint8_t kTypes = 3;  // whose declarations are compared
constexpr Mrp::BitsPerSecond kNarrow = 100'000'000;
constexpr int kVlan = 2;  // of all streams

using Seen = StreamNetwork::Seen;

template <class Value>
Value valueOf(const std::vector<std::uint8_t>& octets) {
  Value value;
  std::memcpy(static_cast<void*>(&value), octets.data(), std::min(octets.size(), sizeof value));
  return value;
}

class Msrp : public Participant {
 public:
  Seen declared(IntfId intf) const {
    return seen(intf, [](const Mrp::MrpAttrDatabase& r) {
      return r.applicantState() == Mrp::MrpApplicantState::qa ||
             r.applicantState() == Mrp::MrpApplicantState::qp;
    });
  }
  Seen registered(IntfId intf) const {
    return seen(intf, [](const Mrp::MrpAttrDatabase& r) {
      return r.registrarState() != Mrp::MrpRegistrarState::mt;
    });
  }
  // Whether the neighbour declares a class, and with which priority.
  std::map<Mrp::SrClass, int> domains(IntfId intf) const {
    std::map<Mrp::SrClass, int> all;
    engine().walkRecords(intf, 4, [&](const Mrp::MrpAttrDatabase& r) {
      const auto value = valueOf<Mrp::MsrpDomainAttribute>({r.value().begin(), r.value().end()});
      const auto srClass = Mrp::srClassNumbered(value.srClassId);
      if (srClass && r.registrarState() != Mrp::MrpRegistrarState::mt) {
        all[*srClass] = value.srClassPriority;
      }
    });
    return all;
  }
  std::uint64_t leaves() const { return engine().counters()->numOfLeaveIndications(); }

 private:
  template <class Wanted>
  Seen seen(IntfId intf, Wanted wanted) const {
    Seen all;
    for (std::uint8_t type = 1; type <= kTypes; ++type) {
      engine().walkRecords(intf, type, [&](const Mrp::MrpAttrDatabase& r) {
        if (!wanted(r)) return;
        all[{type, r.attributeKey()}] = {r.value().begin(), r.value().end()};
      });
    }
    return all;
  }
};

class Bridge final : public Msrp {
 public:
  Bridge(Switch& sw, std::uint64_t& told, std::string& fault)
      : bridge_(makePtr<Mrp::MsrpBridge>(forwarding_, sw.clock())) {
    forwarding_.onSlope = [&](IntfId intf, Mrp::SrClass, Mrp::BitsPerSecond) {
      ++told;
      const Mrp::BitsPerSecond sum =
          forwarding_.slope(intf, Mrp::SrClass::a) + forwarding_.slope(intf, Mrp::SrClass::b);
      if (sum > forwarding_.streamPort(intf).rate / 100 * 75) fault = "a port above its limit";
    };
    forwarding_.onReservation = [&](auto...) { ++told; };
    forwarding_.onBoundary = [&](auto...) { ++told; };
    startEngine(bridge_, sw);
    bridge_->start();
  }
  ~Bridge() override { endEngine(); }
  void rateIs(IntfId intf, Mrp::BitsPerSecond rate) {
    Mrp::StreamPort port = forwarding_.streamPort(intf);
    port.rate = rate;
    port.ofClass[0].maxLatency = 1000;
    forwarding_.portIs(intf, port);
  }
  void portUp(IntfId intf) override { bridge_->portIs(intf); }
  void portDown(IntfId intf, Down how) override {
    if (how == Down::disabled) bridge_->portDel(intf);
  }
  std::string review() const { return bridge_->propagation().review(); }
  // From everything decided anew; `forwards` says by number which ports do.
  std::string deviation(const std::map<int, bool>& forwards, Platform::Seconds now) const;
  std::size_t reservations() const { return forwarding_.reservations().size(); }

 private:
  // A talker's registration, and when it comes to the model.
  struct Claim {
    int order;
    std::size_t port;
    bool failed;
    NaiveStreams::Value value;
  };
  int order(const NaiveStreams::Value& talker, IntfId intf) const;

  Mrp::StreamSwitch forwarding_;
  Ptr<Mrp::MsrpBridge> bridge_;
};

// What its engine has registered, decided anew. Of the past the model is told what nobody who comes
// late can know: who was first of those that claim the same, and what has been reserved.
std::string Bridge::deviation(const std::map<int, bool>& forwards, Platform::Seconds now) const {
  const Mrp::Streams::StreamPropagation& mine = bridge_->propagation();
  NaiveStreams model(forwards.size());
  std::vector<IntfId> intfs;
  for (const auto& [number, forwarding] : forwards) {
    const IntfId intf = intfs.emplace_back(portId(number));
    NaiveStreams::Port& port = model.ports[intfs.size() - 1];
    port.forwards = forwarding ? std::set{kVlan} : std::set<int>{};
    port.settings = forwarding_.streamPort(intf);
    port.domain = domains(intf);
  }
  std::vector<Claim> claims;
  for (std::size_t p = 0; p < intfs.size(); ++p) {
    for (const auto& [key, octets] : registered(intfs[p])) {
      const auto& [type, id] = key;
      if (type == 3) {
        model.listener(p, id, valueOf<Mrp::MsrpListenerAttribute>(octets).listenerEvent());
      } else {
        const auto value = valueOf<NaiveStreams::Value>(octets);
        claims.push_back({order(value, intfs[p]), p, type == 2, value});
      }
    }
  }
  std::ranges::stable_sort(claims, std::less<>(), &Claim::order);
  for (const Claim& c : claims) model.talker(c.port, c.value, c.failed, now);
  for (const Mrp::StreamState& s : mine.streams()) {
    if (!s.talker) continue;
    for (const Mrp::StreamPortState& p : s.ports) {
      const auto port = static_cast<std::size_t>(std::ranges::find(intfs, p.intf) - intfs.begin());
      if (p.reserved) model.reserved(s.id, port);
      if (p.code == static_cast<std::uint8_t>(Mrp::FailureCode::preempted)) {
        model.preempted(s.id, port);
      }
    }
  }
  model.settle(now);
  return difference(wordsOf(mine, forwarding_, intfs), model.words());
}

// Owners of their addresses before other talkers, those before talkers that wait for another one.
int Bridge::order(const NaiveStreams::Value& talker, IntfId intf) const {
  const Mrp::Streams::StreamPropagation& mine = bridge_->propagation();
  const auto& frame = talker.talkerAdvertiseAttribute.frame;
  const auto state = mine.stream(keyOf(talker));
  if (!state || state->talker != intf) return 2;
  return mine.owner(Platform::VlanId(frame.vlanId), frame.dmac) == state->id ? 0 : 1;
}

// One whose port is down has nobody to tell; it declares when the port is back.
class Station final : public Msrp {
 public:
  Station(Switch& sw, const StreamNetwork::Says& says) : says_(says) {
    startEngine(stationLib(Mrp::MrpApplication::msrp), sw);
  }
  void portUp(IntfId intf) override {
    up_ = true;
    lib().mrpInterfaceEnable(intf);
    for (std::size_t c = Mrp::kSrClasses; c-- > 0;) {
      const Mrp::SrClassInfo& info = Mrp::kSrClassTable[c];
      lib().msrpDomainVectorTxIs({static_cast<std::uint8_t>(info.id), info.priority, info.vid});
      send(4, MrpThreePackedEvent::joinIn);
    }
    for (const auto& [id, value] : says_.talks) request(1, id, MrpThreePackedEvent::newEvent);
    for (const auto& [id, event] : says_.listens) request(3, id, MrpThreePackedEvent::newEvent);
  }
  void portDown(IntfId intf, Down) override {
    up_ = false;
    lib().mrpInterfaceDisable(intf);
  }
  void request(std::uint8_t type, std::uint64_t id, MrpThreePackedEvent event) {
    if (!up_) return;
    if (event == MrpThreePackedEvent::lv) lib().mrpTransmitTxAttributes(portId(1));
    if (type == 1) {
      const auto found = says_.talks.find(id);
      lib().msrpTalkerAdvertiseTx().streamId = id;
      if (found != says_.talks.end()) lib().msrpTalkerAdvertiseTxIs(found->second);
    } else {
      Mrp::MsrpListenerAttribute value;
      value.streamId = id;
      const auto found = says_.listens.find(id);
      if (found != says_.listens.end()) value.listenerEventIs(found->second);
      lib().msrpListenerVectorTxIs(value);
    }
    send(type, event);
  }

 private:
  void send(std::uint8_t type, MrpThreePackedEvent event) {
    const IntfId intf = portId(1);
    lib().mrpOutIntfQueueEnq(intf);
    lib().mrpSendAttribute({.intfId = intf,
                            .attributeType = type,
                            .attributeEvent = static_cast<std::uint8_t>(event)});
  }

  const StreamNetwork::Says& says_;
  bool up_ = false;
};

}  // namespace

StreamNetwork::StreamNetwork(Topology& topology, const WireOptions& fate, std::uint64_t seed,
                             double narrow)
    : Fabric(topology, fate, seed), stations_(static_cast<std::size_t>(topology.stations)) {
  Random random(seed);
  for (std::size_t l = 0; l < topology.links.size(); ++l) {
    narrow_.push_back(random.chance(narrow) ? 1 : 0);
  }
  start([this](int node, Switch& sw) { return make(node, sw); });
}

std::unique_ptr<Application> StreamNetwork::make(int node, Switch& sw) {
  if (!topology().isBridge(node)) {
    const int station = node - topology().bridges;
    return std::make_unique<Station>(sw, stations_[static_cast<std::size_t>(station)]);
  }
  sw.bridgingConfig()->bridgeMacAddrIs(
      Platform::EthAddr::fromNumber(0x020000000000u + static_cast<unsigned>(node) * 256u));
  auto bridge = std::make_unique<Bridge>(sw, told_, fault_);
  for (std::size_t l = 0; l < topology().links.size(); ++l) {
    const Link& link = topology().links[l];
    for (int end : {0, 1}) {
      if (link.node[end] != node) continue;
      const bool between = topology().isBridge(link.node[1 - end]);
      bridge->rateIs(portId(link.port[end]), between && narrow_[l] > 0 ? kNarrow : 10 * kNarrow);
    }
  }
  return bridge;
}

// --- Stations ------------------------------------------------------------------------------------

void StreamNetwork::talk(int station, const Mrp::MsrpTalkerAdvertiseAttribute& value) {
  stations_[static_cast<std::size_t>(station)].talks[keyOf(value)] = value;
  request(station, 1, keyOf(value), MrpThreePackedEvent::newEvent);
}

void StreamNetwork::hush(int station, StreamId id) {
  stations_[static_cast<std::size_t>(station)].talks.erase(id);
  request(station, 1, id, MrpThreePackedEvent::lv);
}

void StreamNetwork::listen(int station, StreamId id, Mrp::MsrpListenerEvent event) {
  stations_[static_cast<std::size_t>(station)].listens[id] = event;
  request(station, 3, id, MrpThreePackedEvent::newEvent);
}

void StreamNetwork::leave(int station, StreamId id) {
  stations_[static_cast<std::size_t>(station)].listens.erase(id);
  request(station, 3, id, MrpThreePackedEvent::lv);
}

void StreamNetwork::request(int station, std::uint8_t type, StreamId id,
                            MrpThreePackedEvent event) {
  static_cast<Station*>(application(topology().bridges + station))->request(type, id, event);
}

// --- Looking on ----------------------------------------------------------------------------------

// A blocked port neither declares nor has what is registered on it looked at.
std::string StreamNetwork::disagreement() const {
  std::ostringstream text;
  for (const Link& l : topology().links) {
    if (!l.up) continue;
    bool forwards = true;
    for (int end : {0, 1}) {
      forwards &= !topology().isBridge(l.node[end]) || forwarding(l.role[end]);
    }
    if (!forwards) continue;
    for (int end : {0, 1}) {
      const auto* from = static_cast<const Msrp*>(application(l.node[end]));
      const auto* to = static_cast<const Msrp*>(application(l.node[1 - end]));
      if (!from || !to) continue;
      const Seen declared = from->declared(portId(l.port[end]));
      const Seen registered = to->registered(portId(l.port[1 - end]));
      if (declared == registered) continue;
      text << "node " << l.node[end] << " declares " << declared.size() << ", node "
           << l.node[1 - end] << " has " << registered.size();
      for (const auto& [key, value] : declared) {
        const auto found = registered.find(key);
        if (found != registered.end() && found->second == value) continue;
        text << (found == registered.end() ? " lacks " : " has another ")
             << static_cast<int>(key.first) << ":" << key.second;
      }
      for (const auto& [key, value] : registered) {
        if (!declared.contains(key)) {
          text << " still has " << static_cast<int>(key.first) << ":" << key.second;
        }
      }
      text << "; ";
    }
  }
  return std::move(text).str();
}

std::string StreamNetwork::inconsistency() const {
  if (!fault_.empty()) return fault_;
  for (int n = 0; n < topology().nodes(); ++n) {
    const auto* msrp = static_cast<const Msrp*>(application(n));
    if (!msrp) continue;
    if (msrp->malformed()) return "node " + std::to_string(n) + ": malformed MRPDU";
    if (!topology().isBridge(n)) continue;
    const std::string faults = static_cast<const Bridge*>(msrp)->review();
    if (!faults.empty()) return "bridge " + std::to_string(n) + ": " + faults;
  }
  return {};
}

std::string StreamNetwork::deviation() const {
  for (int n = 0; n < topology().bridges; ++n) {
    const auto* bridge = static_cast<const Bridge*>(application(n));
    if (!bridge) continue;
    std::map<int, bool> forwards;
    for (const Link& l : topology().links) {
      for (int end : {0, 1}) {
        if (l.node[end] == n) forwards[l.port[end]] = l.up && forwarding(l.role[end]);
      }
    }
    const std::string text = bridge->deviation(forwards, clock().now());
    if (!text.empty()) return "bridge " + std::to_string(n) + " " + text;
  }
  return {};
}

// Whoever has the talker counts with what it says, or as not served behind a failed one.
std::string StreamNetwork::unheard() const {
  const auto station = [this](std::size_t s) {
    return static_cast<const Msrp*>(application(topology().bridges + static_cast<int>(s)));
  };
  std::ostringstream text;
  using enum Mrp::MsrpListenerEvent;
  for (std::size_t t = 0; t < stations_.size(); ++t) {
    const Seen heard = station(t)->registered(portId(1));
    for (const auto& [id, value] : stations_[t].talks) {
      bool served = false, unserved = false;
      for (std::size_t l = 0; l < stations_.size(); ++l) {
        const Seen says = station(l)->declared(portId(1));
        const auto listens = says.find({3, id});
        if (l == t || listens == says.end()) continue;
        const auto event = valueOf<Mrp::MsrpListenerAttribute>(listens->second).listenerEvent();
        const Seen seen = station(l)->registered(portId(1));
        const bool advertised = seen.contains({1, id}), failed = seen.contains({2, id});
        served |= advertised && event != askingFailed;
        unserved |= failed || (advertised && event != ready);
      }
      const Mrp::MsrpListenerEvent expected =
          served ? (unserved ? readyFailed : ready) : (unserved ? askingFailed : ignore);
      const auto found = heard.find({3, id});
      const auto event = found == heard.end()
                             ? ignore
                             : valueOf<Mrp::MsrpListenerAttribute>(found->second).listenerEvent();
      if (event == expected) continue;
      text << "the talker of " << id << " hears " << static_cast<int>(event) << " for "
           << static_cast<int>(expected) << "; ";
    }
  }
  return std::move(text).str();
}

std::vector<StreamNetwork::Seen> StreamNetwork::registered() const {
  std::vector<Seen> all;
  for (const Link& l : topology().links) {
    for (int end : {0, 1}) {
      const auto* msrp = static_cast<const Msrp*>(application(l.node[end]));
      if (msrp) all.push_back(msrp->registered(portId(l.port[end])));
    }
  }
  return all;
}

std::uint64_t StreamNetwork::leaves() const {
  std::uint64_t sum = 0;
  for (int n = 0; n < topology().nodes(); ++n) {
    if (const auto* msrp = static_cast<const Msrp*>(application(n))) sum += msrp->leaves();
  }
  return sum;
}

std::size_t StreamNetwork::reservations() const {
  std::size_t sum = 0;
  for (int n = 0; n < topology().bridges; ++n) {
    if (const auto* bridge = static_cast<const Bridge*>(application(n))) {
      sum += bridge->reservations();
    }
  }
  return sum;
}

}  // namespace Sim
