#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <stdexcept>

#include "sim/network/Fabric.h"
#include "sim/network/Outcome.h"

namespace Sim {

// What a simulation's links do to frames, drawn: `most` is the highest probability of a loss, a
// duplication and a reordering each.
struct Faults {
  double lossy;  // probability that frames are lost at all
  double most;
  double longestDelay;  // of a reordered frame, in seconds
};
WireOptions drawFate(Random& random, const Faults& faults);

// Frames beget frames: thrown before they have taken all memory.
class Storm : public std::runtime_error {
 public:
  Storm(std::uint64_t frames, double at);
};

// The course of one simulation: what happens when, told to whoever listens, until it is judged.
class Episode {
 public:
  // Both outlive it. `story` may be null.
  Episode(Fabric& network, std::ostream* story) : network_(network), story_(story) {}

  double now() const { return network_.clock().now().value(); }
  void tell(const std::string& text);

  void later(double seconds, std::function<void()> what);
  // Runs to a moment, doing what is due on the way. Throws Storm.
  void runUntil(double end);
  // Runs until nothing is due any more.
  void runOut();
  // Looked at after every step.
  void onStep(std::function<void()> look) { look_ = std::move(look); }

  // The tree's roles for the links as they are, in effect at this instant.
  void rolesFollow();

  // The first failure is the one that counts.
  void fail(const std::string& what);
  bool failed() const { return !outcome_.failure.empty(); }
  Outcome& outcome() { return outcome_; }
  // The outcome, with what the network counted.
  Outcome finished();

 private:
  void advance(double end);

  Fabric& network_;
  std::ostream* story_;
  std::function<void()> look_;
  std::multimap<double, std::function<void()>> pending_;
  Outcome outcome_;
};

}  // namespace Sim
