#include "platform/time/TimerWheel.h"

#include <algorithm>
#include <bit>

#include "platform/Assert.h"

namespace Platform {
namespace {

constexpr std::uint64_t kTickMask = (std::uint64_t{1} << 48) - 1;

}  // namespace

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
  for (std::size_t slot = 0; slot < slots_.size(); ++slot) {
    if (!(occupied_[slot / 64] >> slot % 64 & 1)) continue;
    while (!isEmpty(slot)) Timer::of(*slots_[slot].next).cancel();
  }
}

std::size_t TimerWheel::slotOf(std::int64_t tick) const {
  return static_cast<std::size_t>(tick) % slots_.size();
}

std::int64_t TimerWheel::firstTickAt(Seconds time) const {
  const std::int64_t ns = std::max<std::int64_t>(time.nanoseconds(), 0);
  return ns / tickNs_ + (ns % tickNs_ != 0 ? 1 : 0);
}

inline void TimerWheel::link(Timer& timer) {
  TimerLink& slot = slots_[lastSlot_];
  std::uint64_t& occupied = occupied_[lastSlot_ / 64];
  const std::uint64_t bit = std::uint64_t{1} << lastSlot_ % 64;
  if (!(occupied & bit)) slot = {&slot, &slot};
  occupied |= bit;
  timer.tick_ = static_cast<std::uint64_t>(lastTick_) & kTickMask;
  timer.putBefore(slot);
}

void TimerWheel::arm(Timer& timer, Seconds deadline, Seconds now) {
  timer.cancel();
  if (lastArming_ != Arming{deadline, now, servingTick_}) findTick(deadline, now);
  link(timer);
  if (wakeTick_ == kNoTick || lastTick_ < wakeTick_) wakeAt(lastTick_);
}

void TimerWheel::findTick(Seconds deadline, Seconds now) {
  lastArming_ = {deadline, now, servingTick_};
  lastTick_ = std::max(firstTickAt(deadline), firstTickAt(now));
  if (servingTick_ != kNoTick) lastTick_ = std::max(lastTick_, servingTick_ + 1);
  lastSlot_ = slotOf(lastTick_);
}

// Timers of later turns of the wheel share the slot: they stay, in their order, before a mark that
// moves through the list. Whatever a callback arms goes to a later tick.
void TimerWheel::serve(std::int64_t tick) {
  TimerLink& slot = slots_[slotOf(tick)];
  servingTick_ = tick;
  Timer mark(Timer::kMember);
  mark.putBefore(*slot.next);
  while (mark.link_.next != &slot) {
    Timer& timer = Timer::of(*mark.link_.next);
    if (static_cast<std::int64_t>(timer.tick_) > tick) {
      mark.cancel();
      mark.putBefore(*timer.link_.next);
    } else {
      fire(timer);
    }
  }
  servingTick_ = kNoTick;
}

void TimerWheel::fire(Timer& timer) {
  timer.cancel();
  if (timer.kind_ == Timer::kMember) {
    auto& member = static_cast<MemberTimer&>(timer);
    return member.call_(member.owner_);
  }
  const Handler& handler = handlers_[timer.kind_];
  handler.call(handler.owner, timer);
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

std::int64_t TimerWheel::nextOccupied(std::int64_t tick) {
  const std::size_t count = slots_.size();
  const std::size_t start = slotOf(tick);
  for (std::size_t done = 0; done < count;) {
    const std::size_t index = (start + done) % count;
    const std::uint64_t bits = occupied_[index / 64] >> (index % 64);
    if (!bits) {
      done += std::min<std::size_t>(64 - index % 64, count - index);
      continue;
    }
    done += static_cast<std::size_t>(std::countr_zero(bits));
    if (done >= count) break;
    const std::size_t found = (start + done) % count;
    if (!isEmpty(found)) return tick + static_cast<std::int64_t>(done);
    occupied_[found / 64] &= ~(std::uint64_t{1} << found % 64);
  }
  return kNoTick;
}

void TimerWheel::hasNotificationActiveIs(bool active) {
  Entity::hasNotificationActiveIs(active);
  if (active && wakeTick_ != kNoTick) wakeAt(wakeTick_);
}

}  // namespace Platform
