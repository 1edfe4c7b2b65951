#include "sim/mvrp/Run.h"

#include <cmath>
#include <iterator>
#include <map>
#include <sstream>

#include "sim/mvrp/Network.h"
#include "sim/network/Episode.h"

namespace Sim {
namespace {

constexpr int kLargeEvery = 25;  // of so many seeds one is for a large network
constexpr int kLargest = 100;
// Longest path over which unsound registrations are waited for while the links still lose frames.
constexpr int kSoundWithin = 7;
constexpr double kTick = 0.1;  // of the engines' wheels

struct Plan {
  explicit Plan(std::uint64_t seed, Random& random)
      : shape(kShapes[seed % std::size(kShapes)]),
        bridges(seed % kLargeEvery == 0 ? kLargest : 1 + static_cast<int>(random.below(8))),
        stations(2 + static_cast<int>(random.below(bridges > 20 ? 12 : 5))),
        vlans(1 + random.below(8)),
        disturbance(random.between(20, 50)),
        fate(drawFate(random, {.lossy = 0.8, .most = 0.3, .longestDelay = 0.5})) {}

  Shape shape;
  int bridges;
  int stations;
  std::uint64_t vlans;
  double disturbance;
  WireOptions fate;
};

class Simulation {
 public:
  Simulation(std::uint64_t seed, std::ostream* story)
      : random_(seed),
        plan_(seed, random_),
        topology_(plan_.shape, plan_.bridges, plan_.stations, random_),
        network_(topology_, plan_.fate, seed),
        episode_(network_, story) {
    for (std::uint64_t i = 0; i < plan_.vlans; ++i) {
      vlans_.push_back(static_cast<std::uint16_t>(1 + random_.below(4094)));
    }
    network_.applyRoles();
    std::ostringstream text;
    text << nameOf(plan_.shape) << " of " << plan_.bridges << " bridges, " << plan_.stations
         << " stations, loss " << plan_.fate.loss << ", duplication " << plan_.fate.duplication
         << ", reordering " << plan_.fate.reordering << " by up to "
         << plan_.fate.reorderingDelay.value() << " s";
    episode_.tell(std::move(text).str());
  }

  Outcome outcome() {
    disturb();
    standStill();
    diameter_ = episode_.outcome().diameter = topology_.diameter();
    if (diameter_ <= kSoundWithin) expectSound();
    if (!episode_.failed()) expectConvergence();
    if (!episode_.failed()) expectGone();
    return episode_.finished();
  }

 private:
  double now() const { return episode_.now(); }

  // --- Disturbances ------------------------------------------------------------------------------

  void disturb() {
    for (int s = 0; s < plan_.stations; ++s) stationActs(s);
    const double pace = plan_.bridges > 20 ? 0.2 : random_.between(0.2, 1);
    while (now() < plan_.disturbance) {
      const std::uint64_t kind = random_.below(20);
      if (kind < 12) {
        stationActs(static_cast<int>(random_.below(static_cast<unsigned>(plan_.stations))));
      } else if (kind < 17) {
        flap(static_cast<int>(random_.below(topology_.links.size())));
      } else if (kind < 19) {
        restartAgent(static_cast<int>(random_.below(static_cast<unsigned>(plan_.bridges))));
      } else {
        powerCycle(static_cast<int>(random_.below(static_cast<unsigned>(plan_.bridges))));
      }
      episode_.runUntil(now() + random_.between(0, 2 * pace));
    }
  }

  // Everything that is pending happens now, but for a few links that stay down.
  void standStill() {
    staysDown_ = true;
    episode_.runOut();
    episode_.rolesFollow();
    episode_.tell("disturbances end");
  }

  void stationActs(int s) {
    const std::uint16_t vlan = vlans_[random_.below(vlans_.size())];
    const bool leaves =
        network_.declared()[static_cast<std::size_t>(s)].contains(vlan) && random_.chance(0.7);
    episode_.tell("station " + std::to_string(s) + (leaves ? " leaves " : " joins ") +
                  std::to_string(vlan));
    leaves ? network_.withdraw(s, vlan) : network_.declare(s, vlan, random_.chance(0.2));
  }

  void flap(int l) {
    if (!topology_.links[static_cast<std::size_t>(l)].up) return;
    const Down how = random_.chance(0.5) ? Down::disabled : Down::vanished;
    episode_.tell("link " + std::to_string(l) + " goes down");
    network_.linkDown(l, how);
    treeFollows();
    episode_.later(random_.chance(0.3) ? random_.between(0, 0.2) : random_.between(0, 12),
                   [this, l] {
                     const Link& link = topology_.links[static_cast<std::size_t>(l)];
                     if (link.up || off_[link.node[0]] || off_[link.node[1]]) return;
                     if (staysDown_ && random_.chance(0.3)) return;
                     episode_.tell("link " + std::to_string(l) + " comes up");
                     network_.linkUp(l);
                     treeFollows();
                   });
  }

  void restartAgent(int bridge) {
    if (off_[bridge]) return;
    episode_.tell("bridge " + std::to_string(bridge) + " restarts its agent");
    network_.restart(bridge);
  }

