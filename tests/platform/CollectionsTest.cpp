#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/bridging/VlanSet.h"
#include "platform/interface/IntfMap.h"
#include "platform/reactor/Collection.h"
#include "platform/reactor/SequencedQueue.h"

namespace {

using namespace Platform;

TEST(IntfIdOrder, RunsOfDigitsAreNumbers) {
  // Strictly ascending; every pair is compared both ways.
  std::istringstream words(
      "9 10 eth1 eth1/2 eth1/10 eth2 eth10 port port0 port00 port01 port1 port1a port2 port10 "
      "port18446744073709551616 port18446744073709551617 portA");
  std::vector<std::string> names{""};
  names.insert(names.end(), std::istream_iterator<std::string>(words), {});
  for (std::size_t i = 0; i < names.size(); ++i) {
    for (std::size_t j = 0; j < names.size(); ++j) {
      EXPECT_EQ(naturalOrder(names[i], names[j]), i <=> j) << names[i] << " and " << names[j];
      EXPECT_EQ(IntfId(names[i]) <=> IntfId(names[j]), i <=> j);
    }
  }
  EXPECT_TRUE(IntfId("").empty());
  EXPECT_EQ(IntfId(std::string("port") + "2"), IntfId("port2"));
}

// Against a set of the standard library: members put and taken out, and whole sets combined.
TEST(VlanSetTest, IsASet) {
  std::mt19937 random(1);
  const auto below = [&](unsigned n) { return static_cast<std::uint16_t>(random() % n); };
  const auto agree = [](const VlanSet& vlans, const std::set<std::uint16_t>& members) {
    std::vector<std::uint16_t> walked;
    vlans.walk([&](std::uint16_t vlan) { walked.push_back(vlan); });
    EXPECT_EQ(walked, std::vector<std::uint16_t>(members.begin(), members.end()));
    EXPECT_EQ(vlans.size(), members.size());
    EXPECT_EQ(vlans.empty(), members.empty());
    VlanSet again;
    for (const std::uint16_t vlan : members) again.put(vlan, true);
    EXPECT_EQ(vlans, again);
  };
  for (int round = 0; round < 200; ++round) {
    std::array<VlanSet, 2> vlans;
    std::array<std::set<std::uint16_t>, 2> members;
    // Close together, so that words become empty again.
    const std::uint16_t base = below(4096);
    for (int i = 0; i < 60; ++i) {
      const auto vlan = static_cast<std::uint16_t>(base + below(130));
      const unsigned which = below(2);
      const bool member = below(2) == 0;
      vlans.at(which).put(vlan, member);
      if (!VlanSet::valid(vlan)) continue;
      member ? void(members.at(which).insert(vlan)) : void(members.at(which).erase(vlan));
      EXPECT_EQ(vlans.at(which).has(vlan), member);
    }
    const auto& [a, b] = members;
    std::set<std::uint16_t> both;
    std::set<std::uint16_t> common;
    std::set<std::uint16_t> rest;
    std::ranges::set_union(a, b, std::inserter(both, both.end()));
    std::ranges::set_intersection(a, b, std::inserter(common, common.end()));
    std::ranges::set_difference(a, b, std::inserter(rest, rest.end()));
    agree(vlans[0], a);
    agree(vlans[0] | vlans[1], both);
    agree(vlans[0] & vlans[1], common);
    agree(vlans[0] - vlans[1], rest);
    agree(vlans[0] - vlans[0], {});
    vlans[0].clear();
    agree(vlans[0], {});
  }
  EXPECT_EQ(VlanSet::all().size(), 4094u);
  EXPECT_TRUE((VlanSet::all() - VlanSet::all()).empty());
}

class IntfMapWalk : public testing::Test {
 protected:
  template <class Inside>
  std::string walked(Inside inside) {
    std::string seen;
    map.walk([&](IntfId intf, std::string& value) {
      EXPECT_EQ(intf.name(), value);
      seen += value + " ";
      inside(intf);
    });
    return seen;
  }

