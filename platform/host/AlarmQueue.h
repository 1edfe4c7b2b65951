#pragma once

#include <optional>
#include <set>

#include "platform/time/Clock.h"

namespace Platform::Host {

// The armed alarms of a clock, in the order in which they are served: due time, then alarm class,
// then arming. A due time in the past counts as the moment of arming. Does not own the alarms; the
// ones that are left are disarmed when the queue goes away.
class AlarmQueue {
 public:
  AlarmQueue() = default;
  ~AlarmQueue();
  AlarmQueue(const AlarmQueue&) = delete;
  AlarmQueue& operator=(const AlarmQueue&) = delete;

  void alarmIs(Alarm& alarm, Seconds due, Seconds now);
  void alarmDel(Alarm& alarm);

  bool empty() const { return alarms_.empty(); }
  // When the first alarm is due; none when no alarm is armed.
  std::optional<Seconds> nextDue() const;
  // How often an alarm was armed: those armed later have a higher sequence.
  std::uint64_t armings() const { return armings_; }
  // Null when no alarm is armed.
  const Alarm* first() const { return alarms_.empty() ? nullptr : *alarms_.begin(); }
  // Disarms the first alarm and calls its owner, who may destroy it. The queue must not be empty.
  void serveFirst();

 private:
  struct Earlier {
    bool operator()(const Alarm* a, const Alarm* b) const;
  };

  std::set<Alarm*, Earlier> alarms_;
  std::uint64_t armings_ = 0;
};

}  // namespace Platform::Host
