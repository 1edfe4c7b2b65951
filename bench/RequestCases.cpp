// The application's own declarations, and what it declares on because a neighbour did.

#include "bench/Cases.h"
#include "bench/Network.h"
#include "bench/baseline.h"

namespace Bench {
namespace {

using Mrp::MrpParameters;
using Mrp::MrpRegistrarState;
using Mrp::MrpThreePackedEvent;

// Between ticks of the engine's timers, so that reviews and packets do not meet in one of them.
constexpr double kOffTick = 0.05;

// What is registered on one port is declared on all others.
class PropagatingLib final : public Mrp::MrpLib {
 public:
  void portsAre(const std::vector<IntfId>& ports) { ports_ = ports; }

 private:
  bool mrpJoinIndication(const MrpParameters& parameters) override {
    declare(parameters, MrpThreePackedEvent::joinIn);
    return false;
  }
  void mrpLeaveIndication(const MrpParameters& parameters) override {
    declare(parameters, MrpThreePackedEvent::lv);
  }
  void declare(const MrpParameters& parameters, MrpThreePackedEvent event) {
    mvrpVlanVectorTxIs(mvrpVlanVectorRx());
    MrpParameters request = parameters;
    request.attributeEvent = static_cast<std::uint8_t>(event);
    for (const IntfId port : ports_) {
      if (port == parameters.intfId) continue;
      request.intfId = port;
      mrpOutIntfQueueEnq(port);
      mrpSendAttribute(request);
    }
  }

  std::vector<IntfId> ports_;
};

}  // namespace

// VLANs that a port does not know, on ports beside those that are populated. A repetition takes
// some of these ports, the next one others. Each has declared and withdrawn them before, so that
// the kernel's first page faults are not what is measured.
std::vector<Row> declare(int rounds) {
  constexpr std::size_t kAtOnce = 64;
  constexpr std::size_t kAttributes = kAtOnce * kVlans;
  std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  Network network(MrpApplication::mvrp, 2 * kPorts);
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  for (std::size_t i = 0; i < kPorts; ++i) network.receive(network.ports()[i], join);
  network.run(1.0);
  const auto requestAll = [&](std::size_t first, MrpThreePackedEvent event) {
    for (std::size_t i = first; i < first + kAtOnce; ++i) {
      for (std::uint16_t vlan = 1; vlan <= kVlans; ++vlan) {
        network.request(network.ports()[i], vlan, event);
      }
    }
  };
  const auto withdrawAll = [&](std::size_t first) {
    network.run(3.0);
    requestAll(first, MrpThreePackedEvent::lv);
    network.run(3.0);
    check(network.attributes() == kPorts * kVlans && network.pending() == 0, "VLANs withdrawn");
  };
  for (std::size_t first = kPorts; first < 2 * kPorts; first += kAtOnce) {
    requestAll(first, MrpThreePackedEvent::joinIn);
    withdrawAll(first);
  }
  LeaveAllBaseline baseline;
  Rounds row("declare");
  for (int i = 0; i < rounds; ++i) {
    const std::size_t map = static_cast<std::size_t>(i) * kAtOnce % kPorts;
    const std::size_t first = kPorts + map;
    network.runUntil(network.nextTick() + Seconds(kOffTick));
    network.takeSent();
    const double base = cpuNs([&] {
      for (std::size_t port = map; port < map + kAtOnce; ++port) baseline.walk(maps[port]);
    });
    const double ns = cpuNs([&] {
      requestAll(first, MrpThreePackedEvent::joinIn);
      network.runUntil(network.nextTick());
    });
    const Network::Sent sent = network.takeSent();
    check(sent.frames == 2 * kAtOnce && sent.values == 2 * kAttributes, "both packets sent");
    row.add(base / kAttributes, ns / kAttributes);
    withdrawAll(first);
  }
  return {row.row()};
}

namespace {

constexpr std::size_t kOthers = kPorts - 1;

// All VLANs up to 4094 but those of `missing` are registered on every port; what registers there
// from now on is declared on all others.
class PropagatingNetwork {
 public:
  struct Missing {
    std::uint16_t first;
    std::uint16_t step;
    std::uint16_t count;
  };
  explicit PropagatingNetwork(const Missing& missing)
      : lib_(Platform::makePtr<PropagatingLib>()),
        network_(MrpApplication::mvrp, kPorts,
                 {.standby = false, .leaveAllTime = 1e6, .lib = lib_, .status = {}}) {
    lib_->hasNotificationActiveIs(true);
    std::uint16_t from = 1;
    for (std::uint16_t vlan = missing.first; vlan <= kVlans; vlan += missing.step) {
      populate(from, vlan);
      from = vlan + missing.count;
    }
    populate(from, kVlans + 1);
    network_.run(1.0);
    populated_ = network_.attributes();
    check(network_.registered(MrpRegistrarState::in) == populated_, "VLANs registered");
    lib_->portsAre(network_.ports());
  }

