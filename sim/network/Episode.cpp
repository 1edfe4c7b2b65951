#include "sim/network/Episode.h"

#include <algorithm>
#include <ostream>
#include <string>

namespace Sim {

WireOptions drawFate(Random& random, const Faults& faults) {
  WireOptions fate;
  fate.delay = random.between(1e-6, 5e-3);
  if (random.chance(faults.lossy)) fate.loss = random.between(0, faults.most);
  if (random.chance(0.5)) fate.duplication = random.between(0, faults.most);
  if (random.chance(0.5)) fate.reordering = random.between(0, faults.most);
  fate.reorderingDelay = random.between(1e-3, faults.longestDelay);
  return fate;
}

Storm::Storm(std::uint64_t frames, double at)
    : std::runtime_error("a storm: " + std::to_string(frames) + " frames sent by " +
                         std::to_string(at) + " s") {}

void Episode::tell(const std::string& text) {
  if (story_) *story_ << now() << " s: " << text << '\n';
}

void Episode::later(double seconds, std::function<void()> what) {
  pending_.emplace(now() + seconds, std::move(what));
}

void Episode::runUntil(double end) {
  while (!pending_.empty() && pending_.begin()->first <= end) {
    auto due = pending_.extract(pending_.begin());
    advance(due.key());
    due.mapped()();
  }
  advance(end);
}

void Episode::runOut() {
  while (!pending_.empty()) runUntil(pending_.begin()->first);
}

// In steps shorter than a storm takes to grow.
void Episode::advance(double end) {
  constexpr double kStep = 0.02;
  constexpr std::uint64_t kMostFrames = 10'000'000;  // twice what the busiest network is known for
  // The clock's own now is rounded, and may never be the end.
  double at = now();
  do {
    at = std::min(end, at + kStep);
    network_.clock().runUntil(at);
    if (network_.framesSent() > kMostFrames) throw Storm(network_.framesSent(), at);
  } while (at < end);
  if (look_) look_();
}

void Episode::rolesFollow() {
  network_.topology().spanningTree();
  network_.applyRoles();
}

void Episode::fail(const std::string& what) {
  if (failed()) return;
  outcome_.failure = what;
  tell(what);
}

Outcome Episode::finished() {
  outcome_.virtualSeconds = now();
  outcome_.frames = network_.framesSent();
  outcome_.lost = network_.framesLost();
  return outcome_;
}

}  // namespace Sim
