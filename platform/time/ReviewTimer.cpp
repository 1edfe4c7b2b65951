#include "platform/time/ReviewTimer.h"

#include <algorithm>

namespace Platform {

ReviewTimer::ReviewTimer(Clock& clock, const Parameters& parameters)
    : parameters_(parameters),
      start_(clock.now()),
      credits_(parameters.maxCredits),
      alarm_(clock) {}

void ReviewTimer::refill() {
  const std::int64_t elapsed = (alarm_.clock().now() - start_).nanoseconds();
  const std::int64_t interval = std::max<std::int64_t>(parameters_.fillInterval.nanoseconds(), 1);
  const std::int64_t whole = elapsed / interval;
  if (whole <= filledTo_) return;
  const std::int64_t room = parameters_.maxCredits - credits_;
  credits_ += static_cast<std::uint32_t>(std::min(whole - filledTo_, room));
  filledTo_ = whole;
}

void ReviewTimer::doUpdateNextReview() {
  if (reviewPending()) return;
  refill();
  if (credits_ > 0) {
    --credits_;
    alarm_.dueIs(alarm_.clock().now() + parameters_.minDelay);
    return;
  }
  ++filledTo_;  // the credit to come is this review's
  alarm_.dueIs(start_ +
               Seconds::fromNanoseconds(filledTo_ * parameters_.fillInterval.nanoseconds()));
}

}  // namespace Platform
