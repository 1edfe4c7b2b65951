#pragma once

#include <exception>
#include <memory>

#include "platform/time/Clock.h"

typedef struct uv_loop_s uv_loop_t;

namespace Platform::Linux {

class LoopClock;

// The event loop of a process, on one thread. An exception that leaves one of the calls that it
// makes ends the run and comes out of it; the loop can be run again afterwards.
class Loop final : public PtrInterface {
 public:
  // Throws std::runtime_error when the host gives no loop.
  Loop();
  // What the loop calls has to be gone by then; alarms are disarmed.
  ~Loop() override;

  // The host's monotonic clock, whose alarms this loop serves.
  const Ptr<Clock>& clock() const { return clock_; }

  // Serves what happens until stop().
  void run();
  // Waits at most that long for something to happen and serves it.
  void turn(Seconds atMost);
  void stop();

  // For those that put something of their own on the loop, and its alarms.
  uv_loop_t* uv() const { return uv_.get(); }
  void failed(std::exception_ptr error);

  // While an event is served: what follows happens later.
  void timePasses();

 private:
  friend class LoopEvent;
  void raise();

  std::unique_ptr<uv_loop_t> uv_;
  Ptr<LoopClock> loopClock_;
  Ptr<Clock> clock_;
  std::exception_ptr error_;
};

// One thing that happens on a loop and the member function that is called for it. Whoever has one
// keeps the loop. Destroying it from inside the call is legal.
class LoopEvent {
 public:
  LoopEvent(const LoopEvent&) = delete;
  LoopEvent& operator=(const LoopEvent&) = delete;

  template <auto Method, class T>
  void bind(T* owner) {
    owner_ = owner;
    call_ = [](void* self) { (static_cast<T*>(self)->*Method)(); };
  }

 protected:
  struct Handle;  // stays with the loop until that lets go of it

  explicit LoopEvent(Loop& loop) : loop_(loop) {}
  ~LoopEvent() { release(); }
  Handle& made();
  void release();
  // Called by the loop.
  void fire() noexcept;

  Loop& loop_;
  Handle* handle_ = nullptr;

 private:
  void* owner_ = nullptr;
  void (*call_)(void*) = nullptr;
};

// A descriptor that can be read, or has an error. Called in every turn until it is read.
class Readable final : public LoopEvent {
 public:
  explicit Readable(Loop& loop) : LoopEvent(loop) {}
  // The descriptor is not owned; it stays open until unwatch().
  void watch(int fd);
  void unwatch() { release(); }
  bool watching() const { return handle_ != nullptr; }

 private:
  void start();
  int fd_ = -1;
};

// A signal of the process.
class SignalEvent final : public LoopEvent {
 public:
  SignalEvent(Loop& loop, int signal);
};

// Once, before the loop waits again.
class EndOfTurn final : public LoopEvent {
 public:
  explicit EndOfTurn(Loop& loop) : LoopEvent(loop) {}
  void ask();
};

// Once, some milliseconds from now, and no earlier than that.
class LoopTimer final : public LoopEvent {
 public:
  explicit LoopTimer(Loop& loop) : LoopEvent(loop) {}
  void startIn(Seconds d);
  void stop();
};

}  // namespace Platform::Linux
