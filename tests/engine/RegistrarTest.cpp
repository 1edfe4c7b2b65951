// What is registered, what the application hears of it, and when it ages out.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class RegistrarTest : public EngineTest {};

TEST_F(RegistrarTest, RepeatedJoinsAreIndicatedWhenTheValueChanges) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  const Octets first = talker(0x1001, 0x91e0f0000001, 7),
               second = talker(0x1001, 0x91e0f0000001, 9);
  st.receive(port, streams(1, first, {JoinIn}));
  st.receive(port, streams(1, first, {JoinMt}));
  EXPECT_EQ(st.lib->take().size(), 1u);
  EXPECT_EQ(st.engine->counters()->numOfJoinIndications(), 2u);
  st.receive(port, streams(1, second, {New}));
  EXPECT_EQ(st.lib->take(), Texts{"+1:1001 New port1"});
  EXPECT_EQ(st.value(port, 1, 0x1001), first) << "New stores nothing";
  st.receive(port, streams(1, second, {JoinIn}));
  EXPECT_EQ(st.lib->take(), Texts{"+1:1001 JoinIn port1"});
  EXPECT_EQ(st.value(port, 1, 0x1001), second);
  // Back from LV with another value: stored and indicated; with the same one, neither.
  st.receive(port, streams(1, second, {Lv}));
  st.receive(port, streams(1, second, {JoinIn}));
  EXPECT_EQ(st.lib->take(), Texts{});
  st.receive(port, streams(1, second, {Lv}));
  st.receive(port, streams(1, first, {JoinMt}));
  EXPECT_EQ(st.lib->take(), Texts{"+1:1001 JoinMt port1"});
  EXPECT_EQ(st.value(port, 1, 0x1001), first);
  EXPECT_EQ(st.engine->counters()->numOfJoinIndications(), 6u);
}

TEST_F(RegistrarTest, EveryJoinOfADomainIsIndicatedAndNoneStored) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.request(port, 4, domain(6, 3, 2), JoinIn);
  for (int i = 0; i < 3; ++i) st.receive(port, streams(4, domain(6, 2, 99), {JoinIn}));
  EXPECT_EQ(st.lib->take(), Texts(3, "+4:6 JoinIn port1"));
  EXPECT_EQ(st.value(port, 4, 6), domain(6, 3, 2));
  EXPECT_EQ(st.attribute(port, 4, 6), "QA/IN");
}

TEST_F(RegistrarTest, DiscardedJoinIsForgottenAndLoggedWithItsNumbersCrossed) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.lib->onJoin = [](const MrpParameters&) { return true; };
  st.receive(port, streams(3, stream(0x1001), {JoinIn}, false, {ready}));
  // The Applicant has overheard the join, so the record stays for it.
  EXPECT_EQ(st.attributes(port), Texts{"3:1001 AO/MT"});
  EXPECT_EQ(
      st.logged(),
      (Texts{"MRP_JOIN MRP Join received on port1, attrType: 3, key: 4097, state: MT, event: "
             "rJoinIn!",
             "MRP_ERROR Join was discarded by MSRP, interface: port1, attrType: 1, attrEvent: 3"}));
  st.receive(port, streams(1, talker(0x8000000000000001), {New}));
  EXPECT_EQ(st.attributes(port), Texts{"3:1001 AO/MT"}) << "New moves no observer: nothing is left";
  EXPECT_EQ(
      st.logged(),
      (Texts{"MRP_JOIN MRP Join received on port1, attrType: 1, key: -9223372036854775807, "
             "state: MT, event: rNew!",
             "MRP_ERROR Join was discarded by MSRP, interface: port1, attrType: 0, attrEvent: 1"}));
  // A discarded change of a registered value withdraws the registration, without a leave.
  st.lib->onJoin = nullptr;
  st.receive(port, streams(1, talker(0x2000), {JoinIn}));
  st.lib->onJoin = [](const MrpParameters&) { return true; };
  st.receive(port, streams(1, talker(0x2000, 1), {JoinIn}));
  EXPECT_EQ(st.attribute(port, 1, 0x2000), "QO/MT");
  EXPECT_EQ(st.engine->counters()->numOfLeaveIndications(), 0u);
}

