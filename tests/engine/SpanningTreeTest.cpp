// Port roles: which instance governs a port, and what a change of role does to its attributes.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

using Role = Stp::MstiPortStatus::Role;

class SpanningTreeTest : public EngineTest {
 protected:
  void role(IntfId of, Role r, const std::string& msti = "Cist", const std::string& stpi = "one") {
    auto& ports = st.sw->stpStatus()->childIs(stpi).childIs(msti);
    ports.childIs(of.name()).roleIs(r);
  }

  Station st{kMvrp};
  IntfId port = st.port(1);
};

TEST_F(SpanningTreeTest, GoverningInstanceByMode) {
  auto& stp = *st.sw->stpStatus();
  auto& bridging = *st.sw->bridgingConfig();
  const IntfId other = st.port(2), wild = st.port(3), unconfigured = st.port(4);
  bridging.nativeVlanIs(port, 100);
  bridging.vlanConfigIs(VlanId(100), {.instance = 7});
  bridging.nativeVlanIs(wild, 4095);
  bridging.nativeVlanIs(unconfigured, 200);
  for (const std::uint32_t mode : {0u, 2u, 3u}) {
    stp.modeIs(mode);
    EXPECT_EQ(st.lib->baseSpanningTreeTopo(wild), "Cist") << "no VLAN is looked at";
  }
  stp.modeIs(0xFFFFFFFF);
  EXPECT_EQ(st.lib->baseSpanningTreeTopo(port), "NoStp");
  stp.modeIs(101);
  EXPECT_EQ(st.lib->baseSpanningTreeTopo(port), "Vl100");
  stp.modeIs(100);
  EXPECT_EQ(st.lib->baseSpanningTreeTopo(port), "Bkup7");
  for (const std::uint32_t mode : {100u, 101u, 1u, 102u}) {
    stp.modeIs(mode);
    EXPECT_EQ(st.lib->baseSpanningTreeTopo(other), "") << "no native VLAN";
    EXPECT_EQ(st.lib->baseSpanningTreeTopo(unconfigured), "") << "no such VLAN";
    try {
      st.lib->baseSpanningTreeTopo(wild);
      ADD_FAILURE() << "4095 was taken";
    } catch (const std::range_error& e) {
      EXPECT_STREQ(e.what(), "VlanId::value < 1 or > 4094 not allowed");
    }
  }
  EXPECT_EQ(st.lib->baseSpanningTreeTopo(port), "");
  EXPECT_EQ(st.lib->getNativeVlanId(port), 100);
  EXPECT_EQ(st.lib->getNativeVlanId(other), 0);
}

TEST_F(SpanningTreeTest, PortThatStopsForwardingFlushesAndDeclaresAnewLater) {
  role(port, Role::designated);
  st.receive(port, vlans(10, {JoinIn, JoinIn, New}));
  st.receive(port, vlans(11, {Lv}));
  st.request(port, 10, JoinIn);
  st.run(0.1);
  st.sent();
  st.lib->take();
  role(port, Role::alternate);
  EXPECT_EQ(st.lib->take(), Texts{"-1:11 Lv port1"}) << "from LV only";
  EXPECT_EQ(st.attributes(port), Texts{"1:10 QA/MT"}) << "what nobody declares is gone";
  st.run(0.1);
  EXPECT_EQ(st.sent(), Texts{});
  st.receive(port, vlans(10, {JoinIn}));
  role(port, Role::root);
  EXPECT_EQ(st.attributes(port), Texts{"1:10 QA/LV"});
  EXPECT_EQ(st.sent(), Texts{}) << "with the next flush of packets";
  st.run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:10=JoinIn", "1:10=JoinIn"}));
  st.run(0.6);
  EXPECT_EQ(st.attributes(port), Texts{"1:10 QA/MT"});
}

TEST_F(SpanningTreeTest, OtherTransitionsOnlyChangeTheStoredRole) {
  st.receive(port, vlans(10, {JoinIn}));
  for (const Role r :
       {Role::alternate, Role::backup, Role::designated, Role::root, Role::designated, Role::backup,
        Role::alternate, Role::none, Role::root, Role::none}) {
    role(port, r);
    EXPECT_EQ(st.sm->oldPortRole(port), r);
    EXPECT_EQ(st.attributes(port), Texts{"1:10 AO/IN"});
  }
}

