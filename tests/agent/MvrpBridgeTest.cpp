// MVRP in a bridge: what is registered on one port is declared on the others.
//
//   neighbours --- port1 | bridge | port2, port3 … --- neighbours

#include "agent/mvrp/MvrpBridge.h"

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

// A bridge on a switch of its own.
class Bridge : public Rig {
 public:
  explicit Bridge(bool standby = false)
      : Rig(kMvrp, makePtr<MvrpBridge>(), makePtr<VirtualClock>()),
        bridge(static_cast<MvrpBridge*>(served.get())) {
    begin(standby);
  }
  void begin(bool standby = false) {
    start(standby);
    bridge->start();
  }
  IntfId port(unsigned n, Role r = Role::designated) {
    const IntfId intf = device(n);
    bridge->portIs(intf);
    roleIs(intf, r);
    return intf;
  }
  void joins(IntfId intf, std::uint16_t vlan) { receive(intf, vlans(vlan, {JoinIn})); }
  void leaves(IntfId intf, std::uint16_t vlan) {
    receive(intf, vlans(vlan, {Lv}));
    clock->run(1);
  }
  Texts sent(IntfId intf) {
    clock->run(0.1);
    return Rig::sent(intf);
  }
  // VLANs that the engine declares on a port, and those that it has registered there.
  std::string declared(IntfId intf) const {
    return listOf(intf, [](const MrpAttrDatabase& r) { return r.applicantState() == State::qa; });
  }
  std::string registered(IntfId intf) const {
    return listOf(intf,
                  [](const MrpAttrDatabase& r) { return r.registrarState() != Registrar::mt; });
  }

  const Ptr<MvrpBridge> bridge;

 private:
  template <class Wanted>
  std::string listOf(IntfId intf, Wanted wanted) const {
    std::string list;
    engine->walkRecords(intf, 1, [&](const MrpAttrDatabase& r) {
      if (wanted(r)) list += (list.empty() ? "" : " ") + std::to_string(r.attributeKey());
    });
    return list;
  }
};

class MvrpBridgeTest : public EngineTest {
 protected:
  Bridge b;
  const IntfId one = b.port(1), two = b.port(2), three = b.port(3);
};

TEST_F(MvrpBridgeTest, RegistrationIsDeclaredOnEveryOtherPort) {
  for (const IntfId p : {one, two, three}) b.sent(p);
  b.joins(one, 10);
  EXPECT_EQ(b.declared(one), "");
  EXPECT_EQ(b.declared(two), "10");
  EXPECT_EQ(b.sent(two), (Texts{"1:10=JoinMt", "1:10=JoinMt"}));
  EXPECT_EQ(b.sent(three), (Texts{"1:10=JoinMt", "1:10=JoinMt"}));
  // A second port registers it: the first has a neighbour that wants it now, the third knows.
  b.joins(two, 10);
  EXPECT_EQ(b.declared(one), "10");
  EXPECT_EQ(b.sent(three), Texts{});
  b.joins(three, 10);
  b.leaves(one, 10);
  EXPECT_EQ(b.declared(one) + "," + b.declared(two) + "," + b.declared(three), "10,10,10");
  b.leaves(two, 10);
  EXPECT_EQ(b.declared(one) + "," + b.declared(two) + "," + b.declared(three), "10,10,");
  b.sent(two);
  b.leaves(three, 10);
  EXPECT_EQ(b.sent(two), Texts{"1:10=Lv"});
  for (const IntfId p : {one, two, three}) {
    EXPECT_EQ(b.declared(p) + b.registered(p), "");
    EXPECT_EQ(b.bridge->registered(p).size() + b.bridge->declared(p).size(), 0u);
  }
}

TEST_F(MvrpBridgeTest, SilentNeighbourAgesOutAndIsWithdrawn) {
  b.receive(one, vlans(10, {JoinIn, JoinIn, JoinIn}));
  EXPECT_EQ(b.declared(two), "10 11 12");
  // Its LeaveAll declares but one of them; the two others leave in one walk.
  b.receive(one, vlans(11, {JoinIn}, true));
  b.sent(two);
  b.clock->run(1);
  EXPECT_EQ(b.declared(two), "11");
  EXPECT_EQ(b.sent(two), Texts{"1:10=Lv; 1:12=Lv"});
}

TEST_F(MvrpBridgeTest, IdentifiersOutsideTheRangeAreNeitherKeptNorPropagated) {
  for (const std::uint16_t vlan : {std::uint16_t{0}, std::uint16_t{4095}, std::uint16_t{65535}}) {
    b.receive(one, vlans(vlan, {New}));
  }
  b.receive(one, vlans(4094, {JoinIn, JoinIn}));
  b.joins(one, 1);
  EXPECT_EQ(b.registered(one), "1 4094");
  EXPECT_EQ(b.declared(two), "1 4094");
  b.leaves(one, 4095);
  EXPECT_EQ(b.declared(two), "1 4094");
}

