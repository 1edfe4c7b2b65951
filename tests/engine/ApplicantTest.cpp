// What a station says about an attribute, by the state it is in. The states that no sequence of
// requests and frames reaches are put into the record, as an earlier release may have left them.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class ApplicantTest : public EngineTest {
 protected:
  // Brings VLAN 10 into a pair of states, with nothing waiting to be sent.
  void states(State applicant, Registrar registrar) {
    if (!st.record(port, 1, 10)) st.request(port, 10, JoinIn);
    st.clock->run(0.1);
    st.sent();
    st.record(port, 1, 10)->applicantStateIs(applicant);
    st.record(port, 1, 10)->registrarStateIs(registrar);
  }

  Station st{kMvrp};
  IntfId port = st.port(1);
};

enum class By { request, frame, txLeaveAll, rxLeaveAll, roles };

TEST_F(ApplicantTest, StatesThatOnlyARecordCanHold) {
  using enum By;
  const Registrar in = Registrar::in, mt = Registrar::mt;
  const struct {
    State state;
    Registrar registrar;
    By by;
    Event event;
    Texts sent;
    const char* after;
  } cells[] = {
      {State::vp, mt, request, JoinIn, {}, "VP/MT"},
      {State::vp, in, request, Lv, {}, "VO/IN"},
      {State::vp, mt, request, Lv, {}, "none"},
      {State::vp, mt, frame, JoinIn, {"1:10=JoinMt"}, "QA/IN"},
      {State::vp, mt, rxLeaveAll, New, {}, "VP/MT"},
      {State::vp, in, txLeaveAll, New, {"1:LA 10=In", "1:10=JoinIn"}, "QA/IN"},
      {State::vn, mt, request, New, {}, "VN/MT"},
      {State::vn, in, request, Lv, {"1:10=Lv"}, "VO/IN"},
      {State::vn, mt, rxLeaveAll, New, {}, "VN/MT"},
      {State::vn, mt, txLeaveAll, New, {"1:LA 10=New", "1:10=New"}, "QA/MT"},
      {State::an, mt, request, JoinIn, {}, "AN/MT"},
      {State::an, mt, txLeaveAll, New, {"1:LA 10=New"}, "QA/MT"},
      {State::an, in, frame, Lv, {"1:10=New", "1:10=New"}, "QA/LV"},
      {State::an, in, rxLeaveAll, New, {"1:10=New", "1:10=New"}, "QA/LV"},
      {State::an, in, roles, New, {"1:10=New", "1:10=New"}, "QA/LV"},
      {State::aa, in, frame, In, {}, "QA/IN"},
      {State::aa, in, txLeaveAll, New, {"1:LA"}, "AA/IN"},
      {State::aa, in, frame, Lv, {"1:10=JoinIn", "1:10=JoinIn"}, "QA/LV"},
      {State::aa, mt, request, Lv, {"1:10=Lv"}, "none"},
      {State::la, mt, request, JoinIn, {"1:10=JoinMt"}, "QA/MT"},
      {State::la, mt, request, Lv, {}, "LA/MT"},
      {State::la, in, txLeaveAll, New, {"1:LA 10=In"}, "VO/IN"},
      {State::la, mt, rxLeaveAll, New, {}, "LA/MT"},
      {State::ao, in, frame, Lv, {"1:10=In"}, "VO/LV"},
      {State::ao, in, request, JoinIn, {"1:10=JoinIn"}, "QA/IN"},
      {State::qo, in, request, JoinIn, {}, "QP/IN"},
      {State::qo, in, frame, Mt, {}, "AO/IN"},
      {State::ap, in, request, Lv, {}, "AO/IN"},
      {State::ap, mt, frame, JoinIn, {}, "QP/IN"},
      {State::ap, mt, txLeaveAll, New, {"1:LA 10=JoinMt"}, "QA/MT"},
      {State::ap, in, roles, New, {"1:10=JoinIn", "1:10=JoinIn"}, "QA/LV"},
      {State::qp, in, request, Lv, {}, "QO/IN"},
      {State::qp, in, frame, JoinMt, {"1:10=JoinIn"}, "QA/IN"},
      {State::qp, in, rxLeaveAll, New, {"1:10=JoinMt", "1:10=JoinMt"}, "QA/LV"},
      {State::lo, mt, request, JoinIn, {"1:10=JoinMt", "1:10=JoinMt"}, "QA/MT"},
      {State::lo, mt, frame, Mt, {}, "none"},
      {State::lo, mt, frame, JoinMt, {}, "VO/IN"},
      {State::lo, in, rxLeaveAll, New, {}, "LO/LV"},
      {State::lo, in, txLeaveAll, New, {"1:LA"}, "LO/IN"},
      {State::qa, in, frame, New, {}, "QA/IN"},
      {State::qa, mt, frame, Mt, {"1:10=JoinMt"}, "QA/MT"},
  };
  for (const auto& cell : cells) {
    SCOPED_TRACE(std::string(stringValue(cell.state)) + " to " + cell.after + " by " +
                 std::to_string(static_cast<int>(cell.by)));
    states(cell.state, cell.registrar);
    if (cell.by == request) {
      st.request(port, 10, cell.event);
    } else if (cell.by == frame) {
      st.receive(port, vlans(10, {cell.event}));
    } else if (cell.by == txLeaveAll) {
      st.engine->sendLeaveAll(port);
    } else if (cell.by == rxLeaveAll) {
      st.receive(port, pdu(message(kMvrp, 1, leaveAllVec(2))));
    } else {
      for (const Role role : {Role::none, Role::alternate, Role::root}) st.roleIs(port, role);
    }
    const std::string after = st.attribute(port, 1, 10);
    st.clock->run(0.1);
    EXPECT_EQ(st.sent(port), cell.sent);
    EXPECT_EQ(after, cell.after);
    st.clock->run(0.6);  // leave timers of this cell
  }
}

