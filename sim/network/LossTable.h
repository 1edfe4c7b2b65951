#pragma once

#include <functional>
#include <iosfwd>
#include <vector>

#include "sim/network/Fabric.h"

namespace Sim {

// How long changes of a network take to reach everybody, in seconds.
struct Times {
  std::vector<double> join, leave, failover;
};

// The networks that are measured.
inline constexpr int kTableBridges = 8;
inline constexpr int kTableStations = 3;
inline constexpr double kGiveUp = 3600;
inline constexpr double kTableStep = 0.02;

// Runs a network until something holds, in steps; gives the time that took, or kGiveUp.
template <class Condition>
double timeUntil(Fabric& network, Condition holds) {
  const double begin = network.clock().now().value();
  double took = 0;
  while (took < kGiveUp && !holds()) {
    network.clock().run(kTableStep);
    took = network.clock().now().value() - begin;
  }
  return took;
}

// Adds what one run measures to the times of its cell.
using Measure = std::function<void(Shape shape, double loss, std::uint64_t seed, Times& times)>;

// Measures while the links go on losing frames, and prints the Markdown table of
// docs/reliability.md. `seeds` runs for each cell; `change` names what `join` is.
void lossTable(int seeds, const char* change, const Measure& measure, std::ostream& out);
template <class Experiment>
void lossTable(int seeds, const char* change, std::ostream& out) {
  lossTable(
      seeds, change,
      [](Shape shape, double loss, std::uint64_t seed, Times& times) {
        Experiment(shape, loss, seed).measure(times);
      },
      out);
}

}  // namespace Sim
