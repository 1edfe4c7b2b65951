// Streams through one bridge, told as stories: who declares what where, and what the switch is
// told.
//
//   talker --- port1 | bridge | port2, port3, port4 --- listeners

#include <gmock/gmock.h>

#include "tests/agent/StreamBridge.h"

namespace EngineTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using Role = Stp::MstiPortStatus::Role;

constexpr BitsPerSecond kMega = 1'000'000;

class StreamStoriesTest : public EngineTest {
 protected:
  // Streams of one shape with consecutive identifiers.
  void advertise(unsigned first, unsigned count, TalkerOf shape = {}) {
    for (unsigned id = first; id < first + count; ++id) {
      shape.id = id;
      b.advertise(1, shape);
    }
  }
  void TearDown() override { EXPECT_EQ(b.review(), ""); }

  StreamBridge b;
  const TalkerOf s;
};

// --- Talkers and listeners find each other -------------------------------------------------------

TEST_F(StreamStoriesTest, TalkerReachesEveryOtherPortAndReservesNothing) {
  b.advertise(1, s);
  EXPECT_EQ(b.declared(), "2:A1500 3:A1500 4:A1500");
  EXPECT_THAT(b.told(), ElementsAre());
}

TEST_F(StreamStoriesTest, ListenerBeforeTalkerIsKept) {
  b.listen(2, 1, ready);
  b.run(1);
  EXPECT_EQ(b.declared(), "");
  b.advertise(1, s);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
}

TEST_F(StreamStoriesTest, SlopeIsRaisedBeforeFramesAreLetThrough) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  EXPECT_THAT(b.told(), ElementsAre("slope 2 6 7872000", "entry 1: 2"));
}

TEST_F(StreamStoriesTest, ListenersAreMergedAndOnlyThoseServedAreReserved) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.listen(3, 1, askingFailed);
  EXPECT_THAT(b.declared(), HasSubstr("1:RF "));
  EXPECT_EQ(b.entry(), "2");
  b.listen(2, 1, readyFailed);
  EXPECT_THAT(b.declared(), HasSubstr("1:RF "));
  EXPECT_EQ(b.entry(), "2");
  b.listen(2, 1, readyFailed, Lv);
  EXPECT_EQ(b.entry(), "2") << "for the leave time";
  b.told();
  b.run(0.7);
  EXPECT_THAT(b.declared(), HasSubstr("1:AF "));
  EXPECT_THAT(b.told(), ElementsAre("entry 1:", "slope 2 6 0")) << "closed before it is lowered";
  // A declaration of nothing is none.
  b.listen(3, 1, ignore, JoinIn);
  EXPECT_EQ(b.declared(), "2:A1500 3:A1500 4:A1500");
}

TEST_F(StreamStoriesTest, TalkerThatLeavesTakesItsReservationsAndNotItsListeners) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.listen(3, 1, ready);
  for (const unsigned n : {1u, 2u, 3u}) b.sent(n);
  b.told();
  b.withdraw(1, s);
  b.run(0.7);
  EXPECT_EQ(b.declared(), "");
  EXPECT_THAT(b.told(), ElementsAre("entry 1:", "slope 2 6 0", "slope 3 6 0"));
  EXPECT_THAT(b.sent(2), ElementsAre("1:1=Lv"));
  EXPECT_THAT(b.sent(1), Contains("3:1=Lv/2"));
  b.advertise(1, s);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(), "2 3");
}

// The neighbour changes its mind: one type at a time, and each change in one MRPDU.
TEST_F(StreamStoriesTest, FailedTalkerReplacesAdvertisedOneAndTheOtherWayRound) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  for (const unsigned n : {1u, 2u}) b.sent(n);
  b.failed(1, s, 1);
  EXPECT_THAT(b.sent(2), ElementsAre("1:1=Lv | 2:1=New", "2:1=New"));
  EXPECT_EQ(b.declared(), "1:AF 2:F1 3:F1 4:F1");
  EXPECT_EQ(b.failure(2).bridgeId, 0x8000020000000077u) << "as received";
  EXPECT_EQ(b.entry(), "");
  b.run(0.2);
  b.withdraw(1, s);
  b.run(1);
  EXPECT_EQ(b.declared(), "1:AF 2:F1 3:F1 4:F1") << "what has been replaced leaves late";
  b.sent(2);
  b.advertise(1, s);
  EXPECT_THAT(b.sent(2), ElementsAre("1:1=New | 2:1=Lv", "1:1=New"));
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(), "2");
  // Another reason, another latency: a new value of what is declared.
  b.failed(1, s, 1);
  b.failed(1, {.latency = 700}, 8, JoinIn);
  EXPECT_EQ(b.declared(), "1:AF 2:F8 3:F8 4:F8");
  b.advertise(1, {.latency = 700});
  EXPECT_EQ(b.declared(), "1:R 2:A1700 3:A1700 4:A1700");
}

