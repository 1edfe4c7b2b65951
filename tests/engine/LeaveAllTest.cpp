// LeaveAlls of our own: when they are due, what they carry, what puts them off.

#include <cmath>
#include <cstdlib>

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class LeaveAllTest : public EngineTest {};

const Octets kBareVlans = pdu(message(kMvrp, 1, leaveAllVec(2)));
const Octets kBareTalkers = pdu(message(kMsrp, 1, leaveAllVec(25)));

TEST_F(LeaveAllTest, PeriodsLieBetweenOneAndOneAndAHalfAndDiffer) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  EXPECT_EQ(st.leaveAllDue(port, 1), 10);
  const auto drawn = [&] {
    st.lib->mrpInterfaceDisable(port);
    st.lib->mrpInterfaceEnable(port);
    return st.leaveAllDue(port, 1);
  };
  fixed.on(true);
  std::srand(1);
  double least = 100, most = 0;
  for (int i = 0; i < 1000; ++i) {
    const double period = drawn();
    least = std::min(least, period);
    most = std::max(most, period);
  }
  EXPECT_GE(least, 10.0);
  EXPECT_LT(least, 10.1);
  EXPECT_GT(most, 14.9);
  EXPECT_LE(most, 15.0);
  // The factor is a single-precision number, the product is not.
  std::srand(7);
  const float factor = 1.0f + static_cast<float>(std::rand()) * 0x1p-32f;
  std::srand(7);
  EXPECT_EQ(drawn(), Seconds(10.0 * double{factor}).value());
}

TEST_F(LeaveAllTest, EachExpiryDrawsAPeriodThatItsTypesShare) {
  fixed.on(true);
  Station st(kMsrp);
  const IntfId port = st.port(1);
  double last = 0;
  for (int i = 0; i < 5; ++i) {
    const double due = st.leaveAllDue(port, 1);
    for (std::uint8_t type = 2; type <= 4; ++type) EXPECT_EQ(st.leaveAllDue(port, type), due);
    EXPECT_NE(due - st.clock->now().value(), last);
    last = due - st.clock->now().value();
    EXPECT_EQ(st.status->application(kMsrp.application)->leaveAllTime().at({port, 3}),
              Seconds(due) - st.clock->now());
    st.clock->runUntil(Seconds(std::ceil(due * 10) / 10));
    EXPECT_EQ(st.sent(port), Texts{"1:LA | 2:LA | 3:LA | 4:LA"});
  }
}

TEST_F(LeaveAllTest, RidesOnTheFirstNewVectorElseGoesBare) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.request(port, 10, JoinIn);
  st.request(port, 11, JoinIn);
  st.receive(port, vlans(20, {JoinIn}));
  st.receive(port, vlans(20, {JoinIn}));  // a quiet observer
  st.clock->run(0.1);
  st.sent();
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(port), Texts{"1:LA 10=JoinMt,JoinMt; 1:20=In"});
  EXPECT_EQ(st.attributes(port), (Texts{"1:10 QA/MT", "1:11 QA/MT", "1:20 VO/LV"}));
  st.request(port, 10, Lv);
  st.request(port, 11, Lv);
  st.clock->run(1);
  st.sent();
  st.clock->runUntil(20);
  EXPECT_EQ(st.sent(port), Texts{"1:LA"});
}

// A vector that is open already takes a declaration in sequence without the LeaveAll: that waits
// for a vector of its own.
TEST_F(LeaveAllTest, AppendedDeclarationLeavesTheLeaveAllPending) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.request(port, 11, JoinIn);
  st.clock->run(0.1);
  st.sent();
  st.request(port, 10, JoinIn);  // open: vector 10, one value
  st.engine->sendLeaveAll(port);
  // 10 itself is out of sequence and opens the vector that carries the LeaveAll; 11 follows it.
  EXPECT_EQ(st.sent(port).front(), "1:10=JoinMt; 1:LA 10=JoinMt,JoinMt");
  st.request(port, 10, InternalLeave);
  st.request(port, 10, New);
  st.request(port, 10, InternalLeave);
  st.engine->sendLeaveAll(port);
  const std::vector<Octets> frames = st.sentFrames(port);
  const Octets open = number(2, 2) + vlan(10) + Octets{New * 36 + JoinMt * 6};
  ASSERT_FALSE(frames.empty());
  EXPECT_TRUE(std::equal(open.begin(), open.end(), frames[0].begin() + 17)) << "11 was appended";
  EXPECT_EQ(frames[0].size(), 14u + 1 + 2 + 5 + 2 + 2 + 4 + 2 + 2) << "and a bare LeaveAll follows";
}

TEST_F(LeaveAllTest, DueWithinATenthIsSentNowOthersKeepTheirTime) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  // Type 1 at 10 s; 2 just inside, 3 exactly at and 4 beyond a tenth of a second from there.
  st.clock->runUntil(0.0999);
  st.receive(port, pdu(message(kMsrp, 2, leaveAllVec(34))));
  st.clock->runUntil(0.1);
  st.receive(port, pdu(message(kMsrp, 3, leaveAllVec(8))));
  st.clock->runUntil(0.15);
  st.receive(port, pdu(message(kMsrp, 4, leaveAllVec(4))));
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(port), Texts{"1:LA | 2:LA"});
  EXPECT_EQ(st.leaveAllDue(port, 2), 20);
  EXPECT_EQ(st.leaveAllDue(port, 3), 10.1);
  st.clock->runUntil(10.1);
  EXPECT_EQ(st.sent(port), Texts{"3:LA | 4:LA"}) << "a wheel may be late, a LeaveAll may be early";
  st.clock->runUntil(20);
  EXPECT_EQ(st.sent(port), Texts{"1:LA | 2:LA"});
}