TEST_F(MvrpBridgeTest, NewIsPassedOnWhereItRegisters) {
  b.sent(two);
  b.receive(one, vlans(10, {New}));
  b.receive(one, vlans(10, {New}));
  EXPECT_EQ(b.sent(two), (Texts{"1:10=New", "1:10=New"})) << "once, however often it comes";
}

TEST_F(MvrpBridgeTest, BlockedPortNeitherGivesNorGets) {
  const IntfId blocked = b.port(4, Role::alternate);
  b.joins(one, 10);
  b.joins(blocked, 20);
  EXPECT_EQ(b.declared(one), "");
  EXPECT_EQ(b.declared(blocked), "");
  b.roleIs(blocked, Role::backup);
  b.roleIs(blocked, Role::none);
  EXPECT_EQ(b.declared(one) + b.declared(blocked), "");
  b.sent(blocked);
  // When it forwards, what it has registered counts, and its neighbour is asked for the rest.
  b.roleIs(blocked, Role::root);
  EXPECT_EQ(b.declared(one), "20");
  EXPECT_EQ(b.declared(blocked), "10");
  EXPECT_EQ(b.sent(blocked).front(), "1:LA 20=In");
}

// The engine flushes without an indication; what it had registered is withdrawn all the same.
TEST_F(MvrpBridgeTest, PortThatStopsForwardingIsWithdrawn) {
  b.joins(one, 10);
  b.joins(two, 20);
  b.sent(one);
  b.roleIs(one, Role::alternate);
  EXPECT_EQ(b.declared(one), "");
  EXPECT_EQ(b.sent(one), Texts{"1:20=Lv"});
  EXPECT_EQ(b.declared(two), "");
  EXPECT_EQ(b.declared(three), "20");
  b.roleIs(one, Role::root);
  EXPECT_EQ(b.declared(two), "") << "it was flushed";
  EXPECT_EQ(b.declared(one), "20");
  EXPECT_EQ(b.sent(one).front(), "1:10=Mt | 1:LA");
  b.joins(one, 10);
  EXPECT_EQ(b.declared(two), "10");
  // A port whose status goes has no role; one that appears with a role has it.
  auto& ports = b.sw->stpStatus()->childIs("one").childIs("Cist");
  ports.childDel("port1");
  EXPECT_EQ(b.declared(two), "");
  b.roleIs(one, Role::designated);
  EXPECT_EQ(b.declared(two), "10");
  b.sw->stpStatus()->childDel("one");
  EXPECT_EQ(b.declared(one) + b.declared(two) + b.declared(three), "");
}

TEST_F(MvrpBridgeTest, PortsComeAndGo) {
  b.joins(one, 10);
  b.joins(two, 20);
  const IntfId late = b.port(9);
  EXPECT_EQ(b.declared(late), "10 20");
  EXPECT_EQ(b.sent(late).front(), "1:LA") << "the neighbour may have been there for long";
  b.sent(one);
  b.bridge->portDel(one);
  EXPECT_EQ(b.sent(one), Texts{"1:20=Lv"}) << "its neighbour need not wait";
  EXPECT_EQ(b.declared(two) + "," + b.declared(late), ",20");
  // A device that goes takes its registrations with it, and brings none back.
  b.sw->portDel(two);
  EXPECT_EQ(b.declared(late), "");
  EXPECT_EQ(b.registered(two), "");
  b.joins(late, 30);
  EXPECT_EQ(b.declared(two), "") << "nothing is declared where nothing can be sent";
  b.port(2);
  EXPECT_EQ(b.declared(two), "30");
  // What was still to be sent when it went is out of date when it comes back.
  b.sent(two);
  b.bridge->declarationIs(VlanId(40), true);
  b.sw->portDel(two);
  b.bridge->declarationIs(VlanId(40), false);
  b.port(2);
  for (const std::string& text : b.sent(two)) EXPECT_EQ(text.find("40"), std::string::npos) << text;
  EXPECT_EQ(b.declared(late), "");
  b.bridge->portIs(one);
  EXPECT_EQ(b.declared(one), "30");
  b.bridge->portDel(IntfId("port77"));
}

