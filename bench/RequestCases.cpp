// The application's own declarations, and what it declares on because a neighbour did.

#include "bench/Cases.h"
#include "bench/Network.h"
#include "bench/baseline.h"

namespace Bench {
namespace {

using Mrp::MrpParameters;
using Mrp::MrpRegistrarState;
using Mrp::MrpThreePackedEvent;

constexpr std::size_t kSparePorts = 64;
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

// VLANs that a port does not know yet, on ports beside those that are populated.
std::vector<Row> declare(int rounds) {
  constexpr std::size_t kAttributes = kSparePorts * kVlans;
  Network network(MrpApplication::mvrp, kPorts + kSparePorts);
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  for (std::size_t i = 0; i < kPorts; ++i) network.receive(network.ports()[i], join);
  network.run(1.0);
  const std::vector<IntfId> ports(network.ports().begin() + kPorts, network.ports().end());
  const auto requestAll = [&](MrpThreePackedEvent event) {
    for (const IntfId port : ports) {
      for (std::uint16_t vlan = 1; vlan <= kVlans; ++vlan) network.request(port, vlan, event);
    }
  };
  std::vector<PlainMap> maps = plainMaps(kPorts + kSparePorts, 1, kVlans);
  LeaveAllBaseline baseline;
  Rounds row("declare");
  for (int i = 0; i < rounds; ++i) {
    network.runUntil(network.nextTick() + Seconds(kOffTick));
    network.takeSent();
    const double base = cpuNs([&] {
      for (std::size_t port = kPorts; port < maps.size(); ++port) baseline.walk(maps[port]);
    });
    const double ns = cpuNs([&] {
      requestAll(MrpThreePackedEvent::joinIn);
      network.runUntil(network.nextTick());
    });
    const Network::Sent sent = network.takeSent();
    check(sent.frames == 2 * kSparePorts && sent.values == 2 * kAttributes, "both packets sent");
    row.add(base / kAttributes, ns / kAttributes);
    network.run(3.0);
    requestAll(MrpThreePackedEvent::lv);
    network.run(3.0);
    check(network.attributes() == kPorts * kVlans && network.pending() == 0, "VLANs withdrawn");
  }
  return {row.row()};
}

// VLANs across the table join one after the other, each in a frame of its own, with all others
// registered everywhere.
std::vector<Row> propagate(int rounds) {
  constexpr std::uint16_t kStep = 256;  // every one of these VLANs is missing at first
  auto lib = Platform::makePtr<PropagatingLib>();
  lib->hasNotificationActiveIs(true);
  Network network(MrpApplication::mvrp, kPorts,
                  {.standby = false, .leaveAllTime = 1e6, .lib = lib, .status = {}});
  for (std::uint16_t first = 1; first < kVlans; first += kStep) {
    const auto count = std::min<std::uint16_t>(kStep - 1, kVlans + 1 - first);
    network.receiveOnAll(vlanFrame(first, count, kJoinIn));
  }
  network.run(1.0);
  const std::size_t populated = network.attributes();
  check(network.registered(MrpRegistrarState::in) == populated, "VLANs registered");
  lib->portsAre(network.ports());

  std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  ReceiveBaseline baseline(kVlans);
  const Octets one = packedEvents(1, kJoinIn);
  const Octets all = packedEvents(kVlans, kJoinIn);
  constexpr std::size_t kOthers = kPorts - 1;
  Rounds row("propagate");
  Rounds inOrder("propagate/against-R-in-order");
  Rounds withSending("propagate/with-sending");
  for (int i = 0; i < rounds; ++i) {
    const double ordered = cpuNs([&] {
      for (const PlainMap& map : maps) baseline.pdu(map, 1, all, kVlans);
    });
    double base = 0;
    double declaring = 0;
    double sending = 0;
    std::size_t joins = 0;
    for (std::uint16_t vlan = kStep; vlan < kVlans; vlan += kStep, ++joins) {
      const IntfId port = network.ports()[(joins * 37 + static_cast<std::size_t>(i)) % kPorts];
      network.runUntil(network.nextTick() + Seconds(kOffTick));
      network.takeSent();
      base += cpuNs([&] {
        for (const PlainMap& map : maps) baseline.pdu(map, vlan, one, 1);
      });
      const Octets join = vlanFrame(vlan, 1, kJoinIn);
      declaring += cpuNs([&] { network.receive(port, join); });
      sending += cpuNs([&] { network.runUntil(network.nextTick()); });
      const Network::Sent sent = network.takeSent();
      check(sent.frames == 2 * kOthers && sent.values == 2 * kOthers, "both packets sent");
      check(network.attributes() == populated + kPorts, "VLAN declared everywhere");
      network.run(3.0);
      network.receive(port, vlanFrame(vlan, 1, kLv));
      network.run(3.0);
      check(network.attributes() == populated && network.pending() == 0, "VLAN withdrawn");
    }
    const auto declared = static_cast<double>(joins * kOthers);
    const double ports = static_cast<double>(joins * kPorts);
    row.add(base / ports, declaring / declared);
    withSending.add(base / ports, (declaring + sending) / declared);
    inOrder.add(ordered / (static_cast<double>(kPorts) * kVlans), declaring / declared);
  }
  return {row.row(), inOrder.row(), withSending.row()};
}

}  // namespace Bench
