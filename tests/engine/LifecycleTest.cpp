// Start, standby, activation, notifications, end, and engines beside each other.

#include "platform/packet/SocketFilter.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class LifecycleTest : public EngineTest {
 protected:
  // A status that another engine has written: 34, 33 and 33 VLANs on three ports.
  static void preload(MrpStatus& status, unsigned ports = 3) {
    MrpApplicationDatabase& database = status.applicationIs(MrpApplication::mvrp);
    for (std::uint16_t i = 0; i < 100; ++i) {
      const IntfId port("port" + std::to_string(i % ports + 1));
      const std::uint16_t id = static_cast<std::uint16_t>(1000 - i);
      MrpAttrDatabase& record =
          database.attrDatabaseIs(port).intfTypeApplicantIs(1).mrpAttributeIs(id);
      record.applicantStateIs(State::qa);
      record.registrarStateIs(Registrar::in);
      record.valueIs(vlan(id));
    }
  }
};

TEST_F(LifecycleTest, StandbyHasEndpointsAndNothingElse) {
  Station st(kMvrp, Station::Start::standby);
  preload(*st.status);
  const IntfId port = st.port(1);
  EXPECT_FALSE(st.engine->active());
  EXPECT_FALSE(st.engine->counters());
  ASSERT_TRUE(st.engine->endpoints().pam(port));
  for (const bool active : {false, true}) st.engine->hasNotificationActiveIs(active);
  // Frames are lost, ports come and go, and the database stays as it is.
  st.receive(port, vlans(10, {JoinIn}, true));
  st.lib->mrpCleanUpIntfDatabaseAttribute(port, 1, 1000);
  st.request(port, 20, New);
  EXPECT_TRUE(st.lib->mrpOutIntfQueueEmpty());
  st.lib->mrpInterfaceDisable(port);
  st.lib->mrpInterfaceEnable(port);
  st.clock->runUntil(30);
  EXPECT_EQ(st.sent(), Texts{});
  EXPECT_EQ(st.committed(port, 1), 34u);
  EXPECT_DEATH(st.engine->sendLeaveAll(port), "initialized\\(\\) && !standbyMode\\(\\)");
}

TEST_F(LifecycleTest, ActivationTakesOverWhatTheActiveSideWrote) {
  Station active(kMvrp);
  const IntfId from = active.port(1);
  active.receive(from, vlans(10, {JoinIn, JoinIn}));
  active.request(from, 20, New);
  active.clock->run(0.2);
  active.receive(from, vlans(11, {Lv}));
  active.request(from, 30, New);  // not committed yet: not carried over
  Station st(kMvrp, Station::Start::standby);
  const IntfId port = st.port(1);
  copyCommitted(*active.status->application(kMvrp.application),
                *st.status->application(kMvrp.application));
  st.clock->runUntil(5);
  st.engine->activate();
  EXPECT_EQ(st.attributes(port), (Texts{"1:10 AO/IN", "1:11 VO/LV", "1:20 QA/MT"}));
  EXPECT_EQ(st.leaveAllDue(port, 1), 15) << "begun at the switch-over";
  EXPECT_FALSE(st.leaving(port, 1, 11, true));
  st.receive(port, vlans(11, {Lv}));
  EXPECT_TRUE(st.leaving(port, 1, 11, true)) << "a leave event gives the record its timer";
  st.clock->run(0.7);
  EXPECT_EQ(st.lib->take(), Texts{"-1:11 Lv port1"});
  st.sent();
  st.receive(port, pdu(message(kMvrp, 1, leaveAllVec(2))));
  EXPECT_EQ(st.sent(port), (Texts{"1:10=Mt; 1:20=JoinMt", "1:20=JoinMt"}));
  EXPECT_EQ(st.engine->counters()->numOfPktsProcessed(), 2u);
}

TEST_F(LifecycleTest, IndexListsAHundredPreloadedAttributesBeforeTheFirstFrame) {
  Station st(kMvrp, Station::Start::standby);
  preload(*st.status);
  std::vector<IntfId> ports;
  for (unsigned n : {3u, 1u, 2u}) ports.push_back(st.port(n));
  st.engine->activate();
  std::size_t listed = 0;
  for (const IntfId port : ports) {
    listed += st.attributes(port).size();
    EXPECT_EQ(st.leaveAllDue(port, 1), 10);
  }
  EXPECT_EQ(listed, 100u);
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent().size(), 3u);
  EXPECT_EQ(st.attribute(ports[0], 1, 998), "QA/LV");
  st.engine->activate();
  EXPECT_TRUE(attributeValueIs(st.engine->describe(), "standbyMode", true));
  EXPECT_TRUE(st.engine->active()) << "there is no way back, and no second activation";
  EXPECT_EQ(st.attribute(ports[0], 1, 998), "QA/LV");
}