TEST_F(MvrpBridgeTest, StaticDeclarations) {
  b.bridge->declarationIs(VlanId(10), true);
  b.bridge->declarationIs(two, VlanId(20), true);
  EXPECT_EQ(b.declared(one) + "," + b.declared(two), "10,10 20");
  EXPECT_EQ(b.declared(b.port(9)), "10");
  b.joins(one, 20);
  b.joins(one, 10);
  b.bridge->declarationIs(VlanId(10), false);
  b.bridge->declarationIs(two, VlanId(20), false);
  EXPECT_EQ(b.declared(one) + "," + b.declared(two), ",10 20") << "registered elsewhere";
  b.bridge->declarationIs(two, VlanId(30), true);
  b.roleIs(two, Role::alternate);
  EXPECT_EQ(b.declared(two), "");
  b.bridge->declarationIs(IntfId("port77"), VlanId(30), true);
}

// Declared and withdrawn between two transmissions: the second packet must not come last.
TEST_F(MvrpBridgeTest, WhatCameAndWentIsGone) {
  b.sent(one);
  b.bridge->declarationIs(VlanId(10), true);
  b.bridge->declarationIs(VlanId(10), false);
  EXPECT_EQ(b.sent(one), (Texts{"1:10=JoinMt", "1:10=JoinMt", "1:10=Lv"}));
}

// A frame's VLANs stand in one vector on each port, whatever their order in the frame.
TEST_F(MvrpBridgeTest, FrameIsSettledPortByPort) {
  b.sent(two);
  b.receive(one, pdu(message(kMvrp, 1, vec(vlan(12), {JoinIn}) + vec(vlan(10), {JoinIn, JoinIn}))));
  EXPECT_EQ(b.sent(two).front(), "1:10=JoinMt,JoinMt,JoinMt");
}

TEST_F(MvrpBridgeTest, DisabledPortKeepsItsSettings) {
  b.bridge->declarationIs(two, VlanId(20), true);
  b.bridge->registrationIs(two, VlanId(30), Registration::fixed);
  b.bridge->portEnabledIs(two, false);
  EXPECT_EQ(b.declared(one), "");
  b.bridge->portEnabledIs(two, true);
  EXPECT_EQ(b.declared(one) + "," + b.declared(two), "30,20");
}

TEST_F(MvrpBridgeTest, RegistrarAdministrativeControl) {
  b.joins(one, 10);
  b.bridge->declarationIs(VlanId(10), true);
  // Forbidden while registered: ends here and in the engine; our own declaration stays.
  b.bridge->registrationIs(one, VlanId(10), Registration::forbidden);
  EXPECT_EQ(b.declared(one), "10");
  b.bridge->declarationIs(VlanId(10), false);
  EXPECT_EQ(b.registered(one) + b.declared(one) + b.declared(two), "");
  b.joins(one, 10);
  b.joins(one, 11);
  EXPECT_EQ(b.registered(one), "11");
  EXPECT_EQ(b.declared(two), "11");
  b.sent(one);
  b.bridge->registrationIs(one, VlanId(10), Registration::normal);
  EXPECT_EQ(b.sent(one), Texts{"1:LA 10=Mt,In"}) << "the neighbour is asked again";
  b.joins(one, 10);
  EXPECT_EQ(b.declared(two), "10 11");
  // Fixed: whatever arrives, for as long as the port forwards.
  b.bridge->registrationIs(one, VlanId(12), Registration::fixed);
  b.bridge->registrationIs(one, VlanId(10), Registration::fixed);
  b.leaves(one, 10);
  b.leaves(one, 12);
  EXPECT_EQ(b.declared(two), "10 11 12");
  b.roleIs(one, Role::alternate);
  EXPECT_EQ(b.declared(two), "");
  b.roleIs(one, Role::root);
  b.bridge->registrationIs(one, VlanId(10), Registration::normal);
  EXPECT_EQ(b.declared(two), "12");
  // Of a whole port.
  b.bridge->registrationIs(one, Registration::fixed);
  EXPECT_EQ(b.bridge->declared(two).size(), 4094u);
  EXPECT_EQ(b.bridge->registered(one), VlanSet::all());
  b.bridge->registrationIs(one, Registration::forbidden);
  b.joins(one, 10);
  EXPECT_EQ(b.declared(two), "");
}

