#include "sim/msrp/StreamRun.h"

#include <functional>
#include <iterator>
#include <map>
#include <ostream>

#include "sim/msrp/StreamNetwork.h"

namespace Sim {
namespace {

constexpr int kLargeEvery = 50;
constexpr int kLargest = 100;
constexpr std::uint64_t kAddresses = 0x91e0f0000000;

class StreamSimulation {
 public:
  StreamSimulation(std::uint64_t seed, std::ostream* story)
      : random_(seed),
        bridges_(seed % kLargeEvery == 0 ? kLargest : 1 + static_cast<int>(random_.below(8))),
        topology_(kShapes[seed % std::size(kShapes)], bridges_,
                  3 + static_cast<int>(random_.below(5)), random_),
        fate_(drawFate()),
        network_(topology_, fate_, seed, random_.between(0, 1)),
        story_(story) {
    rolesFollow();
    tell("loss " + std::to_string(fate_.loss) + ", " + std::to_string(bridges_) + " bridges");
  }

  Outcome outcome() {
    disturb();
    while (!pending_.empty()) runUntil(pending_.begin()->first);
    rolesFollow();
    outcome_.diameter = topology_.diameter();
    expectConvergence();
    if (outcome_.failure.empty()) expectQuiet();
    outcome_.virtualSeconds = now();
    outcome_.frames = network_.framesSent();
    outcome_.lost = network_.framesLost();
    return outcome_;
  }

 private:
  double now() { return network_.clock().now().value(); }
  void tell(const std::string& text) {
    if (story_) *story_ << now() << " s: " << text << '\n';
  }

  WireOptions drawFate() {
    WireOptions fate;
    fate.delay = random_.between(1e-6, 5e-3);
    if (random_.chance(0.7)) fate.loss = random_.between(0, 0.2);
    if (random_.chance(0.5)) fate.duplication = random_.between(0, 0.2);
    if (random_.chance(0.5)) fate.reordering = random_.between(0, 0.2);
    fate.reorderingDelay = random_.between(1e-3, 0.3);
    return fate;
  }

  void later(double seconds, std::function<void()> what) {
    pending_.emplace(now() + seconds, std::move(what));
  }
  void runUntil(double end) {
    while (!pending_.empty() && pending_.begin()->first <= end) {
      auto due = pending_.extract(pending_.begin());
      advance(due.key());
      due.mapped()();
    }
    advance(end);
  }
  void advance(double end) {
    network_.clock().runUntil(end);
    if (const std::string what = network_.inconsistency(); !what.empty()) fail(what);
  }

  // --- Disturbances ------------------------------------------------------------------------------

  void disturb() {
    const double end = random_.between(15, 40);
    while (now() < end && outcome_.failure.empty()) {
      const std::uint64_t kind = random_.below(20);
      if (kind < 15) {
        stationActs(static_cast<int>(random_.below(network_.stations().size())));
      } else if (kind < 19) {
        flap(static_cast<int>(random_.below(topology_.links.size())));
      } else {
        const int bridge = static_cast<int>(random_.below(static_cast<unsigned>(bridges_)));
        tell("bridge " + std::to_string(bridge) + " restarts its agent");
        network_.restart(bridge);
      }
      runUntil(now() + random_.between(0, 1));
    }
  }

  void stationActs(int s) {
    const StreamNetwork::Says& station = network_.stations()[static_cast<std::size_t>(s)];
    const std::uint64_t id = 1 + random_.below(8);
    if (random_.chance(0.4)) {
      // A stream has its own station, now and then a second one.
      const auto home = static_cast<int>(id % network_.stations().size());
      if (!random_.chance(0.1)) s = home;
      const bool leaves = network_.stations()[static_cast<std::size_t>(s)].talks.contains(id) &&
                          random_.chance(0.6);
      tell("station " + std::to_string(s) + (leaves ? " hushes " : " talks ") + std::to_string(id));
      return leaves ? network_.hush(s, id) : network_.talk(s, value(id));
    }
    const bool leaves = station.listens.contains(id) && random_.chance(0.4);
    tell("station " + std::to_string(s) + (leaves ? " leaves " : " listens to ") +
         std::to_string(id));
    using enum Mrp::MsrpListenerEvent;
    leaves ? network_.leave(s, id)
           : network_.listen(s, id, random_.chance(0.9) ? ready : askingFailed);
  }

  Mrp::MsrpTalkerAdvertiseAttribute value(std::uint64_t id) {
    Mrp::MsrpTalkerAdvertiseAttribute v;
    v.streamId = id;
    const std::uint64_t address = random_.chance(0.1) ? random_.below(3) : id;
    v.frame.dmac = Platform::EthAddr::fromNumber(kAddresses + address);
    v.frame.vlanId = std::uint16_t{2};
    v.tSpec.maxFrameSize = static_cast<std::uint16_t>(random_.chance(0.7) ? 100 * id : 1000);
    v.tSpec.maxIntervalFrames = std::uint16_t{1};
    v.priorityAndRank = Mrp::PriorityAndRank::create(id % 3 == 0 ? 2 : 3, id == 8 ? 0 : 1);
    v.accumulatedLatency = std::uint32_t{100};
    return v;
  }

  void flap(int l) {
    if (!topology_.links[static_cast<std::size_t>(l)].up) return;
    tell("link " + std::to_string(l) + " goes down");
    network_.linkDown(l, random_.chance(0.5) ? Down::disabled : Down::vanished);
    later(random_.between(0, 2), [this] { rolesFollow(); });
    later(random_.between(0, 10), [this, l] {
      if (topology_.links[static_cast<std::size_t>(l)].up) return;
      tell("link " + std::to_string(l) + " comes up");
      network_.linkUp(l);
      later(random_.between(0, 2), [this] { rolesFollow(); });
    });
  }

  void rolesFollow() {
    topology_.spanningTree();
    network_.applyRoles();
  }

  // --- Promises ----------------------------------------------------------------------------------

  void fail(const std::string& what) {
    if (!outcome_.failure.empty()) return;
    outcome_.failure = what + " at " + std::to_string(now()) + " s";
    tell(outcome_.failure);
  }

  void expectConvergence() {
    network_.fateIs({.delay = fate_.delay});
    const double healed = now();
    outcome_.bound =
        kStreamRecovery + kConvergencePeriods * kPeriod + outcome_.diameter * kStreamPerHop;
    tell("links are healed");
    std::uint64_t told = network_.told();
    for (; now() < healed + outcome_.bound; runUntil(now() + 0.5)) {
      if (told == network_.told() && network_.disagreement().empty()) continue;
      told = network_.told();
      outcome_.converged = now() - healed;
    }
    if (const std::string what = network_.disagreement(); !what.empty()) fail(what);
    tell(std::to_string(network_.reservations()) + " reservations");
  }

  // Ten LeaveAlls of every port.
  void expectQuiet() {
    const std::uint64_t told = network_.told();
    for (const double end = now() + kQuietLeaveAlls * kPeriod; now() < end; runUntil(now() + 3.7)) {
      if (network_.told() != told) return fail("a switch was told something");
      if (const std::string what = network_.disagreement(); !what.empty()) return fail(what);
    }
  }

  Random random_;
  int bridges_;
  Topology topology_;
  WireOptions fate_;
  StreamNetwork network_;
  std::ostream* story_;
  std::multimap<double, std::function<void()>> pending_;
  Outcome outcome_;
};

}  // namespace

Outcome runStreams(std::uint64_t seed, std::ostream* story) {
  return StreamSimulation(seed, story).outcome();
}

}  // namespace Sim