TEST_F(RegistrarTest, LeaveAgesOutAfterTheLeaveTimeAndIsNotProlonged) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn, JoinIn}));
  st.lib->take();
  st.logged();
  st.clock->run(0.25);
  st.receive(port, vlans(10, {Lv}));
  st.clock->run(0.5);
  st.receive(port, vlans(10, {Lv}));
  EXPECT_EQ(st.attribute(port, 1, 10), "VO/LV");
  st.clock->run(0.1);
  EXPECT_EQ(st.lib->take(), Texts{});
  st.clock->run(0.05);  // 0.25 + 0.6, at the next tick
  EXPECT_EQ(st.lib->take(), Texts{"-1:10 Lv port1"});
  EXPECT_EQ(st.attributes(port), Texts{"1:11 AO/IN"});
  EXPECT_EQ(st.logged(),
            (Texts{"MRP_LV MRP Lv received on port1, attrType: 1, key: 10, state: IN, event: rLv!",
                   "MRP_LV MRP Lv received on port1, attrType: 1, key: 10, state: LV, event: rLv!",
                   "MRP_LV MRP Lv notified on port1, attrType: 1, key: 10, state: LV, event: "
                   "leavetimer!"}));
  EXPECT_EQ(st.engine->counters()->numOfLeaveIndications(), 1u);
}

// A LeaveAll and an explicit leave have timers of their own; the earlier expiry wins and a rejoin
// calls off both.
TEST_F(RegistrarTest, TheTwoKindsOfLeaveTimersAreIndependent) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn, JoinIn}));
  st.config->leaveTimeIs(2.0);
  st.receive(port, pdu(message(kMvrp, 1, leaveAllVec(2))));
  st.config->leaveTimeIs(0.3);
  st.receive(port, vlans(10, {Lv, Lv}));
  EXPECT_TRUE(st.leaving(port, 1, 10, false));
  EXPECT_TRUE(st.leaving(port, 1, 10, true));
  st.receive(port, vlans(10, {JoinIn}));
  EXPECT_FALSE(st.leaving(port, 1, 10, false));
  EXPECT_FALSE(st.leaving(port, 1, 10, true));
  st.lib->take();
  st.clock->run(0.3);
  EXPECT_EQ(st.lib->take(), Texts{"-1:11 JoinIn port1"}) << "with the event parsed last";
  st.clock->run(3);
  EXPECT_EQ(st.lib->take(), Texts{});
  EXPECT_EQ(st.attribute(port, 1, 10), "AO/IN");
}

// The machine of a registration that came back keeps running for nothing; the next leave gives the
// registration its full time.
TEST_F(RegistrarTest, LeaveAfterARejoinStartsAFullLeaveTime) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.clock->run(0.5);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.clock->run(0.5);
  EXPECT_EQ(st.attribute(port, 1, 10), "VO/LV");
  st.clock->run(0.1);
  EXPECT_EQ(st.attribute(port, 1, 10), "none");
}

// Flush leaves the key pending on its machine; when that has fired, a new registration must still
// be able to age out.
TEST_F(RegistrarTest, PendingKeyWhoseTimerHasFiredIsArmedAnew) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.request(port, 10, JoinIn);
  st.receive(port, pdu(message(kMvrp, 1, leaveAllVec(2))));
  const auto flush = [&] {
    for (const Role role : {Role::none, Role::root, Role::alternate}) st.roleIs(port, role);
  };
  flush();
  EXPECT_EQ(st.attribute(port, 1, 10), "QA/MT");
  EXPECT_EQ(st.lib->take().back(), "-1:10 In port1") << "told at the flush, from LV";
  st.clock->run(1);
  EXPECT_EQ(st.lib->take(), Texts{}) << "and not again by the timer";
  st.receive(port, vlans(10, {New}));
  st.receive(port, pdu(message(kMvrp, 1, leaveAllVec(2))));
  EXPECT_TRUE(st.leaving(port, 1, 10, false));
  st.clock->run(0.6);
  EXPECT_EQ(st.attribute(port, 1, 10), "QA/MT");
  // From IN, a flush tells the application nothing.
  st.receive(port, vlans(10, {JoinIn}));
  st.lib->take();
  flush();
  EXPECT_EQ(st.lib->take(), Texts{});
  EXPECT_EQ(st.attribute(port, 1, 10), "QA/MT");
}

