#pragma once

#include <memory>

#include "platform/host/MonotonicClock.h"
#include "platform/linux/Loop.h"

namespace Platform::Linux {

// The monotonic clock on a loop: one timer, for the earliest alarm.
class LoopClock final : public Host::MonotonicClock {
 public:
  explicit LoopClock(Loop& loop);
  // The loop ends: alarms of those who still hold this clock are not served any more.
  void detach() { timer_.reset(); }

  void alarmIs(Alarm& alarm, Seconds due) override;
  void alarmDel(Alarm& alarm) override;

 private:
  void handleTimer();
  // Makes the timer that of the earliest alarm.
  void wake();

  std::unique_ptr<LoopTimer> timer_;
  std::optional<Seconds> wakesAt_;
};

}  // namespace Platform::Linux
