#pragma once

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/stp/StpStatus.h"

// Bridges and end stations joined by links, what a spanning tree makes of them, and which
// declarations reach whom. All of it is plain graph walking that knows nothing of the protocol.
namespace Sim {

using Role = Stp::MstiPortStatus::Role;
using Vlans = std::set<std::uint16_t>;

// Draws the same numbers from the same seed on every host.
class Random {
 public:
  explicit Random(std::uint64_t seed) : generator_(seed) {}
  std::uint64_t below(std::uint64_t n) { return generator_() % n; }
  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(generator_() >> 11) * 0x1.0p-53;
  }
  bool chance(double probability) { return between(0, 1) < probability; }

 private:
  std::mt19937_64 generator_;
};

// A mesh is a ring with chords.
enum class Shape { line, star, ring, mesh };
inline constexpr Shape kShapes[] = {Shape::line, Shape::star, Shape::ring, Shape::mesh};
const char* nameOf(Shape shape);

// A link's two ends, 0 and 1.
struct Link {
  int node[2];
  int port[2];  // counted from 1 on each node
  bool up = true;
  Role role[2] = {Role::none, Role::none};
};

struct Topology {
  // `bridges` bridges in a shape and `stations` stations on bridges drawn from `random`; the first
  // two are as far apart as the shape allows.
  Topology(Shape shape, int bridges, int stations, Random& random);

  bool isBridge(int node) const { return node < bridges; }
  int nodes() const { return bridges + stations; }
  // Roles of a spanning tree over the links that are up: the bridge with the lowest number of each
  // island is its root, and the lower number wins where distances are equal.
  void spanningTree();
  // What each end of each link is to register, given what each station declares: [link][end].
  struct Ends {
    Vlans end[2];
    friend bool operator==(const Ends&, const Ends&) = default;
  };
  std::vector<Ends> reach(const std::vector<Vlans>& declared) const;
  // Links on the longest path.
  int diameter() const;

  int bridges;
  int stations;
  std::vector<Link> links;
  std::vector<std::vector<int>> linksOf;  // of each node

 private:
  void join(int a, int b);
  int endOf(const Link& link, int node) const { return link.node[0] == node ? 0 : 1; }
  bool forwards(const Link& link, int end) const;
  void flood(int from, int link, const Vlans& vlans, std::vector<Ends>& reached) const;
};

}  // namespace Sim
