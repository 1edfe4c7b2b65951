// Received frames: what is counted, what stays registered, where reading stops.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class ReceiveTest : public EngineTest {};

const Octets kGood = message(kMvrp, 1, vec(vlan(10), {JoinIn}));
const Octets kAfter = message(kMvrp, 1, vec(vlan(99), {JoinIn})) + Octets{0, 0};
const Octets kGoodTalker = message(kMsrp, 1, vec(talker(0x1001), {JoinIn}));
const Octets kAfterMsrp = message(kMsrp, 4, vec(domain(6, 3, 2), {JoinIn})) + Octets{0, 0};

// An MSRP message whose AttributeListLength is given.
Octets listed(std::uint8_t type, std::uint8_t length, std::uint16_t listLength,
              const Octets& rest) {
  return Octets{type, length} + number(listLength, 2) + rest;
}

struct Fault {
  const char* name;
  App app;
  Octets pdu;
  unsigned malformed;
  Texts registered;
  unsigned unknownType = 0;
  Texts logged = {};
};

const Fault kFaults[] = {
    {"nothing at all", kMvrp, {}, 0, {}},
    {"a version alone", kMvrp, {0}, 0, {}},
    {"no message", kMvrp, {0, 0, 0}, 2, {}},
    {"no message", kMsrp, {0, 0, 0}, 1, {}},
    {"message header cut off", kMvrp, Octets{0} + kGood + Octets{1}, 1, {"1:10"}},
    {"message header cut off", kMsrp, Octets{0} + kGoodTalker + Octets{4, 4, 0}, 1, {"1:1001"}},
    {"unknown type",
     kMvrp,
     Octets{0} + kGood + Octets{2, 2, 0, 1, 0, 20, 36, 0, 0} + kAfter,
     1,
     {"1:10"}},
    {"wrong length",
     kMvrp,
     Octets{0} + kGood + Octets{1, 3, 0, 1, 0, 20, 0, 36, 0, 0} + kAfter,
     1,
     {"1:10"}},
    {"first vector without values",
     kMvrp,
     Octets{0} + kGood + Octets{1, 2, 0, 0} + kAfter,
     1,
     {"1:10"}},
    {"first vector without values",
     kMsrp,
     Octets{0} + kGoodTalker + listed(1, 25, 2, {0, 0}) + kAfterMsrp,
     2,
     {"1:1001"}},
    {"vector header cut off", kMvrp, Octets{0} + kGood + Octets{1, 2, 0}, 2, {"1:10"}},
    {"FirstValue cut off", kMvrp, Octets{0} + kGood + Octets{1, 2, 0, 1, 0}, 2, {"1:10"}},
    {"FirstValue cut off inside zeros",
     kMsrp,
     Octets{0} + kGoodTalker + listed(1, 25, 2, {0, 1, 0, 0, 0, 0, 0}),
     2,
     {"1:1001"}},
    {"more values than octets",
     kMvrp,
     Octets{0} + kGood + Octets{1, 2, 0, 30, 0, 20, 36, 0, 0, 0, 0},
     2,
     {"1:10"},
     0,
     {"MRP_ERROR Number of values 10 does not match with the packet bytes 5 received on port1"}},
    {"more values than octets, which look like an end mark",
     kMvrp,
     Octets{0} + kGood + Octets{1, 2, 0, 30, 0, 20, 0, 0} + Octets{1, 2, 0},
     1,
     {"1:10"},
     0,
     {"MRP_ERROR Number of values 10 does not match with the packet bytes 5 received on port1"}},
    {"more declarations than octets",
     kMsrp,
     Octets{0} + kGoodTalker +
         listed(3, 8, 16, number(5, 2) + stream(0x2000) + Octets{43, 7, 0x55}),
     2,
     {"1:1001"},
     0,
     {"MRP_ERROR Number of values 4 does not match with the packet bytes 3 received on port1"}},
    {"message without end mark",
     kMvrp,
     Octets{0} + kGood + Octets{1, 2} + vec(vlan(20), {JoinIn}),
     1,
     {"1:10", "1:20"}},
    {"two odd octets for an end mark",
     kMvrp,
     Octets{0, 1, 2} + vec(vlan(20), {JoinIn}) + Octets{0, 7},
     1,
     {"1:20"}},
    {"list length 0",
     kMsrp,
     Octets{0} + kGoodTalker + listed(4, 4, 0, {}) + kAfterMsrp,
     1,
     {"1:1001"}},
    {"list length one short",
     kMsrp,
     Octets{0} + listed(1, 25, 29, vec(talker(0x1001), {JoinIn}) + Octets{0, 0}) + kAfterMsrp,
     1,
     {"1:1001"}},
    {"list length one long",
     kMsrp,
     Octets{0} + listed(1, 25, 31, vec(talker(0x1001), {JoinIn}) + Octets{0, 0}) + kAfterMsrp,
     1,
     {"1:1001"}},
    {"a type without a size is counted and passed over",
     kMsrp,
     Octets{0} + listed(9, 0, 2, {0, 1, 0, 0}) + kAfterMsrp,
     0,
     {"4:6"},
     1,
     {"MRP_ERROR Unidentified attribute type 9 received on port1"}},
    {"no PDU end mark is needed", kMvrp, Octets{0} + kGood, 0, {"1:10"}},
    {"nothing is read behind the PDU end mark", kMvrp, pdu(kGood) + kAfter, 0, {"1:10"}},
    {"LeaveAll is bit 13 alone",
     kMvrp,
     Octets{0, 1, 2, 0xC0, 1, 0, 20, 36, 0, 0, 0, 0},
     0,
     {"1:20"}},
    {"events above Lv mean nothing",
     kMvrp,
     Octets{0, 1, 2, 0, 2, 0, 20, 222, 0, 0, 0, 0},
     0,
     {"1:21"}},
};

