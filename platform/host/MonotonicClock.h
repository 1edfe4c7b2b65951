#pragma once

#include <chrono>

#include "platform/host/AlarmQueue.h"

namespace Platform::Host {

// The host's steady clock, 0 when constructed. An event loop waits until nextDue() at most and then
// calls poll().
class MonotonicClock : public Clock {
 public:
  Seconds now() const override;
  void alarmIs(Alarm& alarm, Seconds due) override;
  void alarmDel(Alarm& alarm) override;

  // Serves the alarms that were armed and due when the call began, and gives their number. One that
  // is armed again meanwhile ends the call: it and what is due behind it are the next one's.
  std::size_t poll();
  std::optional<Seconds> nextDue() const { return alarms_.nextDue(); }

 private:
  std::chrono::steady_clock::time_point origin_ = std::chrono::steady_clock::now();
  AlarmQueue alarms_;
};

}  // namespace Platform::Host
