#pragma once

#include "platform/reactor/Ptr.h"
#include "platform/time/Seconds.h"

namespace Platform {

class Alarm;

// The platform's clock and its one-shot alarms.
class MRP_API Clock : public PtrInterface {
 public:
  // Since a fixed, arbitrary origin; never goes back.
  virtual Seconds now() const = 0;
  // Arms `alarm` for `due`, replacing an earlier arming. Never early; a due time in the past is
  // served as soon as the loop turns.
  virtual void alarmIs(Alarm& alarm, Seconds due) = 0;
  virtual void alarmDel(Alarm& alarm) = 0;
};

// Calls one member function of its owner once at each arming. Of alarms due at one instant those of
// class `wheel` are served first, then `review`, then `arrival` (of frames); within a class, in the
// order in which they were armed. Disarms
// itself when destroyed; re-arming or destroying it from inside its callback is legal.
class MRP_API Alarm {
 public:
  enum class Class : std::uint8_t { wheel, review, arrival };

  explicit Alarm(Clock& clock, Class cls = Class::review) : clock_(&clock), class_(cls) {}
  ~Alarm() { cancel(); }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

  template <auto Method, class T>
  void bind(T* owner) {
    owner_ = owner;
    call_ = [](void* self) { (static_cast<T*>(self)->*Method)(); };
  }

  void dueIs(Seconds due) { clock_->alarmIs(*this, due); }
  void cancel() {
    if (armed_) clock_->alarmDel(*this);
  }
  bool armed() const { return armed_; }
  Seconds due() const { return due_; }
  Class alarmClass() const { return class_; }
  Clock& clock() const { return *clock_; }

  // For clocks: the arming as they keep it, and the call.
  void armingIs(bool armed, Seconds due, std::uint64_t sequence) {
    armed_ = armed;
    due_ = due;
    sequence_ = sequence;
  }
  std::uint64_t sequence() const { return sequence_; }
  void fire() {
    armed_ = false;
    if (call_) call_(owner_);
  }

 private:
  Clock* clock_;
  void* owner_ = nullptr;
  void (*call_)(void*) = nullptr;
  Seconds due_;
  std::uint64_t sequence_ = 0;
  Class class_;
  bool armed_ = false;
};

}  // namespace Platform
