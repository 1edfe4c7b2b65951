// What comes of a stream: its listeners, the domain, and what the bridge has but so much of.

#include "tests/agent/StreamStories.h"

namespace EngineTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

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

}  // namespace
}  // namespace EngineTest
