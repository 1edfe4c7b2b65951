// Operations of the machines that nothing but their own names reaches.

#include "mrp/MrpSm/rx/FutureVersion.h"
#include "mrp/MrpSm/rx/ParsedAttributes.h"
#include "tests/engine/internal/Machines.h"

namespace EngineTest {
namespace {

using MachinesTest = EngineTest;

constexpr const char* kActive = "failed: initialized\\(\\) && !standbyMode\\(\\)\n";

// The flag of an active engine changes nothing: a port that stops forwarding is flushed all the
// same.
TEST_F(MachinesTest, StandbyFlagOfAnActiveEngineDoesNothing) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.roleIs(port, Role::designated);
  st.receive(port, vlans(10, {JoinIn}));
  st.request(port, 20, JoinIn);
  machines(st).standbyModeIs(true);
  machines(st).handleStandbyMode();
  EXPECT_TRUE(st.engine->active());
  st.roleIs(port, Role::alternate);
  EXPECT_EQ(st.attributes(port), (Texts{"1:10 AO/MT", "1:20 QA/MT"}));
  st.roleIs(port, Role::root);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port).size(), 2u) << "and declares anew";
}

TEST_F(MachinesTest, EngineInStandbyAsserts) {
  Station st(kMvrp, Station::Start::standby);
  MrpSm& sm = machines(st);
  const Ptr<Pkt> pkt = st.sw->pktAllocator().pktIs(0, 64);
  const std::function<void()> calls[] = {
      [&] { sm.mrpGetTxAttributeKey(); },
      [&] { sm.mrpGetRxAttributeKey(); },
      [&] { sm.mrpRxVectorSameAsDatabaseAttr(); },
      [&] { sm.mrpGetAttribute(true); },
      [&] { sm.mrpAddAttrToDatabase(IntfId("port1"), 1, 10, true); },
      [&] { sm.mrpDeleteAttrFromDatabase(); },
      [&] { sm.mrpFillContextFromDatabase({}); },
      [&] { sm.mrpTransmitTxPacket(IntfId("port1"), false); },
      [&] { sm.mrpTransmitTxAttributes(); },
      [&] { sm.parseMrpdu(*pkt); },
      [&] { sm.processParsedAttributes(IntfId("port1")); },
  };
  for (const auto& call : calls) EXPECT_DEATH(call(), kActive);
  EXPECT_FALSE(sm.recycledPkt());
  EXPECT_EQ(sm.maxAttrTypes(), 0);
}

// Each of the two operations ends the timers of its own collection.
TEST_F(MachinesTest, AllTimersOfOneCollectionEnd) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  const auto leaving = [&](bool explicitLeave) { return st.leaving(port, 1, 10, explicitLeave); };
  const auto leave = [&] {
    st.receive(port, vlans(10, {JoinIn}));
    st.receive(port, vlans(0, {}, true));
    st.receive(port, vlans(10, {Lv}));
    ASSERT_TRUE(leaving(false) && leaving(true));
  };
  leave();
  machines(st).registrarSm()->leaveSmDelAll();
  EXPECT_FALSE(leaving(false));
  EXPECT_TRUE(leaving(true));
  leave();
  machines(st).registrarSm()->explicitLeaveSmDelAll();
  EXPECT_TRUE(leaving(false));
  EXPECT_FALSE(leaving(true));
}

// What was decoded acts on a port that has no endpoint: only one that is closed during its frame
// loses what it has brought.
TEST_F(MachinesTest, PortWithoutAnEndpointIsNotAClosedOne) {
  Station st(kMvrp);
  const IntfId away("port9");
  const Octets octets = vlans(10, {JoinIn, JoinIn});
  const Ptr<Pkt> pkt = st.sw->pktAllocator().pktIs(0, octets.size());
  pkt->append(octets);
  MrpSm& sm = machines(st);
  sm.parseContext()->intfIdIs(away);
  sm.parseMrpdu(*pkt);
  EXPECT_EQ(sm.mrpParsedAttribute().size(), 2u);
  sm.processParsedAttributes(away);
  EXPECT_EQ(st.attributes(away), (Texts{"1:10 AO/IN", "1:11 AO/IN"}));
}

TEST_F(MachinesTest, FutureVersionIsOneFlagForTheProcess) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  EXPECT_FALSE(rxFutureVersionPdu());
  bool inside = false;
  st.lib->onJoin = [&](const MrpParameters&) {
    inside = rxFutureVersionPdu();
    return false;
  };
  st.receive(port, pdu(message(kMvrp, 1, vec(vlan(10), {JoinIn})), 1));
  EXPECT_TRUE(inside);
  EXPECT_FALSE(rxFutureVersionPdu());
}

}  // namespace
}  // namespace EngineTest