// --- Bandwidth -----------------------------------------------------------------------------------

TEST_F(StreamStoriesTest, ListenerBehindAPortThatIsTooSmallAsksInVain) {
  b.rate(2, 100 * kMega);
  b.advertise(1, {.octets = 1500});
  b.listen(2, 1, ready);
  EXPECT_EQ(b.declared(), "1:AF 2:F1 3:A1500 4:A1500");
  EXPECT_EQ(b.failure(2).bridgeId, 0x8000020000000000u);
  b.listen(3, 1, ready);
  EXPECT_THAT(b.declared(), HasSubstr("1:RF "));
  EXPECT_EQ(b.entry(), "3");
}

TEST_F(StreamStoriesTest, LowerClassUsesWhatTheHigherOneLeaves) {
  b.rate(2, 100 * kMega);
  b.advertise(1, {.id = 1, .octets = 800});
  b.listen(2, 1, ready);
  BitsPerSecond reserved = 53'952'000;
  for (unsigned id = 2; id <= 4; ++id) {
    b.advertise(1, {.id = id, .octets = 224, .priority = 2});
    b.listen(2, id, ready);
    if (id < 4) reserved += 8'544'000;
    EXPECT_EQ(b.slope(2, SrClass::a) + b.slope(2, SrClass::b), reserved) << id;
  }
  EXPECT_THAT(b.declared(3), HasSubstr("2:A1500"));
  EXPECT_EQ(b.declared(4), "1:AF 2:F1 3:A1500 4:A1500");
}

TEST_F(StreamStoriesTest, LimitOfTheClassAloneHasItsOwnReason) {
  StreamPort port = b.settings(2);
  port.rate = 100 * kMega;
  port.ofClass[0].delta = 50;
  port.ofClass[1].delta = 25;
  b.forwarding.portIs(b.intf(2), port);
  b.advertise(1, {.id = 1, .octets = 800});
  b.advertise(1, {.id = 2, .octets = 800, .frames = 2, .priority = 2});
  EXPECT_THAT(b.declared(1), HasSubstr("2:F3"));
  EXPECT_THAT(b.declared(2), HasSubstr("2:A1500"));
}

// Two hundred talkers of one shape, more than a port can carry: nothing is decided by who talks,
// all by who listens, one after another.
class CrowdedPortTest : public StreamStoriesTest {
 protected:
  void SetUp() override {
    advertise(1, 200);
    EXPECT_EQ(b.count(2, TalkerKind::advertise), 200u);
  }
  std::size_t merged(const char* letters) const {
    std::size_t count = 0;
    for (unsigned id = 1; id <= 200; ++id) {
      if (b.declared(id).starts_with(std::string("1:") + letters + " ")) ++count;
    }
    return count;
  }
};

TEST_F(CrowdedPortTest, EachListenerTakesItsShareUntilThereIsNone) {
  for (unsigned id = 1; id <= 200; ++id) {
    const bool fits = id <= 95;
    b.listen(2, id, fits ? ready : askingFailed);
    EXPECT_EQ(b.count(2, TalkerKind::advertise), id < 95 ? 200u : 95u);
  }
  EXPECT_EQ(b.slope(2), 747'840'000u);
  EXPECT_EQ(b.count(2, TalkerKind::failed), 105u);
  EXPECT_EQ(b.count(3, TalkerKind::advertise), 200u);
  EXPECT_EQ(merged("R"), 95u);
  EXPECT_EQ(merged("AF"), 105u);
  // One leaves: every one of the others would fit now, until the next asks.
  b.listen(2, 7, ready, Lv);
  b.told();
  b.run(0.7);
  EXPECT_THAT(b.told(), ElementsAre("entry 7:", "slope 2 6 739968000"));
  EXPECT_EQ(b.count(2, TalkerKind::advertise), 200u);
  b.listen(2, 150, ready);
  EXPECT_EQ(b.count(2, TalkerKind::failed), 105u);
  EXPECT_EQ(b.entry(150), "2");
}

