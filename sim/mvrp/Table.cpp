#include "sim/mvrp/Table.h"

#include <algorithm>

#include "sim/mvrp/Network.h"
#include "sim/mvrp/Run.h"
#include "sim/network/LossTable.h"

namespace Sim {
namespace {

// A quiet network, in which every station then declares a VLAN of its own; later a link breaks that
// the first two need, where there is another way; then all is withdrawn.
class Experiment {
 public:
  Experiment(Shape shape, double loss, std::uint64_t seed)
      : random_(seed),
        shape_(shape),
        topology_(shape, kTableBridges, kTableStations, random_),
        network_(topology_, {.delay = 1e-3, .loss = loss}, seed) {
    network_.applyRoles();
    network_.clock().run(random_.between(15, 30));
  }

  void measure(Times& times) {
    for (int s = 0; s < kTableStations; ++s) {
      network_.declare(s, static_cast<std::uint16_t>(100 + s), false);
    }
    times.join.push_back(untilRight());
    if (shape_ == Shape::ring) {
      network_.clock().run(random_.between(0, kPeriod));
      untilRight();
      network_.linkDown(0, Down::vanished);
      topology_.spanningTree();
      network_.applyRoles();
      times.failover.push_back(timeUntil(network_, [this] { return nothingLacks(); }));
    }
    for (int s = 0; s < kTableStations; ++s)
      network_.withdraw(s, static_cast<std::uint16_t>(100 + s));
    times.leave.push_back(untilRight());
  }

 private:
  double untilRight() {
    const auto expected = topology_.reach(network_.declared());
    return timeUntil(network_, [&] { return network_.registered() == expected; });
  }
  bool nothingLacks() const {
    const auto want = topology_.reach(network_.declared()), have = network_.registered();
    for (std::size_t l = 0; l < want.size(); ++l) {
      for (int end : {0, 1}) {
        const Vlans &needed = want[l].end[end], &there = have[l].end[end];
        if (!std::includes(there.begin(), there.end(), needed.begin(), needed.end())) return false;
      }
    }
    return true;
  }

  Random random_;
  Shape shape_;
  Topology topology_;
  Network network_;
};

}  // namespace

void table(int seeds, std::ostream& out) { lossTable<Experiment>(seeds, "join", out); }

}  // namespace Sim
