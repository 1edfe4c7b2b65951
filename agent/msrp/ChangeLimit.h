#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "platform/interface/IntfId.h"
#include "platform/time/Seconds.h"

namespace Mrp::Streams {

// What is registered on a port of one stream, as its neighbour last said it.
struct RegisteredValue {
  MsrpTalkerFailedAttribute talker;  // of a talker
  bool failed = false;
  MsrpListenerEvent listener = MsrpListenerEvent::ignore;  // of a listener
};

// Holds back values of a registration that change faster than anybody means them to. Each change is
// passed on to every port and sent twice; where links double and overtake frames, an old value that
// comes late is a change as well, and without an end to it a line of bridges multiplies them.
//
// Of each registration kMost changes pass in each second of the clock; of those that follow the
// last one is held until the second is over.
class ChangeLimit {
 public:
  static constexpr std::uint32_t kMost = 32;

  struct Registration {
    Platform::IntfId intf;
    bool listener;
    std::uint64_t stream;

    friend auto operator<=>(const Registration&, const Registration&) = default;
  };
  using Held = std::map<Registration, RegisteredValue>;

  // Whether a change passes now; otherwise the value is held, in the place of one held before.
  bool admits(const Registration& of, const RegisteredValue& value, Platform::Seconds now) {
    begin(now);
    if (++changes_[of] > kMost) {
      if (held_.empty()) due_ = Platform::Seconds::fromNanoseconds((second_ + 1) * kSecond);
      held_.insert_or_assign(of, value);
      return false;
    }
    held_.erase(of);
    return true;
  }
  // It has left, or has the value again that passed last.
  void forget(const Registration& of) {
    if (!held_.empty()) held_.erase(of);
  }
  void forgetAll() { *this = {}; }
  // Null when nothing is held of it.
  const RegisteredValue* held(const Registration& of) const {
    const auto found = held_.find(of);
    return found == held_.end() ? nullptr : &found->second;
  }

  // When what is held is to be released; never, when nothing is.
  Platform::Seconds deadline() const { return held_.empty() ? Platform::Seconds::never() : due_; }
  // What may pass by now; forgotten here.
  Held release(Platform::Seconds now) {
    begin(now);
    return deadline() <= now ? std::exchange(held_, {}) : Held{};
  }

 private:
  void begin(Platform::Seconds now) {
    const std::int64_t second = now.nanoseconds() / kSecond;
    if (std::exchange(second_, second) != second) changes_.clear();
  }

  static constexpr std::int64_t kSecond = 1'000'000'000;  // nanoseconds

  std::int64_t second_ = 0;  // of the clock, to which `changes_` belong
  std::map<Registration, std::uint32_t> changes_;
  Held held_;
  Platform::Seconds due_;  // when the second is over in which the first of them came
};

}  // namespace Mrp::Streams
