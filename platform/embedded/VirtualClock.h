#pragma once

#include "platform/host/AlarmQueue.h"

namespace Platform::Embedded {

// Time that passes only while it is told to: starts at 0, counts whole nanoseconds. Everything that
// happens in a run happens in the same order in every run.
class VirtualClock final : public Clock {
 public:
  Seconds now() const override { return now_; }
  void alarmIs(Alarm& alarm, Seconds due) override;
  void alarmDel(Alarm& alarm) override;

  // Serves, in order, every alarm due at or before `t`, those armed meanwhile included. While an
  // alarm is served now() is its due time; at the end it is `t`, which must not lie in the past.
  // Not to be called from an alarm.
  void runUntil(Seconds t);
  void run(Seconds d) { runUntil(now_ + d); }

  // When the next alarm is due, if any.
  std::optional<Seconds> nextDue() const { return alarms_.nextDue(); }

 private:
  Seconds now_;
  bool running_ = false;
  Host::AlarmQueue alarms_;
};

}  // namespace Platform::Embedded