TEST_F(LeaveAllTest, ReceivedLeaveAllPutsOffOnlyItsTypeAndPort) {
  Station st(kMsrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  st.clock->runUntil(9.9);
  st.receive(p1, kBareTalkers);
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(), (Texts{"port1 2:LA | 3:LA | 4:LA", "port2 1:LA | 2:LA | 3:LA | 4:LA"}));
  EXPECT_EQ(st.leaveAllDue(p1, 1), 19.9);
  EXPECT_EQ(st.leaveAllDue(p2, 1), 20);
  // In a frame that is malformed behind it, a LeaveAll acts all the same.
  st.clock->runUntil(15);
  st.receive(p2, Octets{0} + message(kMsrp, 1, leaveAllVec(25)) + Octets{9, 9, 9});
  EXPECT_EQ(st.leaveAllDue(p2, 1), 25);
}

TEST_F(LeaveAllTest, ConfigurationTakesEffectAtOnce) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  st.clock->runUntil(5);
  st.config->intfLeaveAllTimeIs(p2, 2.0);
  EXPECT_EQ(st.leaveAllDue(p1, 1), 10);
  EXPECT_EQ(st.leaveAllDue(p2, 1), 7);
  st.config->leaveAllTimeIs(30.0);
  EXPECT_EQ(st.leaveAllDue(p1, 1), 35);
  EXPECT_EQ(st.leaveAllDue(p2, 1), 7) << "a period of its own, begun anew";
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(), (Texts{"port2 1:LA", "port2 1:LA"})) << "nothing at the old time of port1";
  st.config->intfLeaveAllTimeIs(p2, 0.0);
  EXPECT_EQ(st.leaveAllDue(p2, 1), 40) << "0 means the global one";
  st.config->leaveAllTimeIs(1.0);
  st.clock->runUntil(11);
  EXPECT_EQ(st.sent(), (Texts{"port1 1:LA", "port2 1:LA"})) << "brought forward";
  st.config->intfLeaveAllTimeDel(p2);
  EXPECT_EQ(st.leaveAllDue(p2, 1), 12);
}

TEST_F(LeaveAllTest, RequestedByNameForAllTypes) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.request(port, 1, talker(0x1001), JoinIn);
  st.receive(port, streams(3, stream(0x1001), {JoinIn}, false, {ready}));
  st.clock->run(0.1);
  st.sent();
  st.clock->runUntil(4);
  const auto pam = attributeValue(st.engine->describe(), "mrpPamSm");
  ASSERT_TRUE(pam && pam->as<Described>());
  EXPECT_FALSE(attributeValueIs(*pam->as<Described>(), "transmitAllLeaveAll", std::uint64_t{1}));
  EXPECT_TRUE(attributeValueIs(*pam->as<Described>(), "transmitAllLeaveAll", Value("port1")));
  EXPECT_EQ(st.sent(port), Texts{"1:LA 1001=JoinMt | 2:LA | 3:LA 1001=In/2 | 4:LA"});
  EXPECT_EQ(st.attribute(port, 3, 0x1001), "VO/IN") << "the Registrar hears nothing of it";
  for (std::uint8_t type = 1; type <= 4; ++type) EXPECT_EQ(st.leaveAllDue(port, type), 14);
  EXPECT_TRUE(attributeValueIs(*pam->as<Described>(), "transmitAllLeaveAll", Value("port9")));
}

TEST_F(LeaveAllTest, RequestedThroughTheService) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2), p3 = st.port(3);
  st.clock->runUntil(3);
  for (const IntfId p : {p3, p1, p2}) st.lib->mrpOutIntfQueueEnq(p);
  MrpParameters parameters;
  parameters.intfId = p1;
  parameters.attributeType = 1;
  parameters.attributeEvent = LeaveAll;
  st.lib->mrpSendAttribute(parameters);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(), (Texts{"port1 1:LA", "port2 1:LA", "port3 1:LA"}));
  for (const IntfId p : {p1, p2, p3}) EXPECT_EQ(st.leaveAllDue(p, 1), 13);
  EXPECT_EQ(st.attributes(p1), Texts{}) << "the current attribute is no attribute";
}

TEST_F(LeaveAllTest, PortsComeAndGo) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.clock->runUntil(4);
  st.lib->mrpInterfaceEnable(port);
  EXPECT_EQ(st.leaveAllDue(port, 1), 10) << "enabled already";
  st.lib->mrpInterfaceDisable(port);
  EXPECT_EQ(st.leaveAllDue(port, 1), -1);
  EXPECT_TRUE(st.status->application(kMvrp.application)->leaveAllTime().empty());
  st.clock->runUntil(12);
  EXPECT_EQ(st.sent(), Texts{});
  st.lib->mrpInterfaceEnable(port);
  st.clock->runUntil(22);
  EXPECT_EQ(st.sent(port), Texts{"1:LA"});
}

// The registrations that nobody confirms within the leave time of a LeaveAll are gone.
TEST_F(LeaveAllTest, OwnLeaveAllAgesOutWhatIsNotDeclaredAgain) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn, JoinIn}));
  st.lib->take();
  st.clock->runUntil(10.3);
  st.receive(port, vlans(11, {JoinIn}));
  st.clock->runUntil(10.6);
  EXPECT_EQ(st.lib->take(), Texts{"-1:10 JoinIn port1"});
  EXPECT_EQ(st.attributes(port), Texts{"1:11 AO/IN"});
}

}  // namespace
}  // namespace EngineTest