TEST_F(LifecycleTest, NotificationsOffStopFramesAndTimers) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  st.request(port, 20, New);
  st.sent();
  st.lib->take();
  st.engine->hasNotificationActiveIs(false);
  st.clock->run(15);
  EXPECT_EQ(st.sent(), Texts{}) << "no packet is flushed, no LeaveAll sent";
  EXPECT_EQ(st.lib->take(), Texts{}) << "no leave expires";
  EXPECT_EQ(st.committed(port, 1), 0u);
  EXPECT_EQ(st.attribute(port, 1, 10), "VO/LV");
  st.engine->hasNotificationActiveIs(true);
  st.clock->run(0.1);
  EXPECT_EQ(st.lib->take(), Texts{"-1:10 Lv port1"});
  st.clock->run(15);
  EXPECT_EQ(st.sent(port).front(), "1:20=New") << "what was open leaves";
  st.receive(port, vlans(30, {JoinIn}));
  EXPECT_EQ(st.attribute(port, 1, 30), "AO/IN");
}

TEST_F(LifecycleTest, NothingThatCameWhileNotificationsWereOffIsLost) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.request(port, 20, New);
  st.engine->hasNotificationActiveIs(false);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(15, {JoinIn}));
  st.sw->attrLog().reopen();
  st.clock->run(1);  // the review of VLAN 20 would have been
  EXPECT_EQ(st.attribute(port, 1, 10), "none");
  EXPECT_EQ(st.engine->counters()->numOfPktsProcessed(), 0u);

  st.engine->hasNotificationActiveIs(true);
  EXPECT_EQ(st.attribute(port, 1, 10), "AO/IN");
  EXPECT_EQ(st.attribute(port, 1, 15), "AO/IN");
  st.receive(port, vlans(11, {JoinIn}));
  EXPECT_EQ(st.attribute(port, 1, 11), "AO/IN") << "a frame is read for each notification again";
  st.clock->run(1);
  EXPECT_EQ(st.committed(port, 1), 4u);
  st.sw->attrLog().queueOctetsIs(1'000'000);
  st.receive(port, vlans(12, {JoinIn}));
  st.clock->run(1);
  EXPECT_EQ(st.committed(port, 1), 4u) << "the log's new socket is the one that is watched";
}

// Under the address sanitizer: nothing is used after its end, nothing is left behind.
TEST_F(LifecycleTest, EndsInTheMiddleOfEverythingAndStartsAgainOnTheSameStatus) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  for (int round = 0; round < 3; ++round) {
    for (const IntfId p : {p1, p2}) {
      st.receive(p, vlans(10, {JoinIn, JoinIn, JoinIn}));
      st.request(p, 20, New);
    }
    st.clock->run(0.2);
    st.receive(p1, vlans(10, {Lv}));                         // a leave timer runs
    st.receive(p1, pdu(message(kMvrp, 1, leaveAllVec(2))));  // and timers of the other kind
    st.request(p1, 30, New);                                 // waits to be added, in an open packet
    st.request(p2, 20, Lv);                                  // waits to be deleted
    st.request(p2, 11, InternalLeave);
    st.sw->receive(p2, frame(kMvrp, vlans(77, {JoinIn})), 5);  // waits unread
    st.lib->mrpOutIntfQueueEnq(p1);
    st.lib->mrpOutIntfQueueDelAll();
    st.engine = nullptr;
    EXPECT_EQ(st.lib->engine(), nullptr);
    st.clock->run(3);
    EXPECT_EQ(st.committed(p1, 1), 4u) << "additions that waited are gone";
    EXPECT_EQ(st.committed(p2, 1), 4u) << "deletions that waited are, too";
    EXPECT_TRUE(st.status->application(kMvrp.application)->leaveAllTime().empty());
    st.lib->take();
    st.start();
    EXPECT_EQ(st.engine->counters()->numOfPktsProcessed(), 0u)
        << "whatever the one before had counted";
    EXPECT_EQ(st.engine->counters()->numOfJoinIndications(), 0u);
    for (const IntfId p : {p1, p2}) st.lib->mrpInterfaceEnable(p);
    EXPECT_EQ(st.attributes(p1), (Texts{"1:10 VO/LV", "1:11 VO/LV", "1:12 VO/LV", "1:20 QA/MT"}));
    EXPECT_EQ(st.attributes(p2), (Texts{"1:10 AO/IN", "1:11 AO/IN", "1:12 AO/IN", "1:20 VO/MT"}));
    st.clock->run(3);
    EXPECT_EQ(st.lib->take(), Texts{}) << "no timer came along";
    st.lib->mrpInterfaceDisable(p1);
    st.lib->mrpInterfaceDisable(p2);
    st.clock->run(2);
    ASSERT_EQ(st.committed(p1, 1) + st.committed(p2, 1), 0u);
    for (const IntfId p : {p1, p2}) st.lib->mrpInterfaceEnable(p);
  }
}

TEST_F(LifecycleTest, EngineEndsAfterItsSwitch) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.receive(port, streams(1, talker(1), {JoinIn}));
  st.receive(port, streams(1, talker(1), {Lv}));
  st.sw.reset();
  st.clock->run(2);
  EXPECT_EQ(st.lib->take().back(), "-1:1 Lv port1");
  st.engine = nullptr;
}

