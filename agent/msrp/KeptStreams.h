#pragma once

#include <cstdint>
#include <map>

#include "agent/msrp/Stream.h"

namespace Mrp::Streams {

// The bridge's own limit on streams with a talker: those that got theirs first are kept.
// `Stream::kept` says it; who gains or loses it is handed to `changed`.
class KeptStreams {
 public:
  // 0: no limit.
  template <class Changed>
  void limitIs(std::uint32_t limit, Changed changed) {
    limit_ = limit;
    balance(changed);
  }
  // Queues at the end, or anew.
  template <class Changed>
  void join(Stream& stream, std::uint64_t order, Changed changed) {
    leave(stream, changed);
    stream.keptOrder = order;
    stream.kept = false;
    waiting_.emplace(order, &stream);
    changed(stream);
    balance(changed);
  }
  template <class Changed>
  void leave(Stream& stream, Changed changed) {
    if (stream.keptOrder == 0) return;
    (stream.kept ? kept_ : waiting_).erase(stream.keptOrder);
    stream.keptOrder = 0;
    stream.kept = false;
    balance(changed);
  }

 private:
  template <class Changed>
  void balance(Changed changed) {
    while (!waiting_.empty() && (limit_ == 0 || kept_.size() < limit_)) {
      move(waiting_.begin()->second, waiting_, kept_, changed);
    }
    while (limit_ != 0 && kept_.size() > limit_) {
      move(std::prev(kept_.end())->second, kept_, waiting_, changed);
    }
  }
  using Queue = std::map<std::uint64_t, Stream*>;
  template <class Changed>
  static void move(Stream* stream, Queue& from, Queue& to, Changed changed) {
    to.insert(from.extract(stream->keptOrder));
    stream->kept = !stream->kept;
    changed(*stream);
  }

  std::uint32_t limit_ = 0;
  Queue kept_;
  Queue waiting_;  // empty unless as many as may be are kept
};

}  // namespace Mrp::Streams
