// What is declared on all other ports because a neighbour on one port declares it.

#include "agent/mvrp/MvrpBridge.h"
#include "bench/Cases.h"
#include "bench/DeclaringNetwork.h"
#include "bench/Network.h"
#include "bench/baseline.h"

namespace Bench {
namespace {

using Mrp::MrpParameters;
using Mrp::MrpThreePackedEvent;

// The least that an application can do: what is registered on one port is declared on all others.
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

// For a declaration, when `count` VLANs from `first` on join on one port and are declared on all
// others, everything to the frames of those. They leave again, which is not measured.
Cost joinOn(Network& network, IntfId joined, std::uint16_t first, std::uint16_t count) {
  const std::size_t before = network.attributes();
  const std::size_t others = network.ports().size() - 1;
  network.runUntil(network.nextTick() + Seconds(kOffTick));
  network.takeSent();
  const Octets join = vlanFrame(first, count, kJoinIn);
  const Cost cost = measured([&] {
    network.receive(joined, join);
    network.runUntil(network.nextTick());
  });
  const Network::Sent sent = network.takeSent();
  check(sent.frames == 2 * others && sent.values == 2 * others * count, "both packets sent");
  check(network.attributes() == before + (others + 1) * count, "VLANs declared everywhere");
  network.run(3.0);
  network.receive(joined, vlanFrame(first, count, kLv));
  network.run(3.0);
  check(network.attributes() == before && network.pending() == 0, "VLANs withdrawn");
  return cost / static_cast<double>(others * count);
}

// A port that differs from repetition to repetition.
IntfId somePort(const Network& network, std::size_t i) {
  return network.ports()[i * 37 % network.ports().size()];
}

constexpr std::uint16_t kStep = 256;

}  // namespace

// One VLAN at a time, where all those but every 256th are registered on every port. Everything that
// a port keeps has left the caches since the one before, of the baseline as of the engine.
std::vector<Row> propagate(const Extent& extent) {
  const std::vector<PlainMap> maps = plainMaps(extent.ports, 1, kVlans);
  ReceiveBaseline baseline(kVlans);
  const auto lib = Platform::makePtr<PropagatingLib>();
  lib->hasNotificationActiveIs(true);
  Network network(MrpApplication::mvrp, extent.ports, {.lib = lib, .status = {}});
  std::size_t populated = 0;
  for (std::uint16_t first = 1; first <= kVlans; first += kStep) {
    const auto count = static_cast<std::uint16_t>(std::min(kStep - 1, kVlans + 1 - first));
    network.receiveOnAll(vlanFrame(first, count, kJoinIn));
    populated += extent.ports * count;
  }
  network.run(1.0);
  check(network.registered() == populated, "VLANs registered");
  lib->portsAre(network.ports());

  const Octets packed = packedEvents(extent.ports, kJoinIn);
  Rounds row("propagate");
  for (int i = 0; i < extent.rounds; ++i) {
    Cost base;
    Cost cost;
    std::size_t joins = 0;
    for (std::uint16_t vlan = kStep; vlan <= kVlans; vlan += kStep, ++joins) {
      base += measured([&] { baseline.acrossMaps(maps, vlan, packed); });
      cost += joinOn(network, somePort(network, joins + static_cast<std::size_t>(i)), vlan, 1);
    }
    const auto divisor = static_cast<double>(joins);
    row.add(base / (divisor * static_cast<double>(extent.ports)), cost / divisor);
  }
  return {row.row()};
}

// All VLANs in one vector, through the bridge; against `declare`, which is the same declarations
// without the frame and the bridge.
std::vector<Row> propagateVector(const Extent& extent) {
  DeclaringNetwork declaring(extent);
  const auto bridge = Platform::makePtr<Mrp::MvrpBridge>();
  Network network(MrpApplication::mvrp, extent.ports,
                  {.lib = bridge, .status = {}, .spanningTree = false});
  bridge->start();
  for (const IntfId port : network.ports()) bridge->portIs(port);
  joinOn(network, network.ports().front(), 1, kVlans);  // the kernel's first page faults
  Rounds row("propagate/vector");
  for (int i = 0; i < extent.rounds; ++i) {
    const auto number = static_cast<std::size_t>(i);
    const Cost base = declaring.declare(number * declaring.atOnce() % extent.ports);
    row.add(base, joinOn(network, somePort(network, number), 1, kVlans));
  }
  return {row.row()};
}

}  // namespace Bench
