#include "platform/embedded/VirtualClock.h"

#include "platform/Assert.h"

namespace Platform::Embedded {
namespace {

// Holds also when an alarm's owner throws.
class Running {
 public:
  explicit Running(bool& running) : running_(running) {
    MRP_ASSERT_TEXT(!running, "runs of a virtual clock do not nest");
    running_ = true;
  }
  ~Running() { running_ = false; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  bool& running_;
};

}  // namespace

void VirtualClock::alarmIs(Alarm& alarm, Seconds due) { alarms_.alarmIs(alarm, due, now_); }

void VirtualClock::alarmDel(Alarm& alarm) { alarms_.alarmDel(alarm); }

void VirtualClock::runUntil(Seconds t) {
  MRP_ASSERT_TEXT(t >= now_, "virtual time does not go back");
  const Ptr<VirtualClock> keep(this);
  const Running running(running_);
  for (auto due = alarms_.nextDue(); due && *due <= t; due = alarms_.nextDue()) {
    now_ = *due;
    alarms_.serveFirst();
  }
  now_ = t;
}

}  // namespace Platform::Embedded