// Had the listeners gone on asking: the place goes to the lowest identifier at once.
TEST_F(CrowdedPortTest, PlaceThatIsFreeGoesToWhoeverWaits) {
  for (unsigned id = 1; id <= 200; ++id) b.listen(2, id, ready);
  EXPECT_EQ(merged("R"), 95u);
  b.listen(2, 7, ready, Lv);
  b.run(0.7);
  EXPECT_EQ(b.count(2, TalkerKind::failed), 105u);
  EXPECT_EQ(b.entry(96), "2");
  EXPECT_EQ(b.slope(2), 747'840'000u);
}

// --- Importance ----------------------------------------------------------------------------------

class NineStreamsTest : public StreamStoriesTest {
 protected:
  // Nine of them fill the port; the last one is the youngest.
  void SetUp() override {
    b.rate(2, 100 * kMega);
    advertise(11, 9);
    for (unsigned id = 11; id <= 19; ++id) {
      b.listen(2, id, ready);
      b.run(0.1);
    }
    ASSERT_EQ(b.slope(2), 9 * 7'872'000u);
    b.forwarding.onSlope = [](IntfId, SrClass, BitsPerSecond slope) {
      EXPECT_LE(slope, 75 * kMega);
    };
  }
};

TEST_F(NineStreamsTest, EmergencyInterruptsTheYoungest) {
  const TalkerOf urgent{.id = 30, .rank = 0};
  b.advertise(1, urgent);
  EXPECT_EQ(b.declared(30), "2:A1500 3:A1500 4:A1500") << "or nobody would ever ask for it";
  EXPECT_EQ(b.entry(19), "2") << "the interruption waits for a listener";
  b.told();
  b.listen(2, 30, ready);
  EXPECT_EQ(b.declared(19), "1:AF 2:F6 3:A1500 4:A1500");
  EXPECT_THAT(b.told(), ElementsAre("entry 19:", "entry 30: 2"));
  EXPECT_EQ(b.declared(30), "1:R 2:A1500 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(18), "2") << "no more than needed";
  b.withdraw(1, urgent);
  b.run(0.7);
  EXPECT_EQ(b.declared(19), "1:R 2:A1500 3:A1500 4:A1500") << "its listener is still there";
  EXPECT_EQ(b.entry(19), "2");
}

TEST_F(NineStreamsTest, AgeComesBeforeIdentifier) {
  b.advertise(1, {.id = 1});
  b.listen(2, 1, ready);
  EXPECT_EQ(b.declared(1), "1:AF 2:F1 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(19), "2");
}

TEST_F(NineStreamsTest, SmallerPortDropsTheYoungestFirst) {
  b.rate(2, 80 * kMega);  // 60 Mb/s for seven
  b.run(0);
  EXPECT_EQ(b.entry(17), "2");
  EXPECT_EQ(b.entry(18) + b.entry(19), "");
  EXPECT_EQ(b.declared(19), "1:AF 2:F1 3:A1500 4:A1500");
}

// --- The domain ----------------------------------------------------------------------------------

TEST_F(StreamStoriesTest, NeighbourOutsideTheDomainIsNotServed) {
  b.domain(2, 6, 3, Lv);
  b.domain(2, 5, 2, Lv);
  b.run(0.7);
  b.told();
  b.advertise(1, s);
  EXPECT_EQ(b.declared(), "2:F8 3:A1500 4:A1500");
  b.domain(2, 6, 3);
  EXPECT_EQ(b.declared(), "2:A1500 3:A1500 4:A1500");
  EXPECT_THAT(b.told(), ElementsAre("boundary 2 6 off"));
}

TEST_F(StreamStoriesTest, DomainOfAnotherPriorityConcernsItsClassAlone) {
  b.domain(2, 6, 4, JoinIn);
  b.advertise(1, {.id = 1});
  b.advertise(1, {.id = 2, .priority = 2});
  EXPECT_EQ(b.declared(1), "2:F19 3:A1500 4:A1500");
  EXPECT_EQ(b.declared(2), "2:A1500 3:A1500 4:A1500");
  // The same on the talker's port concerns all others.
  b.domain(2, 6, 3, JoinIn);
  b.domain(1, 6, 4, JoinIn);
  EXPECT_EQ(b.declared(1), "2:F19 3:F19 4:F19");
  b.domain(1, 6, 4, Lv);
  b.run(0.7);
  EXPECT_EQ(b.declared(1), "2:F8 3:F8 4:F8");
}

TEST_F(StreamStoriesTest, PortThatIsNoLongerCapableLosesItsReservations) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.told();
  b.capable(2, false);
  b.run(0);
  EXPECT_EQ(b.declared(), "1:AF 2:F8 3:A1500 4:A1500");
  EXPECT_THAT(b.told(),
              ElementsAre("boundary 2 6 on", "boundary 2 5 on", "entry 1:", "slope 2 6 0"));
  b.capable(2, true);
  b.run(0);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(), "2");
}

