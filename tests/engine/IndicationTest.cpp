// Applications that call the service from inside an indication.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class IndicationTest : public EngineTest {
 protected:
  // Declares on `to` what was registered elsewhere, as a bridge does; withdraws it with the last
  // registration.
  void propagate(Station& st, IntfId to) {
    st.lib->onJoin = [&st, to](const MrpParameters& p) {
      if (p.intfId != to) declare(st, to, p.attributeType, JoinIn);
      return false;
    };
    st.lib->onLeave = [&st, to](const MrpParameters& p) {
      if (p.intfId != to) declare(st, to, p.attributeType, Lv);
    };
  }
  // The port comes back, and each registration has a leave timer of its own.
  static void expectLeavesWork(Station& st, IntfId port) {
    st.lib->onJoin = nullptr;
    st.lib->onLeave = nullptr;
    st.lib->mrpInterfaceEnable(port);
    st.receive(port, vlans(40, Events(5, JoinIn)));
    st.receive(port, vlans(40, {Lv, Lv, Lv, Lv}, true));
    st.lib->take();
    st.clock->run(0.2);
    st.receive(port, vlans(41, {JoinIn}));
    st.clock->run(1);
    EXPECT_EQ(st.lib->take().size(), 4u);
    EXPECT_EQ(st.attributes(port), Texts{"1:41 AO/IN"});
  }
  static void declare(Station& st, IntfId to, std::uint8_t type, Event event) {
    const auto rx = st.lib->rxImage(type);
    st.request(to, type, Octets(rx.begin(), rx.end()), event);
  }
};

TEST_F(IndicationTest, PropagationLeavesTheCurrentAttributeAlone) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  propagate(st, p2);
  st.receive(p1, vlans(10, {JoinIn, New, JoinMt}));
  EXPECT_EQ(st.attributes(p1), (Texts{"1:10 AO/IN", "1:11 VO/IN", "1:12 VO/IN"}));
  EXPECT_EQ(st.attributes(p2), (Texts{"1:10 QA/MT", "1:11 QA/MT", "1:12 QA/MT"}));
  EXPECT_EQ(st.sent(),
            (Texts{"port2 1:10=JoinMt,JoinMt,JoinMt", "port2 1:10=JoinMt,JoinMt,JoinMt"}));
  st.receive(p1, vlans(10, {Lv, Lv, Lv}));
  st.sent();
  st.clock->run(0.7);
  EXPECT_EQ(st.attributes(p1), Texts{});
  EXPECT_EQ(st.attributes(p2), Texts{});
  EXPECT_EQ(st.sent(), Texts{"port2 1:10=Lv,Lv,Lv"});
}

// Requests for another value of the same type, on the very port: the value registered is still the
// one received.
TEST_F(IndicationTest, RequestsOfOtherValuesDoNotMixIn) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.lib->onJoin = [&](const MrpParameters&) {
    st.request(port, 1, talker(0x9000), New);
    st.request(port, 1, talker(0x9000), Lv);
    st.request(port, 3, listener(0x1001, ready), JoinIn);
    return false;
  };
  st.receive(port, streams(1, talker(0x1001), {JoinIn, JoinIn}));
  EXPECT_EQ(st.attributes(port), (Texts{"1:1001 AO/IN", "1:1002 AO/IN", "3:1001 QA/MT"}));
  EXPECT_EQ(st.value(port, 1, 0x1002), talker(0x1002, 0x91e0f000fe01));
  // Changed values while registered: stored before the application is asked.
  st.receive(port, streams(1, talker(0x1001, 5), {JoinIn, JoinIn}));
  EXPECT_EQ(st.value(port, 1, 0x1002), talker(0x1002, 6));
}

