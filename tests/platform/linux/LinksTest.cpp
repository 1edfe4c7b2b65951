#include "platform/linux/Links.h"

#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include "platform/linux/BridgeVlans.h"
#include "tests/platform/linux/Namespace.h"

namespace PlatformTest {
namespace {

using namespace Platform;
using Linux::BridgePort;
using Linux::Link;

class LinksTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    ns = Namespace::make(why);
    if (!ns) GTEST_SKIP() << why;
    loop = makePtr<Linux::Loop>();
    ip("link add before type veth peer name other");
    links = std::make_unique<Linux::Links>(loop);
    linkReactor.watch<&LinksTest::handleLink>(links->onLink(), this);
    goneReactor.watch<&LinksTest::handleLinkGone>(links->onLinkGone(), this);
    lostReactor.watch<&LinksTest::handleLost>(links->onLost(), this);
  }
  void TearDown() override {
    links.reset();
    loop = nullptr;
  }

  void ip(const std::string& arguments) { EXPECT_TRUE(ns->ip(arguments)) << arguments; }
  const Link* link(const char* name) { return links->link(std::string_view(name)); }
  template <class Holds>
  bool until(Holds holds) {
    return runUntil(*loop, holds);
  }
  bool up(const char* name) { return link(name) && link(name)->up; }
  BridgePort::State state(const char* name) {
    return link(name) && link(name)->port ? link(name)->port->state : BridgePort::State::disabled;
  }
  Stp::Role role(const char* name) {
    const Linux::Bridge* const bridge = links->bridgeOf(*link(name));
    return bridge ? roleOf(*link(name), *bridge) : Stp::Role::none;
  }

  void handleLink(const Link& changed) { told[changed.index] = changed; }
  void handleLinkGone(const Link& gone) {
    EXPECT_EQ(told.erase(gone.index), 1u);
    goneNames += gone.name + " ";
  }
  void handleLost() { ++lost; }

  std::unique_ptr<Namespace> ns;
  Ptr<Linux::Loop> loop;
  std::unique_ptr<Linux::Links> links;
  std::map<int, Link> told;  // what a listener makes of the notifications
  std::string goneNames;
  int lost = 0;
  Reactor<const Link&> linkReactor, goneReactor;
  Reactor<> lostReactor;
};

TEST_F(LinksTest, FollowsPresenceAddressMtuCarrierAndName) {
  ASSERT_TRUE(link("before"));
  EXPECT_FALSE(up("before"));
  ip("link set before up");
  ip("link set other up");
  EXPECT_TRUE(until([&] { return up("before") && up("other"); }));
  ip("link set other down");
  EXPECT_TRUE(until([&] { return !up("before"); })) << "no carrier";

  ip("link add p1 address 02:00:00:00:00:11 mtu 2000 type veth peer name q1");
  EXPECT_TRUE(until([&] { return link("p1") && link("q1"); }));
  EXPECT_EQ(link("p1")->mac.number(), 0x020000000011u);
  EXPECT_EQ(link("p1")->mtu, 2000u);
  ip("link set p1 mtu 9000 address 02:00:00:00:00:12");
  EXPECT_TRUE(until([&] { return link("p1")->mtu == 9000; }));
  EXPECT_EQ(link("p1")->mac.number(), 0x020000000012u);

  const int index = link("p1")->index;
  ip("link set p1 name p2");
  EXPECT_TRUE(until([&] { return link("p2"); }));
  EXPECT_FALSE(link("p1"));
  EXPECT_EQ(link("p2")->index, index);
  EXPECT_EQ(goneNames, "p1 ");
  EXPECT_EQ(told[index], *link("p2"));
  ip("link del p2");
  EXPECT_TRUE(until([&] { return !link("p2") && !link("q1"); }));
  for (const auto& [i, known] : told) EXPECT_EQ(known, *links->link(i));
}