TEST_F(StreamStoriesTest, WhatAStreamOrAPortCannotDo) {
  b.advertise(1, {.id = 1, .priority = 0});
  EXPECT_EQ(b.declared(1), "2:F13 3:F13 4:F13");
  // A VLAN that nobody has joined yet is no failure.
  b.forwarding.egressIs(b.intf(2), 2, VlanEgress::forbidden);
  b.forwarding.egressIs(b.intf(3), 2, VlanEgress::untagged);
  b.advertise(1, {.id = 2});
  EXPECT_EQ(b.declared(2), "2:F17 3:F18 4:A1500");
  b.advertise(1, {.id = 3, .octets = 1501});
  EXPECT_EQ(b.declared(3), "2:F17 3:F18 4:F14");
}

// --- What the bridge has but so much of ----------------------------------------------------------

TEST_F(StreamStoriesTest, StreamThatChangesFailsUntilItHasLeft) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  const TalkerOf larger{.octets = 160};
  b.advertise(1, larger, JoinIn);
  EXPECT_EQ(b.declared(), "1:AF 2:F16 3:F16 4:F16");
  EXPECT_EQ(b.entry(), "");
  b.withdraw(1, larger);
  b.run(0.7);
  EXPECT_EQ(b.declared(), "");
  b.advertise(1, larger);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  // Or until it has stayed the same for half a minute; each change begins that anew.
  b.advertise(1, s, JoinIn);
  b.run(20);
  b.advertise(1, larger, JoinIn);
  b.run(20);
  EXPECT_EQ(b.declared(), "1:AF 2:F16 3:F16 4:F16");
  b.advertise(1, larger, JoinIn);
  b.run(10.1);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  EXPECT_EQ(b.slope(2), 12'992'000u);
  // Latency is not part of what must not change.
  b.advertise(1, {.octets = 160, .latency = 9}, JoinIn);
  EXPECT_EQ(b.declared(), "1:R 2:A1009 3:A1009 4:A1009");
  // Never, if so wished.
  b.bridge->recoveryIs(Seconds::never());
  b.advertise(1, s, JoinIn);
  b.run(5000);
  EXPECT_EQ(b.declared(), "1:AF 2:F16 3:F16 4:F16");
  b.bridge->recoveryIs(Seconds(10.0));
  b.run(0);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
}

TEST_F(StreamStoriesTest, AddressBelongsToWhoeverHasHadItLongest) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  const TalkerOf same{.id = 7, .dmac = kStreamAddresses + 1};
  b.advertise(3, same);
  EXPECT_EQ(b.declared(7), "1:F5 2:F5 4:F5");
  EXPECT_EQ(b.declared(1), "1:R 2:A1500 3:A1500 4:A1500");
  b.withdraw(1, s);
  b.run(0.7);
  EXPECT_EQ(b.declared(7), "1:A1500 2:A1500 4:A1500");
}