  IntfId p1{"port1"}, p2{"port2"}, p3{"port3"}, p10{"port10"};
  IntfMap<std::string> map;
};

TEST_F(IntfMapWalk, GoesOnAboveTheElementJustHandled) {
  const struct {
    IntfId at;
    std::function<void()> change;
    const char* seen;
  } cases[] = {
      {{}, [] {}, "port1 port2 port3 port10 "},
      {p2, [&] { map.del(p1), map.del(p2), map.del(p3); }, "port1 port2 port10 "},
      {p3, [&] { map.del(p1); }, "port1 port2 port3 port10 "},
      {p3, [&] { map.is(IntfId("port0")) = "port0", map.is(IntfId("port4")) = "port4"; },
       "port1 port2 port3 port4 port10 "},
      {p2, [&] { map.del(p2), map.is(p2) = "port2"; }, "port1 port2 port3 port10 "},
  };
  for (const auto& c : cases) {
    for (const IntfId intf : {p1, p2, p3, p10}) map.is(intf) = intf.name();
    EXPECT_EQ(walked([&](IntfId at) {
                if (at == c.at) c.change();
              }),
              c.seen);
    map.delAll();
  }
}

TEST_F(IntfMapWalk, PlaceGivesWhatFindGives) {
  IntfMap<std::string>::Place place(map, p2);
  const auto expect = [&](const char* when) { EXPECT_EQ(place.find(), map.find(p2)) << when; };
  expect("before any port");
  map.is(p1) = "port1";
  expect("before the port");
  map.is(p2) = "port2";
  expect("with an element");
  map.is(IntfId("port4711")) = "another";
  expect("after growing");
  map.del(p2);
  expect("without it");
  map.is(p2) = "again";
  expect("with another");
}

TEST(OrderedWalk, GoesOnAboveTheKeyJustHandled) {
  std::map<int, int> map{{1, 0}, {2, 0}, {3, 0}, {5, 0}};
  std::vector<int> seen;
  walkOrdered(map, [&](int key, int) {
    seen.push_back(key);
    if (key == 2) map.erase(2), map.erase(3), map[4] = 0, map[0] = 0;
  });
  EXPECT_EQ(seen, (std::vector<int>{1, 2, 4, 5}));
}

TEST(SequencedQueueTest, NumbersAndCounters) {
  using Metadata = SequencedQueue<int>::Metadata;
  SequencedQueue<int> queue;
  for (int v : {10, 11, 12}) queue.enq(v);
  EXPECT_EQ(queue.metadata(), (Metadata{0, 2, 0, 3}));
  EXPECT_EQ(queue.deq(), 10);
  EXPECT_EQ(queue.metadata(), (Metadata{1, 2, 1, 2}));
  queue.is(7, 17);
  queue.is(1, 21);
  queue.enq(18);
  EXPECT_EQ(queue.metadata(), (Metadata{1, 8, 1, 4}));
  queue.del(1);
  EXPECT_EQ(queue.metadata(), (Metadata{2, 8, 1, 3}));
  EXPECT_EQ(queue.element(1), nullptr);
  EXPECT_EQ(*queue.element(8), 18);
  for (int v : {12, 17, 18, 0}) EXPECT_EQ(queue.deq(), v);
  EXPECT_EQ(queue.metadata(), (Metadata{8, 8, 4, 0})) << "an empty queue is not counted";
}

TEST(SequencedQueueTest, MetadataSetFromOutsideSteersTheNextNumber) {
  SequencedQueue<int> queue;
  queue.metadataIs({5, 5, 3, 0});
  queue.enq(1);
  queue.enq(2);
  EXPECT_EQ(*queue.element(5), 1);
  EXPECT_EQ(*queue.element(6), 2);
  queue.delAll();
  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(queue.metadata().present, 0u);
  EXPECT_EQ(queue.metadata().head, queue.metadata().next);
}

}  // namespace
