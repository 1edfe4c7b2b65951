#include "platform/time/ReviewTimer.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/embedded/VirtualClock.h"

namespace {

using namespace Platform;

constexpr ReviewTimer::Parameters kParameters{Seconds(1), 4, Seconds(0.1), Seconds(1)};

// Notes when it is reviewed; asks for another review from inside each while `eager`.
class ReviewTimerTest : public testing::Test {
 protected:
  struct Reviewed {
    explicit Reviewed(Clock& c) : clock(c), timer(c, kParameters) {
      timer.bind<&Reviewed::handleReview>(this);
    }
    void handleReview() {
      at.push_back(clock.now().value());
      if (eager-- > 0) timer.doUpdateNextReview();
    }
    Clock& clock;
    int eager = 0;
    std::vector<double> at;
    ReviewTimer timer;
  };
  using Times = std::vector<double>;

  Ptr<Embedded::VirtualClock> clock = makePtr<Embedded::VirtualClock>();
};

TEST_F(ReviewTimerTest, FourCreditsThenOneASecond) {
  Reviewed r(*clock);
  r.eager = 6;
  r.timer.doUpdateNextReview();
  clock->run(3.5);
  EXPECT_EQ(r.at, (Times{0.1, 0.2, 0.3, 0.4, 1, 2, 3}));
}

TEST_F(ReviewTimerTest, CreditsSpentAheadAreNotGivenAgain) {
  Reviewed r(*clock);
  r.eager = 4;
  r.timer.doUpdateNextReview();
  clock->runUntil(1.5);  // the review at 1 took the first second's credit
  r.timer.doUpdateNextReview();
  clock->runUntil(2.05);
  r.timer.doUpdateNextReview();
  clock->runUntil(4);
  EXPECT_EQ(r.at, (Times{0.1, 0.2, 0.3, 0.4, 1, 2, 3}));
}

TEST_F(ReviewTimerTest, NeverMoreThanFourInReserve) {
  Reviewed r(*clock);
  clock->runUntil(10);
  r.eager = 5;
  r.timer.doUpdateNextReview();
  clock->run(5);
  EXPECT_EQ(r.at, (Times{10.1, 10.2, 10.3, 10.4, 11, 12}));
}

TEST_F(ReviewTimerTest, CreditOfThisVeryInstantCountsAndSecondsRunFromTheStart) {
  clock->runUntil(0.25);
  Reviewed r(*clock);
  r.eager = 3;
  r.timer.doUpdateNextReview();
  clock->runUntil(1.25);
  r.timer.doUpdateNextReview();
  clock->runUntil(1.3);
  EXPECT_EQ(r.at.size(), 4u);
  clock->runUntil(1.35);
  r.timer.doUpdateNextReview();
  clock->run(3);
  EXPECT_EQ(r.at, (Times{0.35, 0.45, 0.55, 0.65, 1.35, 2.25}));
}

}  // namespace