TEST_F(MvrpBridgeTest, EachVlanFollowsItsSpanningTree) {
  b.sw->bridgingTopologyConfig()->instanceIs(VlanId(20), 2);
  b.sw->bridgingConfig()->vlanConfigIs(VlanId(20), {.instance = 2});
  for (const IntfId p : {one, two, three}) b.sw->bridgingConfig()->nativeVlanIs(p, 10);
  const struct {
    std::uint32_t mode;
    std::string of10, of20;  // instances
    const char* declared;    // on port 2, of what is registered on port 1
  } cases[] = {
      {Stp::Mode::mstp, "Cist", "Mst2", "10 20"}, {Stp::Mode::mstp, "Cist", "Mst3", "10"},
      {Stp::Mode::mstp, "Mst0", "Mst2", "20"},    {Stp::Mode::rstp, "Cist", "Mst2", "10 20"},
      {Stp::Mode::stp, "Mst1", "Mst2", ""},       {Stp::Mode::perVlan, "Vl10", "Vl20", "10 20"},
      {Stp::Mode::perVlan, "Vl1", "Vl020x", ""},  {Stp::Mode::backup, "Bkup0", "Bkup2", "20"},
      {Stp::Mode::none, "Cist", "x", "10 20"},    {1, "Cist", "Mst2", ""},
  };
  for (const auto& c : cases) {
    b.sw->stpStatus()->childDel("one");
    b.sw->stpStatus()->modeIs(c.mode);
    b.bridge->start();
    for (const IntfId p : {one, two}) {
      for (const std::string& instance : {c.of10, c.of20}) b.roleIs(p, Role::designated, instance);
    }
    b.joins(one, 10);
    b.joins(one, 20);
    const std::string where = "mode " + std::to_string(c.mode) + " " + c.of10 + " " + c.of20;
    EXPECT_EQ(b.declared(two), c.declared) << where;
  }
}

// Two VLANs in two instances: the port blocks the one and forwards the other.
TEST_F(MvrpBridgeTest, OneInstanceBlocksAndAnotherForwards) {
  b.sw->stpStatus()->modeIs(Stp::Mode::perVlan);
  b.bridge->start();
  for (const IntfId p : {one, two, three}) {
    for (const char* instance : {"Vl10", "Vl20"}) b.roleIs(p, Role::designated, instance);
  }
  b.joins(one, 10);
  b.joins(one, 20);
  b.joins(two, 20);
  EXPECT_EQ(b.declared(one) + "," + b.declared(two) + "," + b.declared(three), "20,10 20,10 20");
  b.roleIs(one, Role::alternate, "Vl20");
  EXPECT_EQ(b.declared(one) + "," + b.declared(two) + "," + b.declared(three), ",10,10 20");
  b.roleIs(one, Role::root, "Vl20");
  EXPECT_EQ(b.declared(one) + "," + b.declared(two) + "," + b.declared(three), "20,10 20,10 20");
}

// The standby side keeps the records that the active side wrote. Once it is active it goes on with
// them: what is still right is not sent again, and nothing wrong stays.
TEST_F(MvrpBridgeTest, ActivationGoesOnWithTheRecordsOfTheOtherSide) {
  b.joins(one, 10);
  b.joins(one, 20);
  b.joins(two, 20);
  b.clock->run(1);
  Bridge other(true);
  copyCommitted(*b.status->application(kMvrp.application),
                *other.status->application(kMvrp.application));
  for (const unsigned n : {1u, 2u, 3u}) other.port(n);
  other.roleIs(two, Role::alternate);
  other.bridge->declarationIs(VlanId(30), true);
  EXPECT_EQ(other.declared(one) + "," + other.declared(two), "20,10 20") << "untouched";
  other.clock->run(1);
  EXPECT_EQ(other.sent(one), Texts{});
  other.engine->activate();
  other.bridge->start();
  EXPECT_EQ(other.declared(one), "30") << "port 2 is blocked here";
  EXPECT_EQ(other.declared(two), "");
  EXPECT_EQ(other.declared(three), "10 20 30");
  EXPECT_EQ(other.sent(two), Texts{"1:10=Lv; 1:20=Lv"});
  // The LeaveAll that asks the neighbour carries what was declared before; only 30 is new.
  EXPECT_EQ(other.sent(three),
            (Texts{"1:LA 10=JoinMt; 1:20=JoinMt", "1:30=JoinMt", "1:30=JoinMt"}));
}

// An engine that ends and one that takes its place, over the status of the first or an empty one.
TEST_F(MvrpBridgeTest, OutlivesEngines) {
  b.joins(one, 10);
  b.joins(two, 20);
  b.clock->run(1);
  b.engine = nullptr;
  b.roleIs(one, Role::alternate);
  b.roleIs(one, Role::root);
  b.sw->portDel(two);
  b.sw->portIs("port2", EthAddr());
  b.bridge->declarationIs(VlanId(30), true);
  for (const Registration r : {Registration::forbidden, Registration::normal}) {
    b.bridge->registrationIs(one, VlanId(10), r);
  }
  b.status = makePtr<MrpStatus>();
  b.begin();
  for (const IntfId p : {one, two, three}) b.bridge->portDel(p);
  EXPECT_EQ(b.declared(two), "");
  for (const IntfId p : {one, two, three}) b.bridge->portIs(p);
  EXPECT_EQ(b.declared(two), "30") << "settings of the bridge stay, registrations do not";
  b.joins(one, 10);
  EXPECT_EQ(b.declared(two), "10 30");
}

}  // namespace
}  // namespace EngineTest