TEST_F(ReceiveTest, EachFaultIsCountedAndAbandonsWhatFollows) {
  for (const Fault& fault : kFaults) {
    SCOPED_TRACE(fault.name);
    Station st(fault.app);
    const IntfId port = st.port(1);
    ASSERT_TRUE(st.receive(port, fault.pdu));
    Texts keys;
    for (const std::string& text : st.attributes(port))
      keys.push_back(text.substr(0, text.find(' ')));
    EXPECT_EQ(keys, fault.registered);
    EXPECT_EQ(st.counters().numOfMalformedPkts(), fault.malformed);
    EXPECT_EQ(st.counters().numOfUnknownAttributeType(), fault.unknownType);
    EXPECT_EQ(st.counters().numOfPktsProcessed(), 1u);
    Texts errors = st.logged();
    std::erase_if(errors, [](const std::string& text) { return text.starts_with("MRP_JOIN"); });
    EXPECT_EQ(errors, fault.logged);
    EXPECT_TRUE(st.sm->mrpRxLeaveAll().empty());
    EXPECT_TRUE(st.sm->mrpParsedAttribute().empty());
  }
}

// A vector counts as a whole or not at all, wherever the frame is cut.
void cutEverywhere(const App& app, const std::vector<std::pair<Octets, std::size_t>>& parts) {
  Octets whole{0};
  std::vector<std::size_t> completeAt;  // for each registration, the length that it needs
  for (const auto& [octets, registrations] : parts) {
    whole = whole + octets;
    completeAt.insert(completeAt.end(), registrations, whole.size());
  }
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    Station st(app);
    const IntfId port = st.port(1);
    ASSERT_TRUE(st.receive(port, Octets(whole.begin(), whole.begin() + static_cast<long>(size))));
    std::size_t complete = 0;
    while (complete < completeAt.size() && completeAt[complete] <= size) ++complete;
    EXPECT_EQ(st.lib->take().size(), complete) << "cut at " << size;
    EXPECT_EQ(st.attributes(port).size(), complete);
    EXPECT_LE(st.counters().numOfMalformedPkts(), 2u);
    EXPECT_EQ(st.counters().numOfPktsProcessed(), 1u);
    if (size == whole.size()) {
      EXPECT_EQ(st.counters().numOfMalformedPkts(), 0u);
    }
  }
}

