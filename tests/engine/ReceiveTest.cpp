// Received frames: what is counted, what stays registered, where reading stops.

#include <sstream>

#include "cli/replay/JsonMembers.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class ReceiveTest : public EngineTest {};

// Hexadecimal octets, and words for what stands for itself: a good message, one that comes after
// the fault and ends the PDU, a vector of one talker.
Octets octetsOf(const App& app, const std::string& text) {
  const bool msrp = app.application == MrpApplication::msrp;
  Octets octets;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (word == "good") {
      octets = octets + (msrp ? message(app, 1, vec(talker(0x1001), {JoinIn}))
                              : message(app, 1, vec(vlan(10), {JoinIn})));
    } else if (word == "after") {
      octets = octets + Octets(msrp ? message(app, 4, vec(domain(6, 3, 2), {JoinIn}))
                                    : message(app, 1, vec(vlan(99), {JoinIn})));
      octets = octets + Octets{0, 0};
    } else if (word == "talker") {
      octets = octets + vec(talker(0x1001), {JoinIn});
    } else {
      octets = octets + Cli::octetsFromHex(word).value();
    }
  }
  return octets;
}

struct Fault {
  const char* name;
  const App& app;
  const char* pdu;
  unsigned malformed;
  const char* registered;
  const char* logged = "";
};

#define TOO_MANY(values, octets) \
  "Number of values " values " does not match with the packet bytes " octets " received on port1"

const Fault kFaults[] = {
    {"nothing at all", kMvrp, "", 0, ""},
    {"a version alone", kMvrp, "00", 0, ""},
    {"no message", kMvrp, "00 0000", 2, ""},
    {"no message", kMsrp, "00 0000", 1, ""},
    {"message header cut off", kMvrp, "00 good 01", 1, "1:10"},
    {"message header cut off", kMsrp, "00 good 0404 00", 1, "1:1001"},
    {"unknown type", kMvrp, "00 good 0202 0001 0014 24 0000 after", 1, "1:10"},
    {"wrong length", kMvrp, "00 good 0103 0001 001400 24 0000 after", 1, "1:10"},
    {"first vector without values", kMvrp, "00 good 0102 0000 after", 1, "1:10"},
    {"first vector without values", kMsrp, "00 good 0119 0002 0000 after", 2, "1:1001"},
    {"vector header cut off", kMvrp, "00 good 0102 00", 2, "1:10"},
    {"FirstValue cut off", kMvrp, "00 good 0102 0001 00", 2, "1:10"},
    {"FirstValue cut off inside zeros", kMsrp, "00 good 0119 0002 0001 0000000000", 2, "1:1001"},
    {"more values than octets", kMvrp, "00 good 0102 001e 0014 24 00000000", 2, "1:10",
     TOO_MANY("10", "5")},
    {"and what is there looks like an end mark", kMvrp, "00 good 0102 001e 0014 0000 0102 00", 1,
     "1:10", TOO_MANY("10", "5")},
    {"more declarations than octets", kMsrp, "00 good 0308 0010 0005 0000000000002000 2b0755", 2,
     "1:1001", TOO_MANY("4", "3")},
    {"message without end mark", kMvrp, "00 good 0102 0001 0014 24", 1, "1:10 1:20"},
    {"two odd octets for an end mark", kMvrp, "00 0102 0001 0014 24 0007", 1, "1:20"},
    {"list length 0", kMsrp, "00 good 0404 0000 after", 1, "1:1001"},
    {"list length one short", kMsrp, "00 0119 001d talker 0000 after", 1, "1:1001"},
    {"list length one long", kMsrp, "00 0119 001f talker 0000 after", 1, "1:1001"},
    {"a type without a size", kMsrp, "00 0900 0002 0001 0000 after", 0, "4:6",
     "Unidentified attribute type 9 received on port1"},
    {"no PDU end mark is needed", kMvrp, "00 good", 0, "1:10"},
    {"nothing is read behind the PDU end mark", kMvrp, "00 good 0000 after", 0, "1:10"},
    {"LeaveAll is bit 13 alone", kMvrp, "00 0102 c001 0014 24 0000 0000", 0, "1:20"},
    {"events above Lv mean nothing", kMvrp, "00 0102 0002 0014 de 0000 0000", 0, "1:21"},
    // A future version: what cannot be read is passed over.
    {"known messages are read", kMvrp, "01 good 0000", 0, "1:10"},
    {"vectors of an unknown type", kMvrp, "01 0703 0004000005 2b24 2000000000 0000 after", 0,
     "1:99"},
    {"768 values are 261 octets, and 5 are skipped", kMvrp, "01 0703 0300 000005 0000 after", 0,
     "1:99"},
    {"a vector of 256 octets leads nowhere", kMvrp, "01 07fe 2000 0000 after", 1, ""},
    {"zeros where a vector stands are its header", kMvrp, "01 0703 0000 090909 0000 after", 0,
     "1:99"},
    {"a last octet alone", kMvrp, "01 0703 0001 000005 24 01", 0, ""},
    {"by the length of the list", kMsrp, "01 0907 0006 01020304 0000 after", 0, "4:6"},
    {"a list longer than the frame", kMsrp, "01 0907 2328 0102 after", 0, ""},
    {"a known type of unexpected length", kMsrp, "01 011a 0003 010203 after", 0, "4:6"},
};

