#include "platform/embedded/Wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "platform/embedded/VirtualClock.h"
#include "tests/platform/Engine.h"

namespace {

using namespace PlatformTest;
using Embedded::EthDevPam;
using Embedded::Switch;
using Embedded::VirtualClock;
using Embedded::Wire;
using Embedded::WireOptions;
using Marks = std::vector<std::uint8_t>;

// left:port1 ---- port2:right
struct Pair {
  explicit Pair(const WireOptions& options = {}) : wire(left, p1, right, p2, options) {}
  void send(std::uint8_t mark) { a->txPktIs(packet(frame(0x88f5, mark))); }
  // Sends 1..n, 10 microseconds apart, and gives what arrived.
  Marks burst(std::uint8_t n) {
    for (std::uint8_t i = 1; i <= n; ++i) {
      send(i);
      clock->run(1e-5);
    }
    clock->run(1);
    return atB.marks;
  }

  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  Switch left{clock}, right{clock};
  IntfId p1 = left.portIs("port1", mac(1)), p2 = right.portIs("port2", mac(2));
  Ptr<EthDevPam> a = makePtr<EthDevPam>(left.bus(), p1, Host::PamConfig{});
  Ptr<EthDevPam> b = makePtr<EthDevPam>(right.bus(), p2, Host::PamConfig{});
  Reader atA{a, clock}, atB{b, clock};
  Wire wire;
};

Marks upTo(std::uint8_t n) {
  Marks marks(n);
  std::iota(marks.begin(), marks.end(), std::uint8_t{1});
  return marks;
}

TEST(WireTest, CarriesBothWaysInOrderAfterItsDelay) {
  Pair pair({.delay = 0.25});
  pair.send(1);
  pair.send(2);
  pair.b->txPktIs(packet(frame(0x88f5, 9)));
  EXPECT_TRUE(pair.atB.marks.empty()) << "never inside the sender's call";
  pair.clock->run(0.25);
  EXPECT_EQ(pair.atB.marks, (Marks{1, 2}));
  EXPECT_EQ(pair.atB.at, (std::vector<Seconds>{0.25, 0.25}));
  EXPECT_EQ(pair.atA.marks, Marks{9});
}

TEST(WireTest, ShorterDelayDoesNotOvertake) {
  Pair pair({.delay = 0.25});
  pair.send(1);
  pair.wire.delayIs(0.01);
  pair.send(2);
  pair.clock->run(1);
  EXPECT_EQ(pair.atB.marks, (Marks{1, 2}));
}

TEST(WireTest, DownLosesWhatFliesAndWhatIsSent) {
  Pair pair({.delay = 0.25});
  pair.send(1);
  pair.wire.up(false);
  pair.send(2);
  EXPECT_EQ(pair.wire.inFlight(), 0u);
  pair.wire.up(true);
  pair.send(3);
  pair.clock->run(1);
  EXPECT_EQ(pair.atB.marks, Marks{3});
}

TEST(WireTest, LossDuplicationAndReorderingEachDoOnlyTheirOwn) {
  Pair losing({.loss = 0.3, .seed = 7});
  const Marks kept = losing.burst(200);
  EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end()));
  EXPECT_EQ(std::adjacent_find(kept.begin(), kept.end()), kept.end());
  EXPECT_NEAR(static_cast<double>(kept.size()), 140, 25);

  Pair doubling({.duplication = 0.3, .seed = 7});
  Marks doubled = doubling.burst(200);
  EXPECT_TRUE(std::is_sorted(doubled.begin(), doubled.end()));
  EXPECT_NEAR(static_cast<double>(doubled.size()), 260, 25);
  doubled.erase(std::unique(doubled.begin(), doubled.end()), doubled.end());
  EXPECT_EQ(doubled, upTo(200));

  Pair shuffling({.reordering = 0.3, .seed = 7});
  Marks shuffled = shuffling.burst(200);
  EXPECT_FALSE(std::is_sorted(shuffled.begin(), shuffled.end()));
  std::sort(shuffled.begin(), shuffled.end());
  EXPECT_EQ(shuffled, upTo(200));
}

TEST(WireTest, SeedDecidesWhateverTheOtherWayCarries) {
  const WireOptions options{.loss = 0.2, .duplication = 0.2, .reordering = 0.2, .seed = 11};
  Pair first(options), again(options);
  for (int i = 0; i < 50; ++i) again.b->txPktIs(packet(frame(0x88f5, 1)));
  const Marks marks = first.burst(200);
  EXPECT_EQ(again.burst(200), marks);
  WireOptions other = options;
  other.seed = 12;
  EXPECT_NE(Pair(other).burst(200), marks);
}

TEST(WireTest, JoinsTwoPortsOfOneSwitchAndMayGoBeforeOrAfterIt) {
  auto clock = makePtr<VirtualClock>();
  auto sw = std::make_unique<Switch>(clock);
  const IntfId p1 = sw->portIs("port1", mac(1)), p2 = sw->portIs("port2", mac(2));
  auto a = makePtr<EthDevPam>(sw->bus(), p1, Host::PamConfig{});
  auto b = makePtr<EthDevPam>(sw->bus(), p2, Host::PamConfig{});
  Reader atA(a), atB(b);
  Wire wire(*sw, p1, *sw, p2);
  a->txPktIs(packet(frame(0, 5)));
  clock->run(1);
  EXPECT_EQ(atB.marks, Marks{5});
  EXPECT_TRUE(atA.marks.empty());
  b->txPktIs(packet(frame(0, 6)));
  sw.reset();
  clock->run(1);
  EXPECT_EQ(atA.marks, Marks{6});
}

}  // namespace