TEST_F(ReceiveTest, CutAtEveryOctetNothingIncompleteIsRegistered) {
  cutEverywhere(kMvrp, {{{1, 2}, 0},
                        {vec(vlan(10), {JoinIn, New, JoinMt, JoinIn}), 4},
                        {vec(vlan(50), {New}, true), 1},
                        {leaveAllVec(2), 0},
                        {{0, 0, 1, 2}, 0},
                        {vec(vlan(300), {JoinIn, JoinIn, JoinIn}), 3},
                        {{0, 0, 0, 0}, 0}});
  // Talkers first: a domain would be indicated before them.
  cutEverywhere(
      kMsrp, {{{1, 25, 0, 30}, 0},
              {vec(talker(0x1001), {New, JoinIn, JoinMt}), 3},
              {{0, 0, 2, 34, 0, 39}, 0},
              {vec(failed(0x1001), {JoinIn}), 1},
              {{0, 0, 3, 8, 0, 16}, 0},
              {vec(stream(0x1001), {JoinIn, JoinIn, New, JoinIn, New}, false, {2, 1, 3, 0, 2}), 5},
              {{0, 0, 0, 0}, 0}});
}

TEST_F(ReceiveTest, ListenerDeclarationsFollowAllEvents) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.receive(port, streams(3, stream(0xffffffffffffffff), {JoinIn, JoinIn, Lv, JoinIn, JoinIn},
                           false, {ready, ignore, ready, askingFailed, readyFailed}));
  EXPECT_EQ(st.attributes(port),
            (Texts{"3:0 AO/IN", "3:2 AO/IN", "3:3 AO/IN", "3:ffffffffffffffff AO/IN"}))
      << "the identifier wraps";
  const auto stored = [&](std::uint64_t key) {
    const auto value = st.record(port, 3, key)->value();
    return Octets(value.begin(), value.end());
  };
  EXPECT_EQ(stored(UINT64_MAX), listener(UINT64_MAX, ready));
  EXPECT_EQ(stored(0), listener(0, ignore));
  EXPECT_EQ(stored(2), listener(2, askingFailed));
  EXPECT_EQ(stored(3), listener(3, readyFailed)) << "bits 7 and 6 of the second octet";
}

TEST_F(ReceiveTest, AdmissionLooksAtAddressEtherTypeAndOneTag) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  const Octets tag{0x81, 0x00, 0x20, 0x64};
  Octets other = frame(kMvrp, vlans(10, {JoinIn}));
  other[5] ^= 1;
  st.sw->receive(port, other);
  EXPECT_EQ(st.counters().numOfIncorrectDmac(), 1u);
  const Octets foreign[] = {
      frame({kMvrp.application, kMvrp.address, kMsrp.etype}, vlans(10, {JoinIn})),
      frame(kMvrp, vlans(10, {JoinIn}), tag + tag),
      frame(kMvrp, vlans(10, {JoinIn}), {0x88, 0xa8, 0x20, 0x64}),
      Octets(other.begin(), other.begin() + 5) + Octets{0x21} + Octets(6) +
          Octets{0x81, 0, 0, 1, 0},
  };
  for (const Octets& octets : foreign) st.sw->receive(port, octets);
  EXPECT_EQ(st.counters().numOfIncorrectEtype(), 4u);
  EXPECT_EQ(st.counters().numOfPktsProcessed(), 5u);
  EXPECT_EQ(st.attributes(port), Texts{});
  st.sw->receive(port, frame(kMvrp, vlans(10, {JoinIn, JoinIn}), tag));
  EXPECT_EQ(st.attributes(port), (Texts{"1:10 AO/IN", "1:11 AO/IN"}));
  EXPECT_EQ(st.counters().numOfPktsProcessed(), 6u);
  EXPECT_EQ(st.counters().numOfMalformedPkts(), 0u);
}

