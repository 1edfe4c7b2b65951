// Port roles: which instance governs a port, and what a change of role does to its attributes.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class SpanningTreeTest : public EngineTest {
 protected:
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
  st.roleIs(port, Role::designated);
  st.receive(port, vlans(10, {JoinIn, JoinIn, New}));
  st.receive(port, vlans(11, {Lv}));
  st.request(port, 10, JoinIn);
  st.clock->run(0.1);
  st.sent();
  st.lib->take();
  st.roleIs(port, Role::alternate);
  EXPECT_EQ(st.lib->take(), Texts{"-1:11 Lv port1"}) << "from LV only";
  EXPECT_EQ(st.attributes(port), Texts{"1:10 QA/MT"}) << "what nobody declares is gone";
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(), Texts{});
  st.receive(port, vlans(10, {JoinIn}));
  st.roleIs(port, Role::root);
  EXPECT_EQ(st.attributes(port), Texts{"1:10 QA/LV"});
  EXPECT_EQ(st.sent(), Texts{}) << "with the next flush of packets";
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:10=JoinIn", "1:10=JoinIn"}));
  st.clock->run(0.6);
  EXPECT_EQ(st.attributes(port), Texts{"1:10 QA/MT"});
}

TEST_F(SpanningTreeTest, EveryTypeIsFlushedInAscendingOrder) {
  Station msrp(kMsrp);
  const IntfId p = msrp.port(1);
  msrp.roleIs(p, Role::root);
  msrp.receive(p, pdu(message(kMsrp, 4, vec(domain(6, 3, 2), {JoinIn})) +
                      message(kMsrp, 3, vec(stream(1), {JoinIn}, false, {ready})) +
                      message(kMsrp, 2, vec(failed(1), {JoinIn})) +
                      message(kMsrp, 1, vec(talker(1), {JoinIn}))));
  msrp.receive(p, pdu(message(kMsrp, 1, leaveAllVec(25)) + message(kMsrp, 2, leaveAllVec(34)) +
                      message(kMsrp, 3, leaveAllVec(8)) + message(kMsrp, 4, leaveAllVec(4))));
  msrp.lib->take();
  msrp.roleIs(p, Role::alternate);
  EXPECT_EQ(msrp.lib->take(),
            (Texts{"-1:1 In port1", "-2:1 In port1", "-3:1 In port1", "-4:6 In port1"}));
  EXPECT_EQ(msrp.attributes(p), Texts{});
}

TEST_F(SpanningTreeTest, StandbyRecordsRolesAndJudgesTheFirstChangeByThem) {
  Station standby(kMvrp, Station::Start::standby);
  const IntfId p = standby.port(1);
  standby.roleIs(p, Role::designated);
  standby.roleIs(p, Role::alternate);
  standby.engine->activate();
  standby.request(p, 10, JoinIn);
  standby.clock->run(0.1);
  standby.sent();
  standby.roleIs(p, Role::root);
  standby.clock->run(0.1);
  EXPECT_EQ(standby.sent(p), (Texts{"1:10=JoinMt", "1:10=JoinMt"}));
}

}  // namespace
}  // namespace EngineTest
