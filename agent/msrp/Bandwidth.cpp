#include "agent/msrp/Bandwidth.h"

#include <algorithm>
#include <limits>

namespace Mrp {
namespace {

constexpr BitsPerSecond kMost = std::numeric_limits<BitsPerSecond>::max();

// The whole bits of a share of a rate.
BitsPerSecond percentOf(BitsPerSecond rate, BitsPerSecond percent) {
  BitsPerSecond hundreds = 0;
  BitsPerSecond limit = 0;
  if (__builtin_mul_overflow(rate / 100, percent, &hundreds) ||
      __builtin_add_overflow(hundreds, rate % 100 * percent / 100, &limit)) {
    return kMost;
  }
  return limit;
}

BitsPerSecond left(BitsPerSecond limit, BitsPerSecond used) {
  return limit > used ? limit - used : 0;
}

}  // namespace

// Sums are whole bits, so that comparing them with the floor is exact.
void PortBandwidth::limitsIs(const StreamPort& port) {
  BitsPerSecond percent = 0;
  for (std::size_t c = 0; c < kSrClasses; ++c) {
    percent += port.ofClass[c].delta;
    limits_[c] = percentOf(port.rate, percent);
  }
}

Available PortBandwidth::available(std::uint8_t rank, SrClass srClass) const {
  std::array<BitsPerSecond, kSrClasses> sums = sums_[0];
  if (rank > 0) {
    for (std::size_t c = 0; c < kSrClasses; ++c) sums[c] += sums_[1][c];
  }
  const BitsPerSecond total = left(limits_.back(), sums[0] + sums[1]);
  if (srClass == SrClass::b) return {total, total};
  return {total, std::min(total, left(limits_.front(), sums[0]))};
}

bool PortBandwidth::withinLimits() const {
  return reserved(SrClass::a) <= limits_.front() && reserved() <= limits_.back();
}

}  // namespace Mrp
