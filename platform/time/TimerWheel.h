#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/reactor/Entity.h"
#include "platform/time/Clock.h"

namespace Platform {

class TimerWheel;

// Neighbours in the circular list of a wheel's slot.
struct TimerLink {
  TimerLink* prev = nullptr;
  TimerLink* next = nullptr;
};

// Intrusive node of a timer wheel, 24 octets: arming and cancelling allocate nothing. What its
// expiry does is a matter of its kind, see TimerWheel::handlerIs. Leaves its wheel when destroyed.
class MRP_API Timer {
 public:
  // Timers that know themselves what to call; those of all other kinds are the wheel's owner's.
  static constexpr std::uint8_t kMember = 0;
  static constexpr std::uint8_t kKinds = 3;

  explicit Timer(std::uint8_t kind) : tick_(0), kind_(kind), note_(0) {}
  ~Timer() { cancel(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  bool armed() const { return link_.next != nullptr; }
  void cancel() {
    if (!armed()) return;
    link_.prev->next = link_.next;
    link_.next->prev = link_.prev;
    link_ = {};
  }

 protected:
  std::uint8_t kind() const { return kind_; }
  // Bits that a derived class may use as it likes.
  std::uint8_t note() const { return note_; }
  void noteIs(std::uint8_t note) { note_ = note; }

 private:
  friend class TimerWheel;
  // The node is the link's: the link is its first member.
  static Timer& of(TimerLink& link) { return reinterpret_cast<Timer&>(link); }
  void putBefore(TimerLink& link) {
    link_ = {link.prev, &link};
    link.prev->next = &link_;
    link.prev = &link_;
  }

  TimerLink link_;
  std::uint64_t tick_ : 48;
  std::uint64_t kind_ : 8;
  std::uint64_t note_ : 8;
};

// A timer that calls a member function of its owner. The timer is disarmed by then; it may be armed
// again, and it may be destroyed.
class MRP_API MemberTimer : public Timer {
 public:
  MemberTimer() : Timer(kMember) {}
  template <auto Method, class T>
  void bind(T* owner) {
    owner_ = owner;
    call_ = [](void* self) { (static_cast<T*>(self)->*Method)(); };
  }

 private:
  friend class TimerWheel;
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

  // Who serves the timers of a kind other than kMember: `Method` of `owner` gets the timer,
  // disarmed; it may arm it again, and destroy it.
  template <auto Method, class T>
  void handlerIs(std::uint8_t kind, T* owner) {
    handlers_[kind] = {owner,
                       [](void* self, Timer& timer) { (static_cast<T*>(self)->*Method)(timer); }};
  }

  // Arms `timer`, replacing an earlier arming; re-arming to the same deadline counts as anew.
  void deadlineIs(Timer& timer, Seconds deadline) { arm(timer, deadline, clock_->now()); }
  // The same for now plus `delay`.
  void delayIs(Timer& timer, Seconds delay) {
    const Seconds now = clock_->now();
    arm(timer, now + delay, now);
  }

 private:
  static constexpr std::int64_t kNoTick = -1;
  struct Handler {
    void* owner = nullptr;
    void (*call)(void*, Timer&) = nullptr;
  };

  struct Arming {
    Seconds deadline;
    Seconds now;
    std::int64_t servingTick = kNoTick;
    friend bool operator==(const Arming&, const Arming&) = default;
  };

  std::size_t slotOf(std::int64_t tick) const;
  std::int64_t firstTickAt(Seconds time) const;
  void arm(Timer& timer, Seconds deadline, Seconds now);
  [[gnu::noinline]] void findTick(Seconds deadline, Seconds now);
  [[gnu::always_inline]] inline void link(Timer& timer);
  void serve(std::int64_t tick);
  void fire(Timer& timer);
  void handleAlarm();
  void wakeAt(std::int64_t tick);
  // The first tick from `tick` on whose slot holds a timer, or kNoTick.
  std::int64_t nextOccupied(std::int64_t tick);
  bool isEmpty(std::size_t slot) const { return slots_[slot].next == &slots_[slot]; }

  Ptr<Clock> clock_;
  Parameters parameters_;
  std::int64_t tickNs_;
  std::vector<TimerLink> slots_;  // each the head of its circular list, once its bit is set
  // One bit per slot that holds a timer, or did: cancelling leaves the bit, looking clears it.
  std::vector<std::uint64_t> occupied_;
  std::array<Handler, Timer::kKinds> handlers_{};
  std::int64_t servingTick_ = kNoTick;
  // What the last arming depended on, and the tick and slot that came of it: a LeaveAll arms
  // thousands of timers alike, and finding a tick takes three divisions.
  Arming lastArming_;
  std::int64_t lastTick_ = 0;
  std::size_t lastSlot_ = 0;
  std::int64_t wakeTick_ = kNoTick;  // the tick that the alarm stands for
  Alarm alarm_;
};

}  // namespace Platform
