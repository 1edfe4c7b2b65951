#include "platform/time/TimerWheel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/embedded/VirtualClock.h"

namespace {

using namespace Platform;
using Embedded::VirtualClock;

struct CallTimer : MemberTimer {
  explicit CallTimer(std::function<void()> f) : call(std::move(f)) { bind<&CallTimer::fire>(this); }
  void fire() {
    const auto now = call;  // the call may destroy the timer
    now();
  }
  std::function<void()> call;
};

class TimerWheelTest : public testing::Test {
 protected:
  TimerWheelTest() { wheel->hasNotificationActiveIs(true); }

  std::unique_ptr<CallTimer> timer(char name, std::function<void()> also = {}) {
    return std::make_unique<CallTimer>([this, name, also] {
      log += name;
      fired[name].push_back(clock->now().nanoseconds() / 100'000'000);
      EXPECT_EQ(clock->now().nanoseconds() % 100'000'000, 0);
      if (also) also();
    });
  }

  static constexpr std::uint32_t kSlots = 8;
  std::string log;
  std::map<char, std::vector<std::int64_t>> fired;  // the ticks at which each timer fired
  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  Ptr<TimerWheel> wheel = makePtr<TimerWheel>(clock, TimerWheel::Parameters{100, kSlots});
};

using Ticks = std::vector<std::int64_t>;

TEST_F(TimerWheelTest, SumsOfSecondsMeetTheirTick) {
  auto a = timer('a'), b = timer('b');
  wheel->deadlineIs(*a, Seconds(0.1) + Seconds(0.2));
  clock->run(0.1);
  clock->run(0.2);
  EXPECT_EQ(fired['a'], Ticks{3});
  for (int i = 0; i < 7; ++i) clock->run(0.1);
  wheel->deadlineIs(*b, clock->now() + Seconds(0.7));
  clock->run(1);
  EXPECT_EQ(fired['b'], Ticks{17});
}

TEST_F(TimerWheelTest, TicksAreTheClocksWhateverTheWheelsStart) {
  clock->run(0.05);
  wheel = makePtr<TimerWheel>(clock, TimerWheel::Parameters{100, kSlots});
  wheel->hasNotificationActiveIs(true);
  auto a = timer('a');
  wheel->deadlineIs(*a, clock->now() + Seconds(0.1));
  clock->run(1);
  EXPECT_EQ(fired['a'], Ticks{2});
}

TEST_F(TimerWheelTest, WhileInactiveNothingFiresAndLaterEverythingDoes) {
  auto a = timer('a'), b = timer('b');
  wheel->hasNotificationActiveIs(false);
  wheel->deadlineIs(*a, 0.2);
  wheel->deadlineIs(*b, 0.4);
  clock->run(1);
  EXPECT_EQ(log, "");
  wheel->hasNotificationActiveIs(true);
  clock->run(0);
  EXPECT_EQ(log, "ab");
}

TEST_F(TimerWheelTest, TimersOutliveTheirWheel) {
  auto a = timer('a');
  wheel->deadlineIs(*a, 0.2);
  wheel = nullptr;
  EXPECT_FALSE(a->armed());
}

// Timers that arm, cancel and destroy each other at random, against a list of what must be armed.
class TimerWheelModel : public testing::TestWithParam<unsigned> {
 protected:
  static constexpr std::size_t kTimers = 24;
  struct Armed {
    std::int64_t tick;
    std::uint64_t arming;
    friend auto operator<=>(const Armed&, const Armed&) = default;
  };

  std::int64_t random(std::int64_t n) {
    return static_cast<std::int64_t>(generator() % static_cast<std::uint64_t>(n));
  }

  void create(std::size_t i) {
    model.erase(i);
    timers[i] = std::make_unique<CallTimer>([this, i] { handle(i); });
  }

  void arm(std::size_t i) {
    const std::int64_t past = 300'000'000;
    const std::int64_t deadline =
        clock->now().nanoseconds() - past + random(random(4) == 0 ? 5'000'000'000 : 1'000'000'000);
    std::int64_t tick = std::max<std::int64_t>({deadline, clock->now().nanoseconds(), 0});
    tick = (tick + 99'999'999) / 100'000'000;
    if (serving >= 0) tick = std::max(tick, serving + 1);
    model[i] = {tick, ++armings};
    wheel->deadlineIs(*timers[i], Seconds::fromNanoseconds(deadline));
  }

  void act() {
    const auto i = static_cast<std::size_t>(random(kTimers));
    switch (random(6)) {
      case 0:
        timers[i]->cancel();
        model.erase(i);
        break;
      case 1:
        create(i);
        break;
      default:
        arm(i);
    }
  }

  void handle(std::size_t i) {
    serving = clock->now().nanoseconds() / 100'000'000;
    const auto first = std::min_element(model.begin(), model.end(),
                                        [](auto& a, auto& b) { return a.second < b.second; });
    ASSERT_NE(first, model.end());
    EXPECT_EQ(first->first, i);
    EXPECT_EQ(first->second.tick, serving);
    model.erase(i);
    ++handled;
    for (std::int64_t n = random(4); n > 0; --n) act();
    serving = -1;
  }

  std::mt19937_64 generator{GetParam()};
  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  Ptr<TimerWheel> wheel = makePtr<TimerWheel>(clock, TimerWheel::Parameters{100, 11});
  std::vector<std::unique_ptr<CallTimer>> timers{kTimers};
  std::map<std::size_t, Armed> model;
  std::uint64_t armings = 0;
  std::int64_t serving = -1;
  int handled = 0;
};

TEST_P(TimerWheelModel, RandomSequence) {
  wheel->hasNotificationActiveIs(true);
  for (std::size_t i = 0; i < kTimers; ++i) create(i);
  for (int step = 0; step < 3000 && !HasFailure(); ++step) {
    act();
    if (random(3) == 0) clock->run(Seconds::fromNanoseconds(random(400'000'000)));
    for (std::size_t i = 0; i < kTimers; ++i) EXPECT_EQ(timers[i]->armed(), model.contains(i)) << i;
  }
  EXPECT_GT(handled, 1000);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TimerWheelModel, testing::Range(1u, 6u));

}  // namespace
