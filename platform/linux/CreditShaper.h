#pragma once

#include <cstdint>

namespace Platform::Linux {

// A credit-based shaper (IEEE 802.1Q-2018 8.6.8.2), in the units of the kernel: slopes in kbit/s,
// credits in octets.
struct CreditShaper {
  std::int32_t idleSlope = 0;
  std::int32_t sendSlope = 0;
  std::int32_t hiCredit = 0;
  std::int32_t loCredit = 0;

  friend bool operator==(const CreditShaper&, const CreditShaper&) = default;
};

}  // namespace Platform::Linux