// A LeaveAll for another port, asked for inside the indication, walks that port's attributes; the
// outcome of the indication is that of the attribute that it was given for.
TEST_F(IndicationTest, WalksOfOtherPortsDoNotChangeTheCurrentAttribute) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  st.receive(p2, vlans(99, {New}));
  st.lib->onJoin = [&](const MrpParameters&) {
    st.engine->sendLeaveAll(p2);
    return true;
  };
  st.receive(p1, vlans(10, {New}));
  EXPECT_EQ(st.attributes(p1), Texts{}) << "discarded";
  EXPECT_EQ(st.attributes(p2), Texts{"1:99 VO/IN"});
  EXPECT_EQ(st.lib->mvrpVlanVectorRx().vlanId, 10);
  EXPECT_TRUE(st.logged().back().ends_with("interface: port1, attrType: 0, attrEvent: 1"));
  st.lib->onJoin = nullptr;
  st.receive(p1, vlans(10, {JoinIn, JoinIn}));
  st.receive(p1, vlans(10, {Lv, Lv}));
  st.lib->take();
  st.lib->onLeave = [&](const MrpParameters&) { st.engine->sendLeaveAll(p2); };
  st.clock->run(1);
  EXPECT_EQ(st.lib->take(), (Texts{"-1:10 Lv port1", "-1:11 Lv port1"}));
  EXPECT_EQ(st.attributes(p1), Texts{});
}

TEST_F(IndicationTest, DeletingTheVeryAttribute) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.lib->onJoin = [&](const MrpParameters& p) {
    declare(st, p.intfId, 1, InternalLeave);
    return false;
  };
  st.receive(port, vlans(10, {JoinIn, JoinIn}));
  EXPECT_EQ(st.attributes(port), Texts{});
  st.lib->onJoin = nullptr;
  st.receive(port, vlans(20, {JoinIn, JoinIn}));
  st.clock->run(0.2);
  ASSERT_EQ(st.committed(port, 1), 2u);
  st.receive(port, vlans(20, {Lv, Lv}));
  st.lib->onLeave = [&](const MrpParameters& p) { declare(st, p.intfId, 1, InternalLeave); };
  st.clock->run(0.6);
  EXPECT_EQ(st.attributes(port), Texts{});
  EXPECT_EQ(st.lib->take().size(), 6u);
  st.clock->run(0.2);
  EXPECT_EQ(st.committed(port, 1), 0u);
}

// Re-declared from inside its own leave, the attribute stays as this station's declaration.
TEST_F(IndicationTest, DeclaringTheVeryAttributeInsideItsLeave) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.lib->onLeave = [&](const MrpParameters& p) {
    EXPECT_EQ(st.attribute(port, 1, 10), "VO/MT") << "told when it is over";
    declare(st, p.intfId, 1, JoinIn);
  };
  st.clock->run(1);
  EXPECT_EQ(st.attributes(port), Texts{"1:10 QA/MT"});
  EXPECT_FALSE(st.leaving(port, 1, 10, true));
}

TEST_F(IndicationTest, DisablingTheVeryPortInsideAJoin) {
  Station st(kMvrp);
  const IntfId port = st.port(1), other = st.port(2);
  st.receive(port, vlans(500, {JoinIn}));
  st.receive(port, vlans(500, {Lv}));
  st.sent();
  st.request(port, 600, New);
  st.lib->onJoin = [&](const MrpParameters& p) {
    st.lib->mrpInterfaceDisable(p.intfId);
    return false;
  };
  st.receive(port, vlans(10, {JoinIn}));
  st.lib->onJoin = nullptr;
  EXPECT_EQ(st.sent(port), (Texts{"1:600=New", "1:600=New"})) << "what was open left first";
  EXPECT_EQ(st.attributes(port), Texts{});
  EXPECT_FALSE(st.leaving(port, 1, 500, true));
  EXPECT_EQ(st.leaveAllDue(port, 1), -1);
  st.lib->take();
  st.clock->run(2);
  EXPECT_EQ(st.lib->take(), Texts{}) << "no leave of a port that is gone";
  EXPECT_EQ(st.committed(port, 1), 0u);
  EXPECT_FALSE(st.receive(port, vlans(10, {JoinIn})));
  EXPECT_TRUE(st.receive(other, vlans(10, {JoinIn})));
  st.lib->mrpInterfaceEnable(port);
  EXPECT_EQ(st.leaveAllDue(port, 1), 12);
}

