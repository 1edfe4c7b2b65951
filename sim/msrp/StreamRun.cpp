#include "sim/msrp/StreamRun.h"

#include <iterator>
#include <set>

#include "sim/msrp/StreamNetwork.h"
#include "sim/mvrp/Run.h"
#include "sim/network/Episode.h"

namespace Sim {
namespace {

constexpr int kLargeEvery = 50;
constexpr int kLargest = 100;
// Of so many seeds one is for many streams on eight bridges, the others have a few.
constexpr std::uint64_t kManyEvery = 40;
constexpr std::uint64_t kManyAt = 7;
constexpr std::uint64_t kMany = 300;
constexpr std::uint64_t kFew = 8;
constexpr std::uint64_t kAddresses = 0x91e0f0000000;

class StreamSimulation {
 public:
  StreamSimulation(std::uint64_t seed, std::ostream* story)
      : random_(seed),
        streams_(seed % kManyEvery == kManyAt ? kMany : kFew),
        bridges_(seed % kLargeEvery == 0 ? kLargest
                 : streams_ == kMany     ? 8
                                         : 1 + static_cast<int>(random_.below(8))),
        topology_(kShapes[seed % std::size(kShapes)], bridges_,
                  3 + static_cast<int>(random_.below(5)), random_),
        fate_(drawFate(random_, {.lossy = 0.7, .most = 0.2, .longestDelay = 0.3})),
        network_(topology_, fate_, seed, random_.between(0, 1)),
        episode_(network_, story) {
    episode_.onStep([this] {
      if (const std::string what = network_.inconsistency(); !what.empty()) fail(what);
    });
    episode_.rolesFollow();
    episode_.tell("loss " + std::to_string(fate_.loss) + ", " + std::to_string(bridges_) +
                  " bridges");
  }

  Outcome outcome() {
    disturb();
    episode_.runOut();
    episode_.rolesFollow();
    oneTalkerAStream();
    episode_.outcome().diameter = topology_.diameter();
    expectConvergence();
    if (!episode_.failed()) expectQuiet();
    return episode_.finished();
  }

 private:
  double now() const { return episode_.now(); }

  // --- Disturbances ------------------------------------------------------------------------------

  void disturb() {
    const double end = random_.between(15, 40);
    // More streams have more to say in the same time, and as many links go down.
    const double share = static_cast<double>(kFew) / static_cast<double>(streams_);
    while (now() < end && !episode_.failed()) {
      const std::uint64_t kind = random_.below(20);
      if (kind < 15 || (share < 1 && !random_.chance(share))) {
        stationActs(static_cast<int>(random_.below(network_.stations().size())));
      } else if (kind < 19) {
        flap(static_cast<int>(random_.below(topology_.links.size())));
      } else {
        const int bridge = static_cast<int>(random_.below(static_cast<unsigned>(bridges_)));
        episode_.tell("bridge " + std::to_string(bridge) + " restarts its agent");
        network_.restart(bridge);
      }
      episode_.runUntil(now() + share * random_.between(0, 1));
    }
  }

  void stationActs(int s) {
    const StreamNetwork::Says& station = network_.stations()[static_cast<std::size_t>(s)];
    const std::uint64_t id = 1 + random_.below(streams_);
    if (random_.chance(0.4)) {
      // A stream has its own station, now and then a second one.
      const auto home = static_cast<int>(id % network_.stations().size());
      if (!random_.chance(0.1)) s = home;
      const bool leaves = network_.stations()[static_cast<std::size_t>(s)].talks.contains(id) &&
                          random_.chance(0.6);
      episode_.tell("station " + std::to_string(s) + (leaves ? " hushes " : " talks ") +
                    std::to_string(id));
      return leaves ? network_.hush(s, id) : network_.talk(s, value(id));
    }
    const bool leaves = station.listens.contains(id) && random_.chance(0.4);
    episode_.tell("station " + std::to_string(s) + (leaves ? " leaves " : " listens to ") +
                  std::to_string(id));
    using enum Mrp::MsrpListenerEvent;
    leaves ? network_.leave(s, id)
           : network_.listen(s, id, random_.chance(0.9) ? ready : askingFailed);
  }