TEST_F(ReceiveTest, EachFaultIsCountedAndAbandonsWhatFollows) {
  for (const Fault& fault : kFaults) {
    SCOPED_TRACE(std::string(fault.name) + ": " + fault.pdu);
    Station st(fault.app);
    const IntfId port = st.port(1);
    const MrpCounters& counters = *st.engine->counters();
    const Octets octets = octetsOf(fault.app, fault.pdu);
    ASSERT_TRUE(st.receive(port, octets));
    std::string keys;
    for (const std::string& text : st.attributes(port)) {
      keys += (keys.empty() ? "" : " ") + text.substr(0, text.find(' '));
    }
    EXPECT_EQ(keys, fault.registered);
    EXPECT_EQ(counters.numOfMalformedPkts(), fault.malformed);
    const std::string logged = fault.logged;
    EXPECT_EQ(counters.numOfUnknownAttributeType(), logged.starts_with("Unidentified") ? 1u : 0u);
    EXPECT_EQ(counters.numOfIncorrectPduVersion(), !octets.empty() && octets[0] ? 1u : 0u);
    EXPECT_EQ(counters.numOfPktsProcessed(), 1u);
    Texts errors = st.logged();
    std::erase_if(errors, [](const std::string& text) { return text.starts_with("MRP_JOIN"); });
    EXPECT_EQ(errors, logged.empty() ? Texts{} : Texts{"MRP_ERROR " + logged});
    st.receive(port, {0, 7, 3, 0, 0});
    EXPECT_EQ(counters.numOfMalformedPkts(), fault.malformed + 1) << "skipping ends with a frame";
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
    EXPECT_LE(st.engine->counters()->numOfMalformedPkts(), 2u);
    EXPECT_EQ(st.engine->counters()->numOfPktsProcessed(), 1u);
    if (size == whole.size()) {
      EXPECT_EQ(st.engine->counters()->numOfMalformedPkts(), 0u);
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
  const auto stored = [&](std::uint64_t key) { return st.value(port, 3, key); };
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
  EXPECT_EQ(st.engine->counters()->numOfIncorrectDmac(), 1u);
  const Octets foreign[] = {
      frame({kMvrp.application, kMvrp.address, kMsrp.etype}, vlans(10, {JoinIn})),
      frame(kMvrp, vlans(10, {JoinIn}), tag + tag),
      frame(kMvrp, vlans(10, {JoinIn}), {0x88, 0xa8, 0x20, 0x64}),
      Octets(other.begin(), other.begin() + 5) + Octets{0x21} + Octets(6) +
          Octets{0x81, 0, 0, 1, 0},
  };
  for (const Octets& octets : foreign) st.sw->receive(port, octets);
  EXPECT_EQ(st.engine->counters()->numOfIncorrectEtype(), 4u);
  st.sw->receive(port, frame(kMvrp, {}, tag));
  EXPECT_EQ(st.engine->counters()->numOfIncorrectEtype(), 4u) << "18 octets are just enough";
  EXPECT_EQ(st.engine->counters()->numOfPktsProcessed(), 6u);
  EXPECT_EQ(st.attributes(port), Texts{});
  st.sw->receive(port, frame(kMvrp, vlans(10, {JoinIn, JoinIn}), tag));
  EXPECT_EQ(st.attributes(port), (Texts{"1:10 AO/IN", "1:11 AO/IN"}));
  EXPECT_EQ(st.engine->counters()->numOfPktsProcessed(), 7u);
  EXPECT_EQ(st.engine->counters()->numOfMalformedPkts(), 0u);
}

TEST_F(ReceiveTest, RecycledCoversExactlyOnePdu) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(30, {JoinIn}));
  st.lib->take();
  ASSERT_TRUE(attributeValueIs(st.engine->describe(), "recycledPkt", true));
  Octets wrong = frame(kMvrp, vlans(10, {JoinIn}));
  wrong[13] ^= 1;
  st.sw->receive(port, wrong);
  st.receive(port, vlans(10, {JoinIn, JoinIn}, true));
  EXPECT_EQ(st.attributes(port), Texts{"1:30 AO/IN"}) << "neither staged nor a LeaveAll";
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
  EXPECT_EQ(st.engine->counters()->numOfPktsTransmitted(), 1u)
      << "the answer to the LeaveAll alone";
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
  st.clock->run(0.1);
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
  st.clock->run(0.6);
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
  EXPECT_EQ(st.engine->counters()->numOfJoinIndications(), 2u)
      << "counted also where it is not given";
  EXPECT_EQ(st.value(port, 1, 0x1001), talker(0x1001, 0x91e0f0000002));
}

// Many more keys than the staging area starts with, in one frame after the other.
TEST_F(ReceiveTest, StagingHoldsAFullFrameAndIsEmptyForTheNext) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.receive(port, vlans(1, Events(4094, JoinIn)));
  EXPECT_EQ(st.attributes(port).size(), 4094u);
  st.clock->run(0.2);
  st.receive(port, vlans(1, Events(2000, Lv)));
  st.receive(port, vlans(4000, {JoinIn}, true));
  st.clock->run(0.7);
  EXPECT_EQ(st.attributes(port), Texts{"1:4000 AO/IN"});
}

}  // namespace
}  // namespace EngineTest