TEST_F(StreamStoriesTest, SecondTalkerOfAStreamWaitsForTheFirst) {
  b.advertise(1, s);
  b.advertise(3, {.latency = 100});
  b.listen(2, 1, ready);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 4:A1500");
  b.withdraw(1, s);
  b.run(0.7);
  EXPECT_EQ(b.declared(), "1:A1100 2:A1100 3:R 4:A1100");
  EXPECT_EQ(b.entry(), "2");
}

// Where the talker was, a listener's declaration stands that is ours, and where it is now one that
// was the neighbour's. One record holds both.
TEST_F(StreamStoriesTest, TalkerThatMovesToAListenersPort) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.listen(3, 1, ready);
  b.withdraw(1, s);
  b.run(0.7);
  b.advertise(2, s);
  EXPECT_EQ(b.declared(), "1:A1500 2:R 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(), "3");
  b.listen(2, 1, askingFailed, JoinIn);
  EXPECT_THAT(b.declared(), HasSubstr("2:R ")) << "said again after the neighbour's";
  // A neighbour that does the same would be answered for ever.
  b.sent(2);
  for (int i = 0; i < 20; ++i) b.listen(2, 1, i % 2 ? askingFailed : readyFailed, JoinIn);
  EXPECT_LT(b.sent(2).size(), 4u);
  b.run(1.2);
  EXPECT_THAT(b.declared(), HasSubstr("2:R "));
}

TEST_F(StreamStoriesTest, OnlySoManyPortsMayStreamsComeInBy) {
  b.bridge->fanInLimitIs(1);
  b.advertise(1, {.id = 1});
  b.advertise(3, {.id = 2});
  b.listen(2, 2, ready);
  EXPECT_EQ(b.declared(1), "2:F15 3:F15 4:F15");
  b.listen(2, 1, ready);
  EXPECT_EQ(b.entry(1), "");
  b.advertise(3, {.id = 2}, Lv);
  b.run(0.7);
  EXPECT_EQ(b.declared(1), "1:R 2:A1500 3:A1500 4:A1500");
  b.bridge->fanInLimitIs(0);
}

TEST_F(StreamStoriesTest, FramesTooLargeAndATableThatIsFull) {
  b.forwarding.entryLimitIs(2);
  advertise(1, 4);
  for (unsigned id = 1; id <= 3; ++id) b.listen(2, id, ready);
  EXPECT_EQ(b.declared(3), "1:AF 2:F12 3:A1500 4:A1500");
  EXPECT_EQ(b.slope(2), 2 * 7'872'000u) << "what is refused takes no bandwidth";
  EXPECT_EQ(b.entry(1) + b.entry(2), "22");
  b.listen(3, 2, ready);
  EXPECT_EQ(b.entry(2), "2 3") << "an entry that is there gets further ports";
  b.listen(2, 4, ready);
  b.listen(2, 1, ready, Lv);
  b.run(0.7);
  EXPECT_EQ(b.entry(3), "2");
  EXPECT_EQ(b.declared(4), "1:AF 2:F12 3:A1500 4:A1500");
  b.forwarding.entryLimitIs(0);
  b.run(0);
  EXPECT_EQ(b.entry(4), "2");
}

