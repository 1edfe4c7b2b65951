#include "sim/mvrp/Table.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <vector>

#include "sim/mvrp/Network.h"
#include "sim/mvrp/Run.h"

namespace Sim {
namespace {

constexpr Shape kMeasured[] = {Shape::line, Shape::star, Shape::ring};
constexpr double kLosses[] = {0, 0.01, 0.05, 0.1, 0.2, 0.3};
constexpr int kBridges = 8;
constexpr int kStations = 3;
constexpr double kStep = 0.02;
constexpr double kGiveUp = 3600;

struct Times {
  std::vector<double> join, leave, failover;
};

// A quiet network, in which every station then declares a VLAN of its own; later a link breaks that
// the first two need, where there is another way; then all is withdrawn.
class Experiment {
 public:
  Experiment(Shape shape, double loss, std::uint64_t seed)
      : random_(seed),
        shape_(shape),
        topology_(shape, kBridges, kStations, random_),
        network_(topology_, {.delay = 1e-3, .loss = loss}, seed) {
    network_.applyRoles();
    network_.clock().run(random_.between(15, 30));
  }

  void measure(Times& times) {
    for (int s = 0; s < kStations; ++s) {
      network_.declare(s, static_cast<std::uint16_t>(100 + s), false);
    }
    times.join.push_back(untilRight());
    if (shape_ == Shape::ring) {
      network_.clock().run(random_.between(0, kPeriod));
      untilRight();
      network_.linkDown(0, Down::vanished);
      topology_.spanningTree();
      network_.applyRoles();
      times.failover.push_back(until([this] { return nothingLacks(); }));
    }
    for (int s = 0; s < kStations; ++s) network_.withdraw(s, static_cast<std::uint16_t>(100 + s));
    times.leave.push_back(untilRight());
  }

 private:
  template <class Condition>
  double until(Condition holds) {
    const double begin = network_.clock().now().value();
    double took = 0;
    while (took < kGiveUp && !holds()) {
      network_.clock().run(kStep);
      took = network_.clock().now().value() - begin;
    }
    return took;
  }
  double untilRight() {
    const auto expected = topology_.reach(network_.declared());
    return until([&] { return network_.registered() == expected; });
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

void cell(std::vector<double>& times, std::ostream& out) {
  if (times.empty()) {
    out << " | – | –";
    return;
  }
  std::sort(times.begin(), times.end());
  for (const double time : {times[times.size() / 2], times.back()}) {
    out << " | " << (time >= kGiveUp ? "> " : "") << std::setprecision(2) << time << " ("
        << std::setprecision(1) << time / kPeriod << ")";
  }
}

}  // namespace

void table(int seeds, std::ostream& out) {
  out << std::fixed
      << "| shape | loss | join, median | worst | leave, median | worst | switch-over, median | "
         "worst |\n|---|---|---|---|---|---|---|---|\n";
  for (const Shape shape : kMeasured) {
    for (const double loss : kLosses) {
      Times times;
      for (int seed = 1; seed <= seeds; ++seed) {
        Experiment(shape, loss, static_cast<std::uint64_t>(seed)).measure(times);
      }
      out << "| " << nameOf(shape) << " | " << std::lround(loss * 100) << " %";
      for (auto* of : {&times.join, &times.leave, &times.failover}) cell(*of, out);
      out << " |" << std::endl;
    }
  }
}

}  // namespace Sim
