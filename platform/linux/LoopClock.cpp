#include "platform/linux/LoopClock.h"

namespace Platform::Linux {

LoopClock::LoopClock(Loop& loop) : timer_(std::make_unique<LoopTimer>(loop)) {
  timer_->bind<&LoopClock::handleTimer>(this);
}

void LoopClock::alarmIs(Alarm& alarm, Seconds due) {
  MonotonicClock::alarmIs(alarm, due);
  wake();
}

void LoopClock::alarmDel(Alarm& alarm) {
  MonotonicClock::alarmDel(alarm);
  wake();
}

// An owner that throws leaves the alarms behind it to the next turn.
void LoopClock::handleTimer() {
  const Ptr<LoopClock> keep(this);
  struct Rearm {
    LoopClock& clock;
    ~Rearm() {
      clock.wakesAt_.reset();
      clock.wake();
    }
  } const rearm{*this};
  poll();
}

void LoopClock::wake() {
  const std::optional<Seconds> due = nextDue();
  if (!timer_ || due == wakesAt_) return;
  wakesAt_ = due;
  due ? timer_->startIn(*due - now()) : timer_->stop();
}

}  // namespace Platform::Linux
