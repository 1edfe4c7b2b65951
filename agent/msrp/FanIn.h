#pragma once

#include <cstdint>
#include <map>

#include "agent/msrp/Stream.h"

namespace Mrp::Streams {

// How many ports reserved streams come in by (msrpMaxFanInPorts, IEEE 802.1Q-2018 35.2.1.4). A port
// that has reservations keeps its place.
class FanIn {
 public:
  // 0: no limit.
  void limitIs(std::uint32_t limit) { limit_ = limit; }
  bool limited() const { return limit_ != 0; }

  void add(const Port& in) { ++reservations_[&in]; }
  void remove(const Port& in) {
    const auto found = reservations_.find(&in);
    if (--found->second == 0) reservations_.erase(found);
  }
  // From hold() to release() a port that has reservations now keeps its place whatever happens.
  void hold() {
    for (auto& [in, count] : reservations_) {
      ++count;
      held_.push_back(in);
    }
  }
  void release() {
    for (const Port* in : held_) remove(*in);
    held_.clear();
  }
  // Whether another stream that comes in by this port may be reserved.
  bool admits(const Port& in) const {
    return limit_ == 0 || reservations_.contains(&in) || reservations_.size() < limit_;
  }

 private:
  std::uint32_t limit_ = 0;
  std::map<const Port*, std::size_t> reservations_;
  std::vector<const Port*> held_;
};

}  // namespace Mrp::Streams
