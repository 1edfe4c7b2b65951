#pragma once

#include <cstdint>

#include "platform/time/Clock.h"

namespace Platform {

// Rate-limited callback. A bucket holds at most `maxCredits`, is full at first and gains one credit
// at each whole `fillInterval` after construction. A request takes a credit and is served
// `minDelay` later (`maxDelay` bounds a platform that coalesces reviews); with no credit left it
// takes the next one and is served when that credit comes.
class MRP_API ReviewTimer {
 public:
  struct Parameters {
    Seconds fillInterval;
    std::uint32_t maxCredits = 1;
    Seconds minDelay;
    Seconds maxDelay;
  };

  ReviewTimer(Clock& clock, const Parameters& parameters);

  template <auto Method, class T>
  void bind(T* notifiee) {
    alarm_.bind<Method>(notifiee);
  }

  // True from a request until its review is served.
  bool reviewPending() const { return alarm_.armed(); }
  // Asks for one review; does nothing while one is pending.
  void doUpdateNextReview();

 private:
  void refill();

  Parameters parameters_;
  Seconds start_;
  std::int64_t filledTo_ = 0;  // whole intervals since `start_` already credited or spent ahead
  std::uint32_t credits_;
  Alarm alarm_;
};

}  // namespace Platform
