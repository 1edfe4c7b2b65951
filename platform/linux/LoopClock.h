#pragma once

#include <memory>

#include "platform/host/MonotonicClock.h"
#include "platform/linux/Loop.h"

namespace Platform::Linux {

// The monotonic clock on a loop: one timer, for the earliest alarm. One that is due already waits
// for the loop's next turn, in which everything else gets its turn too.
class LoopClock final : public Host::MonotonicClock {
 public:
  explicit LoopClock(Loop& loop);
  // The loop ends: alarms of those who still hold this clock are not served any more.
  void detach() { events_.reset(); }

  // Time stands still while the loop serves an event: all that comes of a frame happens at one
  // time.
  Seconds now() const override;
  void standsStill(bool still);
  void timePasses() { stoodAt_.reset(); }

  void alarmIs(Alarm& alarm, Seconds due) override;
  void alarmDel(Alarm& alarm) override;

 private:
  struct Events {
    explicit Events(Loop& loop) : later(loop), soon(loop) {}
    LoopTimer later;
    EndOfTurn soon;
  };

  void handleDue();
  // Sees to it that the earliest alarm is served.
  void wake();

  std::unique_ptr<Events> events_;  // none when the loop has gone
  std::optional<Seconds> wakesAt_;
  bool still_ = false;
  mutable std::optional<Seconds> stoodAt_;  // once somebody has asked
};

}  // namespace Platform::Linux