TEST_F(ApplicantTest, DeclarationsLeaveInTwoSuccessiveFramesWithdrawalsInOne) {
  st.request(port, 10, New);
  st.request(port, 11, JoinIn);
  EXPECT_EQ(st.sent(port), Texts{}) << "a burst shares its frames";
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:10=New,JoinMt", "1:10=New,JoinMt"}));
  st.request(port, 11, JoinMt);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:11=JoinMt", "1:11=JoinMt"})) << "declared anew";
  st.request(port, 10, Lv);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), Texts{"1:10=Lv"});
  EXPECT_EQ(st.attributes(port), Texts{"1:11 QA/MT"});
}

TEST_F(ApplicantTest, JoinNamesTheRegistrarsStateAtThatMoment) {
  st.receive(port, vlans(10, {JoinIn}));
  st.request(port, 10, New);
  st.request(port, 10, JoinIn);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:10=New; 1:10=JoinIn", "1:10=New; 1:10=JoinIn"}));
  // The Applicant answers before the Registrar moves: still IN while it answers a leave.
  st.receive(port, vlans(10, {Lv}));
  EXPECT_EQ(st.sent(port), (Texts{"1:10=JoinIn", "1:10=JoinIn"}));
  st.receive(port, vlans(10, {Mt}));
  EXPECT_EQ(st.sent(port), Texts{"1:10=JoinMt"}) << "in LV";
}

// An observer that overhears two joins keeps quiet; what it then withdraws was never declared.
TEST_F(ApplicantTest, ObserversBecomePassiveAndLeaveSilently) {
  st.receive(port, vlans(10, {JoinIn}));
  EXPECT_EQ(st.attribute(port, 1, 10), "AO/IN");
  st.receive(port, vlans(10, {JoinIn}));
  EXPECT_EQ(st.attribute(port, 1, 10), "QO/IN");
  st.request(port, 10, JoinIn);
  st.request(port, 10, Lv);
  EXPECT_EQ(st.attribute(port, 1, 10), "QO/IN");
  st.request(port, 10, Lv);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), Texts{});
}

// The value that an answer carries is that of the attribute being answered for, not of the last
// request, and this station's own where it has declared one.
TEST_F(ApplicantTest, AnswersCarryTheAttributesOwnValue) {
  Station msrp(kMsrp);
  const IntfId p = msrp.port(1);
  msrp.request(p, 1, talker(0x1001, 0x91e0f0000001, 7), JoinIn);
  msrp.request(p, 1, talker(0x5000), JoinIn);
  msrp.request(p, 4, domain(6, 3, 2), JoinIn);
  msrp.clock->run(0.1);
  msrp.sent();
  msrp.receive(p, pdu(message(kMsrp, 1, vec(talker(0x1001, 0x91e0f0000001, 9), {JoinMt})) +
                      message(kMsrp, 4, vec(domain(6, 2, 99), {JoinMt}))));
  const std::vector<Octets> frames = msrp.sentFrames(p);
  ASSERT_EQ(frames.size(), 2u) << "the domain acts first, and a talker's message cannot follow it";
  const Octets own = message(kMsrp, 4, vec(domain(6, 3, 2), {JoinMt}));
  const Octets ownTalker = message(kMsrp, 1, vec(talker(0x1001, 0x91e0f0000001, 7), {JoinMt}));
  EXPECT_TRUE(std::equal(own.begin(), own.end(), frames[0].begin() + 15));
  EXPECT_TRUE(std::equal(ownTalker.begin(), ownTalker.end(), frames[1].begin() + 15));

  // Of a listener it is the declaration that was received.
  msrp.request(p, 3, listener(0x1001, ready), JoinIn);
  msrp.clock->run(0.1);
  msrp.sent();
  msrp.receive(p, streams(3, stream(0x1001), {JoinMt}, false, {askingFailed}));
  EXPECT_EQ(msrp.sent(p), Texts{"3:1001=JoinMt/1"});
}

}  // namespace
}  // namespace EngineTest