TEST_F(SpanningTreeTest, OnlyTheGoverningInstanceOfAnEnabledPortCounts) {
  const IntfId away("port9");
  st.receive(port, vlans(10, {JoinIn}));
  role(port, Role::designated, "Mst1");
  role(port, Role::alternate, "Mst1");
  role(away, Role::designated);
  EXPECT_FALSE(st.sm->oldPortRole(port));
  EXPECT_FALSE(st.sm->oldPortRole(away));
  EXPECT_EQ(st.attributes(port), Texts{"1:10 AO/IN"});
  // A second spanning-tree instance with the governing name counts as well; one that has gone and
  // come back is watched anew, in the role it then has.
  role(port, Role::designated, "Cist", "two");
  EXPECT_EQ(st.sm->oldPortRole(port), Role::designated);
  st.sw->stpStatus()->childDel("two");
  auto& ports = st.sw->stpStatus()->childIs("two").childIs("Cist");
  auto status = makePtr<Stp::MstiPortStatus>();
  status->roleIs(Role::alternate);
  ports.childIs(port.name(), status);
  EXPECT_EQ(st.sm->oldPortRole(port), Role::alternate);
  EXPECT_EQ(st.attributes(port), Texts{"1:10 AO/MT"});
  ports.childDel(port.name());
  status->roleIs(Role::root);
  EXPECT_EQ(st.sm->oldPortRole(port), Role::alternate) << "no longer watched";
  // The mode decides anew at each change.
  st.sw->stpStatus()->modeIs(0xFFFFFFFF);
  role(port, Role::root, "NoStp");
  EXPECT_EQ(st.sm->oldPortRole(port), Role::root);
}

TEST_F(SpanningTreeTest, EveryTypeIsFlushedInAscendingOrder) {
  Station msrp(kMsrp);
  const IntfId p = msrp.port(1);
  auto& status = msrp.sw->stpStatus()->childIs("one").childIs("Cist").childIs("port1");
  status.roleIs(Role::root);
  msrp.receive(p, pdu(message(kMsrp, 4, vec(domain(6, 3, 2), {JoinIn})) +
                      message(kMsrp, 3, vec(stream(1), {JoinIn}, false, {ready})) +
                      message(kMsrp, 2, vec(failed(1), {JoinIn})) +
                      message(kMsrp, 1, vec(talker(1), {JoinIn}))));
  msrp.receive(p, pdu(message(kMsrp, 1, leaveAllVec(25)) + message(kMsrp, 2, leaveAllVec(34)) +
                      message(kMsrp, 3, leaveAllVec(8)) + message(kMsrp, 4, leaveAllVec(4))));
  msrp.lib->take();
  status.roleIs(Role::alternate);
  EXPECT_EQ(msrp.lib->take(),
            (Texts{"-1:1 In port1", "-2:1 In port1", "-3:1 In port1", "-4:6 In port1"}));
  EXPECT_EQ(msrp.attributes(p), Texts{});
}

TEST_F(SpanningTreeTest, StandbyRecordsRolesAndJudgesTheFirstChangeByThem) {
  Station standby(kMvrp, Station::Start::standby);
  const IntfId p = standby.port(1);
  auto& status = standby.sw->stpStatus()->childIs("one").childIs("Cist").childIs("port1");
  status.roleIs(Role::designated);
  status.roleIs(Role::alternate);
  EXPECT_EQ(standby.sm->oldPortRole(p), Role::alternate);
  standby.activate();
  standby.request(p, 10, JoinIn);
  standby.run(0.1);
  standby.sent();
  status.roleIs(Role::root);
  standby.run(0.1);
  EXPECT_EQ(standby.sent(p), (Texts{"1:10=JoinMt", "1:10=JoinMt"}));
}

// Instances that existed before the engine are watched from the start, and none after its end.
TEST_F(SpanningTreeTest, InstancesOutliveEngines) {
  st.stop();
  role(port, Role::designated);
  st.start();
  st.lib->mrpInterfaceEnable(port);
  EXPECT_FALSE(st.sm->oldPortRole(port)) << "no port was enabled when it was read";
  role(port, Role::alternate);
  EXPECT_EQ(st.sm->oldPortRole(port), Role::alternate);
  st.stop();
  role(port, Role::designated);
  st.sw->stpStatus()->childDel("one");
}

}  // namespace
}  // namespace EngineTest