  // Two stations that talk one stream are never settled between bridges that have one each: neither
  // declares its own where the other's is registered, and so both withdraw and declare in turn. Nor
  // does a talker go on listening to itself: the record of what it says holds what the bridge
  // declares to it as well.
  void oneTalkerAStream() {
    std::set<std::uint64_t> talked;
    for (std::size_t s = 0; s < network_.stations().size(); ++s) {
      const auto talks = network_.stations()[s].talks;
      for (const auto& [id, value] : talks) {
        if (!talked.insert(id).second) network_.hush(static_cast<int>(s), id);
        if (network_.stations()[s].listens.contains(id)) network_.leave(static_cast<int>(s), id);
      }
    }
  }

  Mrp::MsrpTalkerAdvertiseAttribute value(std::uint64_t id) {
    Mrp::MsrpTalkerAdvertiseAttribute v;
    v.streamId = id;
    const std::uint64_t address = random_.chance(0.1) ? random_.below(3) : id;
    v.frame.dmac = Platform::EthAddr::fromNumber(kAddresses + address);
    v.frame.vlanId = std::uint16_t{2};
    v.tSpec.maxFrameSize =
        static_cast<std::uint16_t>(random_.chance(0.7) ? 100 * (1 + (id - 1) % 8) : 1000);
    v.tSpec.maxIntervalFrames = std::uint16_t{1};
    v.priorityAndRank = Mrp::PriorityAndRank::create(id % 3 == 0 ? 2 : 3, id % 8 == 0 ? 0 : 1);
    v.accumulatedLatency = std::uint32_t{100};
    return v;
  }

  void flap(int l) {
    if (!topology_.links[static_cast<std::size_t>(l)].up) return;
    episode_.tell("link " + std::to_string(l) + " goes down");
    network_.linkDown(l, random_.chance(0.5) ? Down::disabled : Down::vanished);
    episode_.later(random_.between(0, 2), [this] { episode_.rolesFollow(); });
    episode_.later(random_.between(0, 10), [this, l] {
      if (topology_.links[static_cast<std::size_t>(l)].up) return;
      episode_.tell("link " + std::to_string(l) + " comes up");
      network_.linkUp(l);
      episode_.later(random_.between(0, 2), [this] { episode_.rolesFollow(); });
    });
  }

  // --- Promises ----------------------------------------------------------------------------------

  void fail(const std::string& what) {
    episode_.fail(what + " at " + std::to_string(now()) + " s");
  }

  void expectConvergence() {
    network_.fateIs({.delay = fate_.delay});
    const double healed = now();
    Outcome& outcome = episode_.outcome();
    // Where links are full, recoveries in one bridge may change streams for the next, which fail
    // there for as long again.
    const double recoveries = streams_ == kMany ? 2 : 1;
    outcome.bound = recoveries * kStreamRecovery + kConvergencePeriods * kPeriod +
                    outcome.diameter * kStreamPerHop;
    episode_.tell("links are healed");
    std::uint64_t told = network_.told();
    for (; now() < healed + outcome.bound; episode_.runUntil(now() + 0.5)) {
      if (told == network_.told() && network_.disagreement().empty()) continue;
      told = network_.told();
      outcome.converged = now() - healed;
    }
    expectDecided();
    episode_.tell(std::to_string(network_.reservations()) + " reservations");
  }

  void expectDecided() {
    for (const std::string& what :
         {network_.disagreement(), network_.deviation(), network_.unheard()}) {
      if (!what.empty()) fail(what);
    }
  }

  // Ten LeaveAlls of every port.
  void expectQuiet() {
    const std::uint64_t told = network_.told();
    const std::uint64_t leaves = network_.leaves();
    const auto registered = network_.registered();
    for (const double end = now() + kQuietLeaveAlls * kPeriod; now() < end;) {
      episode_.runUntil(now() + 3.7);
      if (network_.told() != told) return fail("a switch was told something");
      if (network_.leaves() != leaves) return fail("a registration ended");
      if (network_.registered() != registered) return fail("something else is registered");
    }
    expectDecided();
  }

  Random random_;
  std::uint64_t streams_;
  int bridges_;
  Topology topology_;
  WireOptions fate_;
  StreamNetwork network_;
  Episode episode_;
};

}  // namespace

Outcome runStreams(std::uint64_t seed, std::ostream* story) {
  return StreamSimulation(seed, story).outcome();
}

}  // namespace Sim
