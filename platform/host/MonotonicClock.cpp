#include "platform/host/MonotonicClock.h"

namespace Platform::Host {

Seconds MonotonicClock::now() const {
  const auto elapsed = std::chrono::steady_clock::now() - origin_;
  return Seconds::fromNanoseconds(
      std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count());
}

void MonotonicClock::alarmIs(Alarm& alarm, Seconds due) { alarms_.alarmIs(alarm, due, now()); }

void MonotonicClock::alarmDel(Alarm& alarm) { alarms_.alarmDel(alarm); }

std::size_t MonotonicClock::poll() {
  const Ptr<MonotonicClock> keep(this);
  const Seconds limit = now();
  const std::uint64_t last = alarms_.armings();
  const auto waits = [&](const Alarm* alarm) {
    return alarm && alarm->due() <= limit && alarm->sequence() <= last;
  };
  std::size_t served = 0;
  for (; waits(alarms_.first()); ++served) alarms_.serveFirst();
  return served;
}

}  // namespace Platform::Host
