#include "platform/host/AlarmQueue.h"

#include <algorithm>
#include <tuple>

#include "platform/Assert.h"

namespace Platform::Host {

bool AlarmQueue::Earlier::operator()(const Alarm* a, const Alarm* b) const {
  const auto place = [](const Alarm* alarm) {
    return std::tuple(alarm->due(), alarm->alarmClass(), alarm->sequence());
  };
  return place(a) < place(b);
}

AlarmQueue::~AlarmQueue() {
  while (!alarms_.empty()) alarmDel(**alarms_.begin());
}

void AlarmQueue::alarmIs(Alarm& alarm, Seconds due, Seconds now) {
  if (alarm.armed()) alarms_.erase(&alarm);
  alarm.armingIs(true, std::max(due, now), ++armings_);
  alarms_.insert(&alarm);
}

void AlarmQueue::alarmDel(Alarm& alarm) {
  alarms_.erase(&alarm);
  alarm.armingIs(false, alarm.due(), 0);
}

std::optional<Seconds> AlarmQueue::nextDue() const {
  if (alarms_.empty()) return std::nullopt;
  return (*alarms_.begin())->due();
}

void AlarmQueue::serveFirst() {
  MRP_ASSERT(!alarms_.empty());
  Alarm* first = *alarms_.begin();
  alarms_.erase(alarms_.begin());
  first->fire();
}

}  // namespace Platform::Host