// Other answers of the switch have other reasons.
TEST_F(StreamStoriesTest, SwitchThatRefuses) {
  const std::pair<ReservationResult, const char*> answers[] = {
      {ReservationResult::hashFull, "1:AF 2:F9 3:A1500 4:A1500"},
      {ReservationResult::noResource, "1:AF 2:F2 3:A1500 4:A1500"},
  };
  advertise(1, 2);
  b.listen(2, 1, ready);
  for (const auto& [answer, declared] : answers) {
    b.forwarding.entryLimitIs(1, answer);
    b.listen(2, 2, ready);
    EXPECT_EQ(b.declared(2), declared);
    EXPECT_EQ(b.slope(2), 7'872'000u);
    b.listen(2, 2, ready, Lv);
    b.run(0.7);
    EXPECT_EQ(b.declared(2), "2:A1500 3:A1500 4:A1500") << "nobody asks";
  }
  b.forwarding.entryLimitIs(0);
  b.forwarding.slopeLimitIs(8 * kMega);
  b.listen(2, 2, ready);
  EXPECT_EQ(b.declared(2), "1:AF 2:F2 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(1), "2");
}

TEST_F(StreamStoriesTest, BridgeThatKeepsButTwoStreams) {
  b.bridge->streamLimitIs(2);
  advertise(1, 3);
  EXPECT_EQ(b.declared(3), "2:F10 3:F10 4:F10");
  b.withdraw(1, {.id = 1});
  b.run(0.7);
  EXPECT_EQ(b.declared(3), "2:A1500 3:A1500 4:A1500");
  b.bridge->streamLimitIs(1);
  b.run(0);
  EXPECT_EQ(b.declared(3), "2:F10 3:F10 4:F10") << "the youngest";
}

TEST_F(StreamStoriesTest, LatencyThatRisesIsAFailure) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.latency(2, 500);
  b.run(0);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  b.latency(2, 1200);
  b.run(0);
  EXPECT_EQ(b.declared(), "1:AF 2:F7 3:A1500 4:A1500");
  EXPECT_EQ(b.bridge->propagation().stream(1)->ports[0].latency, 1700u);
  b.latency(2, 1000);
  b.run(0);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  b.advertise(1, {.latency = 0xffffff00}, JoinIn);
  EXPECT_EQ(b.declared(), "1:R 2:A4294967295 3:A4294967295 4:A4294967295");
}

// --- Ports ---------------------------------------------------------------------------------------

