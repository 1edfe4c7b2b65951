#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/embedded/VirtualClock.h"
#include "platform/host/MonotonicClock.h"

namespace {

using namespace Platform;
using Embedded::VirtualClock;
using Host::MonotonicClock;

struct Bell {
  Bell(Clock& clock, std::function<void()> call, Alarm::Class cls = Alarm::Class::review)
      : ring(std::move(call)), alarm(clock, cls) {
    alarm.bind<&Bell::handleAlarm>(this);
  }
  void handleAlarm() { ring(); }

  std::function<void()> ring;
  Alarm alarm;
};

class VirtualClockTest : public testing::Test {
 protected:
  std::unique_ptr<Bell> bell(char name, Alarm::Class cls = Alarm::Class::review) {
    return std::make_unique<Bell>(
        *clock, [this, name] { log += name; }, cls);
  }

  std::string log;
  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  std::unique_ptr<Bell> a = bell('a');
  std::unique_ptr<Bell> b = bell('b');
  std::unique_ptr<Bell> wheel = bell('W', Alarm::Class::wheel);
};

TEST_F(VirtualClockTest, PastDueIsServedNowAndTheWheelStillComesFirst) {
  clock->runUntil(5);
  Seconds seen;
  a->ring = [&] { seen = clock->now(), log += 'a'; };
  a->alarm.dueIs(3);
  wheel->alarm.dueIs(5);
  clock->run(0);
  EXPECT_EQ(log, "Wa");
  EXPECT_EQ(seen, Seconds(5));
}

TEST_F(VirtualClockTest, RunServesWhatIsArmedMeanwhileUpToItsEndInclusive) {
  int left = 5;
  a->ring = [&] {
    EXPECT_EQ(clock->now(), a->alarm.due());
    log += 'a';
    if (--left) a->alarm.dueIs(clock->now() + Seconds(0.1));
  };
  a->alarm.dueIs(0.1);
  b->alarm.dueIs(Seconds(0.3) + Seconds::fromNanoseconds(1));
  clock->runUntil(Seconds(0.1) + Seconds(0.2));
  EXPECT_EQ(log, "aaa");
  EXPECT_EQ(clock->now(), Seconds(0.3));
  clock->run(10);
  EXPECT_EQ(log, "aaabaa");
  EXPECT_EQ(clock->now(), Seconds(10.3));
}

TEST_F(VirtualClockTest, OrderIsTakenAnewAfterEachAlarm) {
  a->ring = [&] {
    log += 'a';
    wheel->alarm.dueIs(clock->now());
  };
  a->alarm.dueIs(1);
  b->alarm.dueIs(1);
  clock->run(1);
  EXPECT_EQ(log, "aWb");
}

TEST_F(VirtualClockTest, GoesOnAfterAnOwnerThrew) {
  a->ring = [] { throw std::runtime_error("refused"); };
  a->alarm.dueIs(1);
  b->alarm.dueIs(2);
  EXPECT_THROW(clock->run(5), std::runtime_error);
  EXPECT_EQ(clock->now(), Seconds(1));
  clock->run(1);
  EXPECT_EQ(log, "b");
}

TEST_F(VirtualClockTest, GoneClockLeavesDisarmedAlarms) {
  a->alarm.dueIs(1);
  clock = nullptr;
  EXPECT_FALSE(a->alarm.armed());
}

TEST_F(VirtualClockTest, NestedRunsAreRefused) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  a->ring = [&] { clock->run(1); };
  a->alarm.dueIs(1);
  EXPECT_DEATH(clock->run(2), "do not nest");
}

TEST(MonotonicClockTest, PollServesWhatIsDueAndNothingElse) {
  auto clock = makePtr<MonotonicClock>();
  std::string log;
  Bell past(*clock, [&] {
    log += 'p';
    past.alarm.dueIs(0);  // due again at once: the next turn's, or poll() would never return
  });
  Bell wheel(
      *clock, [&] { log += 'w'; }, Alarm::Class::wheel);
  Bell future(*clock, [&] { log += 'f'; });
  EXPECT_EQ(clock->poll(), 0u);

  past.alarm.dueIs(0);
  future.alarm.dueIs(clock->now() + Seconds(3600));
  const Seconds before = clock->now();
  clock->poll();
  EXPECT_EQ(log.find('f'), std::string::npos);
  EXPECT_GE(log.size(), 1u);
  ASSERT_TRUE(clock->nextDue());
  EXPECT_GE(*clock->nextDue(), before);
  past.alarm.cancel();
  EXPECT_EQ(clock->nextDue(), future.alarm.due());
}

}  // namespace