// The old endpoint's machine lives on until the frame is done; what it leaves behind must not take
// the new one's LeaveAlls along.
TEST_F(IndicationTest, ReEnablingThePortInsideAJoinKeepsItsLeaveAlls) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.lib->onJoin = [&](const MrpParameters& p) {
    st.lib->mrpInterfaceDisable(p.intfId);
    st.lib->mrpInterfaceEnable(p.intfId);
    return false;
  };
  st.receive(port, vlans(10, {JoinIn}));
  EXPECT_EQ(st.leaveAllDue(port, 1), 10);
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(port), Texts{"1:LA"});
}

TEST_F(IndicationTest, RestOfAFrameIsLostWithItsPort) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.lib->onJoin = [&](const MrpParameters& p) {
    st.lib->onJoin = nullptr;
    st.lib->mrpInterfaceDisable(p.intfId);
    return false;
  };
  st.receive(port, vlans(10, {JoinIn, JoinIn, JoinIn}));
  EXPECT_EQ(st.lib->take(), Texts{"+1:10 JoinIn port1"});
  EXPECT_EQ(st.attributes(port), Texts{}) << "nothing would ever age out there";
}

// The port goes away inside one of several leaves of one tick, and inside one that was found while
// an expiry read a waiting frame.
TEST_F(IndicationTest, DisablingTheVeryPortInsideALeave) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn, JoinIn, JoinIn}));
  st.receive(port, vlans(10, {Lv, Lv, Lv}, true));
  st.lib->take();
  st.lib->onLeave = [&](const MrpParameters& p) { st.lib->mrpInterfaceDisable(p.intfId); };
  st.clock->run(2);
  EXPECT_EQ(st.lib->take(), Texts{"-1:10 Lv port1"});
  EXPECT_EQ(st.attributes(port), Texts{});
  EXPECT_FALSE(st.engine->endpoints().pam(port));
  expectLeavesWork(st, port);
}

TEST_F(IndicationTest, DisablingThePortWhileAnExpiryReadsItsFrame) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.lib->take();
  st.receive(port, vlans(20, {JoinIn}), 5);
  st.lib->onJoin = [&](const MrpParameters& p) {
    st.lib->mrpInterfaceDisable(p.intfId);
    return false;
  };
  st.clock->run(2);
  EXPECT_EQ(st.lib->take(), Texts{"+1:20 JoinIn port1"}) << "the leave is called off";
  EXPECT_EQ(st.attributes(port), Texts{});
  expectLeavesWork(st, port);
}

// The attribute is registered and left anew while its expiry reads a frame: that leave has its own
// time.
TEST_F(IndicationTest, LeaveInsideAnExpiryBeginsAnew) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.receive(port, vlans(20, {JoinIn}), 5);
  st.lib->onJoin = [&](const MrpParameters& p) {
    st.lib->onJoin = nullptr;
    st.lib->mrpInterfaceDisable(p.intfId);
    st.lib->mrpInterfaceEnable(p.intfId);
    for (const Event event : {JoinIn, Lv}) st.receive(port, vlans(10, {event}));
    return false;
  };
  st.clock->run(1.1);
  EXPECT_EQ(st.attribute(port, 1, 10), "VO/LV");
  st.clock->run(0.1);
  EXPECT_EQ(st.attribute(port, 1, 10), "none");
}

// A LeaveAll walk whose answers lead to nothing that the application could disturb, and a flush
// whose leaves do: the walk goes on at the next key.
TEST_F(IndicationTest, FlushWalkSurvivesDeletionsAndAdditions) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, Events(20, JoinIn)));
  st.receive(port, pdu(message(kMvrp, 1, leaveAllVec(2))));
  st.lib->take();
  st.lib->onLeave = [&](const MrpParameters&) {
    const std::uint16_t key = st.lib->mvrpVlanVectorRx().vlanId;
    if (key == 10) st.lib->mrpCleanUpIntfDatabaseAttribute(port, 1, 11);
    if (key == 12) st.request(port, 13, InternalLeave);
    if (key == 14) {
      st.request(port, 5, New);    // behind the walk
      st.request(port, 500, New);  // ahead of it
    }
  };
  for (const Role role : {Role::root, Role::alternate}) st.roleIs(port, role);
  EXPECT_EQ(st.lib->take().size(), 18u) << "11 and 13 were gone before their turn";
  EXPECT_EQ(st.attributes(port), (Texts{"1:5 QA/MT", "1:500 QA/MT"}));
}

}  // namespace
}  // namespace EngineTest