TEST_F(ReceiveTest, FutureVersionSkipsWhatItCannotRead) {
  const struct {
    const char* name;
    App app;
    Octets pdu;
    unsigned malformed;
    Texts registered;
  } cases[] = {
      {"known messages are read", kMvrp, vlans(10, {JoinIn}), 0, {"1:10 AO/IN"}},
      {"vectors of an unknown type",
       kMvrp,
       Octets{0, 7, 3} + vec(number(5, 3), {1, 1, 1, 1}) + leaveAllVec(3) + Octets{0, 0} + kAfter,
       0,
       {"1:99 AO/IN"}},
      {"768 values are 261 octets, and 5 are skipped",
       kMvrp,
       Octets{0, 7, 3} + number(768, 2) + number(5, 3) + Octets{0, 0} + kAfter,
       0,
       {"1:99 AO/IN"}},
      {"a vector of 256 octets leads nowhere",
       kMvrp,
       Octets{0, 7, 254} + leaveAllVec(254) + Octets{0, 0} + kAfter,
       1,
       {}},
      {"zeros where a vector stands are its header",
       kMvrp,
       Octets{0, 7, 3, 0, 0, 9, 9, 9, 0, 0} + kAfter,
       0,
       {"1:99 AO/IN"}},
      {"a last octet alone", kMvrp, Octets{0, 7, 3} + vec(number(5, 3), {1}) + Octets{1}, 0, {}},
      {"by the length of the list",
       kMsrp,
       Octets{0} + listed(9, 7, 6, {1, 2, 3, 4, 0, 0}) + kAfterMsrp,
       0,
       {"4:6 AO/IN"}},
      {"a list longer than the frame",
       kMsrp,
       Octets{0} + listed(9, 7, 9000, {1, 2}) + kAfterMsrp,
       0,
       {}},
      {"a known type of unexpected length",
       kMsrp,
       Octets{0} + listed(1, 26, 32, Octets(32)) + kAfterMsrp,
       0,
       {"4:6 AO/IN"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Station st(c.app);
    const IntfId port = st.port(1);
    Octets octets = c.pdu;
    octets[0] = 1;
    st.receive(port, octets);
    EXPECT_EQ(st.attributes(port), c.registered);
    EXPECT_EQ(st.counters().numOfMalformedPkts(), c.malformed);
    EXPECT_EQ(st.counters().numOfIncorrectPduVersion(), 1u);
    st.receive(port, Octets{0, 7, 3, 0, 0});
    EXPECT_EQ(st.counters().numOfMalformedPkts(), c.malformed + 1)
        << "skipping ends with the frame";
  }
}

TEST_F(ReceiveTest, RecycledCoversExactlyOnePdu) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(30, {JoinIn}));
  st.lib->take();
  ASSERT_TRUE(attributeValueIs(st.sm->describe(), "recycledPkt", true));
  Octets wrong = frame(kMvrp, vlans(10, {JoinIn}));
  wrong[13] ^= 1;
  st.sw->receive(port, wrong);
  const std::uint32_t events = st.sm->parseContext()->eventsCounter();
  st.receive(port, vlans(10, {JoinIn, JoinIn}, true));
  EXPECT_EQ(st.attributes(port), Texts{"1:30 AO/IN"}) << "neither staged nor a LeaveAll";
  EXPECT_EQ(st.sm->parseContext()->eventsCounter(), events + 2) << "decoded all the same";
  EXPECT_FALSE(st.sm->recycledPkt());
  st.receive(port, vlans(10, {JoinIn}, true));
  EXPECT_EQ(st.attributes(port), (Texts{"1:10 AO/IN", "1:30 VO/LV"}));
}

TEST_F(ReceiveTest, FloodSendsCopiesAndStagesNothingButLeaveAlls) {
  Station st(kMsrp);
  const IntfId p1 = st.port(1), p2 = st.port(2), p3 = st.port(3);
  st.receive(p1, streams(1, talker(0x1001), {JoinIn}));
  st.lib->take();
  ASSERT_TRUE(attributeValueIs(st.status->describe(), "flood", true));
  const Octets tagged = frame(kMsrp, streams(1, talker(0x1002), {JoinIn}, true), {0x81, 0, 0, 5});
  st.sw->receive(p1, tagged);
  const Octets copy(tagged.begin() + 4, tagged.end());
  EXPECT_EQ(st.sentFrames(p2), std::vector<Octets>{copy});
  EXPECT_EQ(st.sentFrames(p3), std::vector<Octets>{copy});
  EXPECT_EQ(st.attributes(p1), Texts{"1:1001 VO/LV"});
  EXPECT_EQ(st.counters().numOfPktsTransmitted(), 1u) << "the answer to the LeaveAll alone";
  EXPECT_EQ(st.sent(p1), Texts{"1:1001=Mt"});

  st.sw->pktAllocator().failNext(1);
  st.receive(p1, streams(1, talker(0x1003), {JoinIn}));
  EXPECT_EQ(st.sent(), Texts{}) << "no buffer, no copies";
  st.status->floodIs(false);
  st.receive(p1, streams(1, talker(0x1003), {JoinIn}));
  EXPECT_EQ(st.attributes(p1), (Texts{"1:1001 VO/LV", "1:1003 AO/IN"}));
}