TEST_F(LinksTest, FollowsPortsOfABridgeAndTheirStates) {
  ip("link add br0 type bridge");
  ip("link set br0 up");
  ip("link set before up");
  ip("link set other up");
  ip("link set before master br0");
  EXPECT_TRUE(until([&] { return state("before") == BridgePort::State::forwarding; }));
  ASSERT_TRUE(links->bridgeOf(*link("before")));
  EXPECT_EQ(link("before")->port->bridge, link("br0")->index);
  EXPECT_EQ(role("before"), Stp::Role::designated);
  EXPECT_EQ(links->bridgeOf(*link("other")), nullptr);
  EXPECT_FALSE(links->bridgeOf(*link("before"))->vlanFiltering);

  EXPECT_TRUE(ns->bridge("link set dev before state 1"));
  EXPECT_TRUE(until([&] { return state("before") == BridgePort::State::listening; }));
  EXPECT_EQ(role("before"), Stp::Role::alternate);
  EXPECT_TRUE(ns->bridge("link set dev before state 3"));
  EXPECT_TRUE(until([&] { return role("before") == Stp::Role::designated; }));
  ip("link set other down");
  EXPECT_TRUE(until([&] { return role("before") == Stp::Role::none; })) << "no carrier";

  ip("link set before nomaster");
  EXPECT_TRUE(until([&] { return !link("before")->port; }));
  ip("link set before master br0");
  EXPECT_TRUE(until([&] { return link("before")->port.has_value(); }));
  ip("link del br0");
  EXPECT_TRUE(until([&] { return !link("br0") && !link("before")->port; }));
}

TEST_F(LinksTest, FindsTheRootPortOfARunningSpanningTree) {
  ip("link add root up type bridge stp_state 1 hello_time 100 priority 0");
  ip("link add leaf up type bridge stp_state 1 hello_time 100");
  ip("link set before up master leaf");
  ip("link set other up master root");
  EXPECT_TRUE(until([&] { return link("leaf") && link("leaf")->bridge->rootPort != 0; }));
  EXPECT_EQ(role("before"), Stp::Role::alternate) << "still listening";
  Link forwarding = *link("before");
  EXPECT_EQ(forwarding.port->number, link("leaf")->bridge->rootPort);
  forwarding.port->state = BridgePort::State::forwarding;
  EXPECT_EQ(roleOf(forwarding, *link("leaf")->bridge), Stp::Role::root);
  // Nothing of the port itself changes when its bridge becomes the root.
  told.clear();
  ip("link set leaf type bridge priority 0");
  ip("link set root type bridge priority 8192");
  EXPECT_TRUE(until([&] { return link("leaf")->bridge->rootPort == 0; }));
  EXPECT_TRUE(told.contains(forwarding.index));
}

TEST_F(LinksTest, LostMessagesAreMadeUpForByReadingEverything) {
  // Some 2,000 interfaces come, and all but two of them go, before the loop turns.
  const std::size_t before = links->links().size();
  std::string batch;
  for (int i = 0; i < 1000; ++i) {
    const std::string n = std::to_string(i);
    batch += "link add v" + n + (i == 0 ? "" : " group 42") + " type veth peer name w" + n + "\n";
  }
  batch += "link del group 42\nlink set before mtu 3000\n";
  ip("-batch - <<'END'\n" + batch + "END\n");
  EXPECT_TRUE(until([&] { return link("before")->mtu == 3000; }));
  EXPECT_TRUE(until([&] { return links->links().size() == before + 2; }));
  EXPECT_TRUE(link("v0"));
  EXPECT_FALSE(link("v1"));
  EXPECT_GE(lost, 1);
}

TEST_F(LinksTest, PortOfAVanishedInterfaceKnowsNoBridge) {
  Link port;
  port.port = BridgePort{.bridge = 4711};
  EXPECT_EQ(links->bridgeOf(port), nullptr);
}

