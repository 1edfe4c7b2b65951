// The application's own declarations.

#include "bench/Cases.h"
#include "bench/DeclaringNetwork.h"
#include "bench/baseline.h"

namespace Bench {

using Mrp::MrpThreePackedEvent;

DeclaringNetwork::DeclaringNetwork(const Extent& extent)
    : populated_(extent.ports),
      atOnce_(extent.share(64)),
      network_(MrpApplication::mvrp, 2 * extent.ports) {
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  for (std::size_t i = 0; i < populated_; ++i) network_.receive(network_.ports()[i], join);
  network_.run(1.0);
  for (std::size_t first = 0; first < populated_; first += atOnce_) {
    requestAll(first, MrpThreePackedEvent::joinIn);
    withdrawAll(first);
  }
}

void DeclaringNetwork::requestAll(std::size_t first, MrpThreePackedEvent event) {
  for (std::size_t i = first; i < first + atOnce_; ++i) {
    for (std::uint16_t vlan = 1; vlan <= kVlans; ++vlan) {
      network_.request(network_.ports()[populated_ + i], vlan, event);
    }
  }
}

void DeclaringNetwork::withdrawAll(std::size_t first) {
  network_.run(3.0);
  requestAll(first, MrpThreePackedEvent::lv);
  network_.run(3.0);
  check(network_.attributes() == populated_ * kVlans && network_.pending() == 0, "VLANs withdrawn");
}

Cost DeclaringNetwork::declare(std::size_t first) {
  const std::size_t attributes = atOnce_ * kVlans;
  network_.runUntil(network_.nextTick() + Seconds(kOffTick));
  network_.takeSent();
  const Cost cost = measured([&] {
    requestAll(first, MrpThreePackedEvent::joinIn);
    network_.runUntil(network_.nextTick());
  });
  const Network::Sent sent = network_.takeSent();
  check(sent.frames == 2 * atOnce_ && sent.values == 2 * attributes, "both packets sent");
  withdrawAll(first);
  return cost / static_cast<double>(attributes);
}

std::vector<Row> declare(const Extent& extent) {
  std::vector<PlainMap> maps = plainMaps(extent.ports, 1, kVlans);
  DeclaringNetwork network(extent);
  LeaveAllBaseline baseline;
  Rounds row("declare");
  for (int i = 0; i < extent.rounds; ++i) {
    const std::size_t first = static_cast<std::size_t>(i) * network.atOnce() % extent.ports;
    const Cost base = measured([&] {
      for (std::size_t port = first; port < first + network.atOnce(); ++port) {
        baseline.walk(maps[port]);
      }
    });
    row.add(base / static_cast<double>(network.atOnce() * kVlans), network.declare(first));
  }
  return {row.row()};
}

}  // namespace Bench