TEST_F(StreamStoriesTest, SpanningTreeTurnsRound) {
  b.advertise(1, s);
  b.listen(3, 1, ready);
  b.sent(1);
  b.role(1, Role::alternate);
  EXPECT_EQ(b.declared(), "");
  EXPECT_EQ(b.entry(), "");
  EXPECT_EQ(b.slope(3), 0u);
  EXPECT_THAT(b.sent(1), ElementsAre("3:1=Lv/2"));
  b.withdraw(1, s);
  b.run(0.7);
  b.role(2, Role::root);
  b.advertise(2, s);
  EXPECT_EQ(b.declared(), "2:R 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(), "3");
  // A port that blocks neither gives nor gets, and asks its neighbour when it forwards again.
  b.advertise(1, {.id = 5});
  b.listen(1, 1, ready);
  EXPECT_EQ(b.declared(5), "");
  b.sent(1);
  b.role(1, Role::designated);
  EXPECT_EQ(b.declared(5), "2:A1500 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(), "1 3");
  EXPECT_THAT(b.sent(1), Contains(HasSubstr("LA")));
}

TEST_F(StreamStoriesTest, PortsComeAndGo) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.listen(3, 1, askingFailed);
  b.sent(2);
  b.told();
  b.bridge->portDel(b.intf(2));
  EXPECT_THAT(b.sent(2).front(), HasSubstr("1:1=Lv"));
  EXPECT_EQ(b.declared(), "1:AF 3:A1500 4:A1500");
  EXPECT_THAT(b.told(),
              ElementsAre("entry 1:", "slope 2 6 0", "boundary 2 6 on", "boundary 2 5 on"));
  b.bridge->portIs(b.intf(2));
  EXPECT_EQ(b.declared(), "1:AF 2:F8 3:A1500 4:A1500") << "nobody there yet";
  EXPECT_EQ(b.bridge->propagation().boundaries().size(), 2u);
  b.inDomain(2);
  b.listen(2, 1, ready);
  EXPECT_EQ(b.declared(), "1:RF 2:A1500 3:A1500 4:A1500");
  // The talker's port, and a device that vanishes.
  b.sw.portDel(b.intf(1));
  b.run(0);
  EXPECT_EQ(b.declared(), "");
  b.port(1);
  b.inDomain(1);
  b.advertise(1, s);
  EXPECT_EQ(b.declared(), "1:RF 2:A1500 3:A1500 4:A1500");
  // Disabled for a while, with its settings.
  b.rate(2, 1 * kMega);
  b.bridge->portEnabledIs(b.intf(2), false);
  EXPECT_EQ(b.declared(), "1:AF 3:A1500 4:A1500");
  b.bridge->portEnabledIs(b.intf(2), true);
  b.inDomain(2);
  EXPECT_EQ(b.declared(), "1:AF 2:F1 3:A1500 4:A1500");
}

// The engine stores no New of what is registered, so it takes the neighbour's next Join for the
// same as ever and tells nobody.
TEST_F(StreamStoriesTest, NewThatTheNeighbourDoesNotGoOnWithIsForgotten) {
  b.config->leaveAllTimeIs(2.0);
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.listen(2, 1, askingFailed);  // held back on its way
  EXPECT_EQ(b.entry(), "");
  for (int i = 0; i < 20; ++i) {
    b.run(0.4);
    for (const unsigned n : {1u, 2u, 3u, 4u}) b.inDomain(n);
    b.advertise(1, s, JoinIn);
    b.listen(2, 1, ready, JoinIn);
  }
  EXPECT_EQ(b.entry(), "2");
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
}

// Late copies of old values alternate with the new one.
TEST_F(StreamStoriesTest, ValuesThatFlicker) {
  b.run(0.05);
  b.listen(2, 1, ready);
  b.advertise(1, s);
  b.sent(3);
  b.sent(1);
  TalkerOf later = s;
  for (std::uint32_t i = 1; i <= 400; ++i) {
    later.latency = 500 + i;
    b.advertise(1, later);
    b.listen(2, 1, i % 2 ? askingFailed : ready);
  }
  EXPECT_LE(b.sent(3).size(), 2 * Streams::ChangeLimit::kMost);
  EXPECT_LE(b.sent(1).size(), 2 * Streams::ChangeLimit::kMost);
  EXPECT_NE(b.declared(), "1:R 2:A1900 3:A1900 4:A1900");
  b.run(1);
  EXPECT_EQ(b.declared(), "1:R 2:A1900 3:A1900 4:A1900") << "what came last";
  // What is held back goes with its registration.
  for (std::uint32_t i = 0; i < 400; ++i) {
    b.listen(2, 1, i % 2 ? askingFailed : ready);
    if (i % 2) {
      b.failed(1, s, 8);
    } else {
      b.advertise(1, s);
    }
  }
  b.failed(1, s, 8, Lv);
  b.listen(2, 1, ready, Lv);
  b.run(2);
  EXPECT_EQ(b.declared(), "");
  EXPECT_EQ(b.review(), "");
}

TEST_F(StreamStoriesTest, PrunedTalkersGoWhereTheirAddressIsRegistered) {
  b.bridge->talkerPruningIs(true);
  const StreamSwitch::Address address{2, EthAddr::fromNumber(kStreamAddresses + 1)};
  b.forwarding.addressIs(b.intf(3), address, true);
  b.advertise(1, s);
  b.listen(4, 1, ready);
  EXPECT_EQ(b.declared(), "3:A1500") << "the listener counts for nothing";
  b.forwarding.addressIs(b.intf(2), address, true);
  b.run(0);
  EXPECT_EQ(b.declared(), "2:A1500 3:A1500");
}

// --- Engines -------------------------------------------------------------------------------------

TEST_F(StreamStoriesTest, OutlivesEnginesAndGoesOnWithTheirRecords) {
  b.advertise(1, s);
  b.listen(2, 1, ready);
  b.run(1);
  b.engine = nullptr;
  b.told();
  for (const unsigned n : {1u, 2u}) b.sent(n);
  b.start();
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500") << "before any neighbour has spoken";
  EXPECT_EQ(b.entry(), "2");
  for (const unsigned n : {1u, 2u, 3u, 4u}) b.inDomain(n);
  EXPECT_EQ(b.declared(), "1:R 2:A1500 3:A1500 4:A1500");
  EXPECT_EQ(b.entry(), "2");
  // Another engine without records: nothing is left of it.
  b.engine = nullptr;
  b.status = makePtr<MrpStatus>();
  b.start();
  EXPECT_EQ(b.entry(), "");
  EXPECT_EQ(b.declared(), "");
  EXPECT_TRUE(b.bridge->propagation().streams().empty());
}

}  // namespace
}  // namespace EngineTest
