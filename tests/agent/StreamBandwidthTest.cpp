// Who is granted what a port has, and who gives way.

#include "tests/agent/StreamStories.h"

namespace EngineTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

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

// Its slope would be above the limit otherwise, see onSlope.
TEST_F(NineStreamsTest, EmergencyThatHasWaitedForAnotherInterruptsToo) {
  const TalkerOf first{.id = 30, .octets = 500, .rank = 0};
  const TalkerOf second{.id = 31, .octets = 800, .rank = 0};
  for (const TalkerOf& urgent : {first, second}) {
    b.advertise(1, urgent);
    b.listen(2, urgent.id, ready);
  }
  EXPECT_EQ(b.entry(30) + b.entry(31), "2") << "both are too much";
  b.withdraw(1, first);
  b.run(0.7);
  EXPECT_EQ(b.entry(31), "2");
  EXPECT_EQ(b.entry(12), "2");
  EXPECT_EQ(b.entry(13), "");
  EXPECT_EQ(b.slope(2), 2 * 7'872'000u + 53'952'000u);
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

}  // namespace
}  // namespace EngineTest
