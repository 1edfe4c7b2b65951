#include "platform/time/TimerWheel.h"

#include <algorithm>
#include <bit>

#include "platform/Assert.h"

namespace Platform {

void Timer::cancel() {
  if (wheel_) wheel_->unlink(*this);
}

TimerWheel::TimerWheel(Ptr<Clock> clock, const Parameters& parameters)
    : clock_(std::move(clock)),
      parameters_(parameters),
      tickNs_(std::int64_t{parameters.tickMsecs} * 1'000'000),
      slots_(parameters.initialMaxTicks),
      occupied_((parameters.initialMaxTicks + 63) / 64),
      alarm_(*clock_, Alarm::Class::wheel) {
  MRP_ASSERT(parameters.tickMsecs > 0 && parameters.initialMaxTicks > 0);
  alarm_.bind<&TimerWheel::handleAlarm>(this);
}

TimerWheel::~TimerWheel() {
  for (Slot& slot : slots_) {
    while (slot.first) unlink(*slot.first);
  }
}

std::size_t TimerWheel::slotOf(std::int64_t tick) const {
  return static_cast<std::size_t>(tick) % slots_.size();
}

std::int64_t TimerWheel::firstTickAt(Seconds time) const {
  const std::int64_t ns = std::max<std::int64_t>(time.nanoseconds(), 0);
  return ns / tickNs_ + (ns % tickNs_ != 0 ? 1 : 0);
}

void TimerWheel::deadlineIs(Timer& timer, Seconds deadline) {
  timer.cancel();
  std::int64_t tick = std::max(firstTickAt(deadline), firstTickAt(clock_->now()));
  if (servingTick_ != kNoTick) tick = std::max(tick, servingTick_ + 1);
  timer.tick_ = tick;
  link(timer);
  if (wakeTick_ == kNoTick || tick < wakeTick_) wakeAt(tick);
}

void TimerWheel::link(Timer& timer) {
  const std::size_t index = slotOf(timer.tick_);
  Slot& slot = slots_[index];
  timer.wheel_ = this;
  timer.prev_ = slot.last;
  timer.next_ = nullptr;
  (slot.last ? slot.last->next_ : slot.first) = &timer;
  slot.last = &timer;
  occupied_[index / 64] |= std::uint64_t{1} << (index % 64);
  ++armed_;
}

void TimerWheel::unlink(Timer& timer) {
  const std::size_t index = slotOf(timer.tick_);
  Slot& slot = slots_[index];
  (timer.prev_ ? timer.prev_->next_ : slot.first) = timer.next_;
  (timer.next_ ? timer.next_->prev_ : slot.last) = timer.prev_;
  timer.wheel_ = nullptr;
  if (passedOver_ == &timer) passedOver_ = timer.prev_;
  if (!slot.first) occupied_[index / 64] &= ~(std::uint64_t{1} << (index % 64));
  --armed_;
}

// Timers of later turns of the wheel share the slot: they are passed over and stay, in their order.
// Whatever a callback arms goes to a later tick.
void TimerWheel::serve(std::int64_t tick) {
  Slot& slot = slots_[slotOf(tick)];
  servingTick_ = tick;
  passedOver_ = nullptr;
  while (Timer* timer = passedOver_ ? passedOver_->next_ : slot.first) {
    if (timer->tick_ > tick) {
      passedOver_ = timer;
      continue;
    }
    unlink(*timer);
    timer->handleTimer();
  }
  passedOver_ = nullptr;
  servingTick_ = kNoTick;
}

void TimerWheel::handleAlarm() {
  if (!hasNotificationActive()) return;
  const std::int64_t last = clock_->now().nanoseconds() / tickNs_;
  std::int64_t tick = wakeTick_;
  while (tick != kNoTick && tick <= last) {
    wakeTick_ = kNoTick;
    serve(tick);
    tick = nextOccupied(tick + 1);
  }
  wakeTick_ = kNoTick;
  if (tick != kNoTick) wakeAt(tick);
}

void TimerWheel::wakeAt(std::int64_t tick) {
  wakeTick_ = tick;
  std::int64_t ns = 0;
  if (__builtin_mul_overflow(tick, tickNs_, &ns)) return;  // centuries away
  alarm_.dueIs(Seconds::fromNanoseconds(ns));
}

std::int64_t TimerWheel::nextOccupied(std::int64_t tick) const {
  if (armed_ == 0) return kNoTick;
  const std::size_t count = slots_.size();
  const std::size_t start = slotOf(tick);
  for (std::size_t done = 0; done < count;) {
    const std::size_t index = (start + done) % count;
    const std::uint64_t bits = occupied_[index / 64] >> (index % 64);
    if (bits) {
      const std::size_t found = done + static_cast<std::size_t>(std::countr_zero(bits));
      if (found < count) return tick + static_cast<std::int64_t>(found);
    }
    done += std::min<std::size_t>(64 - index % 64, count - index);
  }
  return kNoTick;
}

void TimerWheel::hasNotificationActiveIs(bool active) {
  Entity::hasNotificationActiveIs(active);
  if (active && wakeTick_ != kNoTick) wakeAt(wakeTick_);
}

}  // namespace Platform
