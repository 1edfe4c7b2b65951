#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

#include "agent/msrp/Stream.h"

namespace Mrp::Streams {

// The bridge's own limit on streams with a talker: those that got theirs first are kept.
// `Stream::kept` says it; who gains or loses it is handed to `changed`.
class KeptStreams {
 public:
  // 0: no limit. `streams` are all that the bridge has, by identifier.
  template <class Changed>
  void limitIs(std::uint32_t limit, std::map<StreamId, Stream>& streams, Changed changed) {
    limit_ = limit;
    admit(changed);
    if (room() || kept_ == limit_) return;
    std::vector<Stream*> kept;
    for (auto& [id, stream] : streams) {
      if (stream.kept) kept.push_back(&stream);
    }
    std::ranges::sort(kept, std::less<>(), &Stream::keptOrder);
    for (; kept_ > limit_; kept.pop_back()) {
      waiting_.emplace(kept.back()->keptOrder, kept.back());
      keptIs(*kept.back(), false, changed);
    }
  }
  // Queues at the end, or anew.
  template <class Changed>
  void join(Stream& stream, std::uint64_t order, Changed changed) {
    leave(stream, changed);
    stream.keptOrder = order;
    waiting_.emplace(order, &stream);
    changed(stream);
    admit(changed);
  }
  template <class Changed>
  void leave(Stream& stream, Changed changed) {
    if (stream.keptOrder == 0) return;
    if (stream.kept) {
      stream.kept = false;
      --kept_;
    } else {
      waiting_.erase(stream.keptOrder);
    }
    stream.keptOrder = 0;
    admit(changed);
  }

 private:
  bool room() const { return limit_ == 0 || kept_ < limit_; }
  template <class Changed>
  void admit(Changed changed) {
    while (room() && !waiting_.empty()) {
      Stream* const first = waiting_.extract(waiting_.begin()).mapped();
      keptIs(*first, true, changed);
    }
  }
  template <class Changed>
  void keptIs(Stream& stream, bool kept, Changed changed) {
    stream.kept = kept;
    kept ? ++kept_ : --kept_;
    changed(stream);
  }

  std::uint32_t limit_ = 0;
  std::size_t kept_ = 0;
  std::map<std::uint64_t, Stream*> waiting_;  // empty unless as many as may be are kept
};

}  // namespace Mrp::Streams
