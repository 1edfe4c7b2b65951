#include "platform/linux/Loop.h"

#include <uv.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/Assert.h"
#include "platform/linux/LoopClock.h"

namespace Platform::Linux {
namespace {

void demand(int result, const char* what) {
  if (result != 0) throw std::runtime_error(std::string(what) + ": " + uv_strerror(result));
}

}  // namespace

struct LoopEvent::Handle {
  uv_any_handle uv{};
  LoopEvent* event = nullptr;

  // Whatever kind of handle libuv calls us with.
  template <class Uv, class... More>
  static void call(Uv* uv, More...) {
    auto* const handle = static_cast<Handle*>(uv->data);
    if (handle->event) handle->event->fire();
  }
};

Loop::Loop() : uv_(std::make_unique<uv_loop_t>()) {
  demand(uv_loop_init(uv_.get()), "no event loop");
  loopClock_ = makePtr<LoopClock>(*this);
  clock_ = loopClock_;
}

Loop::~Loop() {
  loopClock_->detach();
  uv_run(uv_.get(), UV_RUN_NOWAIT);  // closes what has been released
  MRP_ASSERT_TEXT(uv_loop_close(uv_.get()) == 0, "a loop outlives its events");
}

void Loop::run() {
  const Ptr<Loop> keep(this);
  uv_run(uv_.get(), UV_RUN_DEFAULT);
  raise();
}

void Loop::turn(Seconds atMost) {
  const Ptr<Loop> keep(this);
  LoopTimer limit(*this);
  limit.startIn(atMost);
  uv_run(uv_.get(), UV_RUN_ONCE);
  raise();
}

void Loop::stop() { uv_stop(uv_.get()); }

void Loop::timePasses() { loopClock_->timePasses(); }

void Loop::failed(std::exception_ptr error) {
  if (!error_) error_ = std::move(error);
  stop();
}

void Loop::raise() {
  if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
}

LoopEvent::Handle& LoopEvent::made() {
  release();
  handle_ = new Handle;
  handle_->event = this;
  handle_->uv.handle.data = handle_;
  return *handle_;
}

void LoopEvent::release() {
  Handle* const handle = std::exchange(handle_, nullptr);
  if (!handle) return;
  handle->event = nullptr;
  uv_close(&handle->uv.handle, [](uv_handle_t* uv) { delete static_cast<Handle*>(uv->data); });
}

void LoopEvent::fire() noexcept {
  Loop& loop = loop_;
  loop.loopClock_->standsStill(true);
  try {
    if (call_) call_(owner_);
  } catch (...) {
    loop.failed(std::current_exception());
  }
  loop.loopClock_->standsStill(false);
}

void Readable::watch(int fd) {
  Handle& handle = made();
  const int result = uv_poll_init(loop_.uv(), &handle.uv.poll, fd);
  if (result != 0) {
    delete std::exchange(handle_, nullptr);
    demand(result, "a descriptor cannot be watched");
  }
  fd_ = fd;
  start();
}

// An error of the descriptor ends libuv's watching; ours goes on, for the owner has read the error.
void Readable::start() {
  uv_poll_start(&handle_->uv.poll, UV_READABLE, [](uv_poll_t* poll, int status, int events) {
    Handle::call(poll, status, events);
    auto* const handle = static_cast<Handle*>(poll->data);
    if (status != 0 && handle->event) static_cast<Readable*>(handle->event)->start();
  });
}

SignalEvent::SignalEvent(Loop& loop, int signal) : LoopEvent(loop) {
  Handle& handle = made();
  uv_signal_init(loop.uv(), &handle.uv.signal);
  demand(uv_signal_start(&handle.uv.signal, &Handle::call<uv_signal_t, int>, signal),
         "a signal cannot be watched");
}

void EndOfTurn::ask() {
  if (!handle_) uv_idle_init(loop_.uv(), &made().uv.idle);
  uv_idle_start(&handle_->uv.idle, [](uv_idle_t* idle) {
    uv_idle_stop(idle);
    Handle::call(idle);
  });
}

// libuv counts milliseconds from the time at which its turn began.
void LoopTimer::startIn(Seconds d) {
  constexpr std::int64_t kMillisecond = 1'000'000;
  if (!handle_) uv_timer_init(loop_.uv(), &made().uv.timer);
  uv_update_time(loop_.uv());
  const std::int64_t ns = std::max<std::int64_t>(d.nanoseconds(), 0);
  const std::int64_t ms = ns / kMillisecond + (ns % kMillisecond ? 1 : 0);
  uv_timer_start(&handle_->uv.timer, &Handle::call<uv_timer_t>, static_cast<std::uint64_t>(ms), 0);
}

void LoopTimer::stop() {
  if (handle_) uv_timer_stop(&handle_->uv.timer);
}

}  // namespace Platform::Linux
