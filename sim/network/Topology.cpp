#include "sim/network/Topology.h"

#include <algorithm>
#include <deque>

namespace Sim {

const char* nameOf(Shape shape) {
  constexpr const char* names[] = {"line", "star", "ring", "mesh"};
  return names[static_cast<int>(shape)];
}

Topology::Topology(Shape shape, int ofBridges, int ofStations, Random& random)
    : bridges(ofBridges), stations(ofStations), linksOf(static_cast<std::size_t>(nodes())) {
  for (int i = 1; i < bridges; ++i) join(shape == Shape::star ? 0 : i - 1, i);
  const bool closed = shape == Shape::ring || shape == Shape::mesh;
  if (closed && bridges > 2) join(bridges - 1, 0);
  for (int chords = shape == Shape::mesh && bridges > 3 ? bridges / 2 : 0; chords > 0; --chords) {
    const auto n = static_cast<unsigned>(bridges);
    const auto a = static_cast<int>(random.below(n));
    join(a, static_cast<int>((static_cast<unsigned>(a) + 2 + random.below(n - 3)) % n));
  }
  for (int i = 0; i < stations; ++i) {
    const int far = closed ? bridges / 2 : bridges - 1;
    const int near = shape == Shape::star && bridges > 1 ? 1 : 0;
    const int at = static_cast<int>(random.below(static_cast<unsigned>(bridges)));
    join(i == 0 ? near : i == 1 ? far : at, bridges + i);
  }
  spanningTree();
}

void Topology::join(int a, int b) {
  const int index = static_cast<int>(links.size());
  Link link{{a, b}, {0, 0}};
  for (int end : {0, 1}) {
    auto& of = linksOf[static_cast<std::size_t>(link.node[end])];
    of.push_back(index);
    link.port[end] = static_cast<int>(of.size());
  }
  links.push_back(link);
}

void Topology::spanningTree() {
  for (Link& link : links) {
    for (int end : {0, 1}) link.role[end] = link.up ? Role::designated : Role::none;
  }
  constexpr int kUnseen = 1 << 20;
  std::vector<int> distance(static_cast<std::size_t>(bridges), kUnseen);
  std::vector<bool> inTree(links.size());
  for (int root = 0; root < bridges; ++root) {
    if (distance[static_cast<std::size_t>(root)] != kUnseen) continue;
    distance[static_cast<std::size_t>(root)] = 0;
    for (std::deque<int> next{root}; !next.empty(); next.pop_front()) {
      for (const int l : linksOf[static_cast<std::size_t>(next.front())]) {
        Link& link = links[static_cast<std::size_t>(l)];
        const int far = 1 - endOf(link, next.front());
        if (!link.up || !isBridge(link.node[far])) continue;
        int& there = distance[static_cast<std::size_t>(link.node[far])];
        if (there != kUnseen) continue;
        there = distance[static_cast<std::size_t>(next.front())] + 1;
        link.role[far] = Role::root;
        inTree[static_cast<std::size_t>(l)] = true;
        next.push_back(link.node[far]);
      }
    }
  }
  for (std::size_t l = 0; l < links.size(); ++l) {
    Link& link = links[l];
    if (!link.up || inTree[l] || !isBridge(link.node[1])) continue;
    const auto rank = [&](int end) {
      return std::pair(distance[static_cast<std::size_t>(link.node[end])], link.node[end]);
    };
    link.role[rank(0) > rank(1) ? 0 : 1] = Role::alternate;
  }
}

bool Topology::forwards(const Link& link, int end) const {
  return link.up && (!isBridge(link.node[end]) || link.role[end] == Role::root ||
                     link.role[end] == Role::designated);
}

void Topology::flood(int from, int l, const Vlans& vlans, std::vector<Ends>& reached) const {
  const Link& link = links[static_cast<std::size_t>(l)];
  const int near = endOf(link, from), far = 1 - near;
  if (!forwards(link, near)) return;
  reached[static_cast<std::size_t>(l)].end[far].insert(vlans.begin(), vlans.end());
  const int to = link.node[far];
  if (!isBridge(to) || !forwards(link, far)) return;
  for (const int next : linksOf[static_cast<std::size_t>(to)]) {
    if (next != l) flood(to, next, vlans, reached);
  }
}

std::vector<Topology::Ends> Topology::reach(const std::vector<Vlans>& declared) const {
  std::vector<Ends> reached(links.size());
  for (int s = 0; s < stations; ++s) {
    const int node = bridges + s;
    flood(node, linksOf[static_cast<std::size_t>(node)].front(),
          declared[static_cast<std::size_t>(s)], reached);
  }
  return reached;
}

int Topology::diameter() const {
  int longest = 0;
  for (int from = 0; from < nodes(); ++from) {
    std::vector<int> distance(static_cast<std::size_t>(nodes()), -1);
    distance[static_cast<std::size_t>(from)] = 0;
    for (std::deque<int> next{from}; !next.empty(); next.pop_front()) {
      const int here = distance[static_cast<std::size_t>(next.front())];
      longest = std::max(longest, here);
      for (const int l : linksOf[static_cast<std::size_t>(next.front())]) {
        const Link& link = links[static_cast<std::size_t>(l)];
        const int far = 1 - endOf(link, next.front());
        int& there = distance[static_cast<std::size_t>(link.node[far])];
        if (!forwards(link, far) || !forwards(link, 1 - far) || there >= 0) continue;
        there = here + 1;
        next.push_back(link.node[far]);
      }
    }
  }
  return longest;
}

}  // namespace Sim
