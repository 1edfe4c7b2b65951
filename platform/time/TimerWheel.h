#pragma once

#include <cstdint>
#include <vector>

#include "platform/reactor/Entity.h"
#include "platform/time/Clock.h"

namespace Platform {

class TimerWheel;

// Intrusive node of a timer wheel: arming and cancelling allocate nothing. Leaves its wheel when
// destroyed.
class MRP_API Timer {
 public:
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;
  bool armed() const { return wheel_ != nullptr; }
  void cancel();

 protected:
  Timer() = default;
  virtual ~Timer() { cancel(); }
  // Runs in the wheel's tick. The timer is disarmed by then; it may be armed again, and it may be
  // destroyed.
  virtual void handleTimer() = 0;

 private:
  friend class TimerWheel;
  Timer* prev_ = nullptr;
  Timer* next_ = nullptr;
  TimerWheel* wheel_ = nullptr;
  std::int64_t tick_ = 0;
};

// A timer that calls a member function of its owner.
class MRP_API MemberTimer final : public Timer {
 public:
  template <auto Method, class T>
  void bind(T* owner) {
    owner_ = owner;
    call_ = [](void* self) { (static_cast<T*>(self)->*Method)(); };
  }

 private:
  void handleTimer() override { call_(owner_); }
  void* owner_ = nullptr;
  void (*call_)(void*) = nullptr;
};

// One-level timer wheel. Ticks are the multiples of `tickMsecs` on the clock's own grid; a timer
// fires at the first tick at or after its deadline, never early, and timers of one tick fire in the
// order in which they were armed. A timer armed from inside a tick, for that tick or an earlier
// one, waits for the next. Deadlines beyond the wheel's span stay in their slot for further turns.
class MRP_API TimerWheel : public Entity {
 public:
  struct Parameters {
    std::uint32_t tickMsecs = 100;
    std::uint32_t initialMaxTicks = 60000;   // slots of the wheel
    bool preserveOrder = true;               // FIFO inside a tick; this wheel always keeps it
    std::uint32_t defaultBucketSize = 1024;  // a hint for wheels that store timers in arrays
    friend bool operator==(const Parameters&, const Parameters&) = default;
  };

  TimerWheel(Ptr<Clock> clock, const Parameters& parameters);
  ~TimerWheel() override;

  Clock& clock() const { return *clock_; }
  const Parameters& parameters() const { return parameters_; }
  void hasNotificationActiveIs(bool active) override;

  // Arms `timer`, replacing an earlier arming; re-arming to the same deadline counts as anew.
  void deadlineIs(Timer& timer, Seconds deadline);

 private:
  friend class Timer;

  struct Slot {
    Timer* first = nullptr;
    Timer* last = nullptr;
  };

  std::size_t slotOf(std::int64_t tick) const;
  std::int64_t firstTickAt(Seconds time) const;
  void link(Timer& timer);
  void unlink(Timer& timer);
  void serve(std::int64_t tick);
  void handleAlarm();
  void wakeAt(std::int64_t tick);
  // The first tick from `tick` on whose slot is occupied, or kNoTick.
  std::int64_t nextOccupied(std::int64_t tick) const;

  static constexpr std::int64_t kNoTick = -1;

  Ptr<Clock> clock_;
  Parameters parameters_;
  std::int64_t tickNs_;
  std::vector<Slot> slots_;
  std::vector<std::uint64_t> occupied_;  // one bit per slot that holds a timer
  std::size_t armed_ = 0;
  std::int64_t servingTick_ = kNoTick;
  Timer* passedOver_ = nullptr;      // last timer of a later turn met in the slot being served
  std::int64_t wakeTick_ = kNoTick;  // the tick that the alarm stands for
  Alarm alarm_;
};

}  // namespace Platform