TEST_F(ReceiveTest, LeaveAllsActBeforeJoinsAndAreAnsweredFirst) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(10, {JoinIn, JoinIn}));
  st.receive(port, vlans(30, {JoinIn}));
  for (const auto id : std::vector<std::uint16_t>{10, 11, 30}) st.request(port, id, JoinIn);
  st.run(0.1);
  st.sent();
  st.lib->take();
  st.receive(
      port,
      pdu(message(kMvrp, 1, vec(vlan(10), {JoinIn}) + vec(vlan(30), {JoinMt}) + leaveAllVec(2))));
  // To the LeaveAll, the Applicants answer with what the PDU itself declares; the JoinMt is
  // answered afterwards, in a packet of its own, while the registration is in LV.
  EXPECT_EQ(st.sent(port), (Texts{"1:10=JoinIn,JoinMt; 1:30=JoinIn",
                                  "1:10=JoinIn,JoinMt; 1:30=JoinIn", "1:30=JoinMt"}));
  EXPECT_EQ(st.attributes(port), (Texts{"1:10 QA/IN", "1:11 QA/LV", "1:30 QA/IN"}));
  EXPECT_EQ(st.lib->take(), Texts{}) << "the values have not changed";
  st.run(0.6);
  EXPECT_EQ(st.lib->take(), Texts{"-1:11 JoinMt port1"});
}

TEST_F(ReceiveTest, DomainsComeFirstThenArrivalOrder) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.receive(port, pdu(message(kMsrp, 3, vec(stream(0x1002), {JoinIn}, false, {ready})) +
                       message(kMsrp, 1, vec(talker(0x1001), {JoinIn})) +
                       message(kMsrp, 4, vec(domain(6, 3, 2), {JoinIn}))));
  EXPECT_EQ(st.lib->take(),
            (Texts{"+4:6 JoinIn port1", "+3:1002 JoinIn port1", "+1:1001 JoinIn port1"}));
}

TEST_F(ReceiveTest, KeyStagedTwiceActsTwiceWithItsLaterEventAndValue) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.receive(port, pdu(message(kMsrp, 1,
                               vec(talker(0x1001, 0x91e0f0000001), {Lv}) +
                                   vec(talker(0x1001, 0x91e0f0000002), {JoinIn}) +
                                   vec(talker(0x1005), {JoinIn}) + vec(talker(0x1005), {Lv}))));
  EXPECT_EQ(st.attributes(port), Texts{"1:1001 QO/IN"});
  EXPECT_EQ(st.lib->take(), Texts{"+1:1001 JoinIn port1"});
  EXPECT_EQ(st.counters().numOfJoinIndications(), 2u) << "counted also where it is not given";
  const auto value = st.record(port, 1, 0x1001)->value();
  EXPECT_EQ(Octets(value.begin(), value.end()), talker(0x1001, 0x91e0f0000002));
}

// Many more keys than the staging area starts with, in one frame after the other.
TEST_F(ReceiveTest, StagingHoldsAFullFrameAndIsEmptyForTheNext) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(1, Events(4094, JoinIn)));
  EXPECT_EQ(st.attributes(port).size(), 4094u);
  st.run(0.2);
  st.receive(port, vlans(1, Events(2000, Lv)));
  st.receive(port, vlans(4000, {JoinIn}, true));
  st.run(0.7);
  EXPECT_EQ(st.attributes(port), Texts{"1:4000 AO/IN"});
}

}  // namespace
}  // namespace EngineTest