TEST_F(RegistrarTest, LeaveTimesOfPortsAndOfOurOwnLeaveAll) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2), p3 = st.port(3);
  st.config->intfLeaveTimeIs(p2, 1.5);
  st.config->intfLeaveTimeIs(p3, 0.0);
  st.config->leaveAllLeaveTimeIs(2.5);
  for (const IntfId p : {p1, p2, p3}) {
    st.receive(p, vlans(10, {JoinIn}));
    st.receive(p, vlans(10, {Lv}));
  }
  st.lib->take();
  st.clock->run(0.6);
  EXPECT_EQ(st.lib->take(), (Texts{"-1:10 Lv port1", "-1:10 Lv port3"}))
      << "0 means the global one";
  st.clock->run(0.9);
  EXPECT_EQ(st.lib->take(), Texts{"-1:10 Lv port2"});
  // LeaveAlls of our own at 10 s, with a leave time of their own; a received one keeps the port's.
  st.receive(p1, vlans(20, {JoinIn}));
  st.receive(p2, vlans(20, {JoinIn}));
  st.lib->take();
  st.clock->runUntil(10);
  st.receive(p3, vlans(20, {JoinIn}));
  st.receive(p3, pdu(message(kMvrp, 1, leaveAllVec(2))));
  st.clock->runUntil(12.4);
  EXPECT_EQ(st.lib->take(), (Texts{"+1:20 JoinIn port3", "-1:20 In port3"}));
  st.clock->runUntil(12.5);
  EXPECT_EQ(st.lib->take().size(), 2u);
}

// A join that has arrived before the leave expires takes the registration back, read or not.
TEST_F(RegistrarTest, WaitingFrameIsReadBeforeALeaveExpires) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn, JoinIn, JoinIn}));
  st.receive(port, vlans(10, {Lv, Lv, Lv}));
  st.lib->take();
  st.clock->run(0.55);
  st.receive(port, vlans(11, {JoinIn}), 10);
  st.receive(port, vlans(12, {JoinIn}), 10);
  st.receive(port, vlans(77, {JoinIn}), 10);
  st.receive(port, vlans(78, {JoinIn}), 10);
  st.clock->run(0.05);
  // One frame an expiry: the first two expiries save 11 and 12, after 10 had its frame read too.
  EXPECT_EQ(st.attributes(port), (Texts{"1:11 AO/IN", "1:12 AO/IN", "1:77 AO/IN"}));
  EXPECT_EQ(st.lib->take(), (Texts{"-1:10 JoinIn port1", "+1:77 JoinIn port1"}));
  EXPECT_EQ(st.sw->endpoint(port)->waiting(), 1u);
}

TEST_F(RegistrarTest, ExpiryReadsAFrameAlsoWhenNothingIsPendingAnyMore) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(20, {JoinIn}), 5);
  st.clock->run(0.6);
  EXPECT_EQ(st.attribute(port, 1, 20), "AO/IN");
}

// A leave in the frame that an expiry reads does not put that expiry off.
TEST_F(RegistrarTest, LeavesInTheFrameReadAtAnExpiryChangeNothing) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.clock->run(0.55);
  st.receive(port, vlans(10, {Lv}, true), 5);
  st.lib->take();
  st.clock->run(0.05);
  EXPECT_EQ(st.lib->take(), Texts{"-1:10 Lv port1"});
  EXPECT_EQ(st.attribute(port, 1, 10), "none");
  st.receive(port, vlans(10, {JoinIn}));
  st.clock->run(2);
  EXPECT_EQ(st.lib->take(), Texts{"+1:10 JoinIn port1"})
      << "timers of the old registration do nothing";
}

}  // namespace
}  // namespace EngineTest
