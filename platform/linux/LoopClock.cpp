#include "platform/linux/LoopClock.h"

namespace Platform::Linux {

LoopClock::LoopClock(Loop& loop) : events_(std::make_unique<Events>(loop)) {
  events_->later.bind<&LoopClock::handleDue>(this);
  events_->soon.bind<&LoopClock::handleDue>(this);
}

Seconds LoopClock::now() const {
  if (!still_) return MonotonicClock::now();
  if (!stoodAt_) stoodAt_ = MonotonicClock::now();
  return *stoodAt_;
}

void LoopClock::standsStill(bool still) {
  still_ = still;
  timePasses();
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
void LoopClock::handleDue() {
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
  if (!events_ || due == wakesAt_) return;
  wakesAt_ = due;
  if (!due) return events_->later.stop();
  const Seconds left = *due - MonotonicClock::now();
  left > Seconds() ? events_->later.startIn(left) : events_->soon.ask();
}

}  // namespace Platform::Linux