bool accepts(const std::vector<FilterInstruction>& filter, const Octets& frame) {
  return runSocketFilter(filter, frame) != 0;
}

// Which application came first in this process depends on the tests before this one; that both
// engines have the filter of one and the same does not.
TEST_F(LifecycleTest, SocketFilterIsThatOfTheFirstEngineOfTheProcess) {
  Station msrp(kMsrp), mvrp(kMvrp);
  const auto filter = msrp.sw->endpoint(msrp.port(1))->config().filter;
  ASSERT_TRUE(filterIsValid(filter));
  EXPECT_EQ(mvrp.sw->endpoint(mvrp.port(1))->config().filter, filter);
  const Octets talkers = frame(kMsrp, streams(1, talker(1), {JoinIn}));
  const bool msrpFirst = accepts(filter, talkers);
  EXPECT_NE(msrpFirst, accepts(filter, frame(kMvrp, vlans(1, {JoinIn}))));
  const App& app = msrpFirst ? kMsrp : kMvrp;
  const Octets body(50);
  EXPECT_EQ(runSocketFilter(filter, frame(app, body)), 65535u);
  EXPECT_TRUE(accepts(filter, frame(app, body, {0x81, 0, 0x0f, 0xff})));
  EXPECT_FALSE(accepts(filter, frame(app, body, {0x88, 0xa8, 0, 1})));
  EXPECT_FALSE(accepts(filter, frame(app, body, {0x81, 0, 0, 1, 0x81, 0, 0, 1})));
  EXPECT_FALSE(accepts(filter, frame({app.application, app.address ^ 1, app.etype}, body)));
  EXPECT_FALSE(
      accepts(filter, frame({app.application, app.address ^ (1ull << 40), app.etype}, body)));
  EXPECT_FALSE(
      accepts(filter, frame({app.application, app.address, 0x0800}, body, {0x81, 0, 0, 1})));
}

// Two engines on one switch share its ports and nothing else.
TEST_F(LifecycleTest, BothApplicationsBesideEachOther) {
  Station msrp(kMsrp);
  auto lib = makePtr<RecordingLib>();
  lib->applicationIs(MrpApplication::mvrp);
  lib->applicationMacAddrIs(EthAddr::fromNumber(kMvrp.address));
  lib->applicationEtypeIs(kMvrp.etype);
  auto mvrp = engineFactory({msrp.sw->bridgingConfig(), lib.get(), makePtr<MrpConfig>(),
                             msrp.status, nullptr, msrp.sw->bridgingTopologyConfig(),
                             msrp.sw->ethPhyIntfStatusDir(), msrp.sw->stateDatabase()});
  const IntfId port = msrp.port(1);
  lib->mrpInterfaceEnable(port);
  msrp.sw->receive(port, frame(kMvrp, vlans(10, {JoinIn})));
  msrp.sw->receive(port, frame(kMsrp, streams(1, talker(1), {JoinIn})));
  EXPECT_EQ(lib->take(), Texts{"+1:10 JoinIn port1"});
  EXPECT_EQ(msrp.lib->take(), Texts{"+1:1 JoinIn port1"});
  EXPECT_EQ(mvrp->counters()->numOfIncorrectDmac(), 1u);
  EXPECT_EQ(msrp.engine->counters()->numOfIncorrectDmac(), 1u);
  EXPECT_EQ(lib->baseSpanningTreeTopo(port), "") << "no spanning tree was given";
  msrp.clock->runUntil(10);
  EXPECT_EQ(msrp.sentFrames(port).size(), 2u) << "a LeaveAll of each";
  mvrp = nullptr;
  EXPECT_EQ(msrp.attribute(port, 1, 1), "VO/LV");
  EXPECT_EQ(msrp.committed(port, 1), 1u);
}

// An application that is neither: the engine comes up, knows no attribute types, and counts.
TEST_F(LifecycleTest, ForeignApplicationIsCountedNotRefused) {
  Station st({static_cast<MrpApplication>(9), kMvrp.address, 0x1234, 0});
  const IntfId port = st.port(1);
  st.receive(port, {0, 1, 0, 0, 1, 0, 2, 0, 0, 0, 0});
  EXPECT_EQ(st.engine->counters()->numOfUnknownApplication(), 2u);
  EXPECT_EQ(st.engine->counters()->numOfMalformedPkts(), 0u);
  MrpParameters parameters;
  parameters.intfId = port;
  parameters.attributeType = 1;
  st.lib->mrpSendAttributeIntf(parameters, port, false);
  EXPECT_EQ(st.sw->trace().ring().back().text, "unsupported application 9");
  st.clock->runUntil(12);
  const std::vector<Octets> frames = st.sentFrames(port);
  ASSERT_EQ(frames.size(), 1u) << "the packet was opened";
  EXPECT_EQ(frames[0].size(), 17u) << "header, version and one end mark";
}

}  // namespace
}  // namespace EngineTest
