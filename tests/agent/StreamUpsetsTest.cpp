// What happens to a bridge that carries streams: ports, values that come late or flicker, engines.

#include "tests/agent/StreamStories.h"

namespace EngineTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using Role = Stp::MstiPortStatus::Role;

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

// --- Values
// ----------------------------------------------------------------------------------------

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