class BridgeVlansTest : public LinksTest {
 protected:
  void SetUp() override {
    LinksTest::SetUp();
    if (!ns) return;
    ip("link add br0 type bridge");
    ip("link set before master br0");
    filtering = ns->ip("link set br0 type bridge vlan_filtering 1");
    EXPECT_TRUE(until([&] { return link("before")->port.has_value(); }));
    port = link("before")->index;
    vlans = std::make_unique<Linux::BridgeVlans>(loop, *links);
    entryReactor.watch<&BridgeVlansTest::handleEntries>(vlans->onEntries(), this);
    refusalReactor.watch<&BridgeVlansTest::handleRefusal>(vlans->onRefusal(), this);
  }
  void TearDown() override {
    vlans.reset();
    LinksTest::TearDown();
  }
  void needFiltering() {
    if (!filtering) GTEST_SKIP() << "the kernel's bridges know no VLANs";
  }
  VlanSet all() { return vlans->entries(port).all; }
  static VlanSet set(std::initializer_list<std::uint16_t> members) {
    VlanSet set;
    for (const std::uint16_t vlan : members) set.put(vlan, true);
    return set;
  }
  void handleEntries(int index) { changes += index == port; }
  void handleRefusal(const Linux::BridgeVlans::Refusal& refusal) {
    refused.push_back(refusal.interface + ": " + refusal.error.text);
  }

  int port = 0;
  bool filtering = false;
  std::unique_ptr<Linux::BridgeVlans> vlans;
  int changes = 0;
  std::vector<std::string> refused;
  Reactor<int> entryReactor;
  Reactor<const Linux::BridgeVlans::Refusal&> refusalReactor;
};

TEST_F(BridgeVlansTest, RefusalsNameTheInterfaceAndTheCause) {
  if (!ns) return;
  vlans->entriesAre(link("other")->index, set({10}), true);  // no port of a bridge
  vlans->entriesAre(4711, set({10}), true);
  EXPECT_TRUE(until([&] { return refused.size() == 2; }));
  EXPECT_TRUE(refused[0].starts_with("other: ")) << refused[0];
  EXPECT_GT(refused[0].size(), 10u);
  EXPECT_TRUE(refused[1].starts_with("interface 4711: ")) << refused[1];
}

TEST_F(BridgeVlansTest, WishesOfATurnGoOutTogetherAndTheLatestCounts) {
  needFiltering();
  if (!filtering) return;
  vlans->entriesAre(port, set({10, 11, 12, 20, 4094}), true);
  vlans->entriesAre(port, set({11, 20}), false);
  EXPECT_TRUE(until([&] { return all() == set({1, 10, 12, 4094}); }));
  EXPECT_EQ(vlans->entries(port).flagged, set({1})) << "as a bridge gives its ports";
  changes = 0;
  vlans->entriesAre(port, VlanSet::all() - set({1}), true);
  EXPECT_TRUE(until([&] { return all() == VlanSet::all(); }));
  EXPECT_LE(changes, 16) << "ranges";
  vlans->entriesAre(port, VlanSet::all() - set({1}), false);
  EXPECT_TRUE(until([&] { return all() == set({1}); }));
  EXPECT_TRUE(refused.empty());
}

TEST_F(BridgeVlansTest, SeesWhatOthersChange) {
  needFiltering();
  if (!filtering) return;
  EXPECT_TRUE(ns->bridge("vlan add dev before vid 100-200"));
  EXPECT_TRUE(ns->bridge("vlan add dev br0 vid 7 self"));
  EXPECT_TRUE(until([&] { return all().size() == 102; }));
  EXPECT_TRUE(until([&] { return vlans->entries(link("br0")->index).all == set({1, 7}); }));
  EXPECT_TRUE(ns->bridge("vlan add dev before vid 150 pvid untagged"));
  EXPECT_TRUE(until([&] { return vlans->entries(port).flagged.has(150); }));
  ip("link set before name after");
  EXPECT_TRUE(until([&] { return link("after"); }));
  EXPECT_EQ(all().size(), 102u);
  ip("link set after nomaster");
  EXPECT_TRUE(until([&] { return all().empty(); }));
}

}  // namespace
}  // namespace PlatformTest
