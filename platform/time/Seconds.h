#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>

#include "platform/reactor/Attributes.h"

namespace Platform {

// A time or a length of time. Made from a number of seconds, kept in whole nanoseconds so that
// sums and comparisons are exact; saturates at about 292 years, which stands for "never".
class Seconds {
 public:
  constexpr Seconds() = default;
  constexpr Seconds(double seconds) : ns_(rounded(seconds * 1e9)) {}
  static constexpr Seconds fromNanoseconds(std::int64_t ns) {
    Seconds s;
    s.ns_ = ns;
    return s;
  }
  static constexpr Seconds never() { return fromNanoseconds(kNever); }

  constexpr std::int64_t nanoseconds() const { return ns_; }
  constexpr double value() const { return static_cast<double>(ns_) / 1e9; }

  // In decimal seconds with all the digits it takes and no more: "100800.1", "0", "-0.000000001".
  MRP_API std::string stringValue() const;

  friend constexpr Seconds operator+(Seconds a, Seconds b) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(a.ns_, b.ns_, &sum)) sum = b.ns_ > 0 ? kNever : -kNever;
    return fromNanoseconds(sum);
  }
  friend constexpr Seconds operator-(Seconds a, Seconds b) { return a + fromNanoseconds(-b.ns_); }
  friend constexpr auto operator<=>(Seconds a, Seconds b) = default;

 private:
  static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
  static constexpr std::int64_t rounded(double ns) {
    if (!(ns < 9.2e18)) return ns > 0 ? kNever : 0;  // the second case is not-a-number
    if (ns < -9.2e18) return -kNever;
    return static_cast<std::int64_t>(ns < 0 ? ns - 0.5 : ns + 0.5);
  }

  std::int64_t ns_ = 0;
};

// As stringValue(), whatever the format of `out` is.
MRP_API std::ostream& operator<<(std::ostream& out, Seconds seconds);

template <>
struct ValueCodec<Seconds> {
  static Value toValue(Seconds v) { return Value(v.value()); }
  static std::optional<Seconds> fromValue(const Value& v) {
    if (auto* d = v.as<double>()) return Seconds(*d);
    if (auto* n = v.as<std::uint64_t>()) return Seconds(static_cast<double>(*n));
    return std::nullopt;
  }
};

}  // namespace Platform