  void powerCycle(int bridge) {
    if (off_[bridge]) return;
    episode_.tell("bridge " + std::to_string(bridge) + " goes off");
    for (const int l : topology_.linksOf[static_cast<std::size_t>(bridge)]) {
      if (topology_.links[static_cast<std::size_t>(l)].up) network_.linkDown(l, Down::vanished);
    }
    network_.switchOff(bridge);
    off_[bridge] = true;
    treeFollows();
    episode_.later(random_.between(0.5, 10), [this, bridge] {
      episode_.tell("bridge " + std::to_string(bridge) + " is back");
      network_.switchOn(bridge);
      off_[bridge] = false;
      for (const int l : topology_.linksOf[static_cast<std::size_t>(bridge)]) {
        const Link& link = topology_.links[static_cast<std::size_t>(l)];
        if (!link.up && !off_[link.node[0]] && !off_[link.node[1]]) network_.linkUp(l);
      }
      treeFollows();
    });
  }

  // The spanning tree finds out after a while; until then ports that came up have no role.
  void treeFollows() {
    episode_.later(random_.chance(0.5) ? 0 : random_.between(0, 2),
                   [this] { episode_.rolesFollow(); });
  }

  // --- Promises ----------------------------------------------------------------------------------

  std::vector<Topology::Ends> expected() const { return topology_.reach(network_.declared()); }

  void fail(const std::string& what) {
    std::ostringstream text;
    text << what << " at " << now() << " s";
    const auto want = expected(), have = network_.registered();
    for (std::size_t l = 0; l < want.size(); ++l) {
      for (int end : {0, 1}) differences(l, end, want[l].end[end], have[l].end[end], text);
    }
    episode_.fail(std::move(text).str());
  }
  void differences(std::size_t l, int end, const Vlans& want, const Vlans& have,
                   std::ostream& out) const {
    const Link& link = topology_.links[l];
    for (const std::uint16_t vlan : vlans_) {
      if (want.contains(vlan) == have.contains(vlan)) continue;
      out << "; " << (topology_.isBridge(link.node[end]) ? "bridge " : "station ")
          << (topology_.isBridge(link.node[end]) ? link.node[end]
                                                 : link.node[end] - topology_.bridges)
          << " port" << link.port[end] << (want.contains(vlan) ? " lacks " : " still has ") << vlan;
    }
  }

  // Nothing is registered that nobody behind the port declares.
  bool sound() const {
    const auto want = expected(), have = network_.registered();
    for (std::size_t l = 0; l < want.size(); ++l) {
      for (int end : {0, 1}) {
        for (const std::uint16_t vlan : have[l].end[end]) {
          if (!want[l].end[end].contains(vlan)) return false;
        }
      }
    }
    return true;
  }

  // While the links go on losing frames.
  void expectSound() {
    episode_.runUntil(now() + diameter_ * kStaleOnHop);
    for (const double end = now() + kPeriod; now() < end; episode_.runUntil(now() + 0.7)) {
      if (!sound()) return fail("registered, though nobody declares it");
    }
  }

  void expectConvergence() {
    network_.fateIs({.delay = plan_.fate.delay});
    const double healed = now();
    episode_.tell("links are healed");
    const double bound = episode_.outcome().bound =
        kConvergencePeriods * kPeriod + diameter_ * kConvergencePerHop;
    while (network_.registered() != expected()) {
      if (now() > healed + bound) return fail("not converged");
      episode_.runUntil(now() + 0.25);
    }
    episode_.outcome().converged = now() - healed;
    episode_.tell("converged");
    // What was right for a moment may have been on its way to something else.
    const double settled = healed + bound;
    for (; now() < settled; episode_.runUntil(now() + 0.25)) {
      if (network_.registered() != expected()) episode_.outcome().converged = now() - healed + 0.25;
    }
    for (const double end = now() + kSteadyPeriods * kPeriod; now() < end;
         episode_.runUntil(now() + 0.37)) {
      if (network_.registered() != expected()) return fail("did not stay");
      if (const std::string what = network_.inconsistency(); !what.empty()) return fail(what);
    }
  }

  // Nobody but bridges and stations whose links are up says it; and not while a LeaveAll may cross
  // it, which leaves at a tick.
  void expectGone() {
    episode_.runUntil((std::floor(now() / kTick) + 1.5) * kTick);
    for (int node = 0; node < topology_.nodes(); ++node) {
      if (topology_.nodes() > 20 && !random_.chance(0.1)) continue;
      network_.blink(node, vlans_[random_.below(vlans_.size())]);
    }
    episode_.runUntil(now() + (diameter_ + 1) * kGonePerHop);
    if (network_.registered() != expected()) fail("came and went, and stayed");
  }

  Random random_;
  Plan plan_;
  Topology topology_;
  Network network_;
  Episode episode_;
  std::vector<std::uint16_t> vlans_;
  std::map<int, bool> off_;
  bool staysDown_ = false;
  int diameter_ = 0;
};

}  // namespace

Outcome run(std::uint64_t seed, std::ostream* story) { return Simulation(seed, story).outcome(); }

}  // namespace Sim