  // Nanoseconds for a declaration when `count` VLANs from `first` on join on one port, everything
  // to the frames of the other ports. They leave again, which is not measured.
  double joinNs(std::size_t port, std::uint16_t first, std::uint16_t count) {
    const IntfId joined = network_.ports()[port];
    network_.runUntil(network_.nextTick() + Seconds(kOffTick));
    network_.takeSent();
    const Octets join = vlanFrame(first, count, kJoinIn);
    const double ns = cpuNs([&] {
      network_.receive(joined, join);
      network_.runUntil(network_.nextTick());
    });
    const Network::Sent sent = network_.takeSent();
    check(sent.frames == 2 * kOthers && sent.values == 2 * kOthers * count, "both packets sent");
    check(network_.attributes() == populated_ + kPorts * count, "VLANs declared everywhere");
    network_.run(3.0);
    network_.receive(joined, vlanFrame(first, count, kLv));
    network_.run(3.0);
    check(network_.attributes() == populated_ && network_.pending() == 0, "VLANs withdrawn");
    return ns / static_cast<double>(kOthers * count);
  }

 private:
  void populate(std::uint16_t from, std::uint16_t end) {
    if (from < end) {
      network_.receiveOnAll(vlanFrame(from, static_cast<std::uint16_t>(end - from), kJoinIn));
    }
  }

  Ptr<PropagatingLib> lib_;
  Network network_;
  std::size_t populated_ = 0;
};

// A port that differs from repetition to repetition.
std::size_t somePort(std::size_t i) { return i * 37 % kPorts; }

// One VLAN at a time. Everything that a port keeps has left the caches since the one before, of the
// baseline as of the engine.
Row propagateOne(int rounds, const std::vector<PlainMap>& maps, ReceiveBaseline& baseline) {
  constexpr std::uint16_t kStep = 256;
  PropagatingNetwork network({.first = kStep, .step = kStep, .count = 1});
  const Octets packed = packedEvents(kPorts, kJoinIn);
  Rounds row("propagate");
  for (int i = 0; i < rounds; ++i) {
    double base = 0;
    double ns = 0;
    std::size_t joins = 0;
    for (std::uint16_t vlan = kStep; vlan <= kVlans; vlan += kStep, ++joins) {
      base += cpuNs([&] { baseline.acrossMaps(maps, vlan, packed); });
      ns += network.joinNs(somePort(joins + static_cast<std::size_t>(i)), vlan, 1);
    }
    const auto divisor = static_cast<double>(joins);
    row.add(base / (divisor * kPorts), ns / divisor);
  }
  return row.row();
}

// A quarter of all VLANs in one vector, for a VLAN and port.
Row propagateVector(int rounds, const std::vector<PlainMap>& maps, ReceiveBaseline& baseline) {
  constexpr std::uint16_t kQuarter = kVlans / 4;
  PropagatingNetwork network({.first = kQuarter + 1, .step = kVlans, .count = kQuarter});
  const Octets packed = packedEvents(kQuarter, kJoinIn);
  Rounds row("propagate/vector");
  for (int i = 0; i < rounds; ++i) {
    const double base = cpuNs([&] {
      for (const PlainMap& map : maps) baseline.pdu(map, kQuarter + 1, packed, kQuarter);
    });
    row.add(base / (static_cast<double>(kPorts) * kQuarter),
            network.joinNs(somePort(static_cast<std::size_t>(i)), kQuarter + 1, kQuarter));
  }
  return row.row();
}

}  // namespace

std::vector<Row> propagate(int rounds) {
  const std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  ReceiveBaseline baseline(kVlans);
  return {propagateOne(rounds, maps, baseline), propagateVector(rounds, maps, baseline)};
}

}  // namespace Bench
